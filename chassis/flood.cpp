#include "flood.h"

#include "board_folder.h"
#include "log_lines.h"

#include "orva_comm.h"
#include "orva_diag.h"

#include <string>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kPackets = 200;
constexpr std::uint32_t kExtraBytes = 40;
constexpr milliseconds kPace{2};
constexpr milliseconds kAnswerPatience{5000};

bool tell(Manager &manager, Board &board, std::uint16_t command, std::uint32_t word) {
    const auto reply =
        manager.exchange(board, manager.request_frame(board, kNetFnChassis, command, word), kAnswerPatience);
    return reply && reply->type->command == kCmdResult && reply->header().word == ORVA_OK;
}

// Waits for each packet's refusal before it sends the next, so at most one is ever in the queue.
std::uint32_t send_long_packets(Manager &manager, Board &board) {
    std::uint32_t refused = 0;
    for (std::uint32_t i = 0; i < kPackets && board.state == BoardState::kOnline; ++i) {
        Frame frame = manager.request_frame(board, kNetFnAgent, kCmdTemperature);
        frame.length += kExtraBytes;
        refused += result_code(manager.exchange(board, frame, kAnswerPatience)) == ORVA_ERR_PACKET_LENGTH ? 1U : 0U;
        manager.wait(Clock::now() + kPace, [] { return false; });
    }
    return refused;
}

// What the diagnostic manager says of the item itself, in the dump that it writes to the process log.
std::uint32_t dumped_drops(Manager &manager, Board &board) {
    if (!tell(manager, board, kCmdPrintDiag, 0)) {
        return 0;
    }
    constexpr const char *kLabel = "dropNum:";
    const std::string line = find_lines(process_log(board.folder), "KeyID:0 SuccessNum:").last;
    const std::size_t at = line.find(kLabel);
    return at == std::string::npos
               ? 0
               : static_cast<std::uint32_t>(std::stoul(line.substr(at + std::char_traits<char>::length(kLabel))));
}

void count_refusals(Manager &manager, Board &board, Report &report) {
    const auto reply =
        manager.exchange(board, manager.request_frame(board, kNetFnChassis, kCmdStatistics), kAnswerPatience);
    const bool answered = reply && reply->type->command == kCmdStatistics;
    report.check_count("packets that found the queue full", 0,
                       answered ? reply->body<StatisticsBody>().queue_refusals : kPackets);
}

void hourly_summary(Manager &manager, Board &board, Report &report) {
    report.step("one hour on the clock of the diagnostic manager in slot " + std::to_string(board.slot));
    const std::string summary = "[OrvaDiagMgr] DiagID:" + std::to_string(ORVA_DIAG_ID_PACKET_LENGTH) +
                                " drop: " + std::to_string(kPackets - ORVA_DIAG_MAX_RECORDS) + " logs in a hour.";
    const bool advanced = tell(manager, board, kCmdAdvanceClock, ORVA_DIAG_HOUR_SECONDS);
    const Found found = find_lines(diagnostic_log(board.folder), summary);
    if (found.count != 0) {
        report.line(found.last);
    }
    report.check_count("hourly summaries", 1, advanced ? found.count : 0);
}

} // namespace

std::uint32_t result_code(const std::optional<Frame> &reply) {
    return reply && reply->type->command == kCmdResult ? reply->header().word : ORVA_OK;
}

void flood(Manager &manager, Board *board, Report &report) {
    report.step(std::to_string(kPackets) + " packets that are too long");
    if (board == nullptr) {
        report.check("no board is online", false);
        return;
    }
    const std::uint32_t refused = send_long_packets(manager, *board);
    report.check_count("packets refused by slot " + std::to_string(board->slot) + " with " +
                           hex_text(ORVA_ERR_PACKET_LENGTH),
                       kPackets, refused);
    // A record begins behind the position; the summary quotes one.
    const Found records = find_lines(diagnostic_log(board->folder), "]Invalid packet length, module: ");
    report.check_count("\"Invalid packet length\" records in its diagnostic log", ORVA_DIAG_MAX_RECORDS,
                       records.count);
    report.check_count("drops that its diagnostic manager counted", kPackets - ORVA_DIAG_MAX_RECORDS,
                       dumped_drops(manager, *board));
    count_refusals(manager, *board, report);
    hourly_summary(manager, *board, report);
}

} // namespace chassis
