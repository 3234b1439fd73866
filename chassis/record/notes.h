// What a capture says of its chassis, so that it can be replayed: the run, its boards, and what happened to their
// processes and links. A note is TOML; its first line says what it is.
#ifndef CHASSIS_RECORD_NOTES_H
#define CHASSIS_RECORD_NOTES_H

#include "events/event.h"
#include "manager/chassis.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace chassis {

struct RunNote {
    bool virtual_time = false;
    std::uint32_t seed = 0;
    std::uint32_t run = 0; // the number that the packets carry
};

enum class Happened : std::uint8_t { kStarted, kKilled, kPulled, kFaultBegins, kFaultEnds };

struct EventNote {
    Happened what = Happened::kStarted;
    std::uint32_t slot = 0;
    std::string fault; // its kind
};

using Note = std::variant<RunNote, BoardPlan, EventNote>;

std::string run_note(const RunNote &run);
std::string board_note(const Board &board);
// Nothing for an event that a replay need not know.
std::optional<std::string> event_note(const Event &event);

// `place` begins the message. Throws std::runtime_error when it is not a note.
Note read_note(std::string_view text, const std::string &place);

} // namespace chassis

#endif
