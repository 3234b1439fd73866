// The commands of a service engineer: the backup, switch-over, clocks, logs, traces, and commands that wait.
#include "control/command_support.h"
#include "orva_comm.h"
#include "orva_imlib.h"
#include "text.h"
#include "wire/sync_records.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::uint32_t kOtherMainBoard = 251; // last octet of the other main board's address
constexpr std::uint32_t kPowerModule = 1;

SyncBody encoded(const SyncRecord &record, std::uint32_t number, std::uint32_t seed) {
    SyncBody body{};
    const auto bytes = make_record(record, seed);
    const std::uint32_t length = record.row->length;
    if (length > sizeof body.block || record.row->encode(bytes.data(), body.block) != length) {
        throw std::runtime_error(std::string("the block of the record ") + record.row->title);
    }
    body.header.word_12 = number;
    body.seed = seed;
    body.length = length;
    return body;
}

void note_sync(Chassis &chassis, const SyncRecord &record, std::uint32_t length, const std::optional<Frame> &reply) {
    SyncReportBody answer{};
    const bool compared = reply && reply->type->command == kCmdSync;
    if (compared) {
        answer = reply->body<SyncReportBody>();
    }
    const auto stored =
        record.members.size() -
        static_cast<std::size_t>(std::ranges::count(record.members, orva::wire::Kept::kSent, &Member::kept));
    const bool in_step =
        compared && answer.header.word_12 == ORVA_OK && answer.compared == stored && answer.differing == 0;
    chassis.log.add(EventKind::kSync, static_cast<std::int32_t>(kMainSlot),
                    {text_field("record", record.row->title), number_field("bytes", length),
                     number_field("stored", answer.compared), number_field("differing", answer.differing),
                     flag_field("in_step", in_step), number_field("code", reply ? result_code(&*reply) : ORVA_FAILED),
                     text_field("text", {answer.text, strnlen(answer.text, sizeof answer.text)})});
}

bool synchronise(Chassis &chassis, std::uint32_t number, bool truncated) {
    const SyncRecord &record = sync_records()[number];
    Board &backup = chassis.boards.backup();
    SyncBody body = encoded(record, number, chassis.seed + static_cast<std::uint32_t>(chassis.log.count()));
    body.length -= truncated ? 1U : 0U;
    const auto reply =
        chassis.links.ask_and_wait(backup, chassis.links.request_frame(backup, kNetFnChassis, kCmdSync, body));
    note_sync(chassis, record, body.length, reply);
    return reply.has_value();
}

std::string sync_block(Chassis &chassis, const Words &words, bool truncated) {
    std::uint32_t done = 0;
    const auto records = sync_records();
    for (std::uint32_t i = 0; i < records.size(); ++i) {
        const bool wanted = words.empty() || words[0] == records[i].row->key;
        done += wanted && synchronise(chassis, i, truncated) ? 1U : 0U;
    }
    if (done == 0) {
        throw std::runtime_error("the backup does not answer");
    }
    return "records sent to the backup: " + std::to_string(done) + "\n";
}

std::string sync(Chassis &chassis, const Words &words) {
    return sync_block(chassis, words, false);
}

// A block that was truncated on its way must not reach the codec.
std::string sync_truncated(Chassis &chassis, const Words &words) {
    return sync_block(chassis, words, true);
}

std::string switch_over(Chassis &chassis, const Words &words) {
    const std::uint32_t octet = word_or(words, 0, kOtherMainBoard);
    OrvaWireSwitchOver body{};
    body.word_16 = ORVA_GetAddressFromSlot(kMainSlot, static_cast<std::uint8_t>(octet));
    std::uint32_t done = 0;
    for (Board &board : chassis.boards.all()) {
        if (board.state == BoardState::kOnline) {
            const Frame frame = chassis.links.request_frame(board, kNetFnAgent, kCmdSwitchOver, body);
            done += is_done(chassis.links.ask_and_wait(board, frame)) ? 1U : 0U;
        }
    }
    return "boards that go to " + address_text(body.word_16) + ": " + std::to_string(done) + "\n";
}

std::string tell(Chassis &chassis, const Words &words, std::uint16_t command, std::uint32_t word) {
    Board &board = online_board(chassis, words[0]);
    ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, command, word));
    return slot_text(board) + ": done\n";
}

std::string advance(Chassis &chassis, const Words &words) {
    return tell(chassis, words, kCmdAdvanceClock, word_or(words, 1, 0));
}

std::string print_diag(Chassis &chassis, const Words &words) {
    return tell(chassis, words, kCmdPrintDiag, 0);
}

std::string black_box(Chassis &chassis, const Words &words) {
    return tell(chassis, words, kCmdBlackBox, word_or(words, 1, kPowerModule));
}

std::string fan_log_line(Chassis &chassis, const Words &words) {
    return tell(chassis, words, kCmdFanLog, 0);
}

