#include "scenario.h"

#include "backup_step.h"
#include "flood.h"
#include "runtime.h"
#include "service_step.h"
#include "switch_over_step.h"
#include "table.h"
#include "tester_step.h"

#include "orva_comm.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <iostream>

namespace chassis {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kPowerOnPatience{30};
constexpr seconds kAnswerPatience{5};
constexpr std::uint32_t kStrangeSlot = 31;

bool never() {
    return false;
}

// Steps that need one board take the first that is online.
Board *first_online(Manager &manager) {
    const auto board = std::ranges::find(manager.boards(), BoardState::kOnline, &Board::state);
    return board != manager.boards().end() ? &*board : nullptr;
}

// So that what an earlier step did to the first board stays.
Board *last_online(Manager &manager) {
    auto &boards = manager.boards();
    const auto board = std::find_if(boards.rbegin(), boards.rend(),
                                    [](const Board &each) { return each.state == BoardState::kOnline; });
    return board != boards.rend() ? &*board : nullptr;
}

void power_on(Manager &manager, Report &report) {
    report.step("power-on");
    manager.start_agents();
    manager.wait(Clock::now() + kPowerOnPatience, [&] { return !manager.any_starting(); });
    for (const Board &board : manager.boards()) {
        if (board.state == BoardState::kOnline) {
            report.line("slot " + std::to_string(board.slot) + " has registered with address " +
                        address_text(board.address) + ", queue " + std::to_string(board.queue));
        }
    }
    report.check_count("boards that have registered", manager.boards().size(), manager.count(BoardState::kOnline));
}

void first_round(Manager &manager, Report &report) {
    report.step("first round of requests");
    manager.poll_boards();
    report.check_count("boards that have answered temperature, voltage and heartbeat requests",
                       manager.boards().size(), manager.count(BoardState::kOnline));
}

void kill_agent(Manager &manager, Report &report, std::uint32_t slot) {
    Board &board = manager.boards()[slot - 1];
    report.step("killing the agent in slot " + std::to_string(slot));
    if (board.process != 0) {
        kill(board.process, SIGKILL);
    }
    manager.wait(Clock::now() + kAnswerPatience, [&] { return board.state == BoardState::kLost; });
}

struct WrongHeader {
    const char *name;
    void (*spoil)(Header &header);
    std::uint32_t code;
};

constexpr std::array kWrongHeaders = {
    WrongHeader{"a wrong destination", [](Header &header) { ++header.dest_slot; }, ORVA_ERR_REQ_DEST_SLOT},
    WrongHeader{"a reply flag in a request", [](Header &header) { header.kind = ORVA_AGENT_REPLY; },
                ORVA_ERR_REQ_KIND},
    WrongHeader{"source slot 31", [](Header &header) { header.source_slot = kStrangeSlot; }, ORVA_ERR_REQ_SRC_SLOT},
};

void wrong_headers(Manager &manager, Report &report) {
    report.step("requests that a board refuses");
    for (const WrongHeader &wrong : kWrongHeaders) {
        Board *board = first_online(manager);
        std::uint32_t code = ORVA_OK;
        if (board != nullptr) {
            Frame frame = manager.request_frame(*board, kNetFnAgent, kCmdTemperature);
            auto body = frame.body<RequestBody>();
            wrong.spoil(body.header);
            frame = make_frame(kNetFnAgent, kCmdTemperature, frame.sequence(), body);
            code = result_code(manager.exchange(*board, frame, kAnswerPatience));
        }
        report.check(std::string(wrong.name) + " is refused with " + hex_text(wrong.code) +
                         (code == wrong.code ? "" : ", got " + hex_text(code)),
                     code == wrong.code);
    }
}

void keep_polling(Manager &manager, Report &report, const RunOptions &options) {
    const auto end = seconds(options.seconds);
    report.step("rounds of requests, one a second");
    std::uint32_t rounds = 0;
    do {
        manager.wait(Clock::now() + seconds(1), never);
        manager.poll_boards();
        ++rounds;
    } while (milliseconds(uptime_ms()) + seconds(1) < end);
    report.check_count("boards online after " + std::to_string(rounds) + " rounds", manager.boards().size(),
                       manager.count(BoardState::kOnline));
}

} // namespace

void run_scenario(Manager &manager, Report &report, const RunOptions &options) {
    power_on(manager, report);
    first_round(manager, report);
    if (options.kill_agent != 0) {
        kill_agent(manager, report, options.kill_agent);
    }
    wrong_headers(manager, report);
    flood(manager, first_online(manager), report);
    restart_agent(manager, last_online(manager), report);
    look_at_hooks(manager, report);
    keep_in_step(manager, report);
    operate(manager, first_online(manager), report);
    switch_over(manager, report);
    read_black_box(manager, first_online(manager), report);
    write_fan_log(manager, first_online(manager), report);
    keep_polling(manager, report, options);
    show_request_road(manager, first_online(manager), report);
    report.step("the boards");
    std::cout << table_text(manager.boards()) << std::flush;
}

} // namespace chassis
