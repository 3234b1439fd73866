#include "backup_step.h"

#include "flood.h"
#include "sync_records.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>

namespace chassis {

namespace {

constexpr std::chrono::milliseconds kPatience{5000};

SyncBody encoded(const SyncRecord &record, std::uint32_t number, std::uint32_t seed) {
    SyncBody body{};
    const auto bytes = make_record(record, seed);
    const std::uint32_t length = ORVA_TLV_CalcTlvBufSize(record.table, record.rows);
    if (length > sizeof body.block || record.encode(bytes.data(), body.block) != length) {
        throw std::logic_error(std::string("the block of the record ") + record.name);
    }
    body.header.word = number;
    body.seed = seed;
    body.length = length;
    return body;
}

void synchronise(Manager &manager, Report &report, const SyncRecord &record, const SyncBody &body) {
    Board &backup = manager.backup();
    const auto reply =
        manager.exchange(backup, manager.request_frame(backup, kNetFnChassis, kCmdSync, body), kPatience);
    if (!reply || reply->type->command != kCmdSync) {
        report.check(std::string(record.name) + " record: the backup does not take it, " +
                         hex_text(result_code(reply)),
                     false);
        return;
    }
    const auto answer = reply->body<SyncReportBody>();
    const std::string text(answer.text, strnlen(answer.text, sizeof answer.text));
    const auto stored = static_cast<std::uint32_t>(std::ranges::count(record.members, true, &Member::stored));
    report.check(std::string(record.name) + " record, " + std::to_string(body.length) + " bytes, " +
                     std::to_string(answer.compared) + " members stored: " + text,
                 answer.header.word == ORVA_OK && answer.compared == stored && answer.differing == 0);
}

// A block that was cut on its way must not reach the codec.
void cut_block(Manager &manager, Report &report, SyncBody body) {
    Board &backup = manager.backup();
    --body.length;
    const auto reply =
        manager.exchange(backup, manager.request_frame(backup, kNetFnChassis, kCmdSync, body), kPatience);
    report.check("a block without its last byte is refused with " + hex_text(kRefusedBlock),
                 result_code(reply) == kRefusedBlock);
}

} // namespace

void keep_in_step(Manager &manager, Report &report) {
    report.step("configuration records to the backup management process");
    std::random_device seeds;
    std::uint32_t number = 0;
    SyncBody last{};
    for (const SyncRecord &record : sync_records()) {
        last = encoded(record, number++, seeds());
        synchronise(manager, report, record, last);
    }
    cut_block(manager, report, last);
}

} // namespace chassis
