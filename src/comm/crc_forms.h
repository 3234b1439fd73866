// The two forms of CRC that the library knows, CRC-16 (polynomial 0x1021, most significant bit first) and the
// reflected CRC-32, with their tables, and the look-up way to compute them, for processors without better.
// Nothing here knows the exported tables: callers have made sure that those hold exactly the standard values.
#ifndef ORVA_CRC_FORMS_H
#define ORVA_CRC_FORMS_H

#include <cstddef>
#include <cstdint>

#include "bytes.h"

namespace orva::crc {

inline constexpr std::size_t kWordBytes = 8;

// A form of CRC says how a byte enters the register and where the register lies in the next word of the message.
// kPolynomial has its term of degree kBits left out and its highest term at the top, whatever the form's bit order.
struct Crc16 {
    using Register = std::uint16_t;
    static constexpr unsigned kBits = 16;
    static constexpr std::uint32_t kPolynomial = 0x1021;
    static constexpr bool kIsReflected = false;
    static constexpr Register shift_bit(Register r) {
        return static_cast<Register>((r & 0x8000u) != 0 ? r << 1 ^ 0x1021 : r << 1);
    }
    static constexpr Register first(std::uint32_t byte) {
        return static_cast<Register>(byte << 8);
    }
    static constexpr std::uint8_t index(Register r) {
        return static_cast<std::uint8_t>(r >> 8);
    }
    static constexpr Register shift_byte(Register r) {
        return static_cast<Register>(r << 8);
    }
    [[gnu::always_inline]] static std::uint64_t load_word(const std::uint8_t *data) {
        return __builtin_bswap64(load_host<std::uint64_t>(data));
    }
    [[gnu::always_inline]] static std::uint64_t place(Register r) {
        return std::uint64_t{r} << 48;
    }
    [[gnu::always_inline]] static std::uint8_t byte(std::uint64_t word, unsigned nth) {
        return static_cast<std::uint8_t>(word >> (56 - 8 * nth));
    }
};

struct Crc32 {
    using Register = std::uint32_t;
    static constexpr unsigned kBits = 32;
    static constexpr std::uint32_t kPolynomial = 0x04C11DB7;
    static constexpr bool kIsReflected = true;
    static constexpr Register shift_bit(Register r) {
        return (r & 1u) != 0 ? r >> 1 ^ 0xEDB88320u : r >> 1;
    }
    static constexpr Register first(std::uint32_t byte) {
        return byte;
    }
    static constexpr std::uint8_t index(Register r) {
        return static_cast<std::uint8_t>(r);
    }
    static constexpr Register shift_byte(Register r) {
        return r >> 8;
    }
    [[gnu::always_inline]] static std::uint64_t load_word(const std::uint8_t *data) {
        return load_host<std::uint64_t>(data);
    }
    [[gnu::always_inline]] static std::uint64_t place(Register r) {
        return r;
    }
    [[gnu::always_inline]] static std::uint8_t byte(std::uint64_t word, unsigned nth) {
        return static_cast<std::uint8_t>(word >> 8 * nth);
    }
};

// row[k][b] is the register of byte b followed by k zero bytes. A plain array: std::array's accessors stay calls
// where a compiler may not look through public symbols.
template <typename Register>
struct Tables {
    Register row[kWordBytes][256];
};

template <typename Form>
consteval Tables<typename Form::Register> make_tables() {
    Tables<typename Form::Register> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        auto r = Form::first(byte);
        for (int bit = 0; bit < 8; ++bit) {
            r = Form::shift_bit(r);
        }
        tables.row[0][byte] = r;
    }
    for (std::size_t zeros = 1; zeros < kWordBytes; ++zeros) {
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            const auto r = tables.row[zeros - 1][byte];
            tables.row[zeros][byte] =
                static_cast<typename Form::Register>(Form::shift_byte(r) ^ tables.row[0][Form::index(r)]);
        }
    }
    return tables;
}

template <typename Form>
inline constexpr Tables<typename Form::Register> kTables = make_tables<Form>();

static_assert(kTables<Crc16>.row[0][1] == 0x1021 && kTables<Crc16>.row[0][255] == 0x1EF0);
static_assert(kTables<Crc32>.row[0][1] == 0x77073096 && kTables<Crc32>.row[0][255] == 0x2D02EF8D);

