// The checksums as plain loops over the exported tables, one look-up a byte.
#ifndef ORVA_HAND_CHECKSUMS_H
#define ORVA_HAND_CHECKSUMS_H

#include <cstdint>

extern "C" {
__attribute__((visibility("default"))) std::uint16_t
orva_bench_bytewise_crc16(const std::uint8_t *data, std::uint32_t length, std::uint16_t start);
__attribute__((visibility("default"))) std::uint32_t orva_bench_bytewise_crc32(const std::uint8_t *data,
                                                                               std::uint32_t length);
}

#endif
