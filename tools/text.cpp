#include "text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <numeric>
#include <utility>
#include <vector>

namespace inspect {

std::optional<std::uint32_t> number_of(std::string_view text) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex) {
        text.remove_prefix(2);
    }
    std::uint32_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, hex ? 16 : 10);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return number;
}

int digit_value(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

std::string hex_number(std::uint32_t number, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, number);
    return text;
}

std::string hex_bytes(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

std::string count_of(std::uint64_t count, const std::string &thing) {
    return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

std::string printable(std::string_view text) {
    std::string shown;
    for (const char character : text) {
        if (character == '\\') {
            shown += "\\\\";
        } else if (character >= 0x20 && character < 0x7F) {
            shown += character;
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(character));
            shown += escape;
        }
    }
    return shown;
}

namespace {

// Letters to insert, remove or replace (Levenshtein distance).
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

} // namespace

std::string nearest(std::string_view word, std::span<const std::string> candidates) {
    std::string found;
    std::size_t least = std::max<std::size_t>(word.size(), 2) / 2 + 1;
    for (const std::string &candidate : candidates) {
        const std::size_t changes = distance(word, candidate);
        if (changes < least) {
            least = changes;
            found = candidate;
        }
    }
    return found;
}

std::string did_you_mean(std::string_view word, std::span<const std::string> candidates) {
    const std::string near = nearest(word, candidates);
    return near.empty() ? near : "; did you mean " + near + '?';
}

std::string json_text(const nlohmann::ordered_json &document) {
    return document.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

void print_json(const nlohmann::ordered_json &document) {
    std::cout << json_text(document) << '\n';
}

namespace {

Document *g_open_document = nullptr; // that messages wait for

} // namespace

Document::Document(std::string_view command, bool json) : json_(json) {
    if (json_) {
        g_open_document = this;
        std::cout << "{\n  \"schema\": " << kSchemaVersion << ",\n  \"command\": \"" << command
                  << "\",\n  \"results\": [";
    }
}

void Document::add(const nlohmann::ordered_json &result) {
    if (!json_) {
        return;
    }
    std::string text = empty_ ? "\n    " : ",\n    ";
    empty_ = false;
    for (const char character : json_text(result)) { // a line end is never inside a string
        text += character;
        text += character == '\n' ? "    " : "";
    }
    std::cout << text;
}

Document::~Document() {
    g_open_document = nullptr;
}

void Document::end() {
    if (json_) {
        std::cout << (empty_ ? "]\n}\n" : "\n  ]\n}\n");
        g_open_document = nullptr;
        explain(messages_);
    }
}

namespace {

bool g_paints_output = false;
bool g_paints_messages = false;

const char *escape_of(Paint kind) {
    switch (kind) {
    case Paint::kName:
        return "\x1b[36m";
    case Paint::kValue:
        return "\x1b[1m";
    case Paint::kDim:
        return "\x1b[2m";
    case Paint::kBad:
        return "\x1b[31m";
    default:
        return "\x1b[32m";
    }
}

} // namespace

void use_colour(bool output, bool messages) {
    g_paints_output = output;
    g_paints_messages = messages;
}

std::string paint(Paint kind, const std::string &text) {
    return g_paints_output && !text.empty() ? escape_of(kind) + text + "\x1b[0m" : text;
}

void print_title(const std::string &file) {
    if (!file.empty()) {
        std::cout << paint(Paint::kDim, "== " + printable(file)) << '\n';
    }
}

int fail(const std::string &message) {
    const std::string name = "orva-inspect:";
    explain((g_paints_messages ? escape_of(Paint::kBad) + name + "\x1b[0m" : name) + ' ' + message + '\n');
    return kRejected;
}

int fail_input_output(const std::string &message) {
    fail(message);
    return kInputOutput;
}

void explain(const std::string &lines) {
    if (g_open_document != nullptr) {
        g_open_document->messages_ += lines;
        return;
    }
    std::cout.flush();
    std::cerr << lines;
}

} // namespace inspect
