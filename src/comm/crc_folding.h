// CRC by carry-less multiplication: 16 bytes of the message at a time are a polynomial, which is moved over the bytes
// that follow it by multiplying it with a constant, and added to them. One engine for both forms of CRC: they differ
// in the order of the bytes, in the half of a vector that comes first in the message, and in constants.
#ifndef ORVA_CRC_FOLDING_H
#define ORVA_CRC_FOLDING_H

#include <cstddef>
#include <cstdint>

#include "crc_forms.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define ORVA_HAS_FOLDING 1
#define ORVA_FOLDING __attribute__((target("pclmul,sse4.1")))
#elif defined(__aarch64__)
#include <arm_neon.h>
#define ORVA_HAS_FOLDING 1
#if defined(__clang__)
#define ORVA_FOLDING __attribute__((target("aes")))
#else
#define ORVA_FOLDING __attribute__((target("+crypto")))
#endif
#endif

namespace orva::crc {

inline constexpr std::size_t kBlockBytes = 16;
inline constexpr unsigned kBlockBits = 128;

// Two 64-bit halves as they lie in a vector register.
struct alignas(16) Halves {
    std::uint64_t low;
    std::uint64_t high;
};

// x^degree modulo the polynomial of the form.
template <typename Form>
constexpr std::uint64_t power_of_x(unsigned degree) {
    std::uint64_t r = 1;
    for (; degree > 0; --degree) {
        r <<= 1;
        r ^= (r >> Form::kBits) * (Form::kPolynomial | std::uint64_t{1} << Form::kBits);
    }
    return r;
}

// floor(x^(64 + kBits) / polynomial) without its term of degree 64.
template <typename Form>
constexpr std::uint64_t quotient_of_x() {
    std::uint64_t quotient = 0;
    std::uint64_t rest = Form::kPolynomial; // after the first step, which gives the term of degree 64
    for (unsigned step = 0; step < 64; ++step) {
        rest <<= 1;
        const std::uint64_t bit = rest >> Form::kBits;
        rest ^= bit * (Form::kPolynomial | std::uint64_t{1} << Form::kBits);
        quotient = quotient << 1 | bit;
    }
    return quotient;
}

constexpr std::uint64_t reverse_bits(std::uint64_t value) {
    std::uint64_t reversed = 0;
    for (int bit = 0; bit < 64; ++bit) {
        reversed |= (value >> bit & 1) << (63 - bit);
    }
    return reversed;
}

// A reflected product comes out one bit low, so that its constants are one degree less.
template <typename Form>
inline constexpr unsigned kLag = Form::kIsReflected ? 1 : 0;

// `first` goes to the half that comes first in the message. Both are polynomials of a degree below 64.
template <typename Form>
constexpr Halves halves_of(std::uint64_t first, std::uint64_t second) {
    if (Form::kIsReflected) {
        return {reverse_bits(first), reverse_bits(second)};
    }
    return {second, first};
}

// Moves a block on by `bits`.
template <typename Form>
consteval Halves fold_constant(unsigned bits) {
    return halves_of<Form>(power_of_x<Form>(64 + bits - kLag<Form>), power_of_x<Form>(bits - kLag<Form>));
}

// The last block becomes the register: it is multiplied by x^64 and reduced by the polynomial times x^(64 - kBits),
// so that no half has to be shifted by an odd number of bits (Barrett's reduction).
template <typename Form>
consteval Halves reduce_constant() {
    return halves_of<Form>(power_of_x<Form>(64 + Form::kBits - kLag<Form>) << (64 - Form::kBits), 0);
}
template <typename Form>
consteval Halves quotient_constant() {
    // A reflected product that is one bit low takes the upper 64 of the 65 bits, the other one the lower 64.
    const std::uint64_t low = quotient_of_x<Form>();
    return halves_of<Form>(Form::kIsReflected ? low >> 1 | std::uint64_t{1} << 63 : low, 0);
}
template <typename Form>
consteval Halves polynomial_constant() {
    return halves_of<Form>(std::uint64_t{Form::kPolynomial} << (64 - Form::kBits - kLag<Form>), 0);
}

template <typename Form, unsigned Bits>
inline constexpr Halves kFold = fold_constant<Form>(Bits);
template <typename Form>
inline constexpr Halves kReduce = reduce_constant<Form>();
template <typename Form>
inline constexpr Halves kQuotient = quotient_constant<Form>();
template <typename Form>
inline constexpr Halves kPolynomial = polynomial_constant<Form>();

// Bytes 16 to 31 are 0 to 15; what is read before or after them selects zeros.
struct alignas(16) Slide {
    std::uint8_t select[3 * kBlockBytes];
};
consteval Slide make_slide() {
    Slide slide{};
    for (unsigned i = 0; i < sizeof slide.select; ++i) {
        slide.select[i] = static_cast<std::uint8_t>(i / kBlockBytes == 1 ? i % kBlockBytes : 0x80);
    }
    return slide;
}
inline constexpr Slide kSlide = make_slide();

#if defined(ORVA_HAS_FOLDING)

// The few vector operations that the engine is made of.
#define ORVA_LANE [[gnu::always_inline]] ORVA_FOLDING inline

#if defined(__x86_64__)

using Block = __m128i;

ORVA_LANE Block load_block(const void *from) {
    return _mm_loadu_si128(static_cast<const __m128i *>(from));
}
ORVA_LANE Block load_constant(const Halves &halves) {
    return _mm_load_si128(reinterpret_cast<const __m128i *>(&halves));
}
ORVA_LANE Block add(Block a, Block b) {
    return _mm_xor_si128(a, b);
}
ORVA_LANE Block select_bytes(Block from, Block which) {
    return _mm_shuffle_epi8(from, which);
}
ORVA_LANE Block in_low_bytes(std::uint32_t value) {
    return _mm_cvtsi32_si128(static_cast<int>(value));
}
ORVA_LANE Block multiply_low(Block a, Block b) {
    return _mm_clmulepi64_si128(a, b, 0x00);
}
ORVA_LANE Block multiply_high(Block a, Block b) {
    return _mm_clmulepi64_si128(a, b, 0x11);
}
ORVA_LANE Block low_to_high(Block a) {
    return _mm_slli_si128(a, 8);
}
ORVA_LANE Block high_to_low(Block a) {
    return _mm_srli_si128(a, 8);
}
ORVA_LANE std::uint64_t low_of(Block a) {
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(a));
}
ORVA_LANE std::uint64_t high_of(Block a) {
    return static_cast<std::uint64_t>(_mm_extract_epi64(a, 1));
}
ORVA_LANE Block reverse_bytes(Block a) {
    return select_bytes(a, _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
}

#else

using Block = uint8x16_t;

ORVA_LANE Block load_block(const void *from) {
    return vld1q_u8(static_cast<const std::uint8_t *>(from));
}
ORVA_LANE Block load_constant(const Halves &halves) {
    return vreinterpretq_u8_u64(vld1q_u64(&halves.low));
}
ORVA_LANE Block add(Block a, Block b) {
    return veorq_u8(a, b);
}
ORVA_LANE Block select_bytes(Block from, Block which) {
    return vqtbl1q_u8(from, which);
}
ORVA_LANE Block in_low_bytes(std::uint32_t value) {
    return vreinterpretq_u8_u32(vsetq_lane_u32(value, vdupq_n_u32(0), 0));
}
// Written out, because not every compiler's header offers them to a function that asks for them by attribute.
ORVA_LANE Block multiply_low(Block a, Block b) {
    Block product;
    __asm__("pmull %0.1q, %1.1d, %2.1d" : "=w"(product) : "w"(a), "w"(b));
    return product;
}
ORVA_LANE Block multiply_high(Block a, Block b) {
    Block product;
    __asm__("pmull2 %0.1q, %1.2d, %2.2d" : "=w"(product) : "w"(a), "w"(b));
    return product;
}
ORVA_LANE Block low_to_high(Block a) {
    return vextq_u8(vdupq_n_u8(0), a, 8);
}
ORVA_LANE Block high_to_low(Block a) {
    return vextq_u8(a, vdupq_n_u8(0), 8);
}
ORVA_LANE std::uint64_t low_of(Block a) {
    return vgetq_lane_u64(vreinterpretq_u64_u8(a), 0);
}
ORVA_LANE std::uint64_t high_of(Block a) {
    return vgetq_lane_u64(vreinterpretq_u64_u8(a), 1);
}
ORVA_LANE Block reverse_bytes(Block a) {
    const Block swapped = vrev64q_u8(a);
    return vextq_u8(swapped, swapped, 8);
}

#endif

// Bytes of the message as the polynomial that they are.
template <typename Form>
ORVA_LANE Block in_order(Block bytes) {
    if constexpr (Form::kIsReflected) {
        return bytes;
    } else {
        return reverse_bytes(bytes);
    }
}

// The register as the first bytes of a message that it is added to.
template <typename Form>
ORVA_LANE Block as_bytes(typename Form::Register r) {
    if constexpr (Form::kIsReflected) {
        return in_low_bytes(r);
    } else {
        return in_low_bytes(byte_swap(r));
    }
}

template <typename Form, unsigned Bits>
ORVA_LANE Block fold(Block block) {
    const Block constant = load_constant(kFold<Form, Bits>);
    return add(multiply_low(block, constant), multiply_high(block, constant));
}

template <typename Form>
ORVA_LANE Block multiply_first(Block a, const Halves &constant) {
    return Form::kIsReflected ? multiply_low(a, load_constant(constant)) : multiply_high(a, load_constant(constant));
}

// The register at the end of the message. `block` is its last block, with everything before it folded in.
template <typename Form>
ORVA_LANE typename Form::Register reduce(Block block) {
    const Block second = Form::kIsReflected ? high_to_low(block) : low_to_high(block);
    const Block scaled = add(multiply_first<Form>(block, kReduce<Form>), second);
    Block quotient = multiply_first<Form>(scaled, kQuotient<Form>);
    if constexpr (!Form::kIsReflected) {
        quotient = add(quotient, scaled); // the term of degree 64, which the constant leaves out
    }
    const Block rest = add(scaled, multiply_first<Form>(quotient, kPolynomial<Form>));
    if constexpr (Form::kIsReflected) {
        return static_cast<typename Form::Register>(high_of(rest));
    } else {
        return static_cast<typename Form::Register>(low_of(rest) >> (64 - Form::kBits));
    }
}

template <typename Form>
ORVA_LANE Block load_in_order(const std::uint8_t *data) {
    return in_order<Form>(load_block(data));
}

// Takes the odd bytes at the start of the message, so that whole blocks are left. They become a block of their own,
// with zeros in front; the result is what that block adds to the first whole one.
template <typename Form>
ORVA_LANE Block enter(typename Form::Register r, const std::uint8_t *&data, std::size_t &length) {
    const Block start = as_bytes<Form>(r);
    const std::size_t odd = length % kBlockBytes;
    if (odd == 0) {
        return in_order<Form>(start);
    }
    const Block head = select_bytes(add(load_block(data), start), load_block(kSlide.select + odd));
    const Block beyond = select_bytes(start, load_block(kSlide.select + kBlockBytes + odd));
    data += odd;
    length -= odd;
    return add(fold<Form, kBlockBits>(in_order<Form>(head)), in_order<Form>(beyond));
}

// Folds further whole blocks into `block`, the one before them, and reduces the last.
template <typename Form>
ORVA_LANE typename Form::Register finish(Block block, const std::uint8_t *data, std::size_t length) {
    for (; length > 0; length -= kBlockBytes, data += kBlockBytes) {
        block = add(fold<Form, kBlockBits>(block), load_in_order<Form>(data));
    }
    return reduce<Form>(block);
}

// As advance_by_look_up, for at least a block; only where the processor multiplies without carries.
template <typename Form>
ORVA_FOLDING inline typename Form::Register advance_by_folding(typename Form::Register r, const std::uint8_t *data,
                                                               std::size_t length) {
    constexpr std::size_t kStepBytes = 4 * kBlockBytes;
    constexpr unsigned kStepBits = 4 * kBlockBits;
    Block a = enter<Form>(r, data, length);
    a = add(a, load_in_order<Form>(data));
    if (length < kStepBytes) {
        return finish<Form>(a, data + kBlockBytes, length - kBlockBytes);
    }
    Block b = load_in_order<Form>(data + kBlockBytes);
    Block c = load_in_order<Form>(data + 2 * kBlockBytes);
    Block d = load_in_order<Form>(data + 3 * kBlockBytes);
    data += kStepBytes;
    length -= kStepBytes;
    for (; length >= kStepBytes; length -= kStepBytes, data += kStepBytes) {
        a = add(fold<Form, kStepBits>(a), load_in_order<Form>(data));
        b = add(fold<Form, kStepBits>(b), load_in_order<Form>(data + kBlockBytes));
        c = add(fold<Form, kStepBits>(c), load_in_order<Form>(data + 2 * kBlockBytes));
        d = add(fold<Form, kStepBits>(d), load_in_order<Form>(data + 3 * kBlockBytes));
    }
    a = add(add(fold<Form, 3 * kBlockBits>(a), fold<Form, 2 * kBlockBits>(b)), add(fold<Form, kBlockBits>(c), d));
    return finish<Form>(a, data, length);
}

#endif

#if defined(__x86_64__)

// The same four blocks at a time in one vector of 512 bits.
#define ORVA_WIDE_FOLDING __attribute__((target("pclmul,sse4.1,avx512f,avx512bw,vpclmulqdq")))
#define ORVA_WIDE_LANE [[gnu::always_inline]] ORVA_WIDE_FOLDING inline

inline constexpr std::size_t kWideBytes = 64;
inline constexpr unsigned kWideBits = 512;

// What puts the four blocks of a vector together into the last of them.
template <typename Form>
struct alignas(64) Gather {
    Halves halves[4] = {kFold<Form, 3 * kBlockBits>, kFold<Form, 2 * kBlockBits>, kFold<Form, kBlockBits>, {}};
};
template <typename Form>
inline constexpr Gather<Form> kGather{};

// Compares whole vectors, without a branch between them.
ORVA_WIDE_FOLDING inline bool equal_by_wide_loads(const void *a, const void *b, std::size_t length) {
    const auto *const left = static_cast<const std::uint8_t *>(a);
    const auto *const right = static_cast<const std::uint8_t *>(b);
    __m512i difference = _mm512_setzero_si512();
#pragma GCC unroll 4
    for (std::size_t at = 0; at < length; at += kWideBytes) {
        difference = _mm512_ternarylogic_epi64(difference, _mm512_loadu_si512(left + at),
                                               _mm512_loadu_si512(right + at), 0xF6); // a | (b ^ c)
    }
    return _mm512_test_epi64_mask(difference, difference) == 0;
}

// With a mask of ones, which costs nothing: GCC 12 takes the forms without one for reads of what was never set.
ORVA_WIDE_LANE __m512i broadcast(__m128i block) {
    return _mm512_maskz_broadcast_i32x4(0xFFFF, block);
}

template <typename Form>
ORVA_WIDE_LANE __m512i load_wide(const std::uint8_t *data) {
    const __m512i bytes = _mm512_loadu_si512(data);
    if constexpr (Form::kIsReflected) {
        return bytes;
    } else {
        return _mm512_shuffle_epi8(bytes,
                                   broadcast(_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)));
    }
}

