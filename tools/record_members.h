// The records that travel as TLV blocks: the library's descriptor table of each, and the names of its members.
#ifndef INSPECT_RECORD_MEMBERS_H
#define INSPECT_RECORD_MEMBERS_H

#include "orva_tlv_sensor_comm.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace inspect {

struct Member {
    std::size_t offset; // in the host structure
    const char *name;
    bool ignored; // sent, but not stored by a receiver
};

struct Record {
    const char *key; // on the command line
    const OrvaTlvDes *table;
    std::uint32_t rows;
    std::span<const Member> members;
    const Record *nested; // of the one structure member, or null
};

// Null when there is no record of this key.
const Record *find_record(std::string_view key);

std::vector<std::string_view> record_keys();

// The member that a row of the record's table describes, or null.
const Member *find_member(const Record &record, const OrvaTlvDes &row);

} // namespace inspect

#endif
