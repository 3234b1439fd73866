#include "text.h"

#include <charconv>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

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

std::string json_text(const nlohmann::ordered_json &document) {
    return document.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

void print_json(const nlohmann::ordered_json &document) {
    std::cout << json_text(document) << '\n';
}

int fail(const std::string &message) {
    std::cout.flush();
    std::cerr << "orva-inspect: " << message << '\n';
    return kFailed;
}

} // namespace inspect