ORVA_WIDE_LANE __m512i add3(__m512i a, __m512i b, __m512i c) {
    return _mm512_ternarylogic_epi64(a, b, c, 0x96);
}

template <typename Form, unsigned Bits>
ORVA_WIDE_LANE __m512i fold_wide(__m512i blocks, __m512i next) {
    const __m512i constant = broadcast(load_constant(kFold<Form, Bits>));
    return add3(_mm512_clmulepi64_epi128(blocks, constant, 0x00), _mm512_clmulepi64_epi128(blocks, constant, 0x11),
                next);
}

template <typename Form>
ORVA_WIDE_LANE Block gather(__m512i blocks) {
    const __m512i constant = _mm512_load_si512(&kGather<Form>);
    const __m512i last = _mm512_maskz_mov_epi64(0xC0, blocks);
    const __m512i all = add3(_mm512_clmulepi64_epi128(blocks, constant, 0x00),
                             _mm512_clmulepi64_epi128(blocks, constant, 0x11), last);
    const __m256i half =
        _mm256_xor_si256(_mm512_maskz_extracti64x4_epi64(0xF, all, 0), _mm512_maskz_extracti64x4_epi64(0xF, all, 1));
    return add(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
}

// As advance_by_folding; only where the processor does it in vectors of 512 bits.
template <typename Form>
ORVA_WIDE_FOLDING inline typename Form::Register
advance_by_wide_folding(typename Form::Register r, const std::uint8_t *data, std::size_t length) {
    constexpr std::size_t kStepBytes = 4 * kWideBytes;
    constexpr unsigned kStepBits = 4 * kWideBits;
    const Block entering = enter<Form>(r, data, length);
    if (length < kWideBytes) {
        return finish<Form>(add(entering, load_in_order<Form>(data)), data + kBlockBytes, length - kBlockBytes);
    }
    __m512i a = _mm512_xor_si512(_mm512_zextsi128_si512(entering), load_wide<Form>(data));
    if (length >= 2 * kStepBytes) {
        __m512i b = load_wide<Form>(data + kWideBytes);
        __m512i c = load_wide<Form>(data + 2 * kWideBytes);
        __m512i d = load_wide<Form>(data + 3 * kWideBytes);
        for (data += kStepBytes, length -= kStepBytes; length >= kStepBytes;
             data += kStepBytes, length -= kStepBytes) {
            a = fold_wide<Form, kStepBits>(a, load_wide<Form>(data));
            b = fold_wide<Form, kStepBits>(b, load_wide<Form>(data + kWideBytes));
            c = fold_wide<Form, kStepBits>(c, load_wide<Form>(data + 2 * kWideBytes));
            d = fold_wide<Form, kStepBits>(d, load_wide<Form>(data + 3 * kWideBytes));
        }
        a = fold_wide<Form, 3 * kWideBits>(a, fold_wide<Form, 2 * kWideBits>(b, fold_wide<Form, kWideBits>(c, d)));
    } else {
        data += kWideBytes;
        length -= kWideBytes;
    }
    for (; length >= kWideBytes; data += kWideBytes, length -= kWideBytes) {
        a = fold_wide<Form, kWideBits>(a, load_wide<Form>(data));
    }
    return finish<Form>(gather<Form>(a), data, length);
}

#endif

} // namespace orva::crc

#endif
