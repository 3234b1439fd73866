// The configuration records that the two management processes keep in step: those of the wire that travel in a block
// of their own.
#ifndef CHASSIS_WIRE_SYNC_RECORDS_H
#define CHASSIS_WIRE_SYNC_RECORDS_H

#include "wire_record_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace chassis {

using orva::wire::Member;
using orva::wire::Record;

// The other one has no encoder; GCC does not compare that with null at compile time when it watches for null.
constexpr bool has_own_block(const Record &record) {
    return std::string_view(record.key) != "delay";
}

inline constexpr std::size_t kSyncRecords =
    static_cast<std::size_t>(std::ranges::count_if(orva::wire::kRecords, has_own_block));

inline constexpr std::array<const Record *, kSyncRecords> kSyncRecordRows = [] {
    std::array<const Record *, kSyncRecords> rows{};
    std::size_t count = 0;
    for (const Record &record : orva::wire::kRecords) {
        if (has_own_block(record)) {
            rows[count++] = &record;
        }
    }
    return rows;
}();

struct SyncRecord {
    const Record *row;
    std::vector<Member> members; // with a nested record's own in the place of the member that holds it
};

std::span<const SyncRecord> sync_records();

// What the configuration of this seed holds. Both management processes have it from the same source.
std::vector<std::uint8_t> make_record(const SyncRecord &record, std::uint32_t seed);

// How many of the member's bytes a receiver takes.
std::size_t taken_bytes(const SyncRecord &record, const Member &member, std::span<const std::uint8_t> sent);

} // namespace chassis

#endif