// Long inputs are summed as several streams over neighbouring stretches, because each step waits for the one before
// it in its stream. Their registers are put together by moving them over a stretch of zeros: row[k][n] is what the
// nibble n at bit 4k of a register becomes.
template <typename Form>
struct StretchTable {
    typename Form::Register row[Form::kBits / 4][16];
};

template <typename Form, std::size_t Bytes>
consteval StretchTable<Form> make_stretch_table() {
    StretchTable<Form> table{};
    for (unsigned bit = 0; bit < Form::kBits; ++bit) {
        auto r = static_cast<typename Form::Register>(std::uint32_t{1} << bit);
        for (std::size_t zeros = 0; zeros < Bytes; ++zeros) {
            r = static_cast<typename Form::Register>(Form::shift_byte(r) ^ kTables<Form>.row[0][Form::index(r)]);
        }
        table.row[bit / 4][1u << bit % 4] = r;
    }
    for (auto &row : table.row) {
        for (std::uint32_t nibble = 1; nibble < 16; ++nibble) {
            row[nibble] = row[nibble & (nibble - 1)] ^ row[nibble & -nibble];
        }
    }
    return table;
}

template <typename Form, std::size_t Bytes>
inline constexpr StretchTable<Form> kStretch = make_stretch_table<Form, Bytes>();

template <typename Form>
[[gnu::always_inline]] inline typename Form::Register skip_stretch(const StretchTable<Form> &table,
                                                                   typename Form::Register r) {
    typename Form::Register moved = 0;
#pragma GCC unroll 8
    for (unsigned nibble = 0; nibble < Form::kBits / 4; ++nibble) {
        moved ^= table.row[nibble][r >> 4 * nibble & 0xF];
    }
    return moved;
}

// The register after `word`, which the register before it has been placed in.
template <typename Form>
[[gnu::always_inline]] inline typename Form::Register look_up(std::uint64_t word) {
    constexpr auto &kRow = kTables<Form>.row;
    return static_cast<typename Form::Register>(kRow[7][Form::byte(word, 0)] ^ kRow[6][Form::byte(word, 1)] ^
                                                kRow[5][Form::byte(word, 2)] ^ kRow[4][Form::byte(word, 3)] ^
                                                kRow[3][Form::byte(word, 4)] ^ kRow[2][Form::byte(word, 5)] ^
                                                kRow[1][Form::byte(word, 6)] ^ kRow[0][Form::byte(word, 7)]);
}

// The register after `length` bytes of `data`, entering with `r`: look-ups alone, which every processor can do. Once
// in the library, and not inlined: few processors need it. For the same reason its loops are not unrolled.
template <typename Form>
[[gnu::noinline]] inline typename Form::Register advance_by_look_up(typename Form::Register r,
                                                                    const std::uint8_t *data, std::size_t length) {
    constexpr std::size_t kStreams = 4;
    constexpr std::size_t kShort = 16;
    constexpr std::size_t kLong = 64;
    static constexpr StretchTable<Form> kStretches[] = {make_stretch_table<Form, kShort>(),
                                                        make_stretch_table<Form, kLong>()};
    while (length >= kStreams * kShort) {
        const bool isLong = length >= kStreams * kLong;
        const std::size_t stretch = isLong ? kLong : kShort;
        const StretchTable<Form> &table = kStretches[isLong];
        typename Form::Register streams[kStreams] = {r};
#pragma GCC unroll 1
        for (const std::uint8_t *const end = data + stretch; data < end; data += kWordBytes) {
#pragma GCC unroll 4
            for (std::size_t k = 0; k < kStreams; ++k) {
                streams[k] = look_up<Form>(Form::load_word(data + k * stretch) ^ Form::place(streams[k]));
            }
        }
        data += (kStreams - 1) * stretch;
        length -= kStreams * stretch;
        r = streams[0];
        for (std::size_t k = 1; k < kStreams; ++k) {
            r = static_cast<typename Form::Register>(skip_stretch<Form>(table, r) ^ streams[k]);
        }
    }
#pragma GCC unroll 1
    for (; length >= kWordBytes; length -= kWordBytes, data += kWordBytes) {
        r = look_up<Form>(Form::load_word(data) ^ Form::place(r));
    }
#pragma GCC unroll 1
    for (; length > 0; --length, ++data) {
        r = static_cast<typename Form::Register>(kTables<Form>.row[0][*data ^ Form::index(r)] ^ Form::shift_byte(r));
    }
    return r;
}

} // namespace orva::crc

#endif
