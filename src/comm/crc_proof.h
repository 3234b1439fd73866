// Proves the folding constants at compile time: the steps of the folding engine, done on two blocks of the message in
// plain arithmetic, give the registers that the forms of CRC give bit by bit.
#ifndef ORVA_CRC_PROOF_H
#define ORVA_CRC_PROOF_H

#include <cstdint>

#include "crc_folding.h"
#include "crc_forms.h"

namespace orva::crc::proof {

constexpr Halves multiply(std::uint64_t a, std::uint64_t b) {
    Halves product{};
    for (unsigned bit = 0; bit < 64; ++bit) {
        if ((b >> bit & 1) != 0) {
            product.low ^= a << bit;
            product.high ^= bit == 0 ? 0 : a >> (64 - bit);
        }
    }
    return product;
}

constexpr Halves sum(Halves a, Halves b) {
    return {a.low ^ b.low, a.high ^ b.high};
}

template <typename Form>
constexpr std::uint64_t &first_half(Halves &block) {
    return Form::kIsReflected ? block.low : block.high;
}
template <typename Form>
constexpr std::uint64_t &second_half(Halves &block) {
    return Form::kIsReflected ? block.high : block.low;
}

// Bit by bit: the register after `block` and `zeros` bytes of zero.
template <typename Form>
constexpr typename Form::Register register_after(Halves block, unsigned zeros) {
    typename Form::Register r = 0;
    for (unsigned i = 0; i < kBlockBytes + zeros; ++i) {
        const unsigned byte = Form::kIsReflected ? i % 8 : 7 - i % 8;
        const std::uint64_t half = i < 8 ? first_half<Form>(block) : second_half<Form>(block);
        r ^= Form::first(i < kBlockBytes ? static_cast<std::uint8_t>(half >> 8 * byte) : 0);
        for (int bit = 0; bit < 8; ++bit) {
            r = Form::shift_bit(r);
        }
    }
    return r;
}

template <typename Form, unsigned Bits>
constexpr bool folds(Halves block) {
    constexpr Halves kConstant = kFold<Form, Bits>;
    const Halves moved = sum(multiply(block.low, kConstant.low), multiply(block.high, kConstant.high));
    return register_after<Form>(moved, 0) == register_after<Form>(block, Bits / 8);
}

template <typename Form>
constexpr bool reduces(Halves block) {
    Halves reduce = kReduce<Form>, quotient = kQuotient<Form>, polynomial = kPolynomial<Form>;
    Halves scaled = multiply(first_half<Form>(block), first_half<Form>(reduce));
    first_half<Form>(scaled) ^= second_half<Form>(block);
    Halves factor = multiply(first_half<Form>(scaled), first_half<Form>(quotient));
    first_half<Form>(factor) ^= Form::kIsReflected ? 0 : first_half<Form>(scaled);
    Halves rest = sum(scaled, multiply(first_half<Form>(factor), first_half<Form>(polynomial)));
    const std::uint64_t last = second_half<Form>(rest);
    return static_cast<typename Form::Register>(Form::kIsReflected ? last : last >> (64 - Form::kBits)) ==
           register_after<Form>(block, 0);
}

// Every step is linear, so what holds for each single bit of a block holds for every block.
template <typename Form>
constexpr bool reduces_every_block() {
    for (unsigned bit = 0; bit < 64; ++bit) {
        if (!reduces<Form>({std::uint64_t{1} << bit, 0}) || !reduces<Form>({0, std::uint64_t{1} << bit})) {
            return false;
        }
    }
    return true;
}

template <typename Form, unsigned Bits>
constexpr bool folds_every_half() {
    // Multiplying by the constant is what is proved; a bit of each half, the lowest and the highest, pins it.
    constexpr std::uint64_t kTop = std::uint64_t{1} << 63;
    return folds<Form, Bits>({1, 0}) && folds<Form, Bits>({kTop, 0}) && folds<Form, Bits>({0, 1}) &&
           folds<Form, Bits>({0, kTop}) && folds<Form, Bits>({0x0123456789ABCDEF, 0xFEDCBA9876543210});
}

template <typename Form>
constexpr bool constants_hold() {
    return folds_every_half<Form, 128>() && folds_every_half<Form, 256>() && folds_every_half<Form, 384>() &&
           folds_every_half<Form, 512>() && folds_every_half<Form, 1024>() && folds_every_half<Form, 1536>() &&
           folds_every_half<Form, 2048>() && reduces_every_block<Form>();
}

static_assert(constants_hold<Crc16>());
static_assert(constants_hold<Crc32>());

} // namespace orva::crc::proof

#endif
