// What the bench's tables say of the machine's instructions.
#ifndef ORVA_BENCH_INSTRUCTIONS_H
#define ORVA_BENCH_INSTRUCTIONS_H

#include <cstdio>
#if defined(__aarch64__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace orva_bench {

// The way that the library's checksums take on this processor, by the rule that docs/orva_comm.md gives.
inline const char *checksum_instructions() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("pclmul") == 0 || __builtin_cpu_supports("sse4.1") == 0) {
        return "table look-ups";
    }
    return __builtin_cpu_supports("vpclmulqdq") != 0 && __builtin_cpu_supports("avx512f") != 0 &&
                   __builtin_cpu_supports("avx512bw") != 0
               ? "VPCLMULQDQ, 64-byte vectors"
               : "PCLMULQDQ, 16-byte vectors";
#elif defined(__aarch64__)
    const unsigned long has = getauxval(AT_HWCAP);
    if ((has & HWCAP_PMULL) == 0) {
        return (has & HWCAP_CRC32) == 0 ? "table look-ups" : "table look-ups, CRC-32 by CRC32 instructions";
    }
    return (has & HWCAP_CRC32) == 0 ? "PMULL" : "PMULL, CRC-32 by CRC32 instructions";
#else
    return "table look-ups";
#endif
}

inline void print_instructions() {
#if defined(__x86_64__)
    const char *const compiled = "x86-64";
#elif defined(__aarch64__)
    const char *const compiled = "ARMv8-A";
#else
    const char *const compiled = "the compiler's default";
#endif
    std::printf("instructions: %s; checksums of orva: %s\n", compiled, checksum_instructions());
}

} // namespace orva_bench

#endif