std::string trace(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    const Frame reply = ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdTrace));
    const auto body = reply.body<TraceBody>();
    char line[120];
    std::snprintf(line, sizeof line, "stage in slot %-8u       count       min       avg       max\n", board.slot);
    std::string text = line;
    for (std::uint32_t i = 0; i < kStages; ++i) {
        const TracedStage &stage = body.stages[i];
        chassis.log.add(EventKind::kTrace, board.number(),
                        {text_field("stage", kStageNames[i]), number_field("count", stage.count),
                         number_field("min", stage.min_ns), number_field("avg", stage.avg_ns),
                         number_field("max", stage.max_ns)});
        std::snprintf(line, sizeof line, "%-22s  %8u  %8u  %8u  %8u\n", kStageNames[i], stage.count, stage.min_ns,
                      stage.avg_ns, stage.max_ns);
        text += line;
    }
    return text;
}

std::string figures(Chassis &chassis, const Words &words) {
    Board &board = online_board(chassis, words[0]);
    chassis.poller.ask_figures(board);
    const Frame reply = ask(chassis, board, chassis.links.request_frame(board, kNetFnChassis, kCmdFigures));
    const auto body = reply.body<FiguresBody>();
    return slot_text(board) + ": records passed " + std::to_string(body.passed) + ", dropped " +
           std::to_string(body.dropped) + "; queue " + std::to_string(body.queue_messages) + " messages, " +
           std::to_string(body.queue_bytes) + " bytes; memory " + std::to_string(body.memory_bytes) + " bytes in " +
           std::to_string(body.memory_blocks) + " blocks; descriptors " + std::to_string(body.descriptors) + "\n";
}

std::string round(Chassis &chassis, const Words &) {
    chassis.poller.round();
    return "boards online: " + std::to_string(chassis.boards.count(BoardState::kOnline)) + "\n";
}

bool has_come(const EventLog &log, EventKind kind, std::uint64_t after) {
    const auto &recent = log.recent();
    const auto older = [=](const Event &event) { return event.number <= after; };
    return std::any_of(recent.rbegin(), std::find_if(recent.rbegin(), recent.rend(), older),
                       [=](const Event &event) { return event.kind == kind; });
}

std::string wait(Chassis &chassis, const Words &words) {
    const Duration length(static_cast<std::int64_t>(std::stod(words[0]) * 1e9));
    const EventType *type = words.size() > 1 ? find_event_type(words[1]) : nullptr;
    std::uint64_t seen = words.size() > 2 ? word_or(words, 2, 0) : chassis.log.count();
    bool come = false;
    chassis.loop.wait(chassis.loop.now() + length, [&] {
        come = type != nullptr && has_come(chassis.log, type->kind, seen);
        seen = chassis.log.count();
        return come;
    });
    if (type != nullptr && !come) {
        throw std::runtime_error("no " + words[1] + " has come in " + words[0] + " s");
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s\n", static_cast<double>(whole_milliseconds(chassis.loop.now())) / 1000);
    return text;
}

std::string end(Chassis &chassis, const Words &) {
    chassis.told_to_end = true;
    return "the run ends\n";
}

// What a board of the user's own needs to join.
std::string address(Chassis &chassis, const Words &) {
    return std::to_string(chassis.links.port()) + " " + std::to_string(chassis.links.run()) + "\n";
}

constexpr auto kRecords = [] {
    std::array<const char *, kSyncRecords> keys{};
    std::ranges::transform(kSyncRecordRows, keys.begin(), [](const Record *row) { return row->key; });
    return keys;
}();
constexpr Argument kRecord = {"record", "Name of the record; all without it", ArgumentType::kChoice, false, kRecords};
constexpr std::array kSync = {kRecord};
constexpr std::array kSwitchOver = {
    Argument{"octet", "Last octet of the new main board's address (default 251)", ArgumentType::kNumber, false}};
constexpr std::array kAdvance = {kBoardArgument, Argument{"seconds", "At most 7200", ArgumentType::kNumber}};
constexpr std::array kBlackBox = {kBoardArgument,
                                  Argument{"module", "Power module (default 1)", ArgumentType::kNumber, false}};
const std::array kWait = {Argument{"seconds", "At most so long", ArgumentType::kSeconds},
                          Argument{"event", "Until such an event comes", ArgumentType::kChoice, false, event_names()},
                          Argument{"after", "Number of the last event that is known", ArgumentType::kNumber, false}};

constexpr std::array kServiceCommands = {
    Command{"round", "Ask every board for everything, once", {}, true, round},
    Command{"sync-truncated", "Send a block without its last byte to the backup", kSync, true, sync_truncated},
    Command{"sync", "Send configuration records to the backup", kSync, true, sync},
    Command{"switch-over", "Tell every board of another main board", kSwitchOver, true, switch_over},
    Command{"advance", "Let time pass on a board's diagnostic clock", kAdvance, true, advance},
    Command{"print-diag", "Dump a board's diagnostic manager to its process log", kOneBoard, true, print_diag},
    Command{"black-box", "Write a power module's black box to the diagnostic log", kBlackBox, true, black_box},
    Command{"fan-log", "Write to a board's fan log", kOneBoard, true, fan_log_line},
    Command{"trace", "Show how long the stages of the request path take", kOneBoard, false, trace, true},
    Command{"figures", "Show a process's records, queue, memory and descriptors", kOneBoard, false, figures},
    Command{"address", "Show the port and the run's number, for a board of your own", {}, false, address},
    Command{"wait", "Let time pass, or wait for an event", kWait, false, wait},
    Command{"end", "End a run with --hold", {}, true, end},
};

} // namespace

std::span<const Command> service_commands() {
    return kServiceCommands;
}

} // namespace chassis
