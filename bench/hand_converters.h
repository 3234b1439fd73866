// The converters as somebody would write them by hand, in a shared library of their own.
#ifndef ORVA_HAND_CONVERTERS_H
#define ORVA_HAND_CONVERTERS_H

#include <cstddef>

namespace orva_bench {

using Convert = void (*)(void *);

struct HandConverter {
    const char *name;  // of the converter, without its prefix
    Convert byBuiltin; // swaps by the compiler's builtin
    Convert byBoost;   // swaps by boost::endian
};

} // namespace orva_bench

extern "C" {

// All of them; the number goes to `count`.
__attribute__((visibility("default"))) const orva_bench::HandConverter *
orva_bench_hand_converters(std::size_t *count);

// What the ones with a hook call at their end.
__attribute__((visibility("default"))) void orva_bench_hook();
}

#endif
