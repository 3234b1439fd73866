// Hex text of bytes, by table: two lower-case digits a byte, with a blank before or after them.
#ifndef ORVA_HEX_TEXT_H
#define ORVA_HEX_TEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orva {

inline constexpr std::size_t kHexCharsPerByte = 3;

enum class HexBlank : std::uint8_t { Before, After };

// " 00 " to " ff ": the text with the blank before starts at 0, the one with the blank after at 1.
using HexCell = std::array<char, 4>;

consteval std::array<HexCell, 256> make_hex_cells() {
    constexpr char kDigits[] = "0123456789abcdef";
    std::array<HexCell, 256> cells{};
    for (std::size_t value = 0; value < cells.size(); ++value) {
        cells[value] = {' ', kDigits[value >> 4], kDigits[value & 0xF], ' '};
    }
    return cells;
}

inline constexpr std::array<HexCell, 256> kHexCells = make_hex_cells();

// Writes `count` bytes as " %02x" or "%02x " each, kHexCharsPerByte characters a byte and no zero; returns the end.
template <HexBlank Blank>
inline char *write_hex(char *out, const std::uint8_t *data, std::size_t count) {
    constexpr std::size_t kFirst = Blank == HexBlank::Before ? 0 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(out, kHexCells[data[i]].data() + kFirst, kHexCharsPerByte);
        out += kHexCharsPerByte;
    }
    return out;
}

} // namespace orva

#endif
