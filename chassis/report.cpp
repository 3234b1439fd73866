#include "report.h"

#include <array>
#include <cstdio>
#include <iostream>

namespace chassis {

void Report::step(const std::string &text) {
    std::cout << "== " << text << std::endl;
}

void Report::line(const std::string &text) {
    std::cout << "   " << text << std::endl;
}

void Report::check(const std::string &text, bool seen) {
    ++asked_;
    seen_ += seen ? 1U : 0U;
    std::cout << (seen ? "   [seen]   " : "   [MISSED] ") << text << std::endl;
}

void Report::check_count(const std::string &text, std::uint64_t expected, std::uint64_t seen) {
    const std::string end = expected == seen ? "" : ", expected " + std::to_string(expected);
    check(text + ": " + std::to_string(seen) + end, expected == seen);
}

void Report::skip(const std::string &text) {
    std::cout << "   [SKIPPED] " << text << std::endl;
}

std::string hex_text(std::uint32_t number, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%0*X", digits, number);
    return text.data();
}

std::string address_text(std::uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 0xFF) + "." +
           std::to_string(address >> 8 & 0xFF) + "." + std::to_string(address & 0xFF);
}

} // namespace chassis
