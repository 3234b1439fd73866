#include "tlv_block.h"

#include "orva_additions.h"
#include "text.h"

#include <algorithm>

namespace inspect {

namespace {

using View = std::span<const std::uint8_t>;

constexpr std::size_t kReservedAt = 8;

std::string place(std::size_t at) {
    return "at byte " + std::to_string(at) + ": ";
}

std::string item_name(const TlvItem &item, std::size_t index) {
    std::string name = "item " + std::to_string(index + 1) + ", tag " + std::to_string(item.tag);
    if (item.member != nullptr) {
        name += ' ';
        name += name_of(*item.member);
    }
    return name;
}

// Nested blocks stand back to back, one for each element of the member.
void take_apart_nested(TlvItem &item, const Record &record) {
    const std::size_t start = item.at + ORVA_TLV_ITEM_HEADER;
    const std::uint32_t elements = item.row->elemSize != 0 ? item.row->totalLen / item.row->elemSize : 0;
    std::size_t used = 0;
    for (std::uint32_t k = 0; k < elements; ++k) {
        item.blocks.push_back(take_apart_block(item.value.subspan(used), start + used, &record));
        const TlvBlock &block = item.blocks.back();
        if (!block.faults.empty()) {
            return;
        }
        used += block.length;
    }
    if (used < item.value.size()) {
        item.blocks.back().notes.push_back(place(start + used) + count_of(item.value.size() - used, "byte") +
                                           " of the item after the nested block");
    }
}

// Holds a whole item against the record's row for its tag.
void check_item(TlvItem &item, std::size_t index, TlvBlock &block) {
    if (item.row == nullptr) {
        block.notes.push_back(place(item.at) + item_name(item, index) + ": no tag of the record, receivers skip it");
        return;
    }
    const Record *const nested = item.row->nested != nullptr ? orva::wire::record_of(item.row->nested) : nullptr;
    if (nested != nullptr) {
        take_apart_nested(item, *nested);
        return;
    }
    const std::string holds = item_name(item, index) + ": " + count_of(item.length, "value byte") +
                              ", the member takes " + std::to_string(item.row->totalLen);
    if (item.length < item.row->totalLen) {
        block.faults.push_back(place(item.at) + holds);
    } else if (item.length > item.row->totalLen) {
        block.notes.push_back(place(item.at) + holds);
    }
}

// Takes one item, whose header is inside `left`. Returns false when the walk must stop.
bool take_item(TlvBlock &block, View left, std::size_t at, const Record *record) {
    TlvItem item{at, ORVA_TLV_GetTag(left.data()), ORVA_TLV_GetLength(left.data()), {}, nullptr, nullptr, {}};
    const std::size_t index = block.items.size();
    if (record != nullptr) {
        const auto member = std::ranges::find(record->members, item.tag, &Member::tag);
        if (member != record->members.end()) {
            item.member = &*member;
            item.row = &record->table[member - record->members.begin()];
        }
    }
    const View after = left.subspan(ORVA_TLV_ITEM_HEADER);
    item.value = after.first(std::min<std::size_t>(item.length, after.size()));
    if (item.length == 0) {
        block.faults.push_back(place(at) + item_name(item, index) + ": length 0, receivers stop here");
    } else if (item.length > after.size()) {
        block.faults.push_back(place(at) + item_name(item, index) + ": " + count_of(item.length, "value byte") +
                               " announced, " + std::to_string(after.size()) + " left");
    } else if (record != nullptr) {
        check_item(item, index, block);
    }
    const bool whole = item.length != 0 && item.length <= after.size();
    block.items.push_back(std::move(item));
    return whole;
}

void take_items(TlvBlock &block, View bytes, const Record *record) {
    std::size_t used = ORVA_TLV_BLOCK_HEADER;
    for (std::uint32_t i = 0; i < block.count; ++i) {
        if (bytes.size() - used < ORVA_TLV_ITEM_HEADER) {
            block.faults.push_back(
                place(block.at + used) + "item " + std::to_string(i + 1) + " of " + std::to_string(block.count) +
                " missing: " + count_of(bytes.size() - used, "byte") + " left, tag and length take 4");
            return;
        }
        if (!take_item(block, bytes.subspan(used), block.at + used, record)) {
            return;
        }
        used += ORVA_TLV_ITEM_HEADER + block.items.back().length;
    }
    if (used < bytes.size()) {
        block.faults.push_back(place(block.at + used) + count_of(bytes.size() - used, "byte") +
                               " of the block after its last item");
    }
}

void note_missing_tags(TlvBlock &block, const Record &record) {
    for (const Member &member : record.members) {
        if (std::ranges::find(block.items, member.tag, &TlvItem::tag) == block.items.end()) {
            block.notes.push_back("tag " + std::to_string(member.tag) + " " + name_of(member) + " is absent");
        }
    }
}

} // namespace

TlvBlock take_apart_block(View bytes, std::size_t at, const Record *record) {
    TlvBlock block{at, 0, 0, {}, {}, {}};
    if (bytes.size() < ORVA_TLV_BLOCK_HEADER) {
        block.faults.push_back(place(at) + "block header truncated: " + count_of(bytes.size(), "byte") +
                               " left, it takes 16");
        return block;
    }
    block.count = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                  static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    block.length = ORVA_TLV_GetRemoteLength(bytes.data());
    if (std::ranges::any_of(bytes.subspan(kReservedAt, 8), [](std::uint8_t byte) { return byte != 0; })) {
        block.notes.push_back(place(at + kReservedAt) + "the reserved bytes are not 0");
    }
    if (block.length < ORVA_TLV_BLOCK_HEADER) {
        block.faults.push_back(place(at + 4) + "block length " + std::to_string(block.length) +
                               " is less than the header's 16 bytes");
        return block;
    }
    if (block.length > bytes.size()) {
        block.faults.push_back(place(at + 4) + "block truncated: " + count_of(block.length, "byte") + " announced, " +
                               std::to_string(bytes.size()) + " left");
    }
    take_items(block, bytes.first(std::min<std::size_t>(block.length, bytes.size())), record);
    if (record != nullptr && block.faults.empty()) {
        note_missing_tags(block, *record);
    }
    return block;
}

const Record *find_record(std::string_view key) {
    const auto record = std::ranges::find(orva::wire::kRecords, key, &Record::key);
    return record != orva::wire::kRecords.end() ? &*record : nullptr;
}

std::string name_of(const Member &member) {
    return *member.also != 0 ? std::string(member.name) + " (" + member.also + ")" : member.name;
}

std::vector<std::string> faults_of(const TlvBlock &block) {
    std::vector<std::string> faults;
    for (const TlvItem &item : block.items) {
        for (const TlvBlock &nested : item.blocks) {
            const std::vector<std::string> inner = faults_of(nested);
            faults.insert(faults.end(), inner.begin(), inner.end());
        }
    }
    faults.insert(faults.end(), block.faults.begin(), block.faults.end());
    return faults;
}

} // namespace inspect
