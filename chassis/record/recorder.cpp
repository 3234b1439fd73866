#include "record/recorder.h"

namespace chassis {

Recorder::Recorder(EventLog &log, const Clock &clock, const std::string &path)
    : log_(log), clock_(clock), writer_(path), subscription_(log.subscribe(
                                                   [this](const Event &event) {
                                                       if (event.kind == EventKind::kPacket) {
                                                           write(event);
                                                       }
                                                   },
                                                   true)) {}

Recorder::~Recorder() {
    log_.unsubscribe(subscription_);
}

void Recorder::write(const Event &packet) {
    if (clock_.is_virtual() && packet.text("message") == "trace") {
        return;
    }
    const capture::Address board = capture::board_address(static_cast<std::uint32_t>(packet.slot));
    const bool to_board = packet.text("direction") == "to";
    writer_.add(packet.time, to_board ? capture::kManager : board, to_board ? board : capture::kManager,
                packet.bytes);
}

} // namespace chassis
