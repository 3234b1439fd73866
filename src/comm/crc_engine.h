// CRC engine: the fast forms of CRC-16 (polynomial 0x1021, most significant bit first) and of the reflected CRC-32
// over constant tables. They know nothing of the exported tables: whoever calls them has made sure that those hold
// exactly the standard values. One look-up a byte: 16 bytes a step, and for long inputs several interleaved streams
// of 8-byte words, each of which skips the words of the others.
#ifndef ORVA_CRC_ENGINE_H
#define ORVA_CRC_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bytes.h"

#if defined(__aarch64__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#if !defined(__clang__)
#include <arm_acle.h>
#endif
#endif

namespace orva::crc {

inline constexpr std::size_t kWordBytes = 8;
inline constexpr std::size_t kStreams = 4;
inline constexpr std::size_t kBlockBytes = kStreams * kWordBytes;
// From this length the streams pay for putting their registers together.
inline constexpr std::size_t kStreamedBytes = 6 * kBlockBytes;

// near[k][b] is the register of byte b followed by k zero bytes; skip[k][b] the same behind the words of the other
// streams. Plain arrays: std::array's accessors stay calls where a compiler may not look through public symbols.
template <typename Register>
struct Tables {
    Register near[2 * kWordBytes][256];
    Register skip[kWordBytes][256];
};

// A form of CRC says how a byte enters the register and where the register lies in the next word of the message.
struct Crc16 {
    using Register = std::uint16_t;
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

template <typename Form>
consteval Tables<typename Form::Register> make_tables() {
    Tables<typename Form::Register> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        auto r = Form::first(byte);
        for (int bit = 0; bit < 8; ++bit) {
            r = Form::shift_bit(r);
        }
        tables.near[0][byte] = r;
    }
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        auto r = tables.near[0][byte];
        for (std::size_t zeros = 1; zeros < kBlockBytes; ++zeros) {
            r = static_cast<typename Form::Register>(Form::shift_byte(r) ^ tables.near[0][Form::index(r)]);
            if (zeros < 2 * kWordBytes) {
                tables.near[zeros][byte] = r;
            }
            if (zeros >= kBlockBytes - kWordBytes) {
                tables.skip[zeros - (kBlockBytes - kWordBytes)][byte] = r;
            }
        }
    }
    return tables;
}

template <typename Form>
inline constexpr Tables<typename Form::Register> kTables = make_tables<Form>();

static_assert(kTables<Crc16>.near[0][1] == 0x1021 && kTables<Crc16>.near[0][255] == 0x1EF0);
static_assert(kTables<Crc32>.near[0][1] == 0x77073096 && kTables<Crc32>.near[0][255] == 0x2D02EF8D);

template <typename Register>
[[gnu::always_inline]] inline bool is_standard(const Register (&table)[256], const Tables<Register> &tables) {
    return std::memcmp(table, tables.near[0], sizeof table) == 0;
}

// The register behind `word`, with the look-ups in rows[7] for its first byte down to rows[0] for its last.
template <typename Form>
[[gnu::always_inline]] inline typename Form::Register look_up(const typename Form::Register (*rows)[256],
                                                              std::uint64_t word) {
    return static_cast<typename Form::Register>(rows[7][Form::byte(word, 0)] ^ rows[6][Form::byte(word, 1)] ^
                                                rows[5][Form::byte(word, 2)] ^ rows[4][Form::byte(word, 3)] ^
                                                rows[3][Form::byte(word, 4)] ^ rows[2][Form::byte(word, 5)] ^
                                                rows[1][Form::byte(word, 6)] ^ rows[0][Form::byte(word, 7)]);
}

// Whole blocks of one word per stream. All but the last go with the skipping tables; the last one runs through the
// streams in order and so puts their registers together.
template <typename Form>
inline typename Form::Register advance_streams(typename Form::Register r, const std::uint8_t *data,
                                               std::size_t blocks) {
    constexpr auto &kRows = kTables<Form>;
    typename Form::Register streams[kStreams] = {r};
    for (; blocks > 1; --blocks, data += kBlockBytes) {
#pragma GCC unroll 8
        for (std::size_t k = 0; k < kStreams; ++k) {
            const std::uint64_t word = Form::load_word(data + k * kWordBytes) ^ Form::place(streams[k]);
            streams[k] = look_up<Form>(kRows.skip, word);
        }
    }
    r = 0;
#pragma GCC unroll 8
    for (std::size_t k = 0; k < kStreams; ++k, data += kWordBytes) {
        const auto entering = static_cast<typename Form::Register>(streams[k] ^ r);
        r = look_up<Form>(kRows.near, Form::load_word(data) ^ Form::place(entering));
    }
    return r;
}

