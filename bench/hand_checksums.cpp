#include "hand_checksums.h"

#include "orva_comm.h"

std::uint16_t orva_bench_bytewise_crc16(const std::uint8_t *data, std::uint32_t length, std::uint16_t start) {
    std::uint16_t r = start;
    for (std::uint32_t i = 0; i < length; ++i) {
        r = static_cast<std::uint16_t>(g_ausCRC16Table[(data[i] ^ (r >> 8)) & 0xFF] ^ (r << 8));
    }
    return r;
}

std::uint32_t orva_bench_bytewise_crc32(const std::uint8_t *data, std::uint32_t length) {
    std::uint32_t r = 0xFFFFFFFF;
    for (std::uint32_t i = 0; i < length; ++i) {
        r = g_auiCRC32Table[(data[i] ^ r) & 0xFF] ^ (r >> 8);
    }
    return ~r;
}
