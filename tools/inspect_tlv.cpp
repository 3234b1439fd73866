// A TLV block as text or JSON.
#include "commands.h"
#include "text.h"
#include "tlv_block.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

// The value as one number, when it is one: a member's element, or 1, 2 or 4 bytes of unknown meaning.
std::optional<std::uint32_t> value_as_number(const TlvItem &item) {
    std::size_t width = item.value.size();
    if (item.row != nullptr) {
        if (item.row->nested != nullptr || item.row->elemSize != item.row->totalLen || item.row->totalLen > width) {
            return std::nullopt;
        }
        width = item.row->totalLen;
    }
    if (item.value.size() != item.length || (width != 1 && width != 2 && width != 4)) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    for (const std::uint8_t byte : item.value.first(width)) {
        number = number << 8 | byte;
    }
    return number;
}

Json json_of(const TlvBlock &block);

Json json_of(const TlvItem &item) {
    Json json = {{"at", item.at}, {"tag", item.tag}, {"length", item.length}, {"bytes", hex_bytes(item.value)}};
    if (item.member != nullptr) {
        json["member"] = name_of(*item.member);
        json["stored"] = item.member->kept != orva::wire::Kept::kSent;
    }
    if (const auto number = value_as_number(item)) {
        json["value"] = *number;
    }
    for (const TlvBlock &block : item.blocks) {
        json["blocks"].push_back(json_of(block));
    }
    return json;
}

Json json_of(const TlvBlock &block) {
    Json json = {{"at", block.at}, {"count", block.count}, {"length", block.length}, {"items", Json::array()}};
    for (const TlvItem &item : block.items) {
        json["items"].push_back(json_of(item));
    }
    json["notes"] = block.notes;
    return json;
}

void print(const TlvBlock &block, const std::string &indent) {
    std::cout << indent << "block: " << count_of(block.count, "item") << ", " << count_of(block.length, "byte")
              << '\n';
    for (const TlvItem &item : block.items) {
        std::cout << indent << "  tag " << item.tag << ", length " << item.length;
        if (item.member != nullptr) {
            std::cout << ", " << name_of(*item.member);
        }
        if (item.blocks.empty() && !item.value.empty()) {
            std::cout << ": " << hex_bytes(item.value);
        }
        if (const auto number = value_as_number(item)) {
            std::cout << " (" << *number << ')';
        }
        const bool isIgnored = item.member != nullptr && item.member->kept == orva::wire::Kept::kSent;
        std::cout << (isIgnored ? ", not stored by receivers\n" : "\n");
        for (const TlvBlock &nested : item.blocks) {
            print(nested, indent + "    ");
        }
    }
    for (const std::string &note : block.notes) {
        std::cout << indent << "  note: " << note << '\n';
    }
}

} // namespace

namespace {

int inspect_block(const Files &files, const std::string &path, const Record *record, Shown shown,
                  Document &document) {
    const Input input = read_bytes(path, files.form, kInputLimit);
    if (input.status != kDone) {
        return input.status;
    }
    const Bytes &bytes = input.bytes;
    TlvBlock block = take_apart_block(bytes, 0, record);
    const std::vector<Fault> faults = faults_of(block);
    const std::size_t rest = bytes.size() > block.length ? bytes.size() - block.length : 0;
    if (faults.empty() && rest != 0) {
        block.notes.push_back(count_of(rest, "byte") + " of the input after the block");
    }
    if (shown == Shown::kJson) {
        Json json = {{"file", path}};
        json.update(json_of(block));
        json["record"] = record != nullptr ? Json(record->key) : Json(nullptr);
        json["document"] = record != nullptr && rest == 0 ? document_of(block, *record) : Json(nullptr);
        json["faults"] = faults_json(faults);
        document.add(json);
    } else {
        print_title(files.shown(path));
        if (shown == Shown::kAnnotated) {
            print_annotated(with_gaps(parts_of(block), bytes.size()), bytes);
        } else if (bytes.size() >= ORVA_TLV_BLOCK_HEADER) {
            print(block, "");
        }
    }
    return report(faults, bytes, files.shown(path));
}

} // namespace

int inspect_tlv(const Files &files, const Record *record, Shown shown) {
    Document document("tlv", shown == Shown::kJson);
    int status = kDone;
    for (const std::string &path : files.paths) {
        status = std::max(status, inspect_block(files, path, record, shown, document));
    }
    document.end();
    return status;
}

} // namespace inspect
