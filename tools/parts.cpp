#include "parts.h"

#include "text.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;
using View = std::span<const std::uint8_t>;

constexpr std::size_t kShownBytes = 16;     // of a value without a meaning
constexpr std::size_t kFaultRowBytes = 16;  // of the bytes around a fault
constexpr std::size_t kAnnotatedBytes = 8;  // of a row with names
constexpr std::size_t kAnnotatedWidth = 23; // of such a row's digits
constexpr std::size_t kWidestName = 40;     // that a column is made as wide as

std::string offset_text(std::size_t offset) {
    char text[24];
    std::snprintf(text, sizeof text, "%06zx", offset);
    return text;
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

View bytes_of(const Part &part, View input) {
    const std::size_t at = std::min(part.at, input.size());
    return input.subspan(at, std::min(part.length, input.size() - at));
}

bool is_zero(View bytes) {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::size_t widest_name(std::span<const Part> parts) {
    std::size_t width = std::string_view("(no name)").size();
    for (const Part &part : parts) {
        width = std::max(width, std::min(part.name.size(), kWidestName));
    }
    return width;
}

std::string shown_name(const Part &part, std::size_t width) {
    return part.name.empty() ? paint(Paint::kDim, padded("(no name)", width))
                             : paint(Paint::kName, padded(part.name, width));
}

// The row that holds a byte and the one before it, with marks below the byte and what follows it in the row.
std::string bytes_around(View input, std::size_t at) {
    if (input.empty()) {
        return {};
    }
    const std::size_t place = std::min(at, input.size());
    const std::size_t row =
        (place == input.size() && place % kFaultRowBytes == 0 ? place - 1 : place) / kFaultRowBytes;
    std::string text;
    for (std::size_t i = row == 0 ? 0 : row - 1; i <= row; ++i) {
        const std::size_t start = i * kFaultRowBytes;
        text += "  " + offset_text(start) + "  " +
                hex_bytes(input.subspan(start, std::min(kFaultRowBytes, input.size() - start))) + '\n';
    }
    const std::size_t column = place - row * kFaultRowBytes;
    return text + std::string(10 + column * 3, ' ') + "^^\n";
}

} // namespace

std::vector<Part> with_gaps(std::vector<Part> parts, std::size_t size) {
    std::ranges::stable_sort(parts, {}, &Part::at);
    std::vector<Part> all;
    std::size_t next = 0;
    for (Part &part : parts) {
        if (part.at > next) {
            all.push_back({next, part.at - next, {}});
        }
        next = std::max(next, part.at + part.length);
        all.push_back(std::move(part));
    }
    if (next < size) {
        all.push_back({next, size - next, {}});
    }
    return all;
}

std::string value_text(const Part &part, View input) {
    std::string text;
    if (part.value.kind == Value::Kind::kNumber) {
        text = std::to_string(part.value.number);
        if (part.value.number > 9) {
            text += " (" + hex_number(static_cast<std::uint32_t>(part.value.number), 1) + ')';
        }
    } else if (part.value.kind == Value::Kind::kText) {
        text = '"' + printable(part.value.text) + '"';
    } else {
        const View bytes = bytes_of(part, input);
        text = hex_bytes(bytes.first(std::min(bytes.size(), kShownBytes)));
        text += bytes.size() > kShownBytes ? " ... " + count_of(bytes.size(), "byte") : "";
    }
    return part.unit.empty() ? text : text + ' ' + part.unit;
}

void print_table(std::span<const Part> parts, View input) {
    const std::size_t names = widest_name(parts);
    for (const Part &part : parts) {
        if (part.name.empty() && is_zero(bytes_of(part, input))) {
            continue;
        }
        const std::string value = value_text(part, input);
        std::cout << "  " << paint(Paint::kDim, offset_text(part.at)) << "  " << shown_name(part, names) << "  "
                  << (part.text.empty() ? paint(Paint::kValue, value)
                                        : paint(Paint::kValue, padded(value, 24)) + "  " + part.text)
                  << '\n';
    }
}

void print_annotated(std::span<const Part> parts, View input) {
    const std::size_t names = widest_name(parts);
    for (const Part &part : parts) {
        const View bytes = bytes_of(part, input);
        const bool shortened = part.name.empty() && bytes.size() > kShownBytes && is_zero(bytes);
        for (std::size_t at = 0; at < bytes.size(); at += kAnnotatedBytes) {
            if (shortened && at != 0) { // zeros without a name go on
                std::cout << "  *\n";
                break;
            }
            const std::string digits = hex_bytes(bytes.subspan(at, std::min(kAnnotatedBytes, bytes.size() - at)));
            std::cout << "  " << paint(Paint::kDim, offset_text(part.at + at)) << "  ";
            if (at != 0 || part.name.empty()) {
                std::cout << digits << '\n';
                continue;
            }
            std::cout << padded(digits, kAnnotatedWidth) << "  " << shown_name(part, names);
            if (part.value.kind != Value::Kind::kNone) {
                std::cout << "  " << paint(Paint::kValue, value_text(part, input));
            }
            std::cout << '\n';
        }
    }
}

Json value_json(const Value &value) {
    switch (value.kind) {
    case Value::Kind::kNumber:
        return value.number;
    case Value::Kind::kText:
        return value.text;
    default:
        return nullptr;
    }
}

Json parts_json(std::span<const Part> parts, View input) {
    Json json = Json::array();
    for (const Part &part : parts) {
        Json row = {{"at", part.at},
                    {"length", part.length},
                    {"name", part.name.empty() ? Json(nullptr) : Json(part.name)},
                    {"bytes", hex_bytes(bytes_of(part, input))},
                    {"value", value_json(part.value)}};
        if (!part.unit.empty()) {
            row["unit"] = part.unit;
        }
        if (!part.text.empty()) {
            row["text"] = part.text;
        }
        json.push_back(std::move(row));
    }
    return json;
}

Json faults_json(std::span<const Fault> faults) {
    Json json = Json::array();
    for (const Fault &fault : faults) {
        json.push_back({{"at", fault.at ? Json(*fault.at) : Json(nullptr)},
                        {"field", fault.field},
                        {"rule", fault.rule},
                        {"expected", fault.expected}});
    }
    return json;
}

int report(std::span<const Fault> faults, View input, const std::string &file) {
    for (const Fault &fault : faults) {
        std::string text = file.empty() ? "" : printable(file) + ": ";
        text += fault.at ? "at byte " + std::to_string(*fault.at) + ": " : "";
        text += fault.rule + " [field " + fault.field + ", expected " + fault.expected + ']';
        fail(text);
        if (fault.at) {
            explain(bytes_around(input, *fault.at));
        }
    }
    return faults.empty() ? kDone : kRejected;
}

} // namespace inspect
