// What the backup management process answers: it decodes the records that it is sent and compares them.
#include "board/agent_answers.h"

#include "wire/sync_records.h"

#include "orva_additions.h"
#include "orva_comm.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace chassis {

namespace {

// What a member holds before the first record arrives.
constexpr std::uint8_t kUnset = 0xEE;

struct Comparison {
    std::uint32_t stored = 0;
    std::uint32_t differing = 0;
    std::string text;
};

bool holds_only(std::span<const std::uint8_t> bytes, std::uint8_t value) {
    return std::ranges::all_of(bytes, [=](std::uint8_t byte) { return byte == value; });
}

// A stored member has the sender's bytes as far as the receiver takes them; everything else is as it was.
bool member_is_right(const SyncRecord &record, const Member &member, std::span<const std::uint8_t> sent,
                     std::span<const std::uint8_t> received) {
    const std::size_t taken = taken_bytes(record, member, sent);
    const auto own = received.subspan(member.offset, member.bytes);
    return std::memcmp(own.data(), sent.data() + member.offset, taken) == 0 && holds_only(own.subspan(taken), kUnset);
}

Comparison compare(const SyncRecord &record, std::span<const std::uint8_t> sent,
                   std::span<const std::uint8_t> received) {
    Comparison result;
    std::string wrong;
    std::string sent_only;
    for (const Member &member : record.members) {
        const bool stored = member.kept != orva::wire::Kept::kSent;
        result.stored += stored ? 1U : 0U;
        if (!member_is_right(record, member, sent, received)) {
            ++result.differing;
            wrong += std::string(" ") + member.name;
        } else if (!stored) {
            sent_only += std::string(" ") + member.name;
        }
    }
    result.text = wrong.empty() ? "in step" : "NOT in step:" + wrong;
    result.text += sent_only.empty() ? "" : "; not stored by design:" + sent_only;
    return result;
}

// The codec trusts its caller: nothing is decoded before the block was found whole.
Frame sync(const Frame &request, BoardContext &board) {
    const auto body = request.body<SyncBody>();
    const auto records = sync_records();
    if (body.header.word_12 >= records.size() || body.length > sizeof body.block) {
        return make_result(board, request.sequence(), kRefusedArgument);
    }
    const SyncRecord &record = records[body.header.word_12];
    const Record &row = *record.row;
    if (orva_tlv_block_is_whole(body.block, body.length, row.table, static_cast<std::uint32_t>(row.members.size())) ==
        0) {
        return make_result(board, request.sequence(), kRefusedBlock);
    }
    std::vector<std::uint8_t> received(row.size, kUnset);
    const bool decoded = row.decode(body.block, received.data()) == ORVA_OK;
    const Comparison result = compare(record, make_record(record, body.seed), received);
    SyncReportBody report{};
    report.header = reply_header(board, decoded && result.differing == 0 ? ORVA_OK : ORVA_FAILED);
    report.compared = result.stored;
    report.differing = result.differing;
    result.text.copy(report.text, sizeof report.text - 1);
    return make_frame(kNetFnChassisReply, kCmdSync, request.sequence(), report);
}

constexpr std::array kBackupAnswers = {Answer{kNetFnChassis, kCmdSync, sync}};

} // namespace

std::span<const Answer> backup_answers() {
    return kBackupAnswers;
}

} // namespace chassis
