#include "record/notes.h"

#include "board/sensor_file.h"
#include "scenario/reader.h"
#include "toml_text.h"
#include "wire/message_bodies.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <limits>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::string_view kRunTitle = "# orva-chassis: the run of this capture\n";
constexpr std::string_view kBoardTitle = "# orva-chassis: a board of this capture\n";
constexpr std::string_view kEventTitle = "# orva-chassis: an event of this capture\n";
constexpr std::int64_t kVersion = 1;

struct HappenedName {
    Happened what;
    const char *name;
};

constexpr std::array kHappened = {
    HappenedName{Happened::kStarted, "started"},      HappenedName{Happened::kKilled, "killed"},
    HappenedName{Happened::kPulled, "pulled"},        HappenedName{Happened::kFaultBegins, "fault begins"},
    HappenedName{Happened::kFaultEnds, "fault ends"},
};

const char *name_of(Happened what) {
    return std::ranges::find(kHappened, what, &HappenedName::what)->name;
}

bool is_fault(Happened what) {
    return what == Happened::kFaultBegins || what == Happened::kFaultEnds;
}

// The first start of a process belongs to power-on.
std::optional<EventNote> note_of(const Event &event) {
    const auto slot = static_cast<std::uint32_t>(event.slot);
    if (event.kind == EventKind::kFault) {
        return EventNote{event.flag("on") ? Happened::kFaultBegins : Happened::kFaultEnds, slot, event.text("fault")};
    }
    if (event.kind == EventKind::kProcess) {
        const std::string state = event.text("state");
        if (state == "started" && event.number_of("starts") > 1) {
            return EventNote{Happened::kStarted, slot, ""};
        }
        const bool by_someone = state == "ended" && event.number_of("status") == kSignalStatus + SIGKILL;
        if (state == "killed" || by_someone) {
            return EventNote{Happened::kKilled, slot, ""};
        }
    }
    if (event.kind == EventKind::kBoard && event.text("state") == "pulled") {
        return EventNote{Happened::kPulled, slot, ""};
    }
    return std::nullopt;
}

template <typename Number>
Number number_in(const toml::table &table, const char *key, std::int64_t most) {
    const auto number = table[key].value_exact<std::int64_t>();
    if (!number || *number < 0 || *number > most) {
        throw std::runtime_error(std::string(key) + " must be a number from 0 to " + std::to_string(most));
    }
    return static_cast<Number>(*number);
}

std::uint32_t word_in(const toml::table &table, const char *key) {
    return number_in<std::uint32_t>(table, key, std::numeric_limits<std::uint32_t>::max());
}

RunNote read_run(const toml::table &table) {
    if (number_in<std::int64_t>(table, "version", std::numeric_limits<std::int32_t>::max()) != kVersion) {
        throw std::runtime_error("the capture is of a later version");
    }
    const auto virtual_time = table["virtual_time"].value_exact<bool>();
    if (!virtual_time) {
        throw std::runtime_error("virtual_time must be true or false");
    }
    return {*virtual_time, word_in(table, "seed"), word_in(table, "run")};
}

EventNote read_event(const toml::table &table) {
    const std::string name = table["event"].value_or<std::string>("");
    const auto *const row = std::ranges::find(kHappened, std::string_view(name),
                                              [](const HappenedName &each) { return std::string_view(each.name); });
    if (row == kHappened.end()) {
        throw std::runtime_error("there is no event named " + name);
    }
    EventNote event{row->what, number_in<std::uint32_t>(table, "slot", kLastSlot),
                    table["fault"].value_or<std::string>("")};
    if (is_fault(event.what) && find_fault_type(event.fault) == nullptr) {
        throw std::runtime_error("there is no fault named " + event.fault);
    }
    return event;
}

// The note is a scenario of one board, so it is checked as one.
BoardPlan read_board(std::string_view text, const std::string &place) {
    const Scenario scenario = read_scenario(text, place);
    const toml::table table = parse_toml(text);
    const auto slot = table["board"][0]["slot"].value<std::int64_t>().value_or(0);
    const auto found = std::ranges::find(scenario.boards, static_cast<std::uint32_t>(slot), &BoardPlan::slot);
    if (found == scenario.boards.end()) {
        throw std::runtime_error(place + ": no board");
    }
    return *found;
}

} // namespace

std::string run_note(const RunNote &run) {
    return std::string(kRunTitle) + "version = " + std::to_string(kVersion) +
           "\nvirtual_time = " + (run.virtual_time ? "true" : "false") + "\nseed = " + std::to_string(run.seed) +
           "\nrun = " + std::to_string(run.run) + "\n";
}

std::string board_note(const Board &board) {
    std::string text = std::string(kBoardTitle) + "name = \"slot " + std::to_string(board.slot) +
                       "\"\ntext = \"a board\"\n\n[[board]]\nslot = " + std::to_string(board.slot) +
                       "\ntype = " + std::to_string(board.type) + "\n";
    for (const Sensor &sensor : board.sensors) {
        text += "\n" + sensor_text(sensor, "board.sensor");
    }
    return text;
}

std::optional<std::string> event_note(const Event &event) {
    const auto note = note_of(event);
    if (!note) {
        return std::nullopt;
    }
    return std::string(kEventTitle) + "event = \"" + name_of(note->what) +
           "\"\nslot = " + std::to_string(note->slot) + "\n" +
           (is_fault(note->what) ? "fault = \"" + note->fault + "\"\n" : "");
}

Note read_note(std::string_view text, const std::string &place) {
    if (text.starts_with(kBoardTitle)) {
        return read_board(text, place);
    }
    try {
        if (text.starts_with(kRunTitle)) {
            return read_run(parse_toml(text));
        }
        if (text.starts_with(kEventTitle)) {
            return read_event(parse_toml(text));
        }
        throw std::runtime_error("a note of unknown kind");
    } catch (const std::runtime_error &error) { // of the parser too
        throw std::runtime_error(place + ": " + error.what());
    }
}

} // namespace chassis
