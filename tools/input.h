// What the sub-commands read: a file or the standard input, bounded, as bytes or as hexadecimal text.
#ifndef INSPECT_INPUT_H
#define INSPECT_INPUT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace inspect {

using Bytes = std::vector<std::uint8_t>;

// Of a message, a block or a document.
inline constexpr std::size_t kInputLimit = std::size_t{1} << 20;

enum class InputForm { kDetect, kHex, kBinary };

// What reading gave: bytes, or after a message the exit status.
struct Input {
    Bytes bytes;
    int status = 0;
};

// The whole of a file, or of the standard input for "-". kInputOutput when it cannot be read, kRejected when it is
// longer than `limit` bytes.
Input read_input(const std::string &path, std::size_t limit);

// The same, and the bytes that the input stands for.
Input read_bytes(const std::string &path, InputForm form, std::size_t limit);

// The bytes that an input stands for. What xxd and hexdump -C print is read as such. Other hexadecimal text: pairs of
// digits, separated by blanks, line ends, commas or colons or by nothing, each group with or without 0x. Detection
// takes as text what consists of such characters only. Nothing, after a message, for anything else.
std::optional<Bytes> bytes_of(Bytes input, InputForm form);

} // namespace inspect

#endif
