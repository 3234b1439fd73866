// The configuration records that the two management processes keep in step, and which of their members travel.
#ifndef CHASSIS_WIRE_SYNC_RECORDS_H
#define CHASSIS_WIRE_SYNC_RECORDS_H

#include "orva_tlv_sensor_comm.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace chassis {

struct Member {
    std::string name; // with its structure's name when it is nested
    std::size_t offset;
    std::size_t size;
    bool stored; // false: sent, and left alone by the receiver, by design
    // Of a list, where the number of bytes that count is in the record.
    std::optional<std::size_t> count_at;

    // How many bytes of the member the receiver takes from a record.
    std::size_t taken(std::span<const std::uint8_t> record) const;
};

struct SyncRecord {
    std::string key; // in commands
    const char *name;
    std::size_t size;
    const OrvaTlvDes *table;
    std::uint32_t rows;
    std::uint32_t (*encode)(const void *record, void *block);
    std::uint32_t (*decode)(const void *block, void *record);
    std::vector<Member> members; // those that travel
};

std::span<const SyncRecord> sync_records();

// What the configuration of this seed holds. Both management processes have it from the same source.
std::vector<std::uint8_t> make_record(const SyncRecord &record, std::uint32_t seed);

} // namespace chassis

#endif
