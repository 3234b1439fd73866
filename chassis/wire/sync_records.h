// The configuration records that the two management processes keep in step, and which of their members travel.
#ifndef CHASSIS_WIRE_SYNC_RECORDS_H
#define CHASSIS_WIRE_SYNC_RECORDS_H

#include "orva_tlv_sensor_comm.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace chassis {

struct Member {
    const char *name;
    std::size_t offset;
    std::size_t size;
    bool stored; // false: sent, and left alone by the receiver, by design
};

struct SyncRecord {
    const char *key; // in commands
    const char *name;
    std::size_t size;
    const OrvaTlvDes *table;
    std::uint32_t rows;
    std::uint32_t (*encode)(const void *record, void *block);
    std::uint32_t (*decode)(const void *block, void *record);
    // Makes a record's counts valid; null: it has none.
    void (*finish)(void *record);
    // How many bytes of the member the receiver takes; null: all of each.
    std::size_t (*taken)(const void *record, const Member &member);
    std::span<const Member> members; // those that travel
};

std::span<const SyncRecord> sync_records();

// What the configuration of this seed holds. Both management processes have it from the same source.
std::vector<std::uint8_t> make_record(const SyncRecord &record, std::uint32_t seed);

} // namespace chassis

#endif