// The register behind `length` bytes of `data`, entering with `r`.
template <typename Form>
inline typename Form::Register advance(typename Form::Register r, const std::uint8_t *data, std::size_t length) {
    constexpr auto &kRows = kTables<Form>;
    if (length >= kStreamedBytes) {
        const std::size_t blocks = length / kBlockBytes;
        r = advance_streams<Form>(r, data, blocks);
        data += blocks * kBlockBytes;
        length -= blocks * kBlockBytes;
    }
    for (; length >= 2 * kWordBytes; length -= 2 * kWordBytes, data += 2 * kWordBytes) {
        r = static_cast<typename Form::Register>(
            look_up<Form>(kRows.near + kWordBytes, Form::load_word(data) ^ Form::place(r)) ^
            look_up<Form>(kRows.near, Form::load_word(data + kWordBytes)));
    }
    if (length >= kWordBytes) {
        r = look_up<Form>(kRows.near, Form::load_word(data) ^ Form::place(r));
        data += kWordBytes;
        length -= kWordBytes;
    }
    for (; length > 0; --length, ++data) {
        r = static_cast<typename Form::Register>(kRows.near[0][*data ^ Form::index(r)] ^ Form::shift_byte(r));
    }
    return r;
}

#if defined(__aarch64__)

// The processor's CRC-32 instructions: three streams over neighbouring stretches, because each instruction waits for
// the one before it in its stream.
#if defined(__clang__)
#define ORVA_TARGET_CRC32 __attribute__((target("crc")))
#define ORVA_CRC32_DOUBLE_WORD __builtin_arm_crc32d
#define ORVA_CRC32_BYTE __builtin_arm_crc32b
#else
#define ORVA_TARGET_CRC32 __attribute__((target("+crc")))
#define ORVA_CRC32_DOUBLE_WORD __crc32d
#define ORVA_CRC32_BYTE __crc32b
#endif

inline constexpr std::size_t kStretchBytes = 256;

// row[k][b] is the register that b in the k-th byte of a register becomes behind a stretch of zero bytes.
struct StretchTable {
    std::uint32_t row[4][256];
};

consteval StretchTable make_stretch_table() {
    StretchTable table{};
    for (std::uint32_t bit = 0; bit < 32; ++bit) {
        std::uint32_t r = 1u << bit;
        for (std::size_t zeros = 0; zeros < kStretchBytes; ++zeros) {
            r = Crc32::shift_byte(r) ^ kTables<Crc32>.near[0][Crc32::index(r)];
        }
        table.row[bit / 8][1u << bit % 8] = r;
    }
    for (auto &row : table.row) {
        for (std::uint32_t byte = 1; byte < 256; ++byte) {
            row[byte] = row[byte & (byte - 1)] ^ row[byte & -byte];
        }
    }
    return table;
}

inline constexpr StretchTable kStretch = make_stretch_table();

[[gnu::always_inline]] inline std::uint32_t skip_stretch(std::uint32_t r) {
    return kStretch.row[0][r & 0xFF] ^ kStretch.row[1][r >> 8 & 0xFF] ^ kStretch.row[2][r >> 16 & 0xFF] ^
           kStretch.row[3][r >> 24];
}

inline bool has_crc32_instructions() {
    return (getauxval(AT_HWCAP) & HWCAP_CRC32) != 0;
}

// As advance<Crc32>; only where has_crc32_instructions().
ORVA_TARGET_CRC32 inline std::uint32_t advance_by_instructions(std::uint32_t r, const std::uint8_t *data,
                                                               std::size_t length) {
    for (; length >= 3 * kStretchBytes; length -= 3 * kStretchBytes, data += 3 * kStretchBytes) {
        std::uint32_t second = 0;
        std::uint32_t third = 0;
        for (std::size_t at = 0; at < kStretchBytes; at += kWordBytes) {
            r = ORVA_CRC32_DOUBLE_WORD(r, Crc32::load_word(data + at));
            second = ORVA_CRC32_DOUBLE_WORD(second, Crc32::load_word(data + kStretchBytes + at));
            third = ORVA_CRC32_DOUBLE_WORD(third, Crc32::load_word(data + 2 * kStretchBytes + at));
        }
        r = skip_stretch(skip_stretch(r) ^ second) ^ third;
    }
    for (; length >= kWordBytes; length -= kWordBytes, data += kWordBytes) {
        r = ORVA_CRC32_DOUBLE_WORD(r, Crc32::load_word(data));
    }
    for (; length > 0; --length, ++data) {
        r = ORVA_CRC32_BYTE(r, *data);
    }
    return r;
}

#endif

// The CRC-32 register behind `length` bytes of `data`, by the best way that this processor has.
inline std::uint32_t advance_crc32(std::uint32_t r, const std::uint8_t *data, std::size_t length) {
#if defined(__aarch64__)
    if (has_crc32_instructions()) {
        return advance_by_instructions(r, data, length);
    }
#endif
    return advance<Crc32>(r, data, length);
}

} // namespace orva::crc

#endif
