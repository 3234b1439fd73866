#include "tlv_block.h"

#include "orva_additions.h"
#include "text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using View = std::span<const std::uint8_t>;

constexpr std::size_t kReservedAt = 8;
constexpr const char *kHeader = "header";

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

Fault lack_of_value(const TlvItem &item, std::size_t index, std::size_t left) {
    return {item.at, item_name(item, index),
            item_name(item, index) + ": " + count_of(item.length, "value byte") + " announced, " +
                std::to_string(left) + " left",
            "1 to " + std::to_string(left)};
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
    const std::string name = item_name(item, index);
    const std::string holds = name + ": " + count_of(item.length, "value byte") + ", the member takes " +
                              std::to_string(item.row->totalLen);
    if (item.length < item.row->totalLen) {
        block.faults.push_back({item.at, name, holds, std::to_string(item.row->totalLen) + " or more"});
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
        block.faults.push_back(
            {at, item_name(item, index), item_name(item, index) + ": length 0, receivers stop here", "1 or more"});
    } else if (item.length > after.size()) {
        block.faults.push_back(lack_of_value(item, index, after.size()));
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
            const std::string which = "item " + std::to_string(i + 1);
            block.faults.push_back({block.at + used, which,
                                    which + " of " + std::to_string(block.count) + " missing: " +
                                        count_of(bytes.size() - used, "byte") + " left, tag and length take 4",
                                    "4 bytes or more"});
            return;
        }
        if (!take_item(block, bytes.subspan(used), block.at + used, record)) {
            return;
        }
        used += ORVA_TLV_ITEM_HEADER + block.items.back().length;
    }
    if (used < bytes.size()) {
        block.faults.push_back({block.at + used, "count",
                                count_of(bytes.size() - used, "byte") + " of the block after its last item",
                                "the block to end at byte " + std::to_string(block.at + used)});
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
        block.faults.push_back({at, kHeader,
                                "block header truncated: " + count_of(bytes.size(), "byte") + " left, it takes 16",
                                "16 bytes or more"});
        return block;
    }
    block.count = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                  static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    block.length = ORVA_TLV_GetRemoteLength(bytes.data());
    if (std::ranges::any_of(bytes.subspan(kReservedAt, 8), [](std::uint8_t byte) { return byte != 0; })) {
        block.notes.push_back(place(at + kReservedAt) + "the reserved bytes are not 0");
    }
    if (block.length < ORVA_TLV_BLOCK_HEADER) {
        block.faults.push_back(
            {at + 4, "length", "block length " + std::to_string(block.length) + " is less than the header's 16 bytes",
             "16 to " + std::to_string(bytes.size())});
        return block;
    }
    if (block.length > bytes.size()) {
        block.faults.push_back({at + 4, "length",
                                "block truncated: " + count_of(block.length, "byte") + " announced, " +
                                    std::to_string(bytes.size()) + " left",
                                "16 to " + std::to_string(bytes.size())});
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

std::vector<Fault> faults_of(const TlvBlock &block) {
    std::vector<Fault> faults;
    for (const TlvItem &item : block.items) {
        for (const TlvBlock &nested : item.blocks) {
            const std::vector<Fault> inner = faults_of(nested);
            faults.insert(faults.end(), inner.begin(), inner.end());
        }
    }
    faults.insert(faults.end(), block.faults.begin(), block.faults.end());
    return faults;
}

// ---- Parts and documents

namespace {

std::uint64_t number_of(View bytes) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes) {
        number = number << 8 | byte;
    }
    return number;
}

bool is_number(const TlvItem &item) {
    return item.value.size() == item.length && (item.length == 1 || item.length == 2 || item.length == 4) &&
           (item.row == nullptr || (item.row->elemSize == item.row->totalLen && item.row->totalLen == item.length));
}

void add_parts(std::vector<Part> &parts, const TlvBlock &block, const std::string &prefix) {
    if (!block.faults.empty() && block.faults.front().field == kHeader) {
        return; // there is not even that
    }
    parts.push_back({block.at, 4, prefix + "count", Value::of(block.count), "items"});
    parts.push_back({block.at + 4, 4, prefix + "length", Value::of(block.length), "bytes"});
    for (std::size_t i = 0; i < block.items.size(); ++i) {
        const TlvItem &item = block.items[i];
        const std::string name =
            prefix + (item.member != nullptr ? item.member->name : "item " + std::to_string(i + 1));
        const char *const text = item.member != nullptr ? item.member->text : "";
        parts.push_back({item.at, 2, name + " tag", Value::of(item.tag)});
        parts.push_back({item.at + 2, 2, name + " length", Value::of(item.length), "bytes"});
        if (item.blocks.empty()) {
            const Value value = is_number(item) ? Value::of(number_of(item.value)) : Value();
            parts.push_back({item.at + ORVA_TLV_ITEM_HEADER, item.value.size(), name, value, {}, text});
        }
        for (const TlvBlock &nested : item.blocks) {
            add_parts(parts, nested, name + '.');
        }
    }
}

nlohmann::ordered_json value_of(const TlvItem &item) {
    const std::uint32_t width = item.row->elemSize;
    if (item.row->totalLen == width) {
        return number_of(item.value);
    }
    nlohmann::ordered_json elements = nlohmann::ordered_json::array();
    for (std::size_t at = 0; at + width <= item.value.size(); at += width) {
        elements.push_back(number_of(item.value.subspan(at, width)));
    }
    return elements;
}

// Whether the items are the record's members, each once, in order and of its length.
bool is_as_encoded(const TlvBlock &block, const Record &record) {
    return block.faults.empty() && block.items.size() == record.members.size() &&
           std::ranges::equal(block.items, record.members, [](const TlvItem &item, const Member &member) {
               return item.member == &member && (!item.blocks.empty() || item.length == item.row->totalLen);
           });
}

bool add_members(nlohmann::ordered_json &document, const TlvBlock &block, const Record &record) {
    if (!is_as_encoded(block, record)) {
        return false;
    }
    for (const TlvItem &item : block.items) {
        nlohmann::ordered_json &place = document[item.member->name];
        if (item.blocks.empty()) {
            place = value_of(item);
            continue;
        }
        place = nlohmann::ordered_json::object();
        const TlvBlock &nested = item.blocks.front();
        if (item.blocks.size() != 1 || nested.length != item.length ||
            !add_members(place, nested, *orva::wire::record_of(item.row->nested))) {
            return false;
        }
    }
    return true;
}

} // namespace

std::vector<Part> parts_of(const TlvBlock &block) {
    std::vector<Part> parts;
    add_parts(parts, block, "");
    return parts;
}

nlohmann::ordered_json document_of(const TlvBlock &block, const Record &record) {
    nlohmann::ordered_json document = {{"record", record.key}};
    return add_members(document, block, record) ? document : nlohmann::ordered_json(nullptr);
}

} // namespace inspect
