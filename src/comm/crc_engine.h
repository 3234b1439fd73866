// CRC engine: the best way to compute a form of CRC that this processor has. The processor is asked once, when the
// first checksum needs it.
#ifndef ORVA_CRC_ENGINE_H
#define ORVA_CRC_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "crc_folding.h"
#include "crc_forms.h"
#include "relaxed.h"

#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(__aarch64__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#if !defined(__clang__)
#include <arm_acle.h>
#endif
#endif

namespace orva::crc {

// What a processor has, as bits.
enum Feature : std::uint8_t {
    kAsked = 1,
    kFolding = 2,
    kWideFolding = 4,
    kCrc32Instructions = 8,
};

#if defined(__x86_64__)

// Whether the kernel keeps the registers of 512 bits.
inline bool keeps_wide_registers() {
    constexpr std::uint32_t kStates = 0xE6; // SSE, AVX and the three of AVX-512
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (low & kStates) == kStates;
}

inline std::uint8_t ask_processor() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_PCLMUL) == 0 || (c & bit_SSE4_1) == 0) {
        return kAsked;
    }
    if ((c & bit_OSXSAVE) == 0 || !keeps_wide_registers() || __get_cpuid_count(7, 0, &a, &b, &c, &d) == 0 ||
        (b & bit_AVX512F) == 0 || (b & bit_AVX512BW) == 0 || (c & bit_VPCLMULQDQ) == 0) {
        return kAsked | kFolding;
    }
    return kAsked | kFolding | kWideFolding;
}

#elif defined(__aarch64__)

inline std::uint8_t ask_processor() {
    const unsigned long has = getauxval(AT_HWCAP);
    return static_cast<std::uint8_t>(kAsked | ((has & HWCAP_PMULL) != 0 ? kFolding : 0) |
                                     ((has & HWCAP_CRC32) != 0 ? kCrc32Instructions : 0));
}

#else

inline std::uint8_t ask_processor() {
    return kAsked;
}

#endif

// 0 until the processor was asked. Tests set it, to force a way.
inline std::uint8_t known_features;

inline std::uint8_t features() {
    std::uint8_t known = relaxed_load(&known_features);
    if (known == 0) [[unlikely]] {
        known = ask_processor();
        relaxed_store(&known_features, known);
    }
    return known;
}

#if defined(__aarch64__)

// The processor's CRC-32 instructions, in three streams.
#if defined(__clang__)
#define ORVA_TARGET_CRC32 __attribute__((target("crc")))
#define ORVA_CRC32_DOUBLE_WORD __builtin_arm_crc32d
#define ORVA_CRC32_BYTE __builtin_arm_crc32b
#else
#define ORVA_TARGET_CRC32 __attribute__((target("+crc")))
#define ORVA_CRC32_DOUBLE_WORD __crc32d
#define ORVA_CRC32_BYTE __crc32b
#endif

// As advance_by_look_up<Crc32>; only where the processor has the instructions.
ORVA_TARGET_CRC32 inline std::uint32_t advance_by_instructions(std::uint32_t r, const std::uint8_t *data,
                                                               std::size_t length) {
    constexpr std::size_t kStretchBytes = 256;
    constexpr const StretchTable<Crc32> &kTable = kStretch<Crc32, kStretchBytes>;
    for (; length >= 3 * kStretchBytes; length -= 3 * kStretchBytes, data += 3 * kStretchBytes) {
        std::uint32_t second = 0;
        std::uint32_t third = 0;
        for (std::size_t at = 0; at < kStretchBytes; at += kWordBytes) {
            r = ORVA_CRC32_DOUBLE_WORD(r, Crc32::load_word(data + at));
            second = ORVA_CRC32_DOUBLE_WORD(second, Crc32::load_word(data + kStretchBytes + at));
            third = ORVA_CRC32_DOUBLE_WORD(third, Crc32::load_word(data + 2 * kStretchBytes + at));
        }
        r = skip_stretch(kTable, skip_stretch(kTable, r) ^ second) ^ third;
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

// Whether `table` holds the standard values of the form.
template <typename Form>
[[gnu::always_inline]] inline bool is_standard(const typename Form::Register (&table)[256]) {
#if defined(__x86_64__)
    if ((features() & kWideFolding) != 0) {
        return equal_by_wide_loads(table, kTables<Form>.row[0], sizeof table);
    }
#endif
    return std::memcmp(table, kTables<Form>.row[0], sizeof table) == 0;
}

// The register after `length` bytes of `data`, entering with `r`.
template <typename Form>
[[gnu::always_inline]] inline typename Form::Register advance(typename Form::Register r, const std::uint8_t *data,
                                                              std::size_t length) {
    [[maybe_unused]] const std::uint8_t has = features();
#if defined(__aarch64__)
    if constexpr (Form::kIsReflected) {
        if ((has & kCrc32Instructions) != 0) {
            return advance_by_instructions(r, data, length);
        }
    }
#endif
#if defined(ORVA_HAS_FOLDING)
    if (length >= kBlockBytes) {
#if defined(__x86_64__)
        if ((has & kWideFolding) != 0) {
            return advance_by_wide_folding<Form>(r, data, length);
        }
#endif
        if ((has & kFolding) != 0) {
            return advance_by_folding<Form>(r, data, length);
        }
    }
#endif
    return advance_by_look_up<Form>(r, data, length);
}

} // namespace orva::crc

#endif
