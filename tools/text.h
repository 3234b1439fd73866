// Numbers and bytes as text, and how every sub-command ends.
#ifndef INSPECT_TEXT_H
#define INSPECT_TEXT_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace inspect {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kUsage = 2;

// A whole text as an unsigned 32-bit number: decimal, or hexadecimal after 0x.
std::optional<std::uint32_t> number_of(std::string_view text);

// The value of a hexadecimal digit, or -1.
int digit_value(char digit);

// `number` as 0x and at least `digits` hexadecimal digits.
std::string hex_number(std::uint32_t number, int digits);

// Bytes as "0a ff".
std::string hex_bytes(std::span<const std::uint8_t> bytes);

// "1 byte", "2 bytes".
std::string count_of(std::uint64_t count, const std::string &thing);

// Text from outside that cannot steer a terminal: everything but printable ASCII as \xNN, a backslash doubled.
std::string printable(std::string_view text);

// The candidate that the fewest changed letters make of the word; empty when half of its letters would change.
std::string nearest(std::string_view word, std::span<const std::string> candidates);

// A document as text without a line end, in printable ASCII: everything else is escaped. Bytes that are no UTF-8 are
// replaced.
std::string json_text(const nlohmann::ordered_json &document);

void print_json(const nlohmann::ordered_json &document);

// Writes a message to the standard error; the result is kFailed.
int fail(const std::string &message);

} // namespace inspect

#endif
