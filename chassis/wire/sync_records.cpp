#include "wire/sync_records.h"

#include <algorithm>
#include <random>
#include <string_view>

namespace chassis {

namespace {

using orva::wire::Kept;

SyncRecord sync_record(const Record &row) {
    SyncRecord record{&row, {}};
    for (std::size_t i = 0; i < row.members.size(); ++i) {
        const Record *nested = orva::wire::record_of(row.table[i].nested);
        if (nested == nullptr) {
            record.members.push_back(row.members[i]);
            continue;
        }
        for (Member inner : nested->members) {
            inner.offset += row.members[i].offset;
            record.members.push_back(inner);
        }
    }
    return record;
}

// Of a member with a count: the byte that counts its elements, each of one byte.
std::size_t count_offset(const SyncRecord &record, const Member &member) {
    const auto count = std::ranges::find_if(
        record.members, [&](const Member &each) { return std::string_view(each.name) == member.count; });
    return count->offset;
}

// A count is at least 1 and at most what its arrays hold.
void make_counts_valid(const SyncRecord &record, std::span<std::uint8_t> bytes) {
    for (const Member &member : record.members) {
        if (member.kept == Kept::kCounted) {
            std::uint8_t &count = bytes[count_offset(record, member)];
            count = static_cast<std::uint8_t>(1 + count % member.bytes);
        }
    }
}

} // namespace

std::span<const SyncRecord> sync_records() {
    static const std::vector<SyncRecord> records = [] {
        std::vector<SyncRecord> all;
        for (const Record *row : kSyncRecordRows) {
            all.push_back(sync_record(*row));
        }
        return all;
    }();
    return records;
}

std::vector<std::uint8_t> make_record(const SyncRecord &record, std::uint32_t seed) {
    std::mt19937 numbers(seed);
    std::vector<std::uint8_t> bytes(record.row->size);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(numbers()); });
    make_counts_valid(record, bytes);
    return bytes;
}

std::size_t taken_bytes(const SyncRecord &record, const Member &member, std::span<const std::uint8_t> sent) {
    if (member.kept == Kept::kCounted) {
        return std::min<std::size_t>(sent[count_offset(record, member)], member.bytes);
    }
    return member.kept == Kept::kSent ? 0 : member.bytes;
}

} // namespace chassis
