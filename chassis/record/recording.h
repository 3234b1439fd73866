// A capture of a chassis, read for a replay: the chassis that it needs, and what happened in order.
#ifndef CHASSIS_RECORD_RECORDING_H
#define CHASSIS_RECORD_RECORDING_H

#include "record/notes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace chassis {

struct Recorded {
    enum class Kind : std::uint8_t { kRegistration, kToBoard, kFromBoard, kEvent };

    Kind kind = Kind::kEvent;
    std::uint64_t packet = 0; // its number in the capture
    Time time{0};
    std::uint32_t slot = 0; // 0: the backup
    std::vector<std::uint8_t> bytes;
    EventNote event;
};

struct Recording {
    RunNote run;
    std::vector<BoardPlan> boards; // in the order of their slots
    std::vector<Recorded> items;
};

// Throws std::runtime_error, which names file, packet and reason, for what is not a capture of a chassis.
Recording read_recording(const std::string &path);

// The message that a datagram's header announces, or null.
const MessageType *announced(std::span<const std::uint8_t> datagram);

} // namespace chassis

#endif
