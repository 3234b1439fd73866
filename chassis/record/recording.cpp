#include "record/recording.h"

#include "capture_reader.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace chassis {

namespace {

constexpr std::size_t kNetFnAt = 12;
constexpr std::size_t kCommandAt = 13;

class Gathering {
public:
    explicit Gathering(const std::string &path) : path_(path) {}

    void take(const capture::Packet &packet) {
        const std::string place = path_ + ": packet " + std::to_string(packet.number);
        if (!packet.problem.empty()) {
            throw std::runtime_error(place + ": " + packet.problem);
        }
        if (!packet.raw_frame && packet.datagram.to == capture::kNotes) {
            return take_note(packet, place);
        }
        const auto slot = slot_of(packet);
        if (!slot) {
            throw std::runtime_error(place + " is not between a board and its management process");
        }
        take_datagram(packet, *slot);
    }

    Recording finish() {
        if (!run_) {
            throw std::runtime_error(path_ + " does not say which chassis it is of; orva-chassis run --record does");
        }
        std::ranges::sort(recording_.boards, {}, &BoardPlan::slot);
        const auto twice = std::ranges::adjacent_find(recording_.boards, {}, &BoardPlan::slot);
        if (twice != recording_.boards.end()) {
            throw std::runtime_error(path_ + ": two boards in slot " + std::to_string(twice->slot));
        }
        recording_.run = *run_;
        return std::move(recording_);
    }

private:
    static std::optional<std::uint32_t> slot_of(const capture::Packet &packet) {
        const auto &[time, from, to, bytes] = packet.datagram;
        if (from == capture::kManager) {
            return capture::slot_of(to);
        }
        return to == capture::kManager ? capture::slot_of(from) : std::nullopt;
    }

    void take_note(const capture::Packet &packet, const std::string &place) {
        const auto &bytes = packet.datagram.bytes;
        const Note note = read_note({reinterpret_cast<const char *>(bytes.data()), bytes.size()}, place);
        if (const auto *run = std::get_if<RunNote>(&note)) {
            run_ = *run;
        } else if (const auto *board = std::get_if<BoardPlan>(&note)) {
            recording_.boards.push_back(*board);
        } else {
            const auto &event = std::get<EventNote>(note);
            add(packet, Recorded::Kind::kEvent, event.slot).event = event;
        }
    }

    // Acknowledgements of registrations are the replay's own.
    void take_datagram(const capture::Packet &packet, std::uint32_t slot) {
        const MessageType *type = announced(packet.datagram.bytes);
        const bool to_board = packet.datagram.from == capture::kManager;
        const bool registering =
            type != nullptr && type->command == kCmdAddress && (type->net_fn | 1) == kNetFnAgentReply;
        if (registering && to_board) {
            return;
        }
        add(packet,
            registering ? Recorded::Kind::kRegistration
                        : (to_board ? Recorded::Kind::kToBoard : Recorded::Kind::kFromBoard),
            slot)
            .bytes = packet.datagram.bytes;
    }

    Recorded &add(const capture::Packet &packet, Recorded::Kind kind, std::uint32_t slot) {
        Recorded item;
        item.kind = kind;
        item.packet = packet.number;
        item.time = packet.datagram.time;
        item.slot = slot;
        return recording_.items.emplace_back(std::move(item));
    }

    const std::string &path_;
    std::optional<RunNote> run_;
    Recording recording_;
};

} // namespace

Recording read_recording(const std::string &path) {
    try {
        Gathering gathering(path);
        capture::Reader reader(path);
        while (const auto packet = reader.next()) {
            gathering.take(*packet);
        }
        return gathering.finish();
    } catch (const std::system_error &error) {
        throw std::runtime_error(path + ": " + error.code().message());
    }
}

const MessageType *announced(std::span<const std::uint8_t> datagram) {
    if (datagram.size() < kTransportHeaderBytes + kPrefixBytes) {
        return nullptr;
    }
    return find_type(datagram[kNetFnAt],
                     static_cast<std::uint16_t>(datagram[kCommandAt] << 8 | datagram[kCommandAt + 1]));
}

} // namespace chassis
