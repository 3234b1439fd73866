#include "explore/plan.h"

#include "board/sensors.h"
#include "manager/faults.h"
#include "scenario/invariants.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <string_view>

namespace chassis {

namespace {

constexpr std::uint32_t kPowerOnMs = 1000;
constexpr std::uint32_t kCalmMs = (kCalmAfter.count() + 2) * 1000;
constexpr std::uint32_t kSoakPollMs = 20; // boards that are still at it are passed over
constexpr std::array<std::uint32_t, 4> kPolls = {200, 500, 1000, 2000};

// How far a value goes; the kinds that are not here take percents.
struct Range {
    std::string_view kind;
    std::uint32_t most;
};
constexpr std::array kRanges = {Range{"noise", 500}, Range{"drift", 500}, Range{"late", 3000},
                                Range{"out-of-order", 1500}, Range{"flood", 1000}};
constexpr std::uint32_t kPercent = 100;

// These need a board that knows the chassis's own messages, or has its queue where the chassis looks for it.
bool needs_our_agent(const FaultType &type) {
    constexpr std::array<std::string_view, 2> kOurs = {"partition-exhausted", "queue-deleted"};
    return type.target == FaultTarget::kSensor || std::ranges::find(kOurs, type.name) != kOurs.end();
}

// The same numbers on every machine.
class Draw {
public:
    explicit Draw(std::uint32_t seed) : random_(seed) {}
    // From `low` to `high`.
    std::uint32_t between(std::uint32_t low, std::uint32_t high) {
        return low + static_cast<std::uint32_t>(random_()) % (high - low + 1);
    }
    bool one_in(std::uint32_t count) {
        return random_() % count == 0;
    }
    template <typename List>
    const auto &of(const List &list) {
        return list[random_() % list.size()];
    }

private:
    std::mt19937 random_;
};

std::vector<const FaultType *> draw_kinds(Draw &draw, bool own_agent) {
    std::vector<const FaultType *> kinds;
    for (const FaultType &type : kFaultTypes) {
        if (draw.one_in(3) && !(own_agent && needs_our_agent(type))) {
            kinds.push_back(&type);
        }
    }
    return kinds;
}

std::uint32_t most_of(const FaultType &type) {
    const auto found = std::ranges::find(kRanges, type.name, &Range::kind);
    return found != kRanges.end() ? found->most : kPercent;
}

DrawnFault draw_fault(Draw &draw, const FaultType &type, std::uint32_t boards, std::uint32_t phase_ms) {
    DrawnFault fault;
    fault.kind = type.name;
    fault.slot = draw.between(1, boards);
    if (type.target == FaultTarget::kSensor) {
        fault.sensor = draw.of(default_sensors(fault.slot)).name;
    }
    if (type.value_help != nullptr) {
        fault.value = static_cast<std::int32_t>(draw.between(1, most_of(type)));
    }
    fault.at_ms = draw.between(0, phase_ms - 1);
    const std::array<std::uint32_t, 3> longest = {1000, 10000, phase_ms};
    fault.length_ms = std::min(draw.between(1, draw.of(longest)), phase_ms - fault.at_ms);
    return fault;
}

Phase draw_phase(Draw &draw, const std::vector<const FaultType *> &kinds, std::uint32_t boards) {
    Phase phase;
    phase.length_ms = draw.between(10, 50) * 1000;
    for (const auto &[command, chance] : {std::pair{"sync", 2U}, {"sync-truncated", 5U}, {"round", 5U}}) {
        if (draw.one_in(chance)) {
            phase.commands.emplace_back(command);
        }
    }
    const std::uint32_t count = kinds.empty() ? 0 : draw.between(0, 10);
    for (std::uint32_t i = 0; i < count; ++i) {
        phase.faults.push_back(draw_fault(draw, *draw.of(kinds), boards, phase.length_ms));
    }
    return phase;
}

std::string seconds_text(std::uint32_t ms) {
    char text[32];
    std::snprintf(text, sizeof text, "%u.%03u", ms / 1000, ms % 1000);
    return text;
}

std::string fault_text(const DrawnFault &fault) {
    return "[[step.fault]]\nkind = \"" + fault.kind + "\"\nslot = " + std::to_string(fault.slot) + "\n" +
           (fault.sensor.empty() ? "" : "sensor = \"" + fault.sensor + "\"\n") +
           (fault.value ? "value = " + std::to_string(*fault.value) + "\n" : "") +
           "at = " + seconds_text(fault.at_ms) + "\nfor = " + seconds_text(fault.length_ms) + "\n";
}

std::string step_text(const std::string &title, std::uint32_t at_ms, const std::vector<std::string> &commands) {
    std::string text = "\n[[step]]\ntitle = \"" + title + "\"\nat = " + seconds_text(at_ms) + "\n";
    if (!commands.empty()) {
        text += "do = [\"" + joined(commands, "\", \"") + "\"]\n";
    }
    return text;
}

// Every board tells its figures, an hour passes on its diagnostic clock, and it tells them again.
std::vector<std::string> hour_commands(const Plan &plan) {
    std::vector<std::string> commands;
    for (const char *command : {"figures ", "advance ", "figures "}) {
        for (std::uint32_t slot = 1; slot <= plan.boards && !plan.own_agent; ++slot) {
            commands.push_back(command + std::to_string(slot) + (*command == 'a' ? " 3600" : ""));
        }
    }
    commands.emplace_back("sync");
    return commands;
}

} // namespace

Plan draw_plan(std::uint32_t seed, bool own_agent) {
    Draw draw(seed);
    Plan plan;
    plan.seed = seed;
    plan.own_agent = own_agent;
    plan.boards = draw.one_in(10) ? draw.between(1, 30) : draw.between(1, 8);
    plan.poll_ms = draw.of(kPolls);
    const auto kinds = draw_kinds(draw, own_agent);
    const std::uint32_t phases = draw.between(2, 6);
    for (std::uint32_t i = 0; i < phases; ++i) {
        plan.phases.push_back(draw_phase(draw, kinds, plan.boards));
    }
    return plan;
}

Plan draw_soak(std::uint32_t seed, std::uint32_t boards, std::uint32_t seconds, bool own_agent) {
    constexpr std::array kKinds = {"killed", "stopped", "queue-deleted", "partition-exhausted", "flood", "pulled"};
    constexpr std::uint32_t kPhaseSeconds = 30;
    Draw draw(seed);
    Plan plan;
    plan.seed = seed;
    plan.name = "soak";
    plan.boards = boards;
    plan.own_agent = own_agent;
    plan.poll_ms = kSoakPollMs;
    std::vector<const FaultType *> kinds;
    for (const char *name : kKinds) {
        const FaultType *type = find_fault_type(name);
        if (!own_agent || !needs_our_agent(*type)) {
            kinds.push_back(type);
        }
    }
    for (std::uint32_t left = seconds; left > 0;) {
        Phase &phase = plan.phases.emplace_back();
        phase.length_ms = std::min(left, kPhaseSeconds) * 1000;
        left -= std::min(left, kPhaseSeconds);
        phase.commands = {"sync"};
        for (std::uint32_t fault = 0; fault < boards; ++fault) {
            phase.faults.push_back(draw_fault(draw, *draw.of(kinds), boards, phase.length_ms));
        }
    }
    return plan;
}

std::string scenario_text(const Plan &plan) {
    std::string text = "name = \"" + plan.name + "-" + std::to_string(plan.seed) + "\"\ntext = \"what seed " +
                       std::to_string(plan.seed) + " does\"\nseed = " + std::to_string(plan.seed) +
                       "\nboards = " + std::to_string(plan.boards) + "\npoll = " + seconds_text(plan.poll_ms) +
                       "\ninvariants = true\n\n[[step]]\ntitle = \"power-on\"\n[[step.expect]]\nevent = \"board\"\n"
                       "where = { state = \"online\" }\nevery_board = true\nby = 30\n";
    std::uint32_t at_ms = kPowerOnMs;
    for (std::size_t i = 0; i < plan.phases.size(); ++i) {
        const Phase &phase = plan.phases[i];
        text += step_text("phase " + std::to_string(i + 1), at_ms, phase.commands);
        for (const DrawnFault &fault : phase.faults) {
            text += fault_text(fault);
        }
        at_ms += phase.length_ms;
    }
    text += step_text("calm", at_ms + kCalmMs, {});
    text += "[[step.expect]]\nevent = \"heartbeat\"\nevery_board = true\n";
    return text + step_text("an hour", at_ms + kCalmMs, hour_commands(plan));
}

std::size_t faults_of(const Plan &plan) {
    std::size_t count = 0;
    for (const Phase &phase : plan.phases) {
        count += phase.faults.size();
    }
    return count;
}

std::uint32_t seconds_of(const Plan &plan) {
    std::uint32_t ms = kPowerOnMs + kCalmMs;
    for (const Phase &phase : plan.phases) {
        ms += phase.length_ms;
    }
    return ms / 1000;
}

std::string summary_of(const Plan &plan) {
    const auto counted = [](std::size_t count, const char *what) {
        return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
    };
    return counted(plan.boards, "board") + ", " + counted(faults_of(plan), "fault") + ", " +
           std::to_string(seconds_of(plan)) + " s";
}

} // namespace chassis
