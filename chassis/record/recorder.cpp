#include "record/recorder.h"

#include "record/notes.h"

#include <stdexcept>

namespace chassis {

Recorder::Recorder(Chassis &chassis, const std::string &path) : chassis_(chassis), writer_(path) {
    const Clock &clock = chassis.loop.clock();
    const Time now = clock.now();
    write_note(now, run_note({clock.is_virtual(), chassis.seed, chassis.links.run()}));
    for (const Board &board : chassis.boards.all()) {
        write_note(now, board_note(board));
    }
    subscription_ = chassis.log.subscribe([this](const Event &event) { see(event); }, true);
}

Recorder::~Recorder() {
    chassis_.log.unsubscribe(subscription_);
}

void Recorder::see(const Event &event) {
    if (event.kind == EventKind::kPacket) {
        write_packet(event);
    } else if (const auto note = event_note(event)) {
        write_note(event.time, *note);
    }
}

void Recorder::write_packet(const Event &packet) {
    if (chassis_.loop.clock().is_virtual() && packet.text("message") == "trace") {
        return;
    }
    const capture::Address board = capture::board_address(static_cast<std::uint32_t>(packet.slot));
    const bool to_board = packet.text("direction") == "to";
    writer_.add(packet.time, to_board ? capture::kManager : board, to_board ? board : capture::kManager,
                packet.bytes);
}

void Recorder::write_note(Time time, const std::string &text) {
    if (text.size() > capture::kMaxDatagramBytes) {
        throw std::runtime_error("a board has too many sensors for a capture");
    }
    writer_.add(time, capture::kManager, capture::kNotes,
                {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
}

} // namespace chassis
