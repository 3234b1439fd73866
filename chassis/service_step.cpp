#include "service_step.h"

#include "board_folder.h"
#include "flood.h"
#include "log_lines.h"

#include "orva_comm.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace chassis {

namespace {

constexpr std::chrono::milliseconds kPatience{5000};
constexpr std::chrono::seconds kRestartPatience{30};
constexpr std::uint32_t kPowerModule = 1;

constexpr std::array kStageNames = {"queue read",   "length check",      "to host order",
                                    "header check", "making the answer", "to net order and send"};
static_assert(kStageNames.size() == kStages);

// True when there is a board to go on with.
bool begin(Report &report, const std::string &step, const Board *board) {
    report.step(step);
    if (board == nullptr) {
        report.check("no board is online", false);
    }
    return board != nullptr;
}

std::string slot_text(const Board &board) {
    return "slot " + std::to_string(board.slot);
}

bool is_told(Manager &manager, Board &board, std::uint16_t command, std::uint32_t word) {
    const auto reply = manager.exchange(board, manager.request_frame(board, kNetFnChassis, command, word), kPatience);
    return reply && reply->type->command == kCmdResult && reply->header().word == ORVA_OK;
}

bool skip_without_mount(Report &report, const Board &board) {
    if (!board.private_mount) {
        report.skip(slot_text(board) +
                    " has no private mount of the fixed paths, and the machine's are not touched: " +
                    first_line(refusal_file(board.folder)));
    }
    return !board.private_mount;
}

std::string stage_line(const char *name, const TracedStage &stage) {
    std::array<char, 120> line{};
    std::snprintf(line.data(), line.size(), "%-22s  %8u  %8u  %8u  %8u", name, stage.count, stage.min_ns,
                  stage.avg_ns, stage.max_ns);
    return line.data();
}

} // namespace

void restart_agent(Manager &manager, Board *board, Report &report) {
    if (!begin(report, "restart of an agent", board) || skip_without_mount(report, *board)) {
        return;
    }
    const bool cold_before = !board->warm_start;
    manager.restart(*board, Clock::now() + kRestartPatience);
    manager.poll_boards();
    report.check(slot_text(*board) + " started cold at power-on and reports a warm start now",
                 cold_before && board->state == BoardState::kOnline && board->warm_start);
}

void look_at_hooks(Manager &manager, Report &report) {
    report.step("dead-loop hooks");
    const auto registered = std::ranges::count_if(manager.boards(), [](const Board &board) {
        return find_lines(dead_loop_log(board.folder), "zebbase hook registration: kind=1 result=0").count != 0;
    });
    report.check_count("boards whose hook is registered", manager.boards().size(),
                       static_cast<std::uint64_t>(registered));
}

void read_black_box(Manager &manager, Board *board, Report &report) {
    if (!begin(report, "black box of a power module", board)) {
        return;
    }
    const std::string label =
        "PMBUS-BLACK-BOX[slot=" + std::to_string(board->slot) + " fru=" + std::to_string(kPowerModule) + "]: log[";
    const bool done = is_told(manager, *board, kCmdBlackBox, kPowerModule);
    const Found found = find_lines(diagnostic_log(board->folder), label);
    report.line(found.last.substr(0, 84) + "...");
    report.check_count("records of its 300 bytes in the diagnostic log of " + slot_text(*board), 3,
                       done ? found.count : 0);
}

void write_fan_log(Manager &manager, Board *board, Report &report) {
    if (!begin(report, "fan log", board) || skip_without_mount(report, *board)) {
        return;
    }
    const bool done = is_told(manager, *board, kCmdFanLog, 0);
    const Found line = find_lines(fan_log(board->folder), "fan 1 of " + slot_text(*board) + ": 4200 rpm");
    const Found registers = find_lines(fan_log(board->folder), "10 68 02 07 ");
    report.check(slot_text(*board) + " has written a line and the fan's registers to its fan log",
                 done && line.count == 1 && registers.count == 1);
}

void show_request_road(Manager &manager, Board *board, Report &report) {
    if (!begin(report, "the request road, nanoseconds of CPU time", board)) {
        return;
    }
    const auto reply = manager.exchange(*board, manager.request_frame(*board, kNetFnChassis, kCmdTrace), kPatience);
    const bool answered = reply && reply->type->command == kCmdTrace;
    const TraceBody trace = answered ? reply->body<TraceBody>() : TraceBody{};
    report.line("stage in " + slot_text(*board) + "              count       min       avg       max");
    for (std::uint32_t i = 0; i < kStages; ++i) {
        report.line(stage_line(kStageNames[i], trace.stages[i]));
    }
    report.check("every stage was measured",
                 std::ranges::all_of(trace.stages, [](const TracedStage &stage) { return stage.count != 0; }));
}

} // namespace chassis
