// Two messages or two blocks, field by field.
#include "commands.h"
#include "text.h"
#include "tlv_block.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

struct Side {
    std::string path;
    Bytes bytes;
    std::vector<Part> parts;
    std::vector<Fault> faults;
    std::string what; // family or record
    int status = kDone;
};

struct Difference {
    std::size_t at;
    std::string field;
    const Part *part_a; // null: the field is not there
    const Part *part_b;
};

Side read_side(const std::string &path, InputForm form, const MessageForm &message, const Record *record) {
    Side side;
    side.path = path;
    Input input = read_bytes(path, form, kInputLimit);
    side.status = input.status;
    side.bytes = std::move(input.bytes);
    if (side.status != kDone) {
        return side;
    }
    if (record != nullptr) {
        const TlvBlock block = take_apart_block(side.bytes, 0, record);
        side.parts = with_gaps(parts_of(block), side.bytes.size());
        side.faults = faults_of(block);
        side.what = record->key;
        return side;
    }
    MessageView view = take_apart_message(side.bytes, message);
    side.parts = std::move(view.parts);
    side.faults = std::move(view.faults);
    side.what = view.family != nullptr ? view.family->family : "";
    return side;
}

std::span<const std::uint8_t> bytes_of(const Side &side, const Part &part) {
    const std::size_t at = std::min(part.at, side.bytes.size());
    return std::span(side.bytes).subspan(at, std::min(part.length, side.bytes.size() - at));
}

bool is_zero(std::span<const std::uint8_t> bytes) {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

// The parts by name: bytes without one by their place, a name that occurs twice with its number. Zeros without a name
// say nothing.
std::map<std::string, const Part *> by_name(const Side &side) {
    std::map<std::string, const Part *> parts;
    std::map<std::string, int> times;
    for (const Part &part : side.parts) {
        if (part.name.empty() && is_zero(bytes_of(side, part))) {
            continue;
        }
        std::string key = part.name;
        if (key.empty()) {
            key = "(no name, " + count_of(part.length, "byte") + ") " + std::to_string(part.at);
        } else if (const int number = ++times[part.name]; number > 1) {
            key += " #" + std::to_string(number);
        }
        parts.emplace(key, &part);
    }
    return parts;
}

bool is_equal(const Side &a, const Part &part_a, const Side &b, const Part &part_b) {
    return part_a.value.kind != Value::Kind::kNone ? part_a.value == part_b.value
                                                   : std::ranges::equal(bytes_of(a, part_a), bytes_of(b, part_b));
}

std::vector<Difference> differences_of(const Side &a, const Side &b) {
    std::vector<Difference> differences;
    const auto parts_a = by_name(a);
    const auto parts_b = by_name(b);
    for (const auto &[name, part] : parts_a) {
        const auto other = parts_b.find(name);
        if (other == parts_b.end()) {
            differences.push_back({part->at, name, part, nullptr});
        } else if (!is_equal(a, *part, b, *other->second)) {
            differences.push_back({part->at, name, part, other->second});
        }
    }
    for (const auto &[name, part] : parts_b) {
        if (!parts_a.contains(name)) {
            differences.push_back({part->at, name, nullptr, part});
        }
    }
    std::ranges::sort(differences, {}, [](const Difference &row) { return std::pair(row.at, row.field); });
    return differences;
}

std::string shown(const Side &side, const Part *part) {
    return part != nullptr ? value_text(*part, side.bytes) : "-";
}

Json value_of(const Side &side, const Part *part) {
    if (part == nullptr) {
        return nullptr;
    }
    return part->value.kind == Value::Kind::kNone ? Json(hex_bytes(bytes_of(side, *part))) : value_json(part->value);
}

void print(const Side &a, const Side &b, const std::vector<Difference> &differences) {
    if (differences.empty()) {
        std::cout << "no field differs\n";
        return;
    }
    std::size_t names = 0;
    std::size_t values = 0;
    for (const Difference &row : differences) {
        names = std::max(names, row.field.size());
        values = std::max(values, shown(a, row.part_a).size());
    }
    for (const Difference &row : differences) {
        std::string field = row.field;
        std::string value = shown(a, row.part_a);
        field.resize(names, ' ');
        value.resize(values, ' ');
        std::cout << "  " << paint(Paint::kName, field) << "  " << paint(Paint::kBad, value) << "  "
                  << paint(Paint::kGood, shown(b, row.part_b)) << '\n';
    }
    std::cout << count_of(differences.size(), "field") << (differences.size() == 1 ? " differs\n" : " differ\n");
}

Json json_of(const Side &a, const Side &b, const std::vector<Difference> &differences) {
    Json json = {{"a", a.path},
                 {"b", b.path},
                 {"of", a.what.empty() ? Json(nullptr) : Json(a.what)},
                 {"equal", differences.empty()},
                 {"differences", Json::array()},
                 {"faultsA", faults_json(a.faults)},
                 {"faultsB", faults_json(b.faults)}};
    for (const Difference &row : differences) {
        json["differences"].push_back(
            {{"at", row.at}, {"field", row.field}, {"a", value_of(a, row.part_a)}, {"b", value_of(b, row.part_b)}});
    }
    return json;
}

} // namespace

int inspect_diff(const Files &files, const MessageForm &form, const Record *record, bool json) {
    const Side a = read_side(files.paths[0], files.form, form, record);
    const Side b = read_side(files.paths[1], files.form, form, record);
    if (a.status != kDone || b.status != kDone) {
        return std::max(a.status, b.status);
    }
    const std::vector<Difference> differences = differences_of(a, b);
    Document document("diff", json);
    if (json) {
        document.add(json_of(a, b, differences));
    } else {
        print(a, b, differences);
    }
    document.end();
    const int status = std::max(report(a.faults, a.bytes, a.path), report(b.faults, b.bytes, b.path));
    return differences.empty() ? status : kRejected;
}

} // namespace inspect
