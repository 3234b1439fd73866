#include "switch_over_step.h"

#include "board_folder.h"
#include "log_lines.h"

#include "orva_comm.h"
#include "orva_imlib.h"

#include <algorithm>
#include <string>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAnswerPatience{5000};
constexpr milliseconds kLook{20};
// The timer's thread needs a moment beside the other processes of a small machine.
constexpr milliseconds kPeriod{ORVA_IMLIB_TIMER_MS};
constexpr milliseconds kMoment{500};
constexpr std::uint8_t kOtherMainBoard = 251; // last octet of the other main board's address

std::vector<Board *> online_boards(Manager &manager) {
    std::vector<Board *> boards;
    for (Board &board : manager.boards()) {
        if (board.state == BoardState::kOnline) {
            boards.push_back(&board);
        }
    }
    return boards;
}

// Why the first of the boards without a private mount has none; empty when all have one.
std::string refused_mount(const std::vector<Board *> &boards) {
    const auto without = std::ranges::find_if(boards, [](const Board *board) { return !board->private_mount; });
    return without != boards.end() ? first_line(refusal_file((*without)->folder)) : "";
}

bool is_told(const Board *board, const std::string &change) {
    return find_lines(interface_manager_log(board->folder), change).count != 0;
}

std::uint32_t tell_boards(Manager &manager, const std::vector<Board *> &boards, std::uint32_t address) {
    std::vector<Request> requests;
    for (Board *board : boards) {
        AddressBody body{};
        body.address = address;
        requests.push_back({board, manager.request_frame(*board, kNetFnAgent, kCmdSwitchOver, body), std::nullopt});
    }
    manager.exchange(requests, kAnswerPatience, false);
    return static_cast<std::uint32_t>(std::ranges::count_if(requests, [](const Request &request) {
        return request.reply && request.reply->type->command == kCmdResult && request.reply->header().word == ORVA_OK;
    }));
}

} // namespace

void switch_over(Manager &manager, Report &report) {
    report.step("switch-over to the other main board");
    const auto boards = online_boards(manager);
    const std::string refused = refused_mount(boards);
    if (!refused.empty()) {
        report.skip("the boards have no private mount of the fixed paths, and the machine's are not touched: " +
                    refused);
        return;
    }
    const auto begin = Clock::now();
    const std::uint32_t address = ORVA_GetAddressFromSlot(kMainSlot, kOtherMainBoard);
    report.check_count("boards that have written " + std::string(ORVA_ACT_MPU_FILE) + " in their private mount",
                       boards.size(), tell_boards(manager, boards, address));
    const std::string change = " new=" + address_text(address);
    const auto told = [&] { return std::ranges::all_of(boards, [&](const Board *b) { return is_told(b, change); }); };
    while (!told() && Clock::now() < begin + kPeriod + kMoment) {
        manager.wait(Clock::now() + kLook, [] { return false; });
    }
    const auto count = std::ranges::count_if(boards, [&](const Board *b) { return is_told(b, change); });
    report.check_count("interface managers told within one timer period", boards.size(),
                       static_cast<std::uint64_t>(count));
    if (count != 0) {
        report.line(find_lines(interface_manager_log(boards.front()->folder), "main-board-ip process=").last);
    }
}

} // namespace chassis
