#include "wire/sync_records.h"

#include "wire_record_table.h"

#include <algorithm>
#include <random>

namespace chassis {

namespace {

namespace described = orva::wire;

// Where the member is that counts a list's bytes.
std::optional<std::size_t> place_of_count(const described::Record &record, const described::Member &list) {
    const auto count = std::ranges::find_if(record.members, [&list](const described::Member &member) {
        return std::string_view(member.name) == list.count;
    });
    return count != record.members.end() ? std::optional<std::size_t>(count->offset) : std::nullopt;
}

// The members of a record, those of a nested one with the nested structure's name and place.
void add_members(std::vector<Member> &members, const described::Record &record, const std::string &prefix,
                 std::size_t base) {
    for (std::size_t i = 0; i < record.members.size(); ++i) {
        const described::Member &member = record.members[i];
        if (const described::Record *const nested = described::record_of(record.table[i].nested)) {
            add_members(members, *nested, prefix + member.name + ".", base + member.offset);
            continue;
        }
        members.push_back({prefix + member.name, base + member.offset, member.bytes,
                           member.kept != described::Kept::kSent, place_of_count(record, member)});
    }
}

// "power supply" as "power-supply".
std::string key_of(std::string_view title) {
    std::string key;
    for (const char letter : title) {
        key += letter == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return key;
}

// Those that travel on their own.
std::vector<SyncRecord> all_records() {
    std::vector<SyncRecord> records;
    for (const described::Record &record : described::kRecords) {
        if (record.encode == nullptr) {
            continue;
        }
        SyncRecord made{key_of(record.title),
                        record.title,
                        record.size,
                        record.table,
                        static_cast<std::uint32_t>(record.members.size()),
                        record.encode,
                        record.decode,
                        {}};
        add_members(made.members, record, "", 0);
        records.push_back(std::move(made));
    }
    return records;
}

} // namespace

std::size_t Member::taken(std::span<const std::uint8_t> record) const {
    if (!stored) {
        return 0;
    }
    return count_at ? std::min<std::size_t>(record[*count_at], size) : size;
}

std::span<const SyncRecord> sync_records() {
    static const std::vector<SyncRecord> records = all_records();
    return records;
}

std::vector<std::uint8_t> make_record(const SyncRecord &record, std::uint32_t seed) {
    std::mt19937 numbers(seed);
    std::vector<std::uint8_t> bytes(record.size);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(numbers()); });
    for (const Member &member : record.members) {
        if (member.count_at) {
            bytes[*member.count_at] = static_cast<std::uint8_t>(1 + bytes[*member.count_at] % member.size);
        }
    }
    return bytes;
}

} // namespace chassis
