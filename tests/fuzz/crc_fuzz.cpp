// Checksums over arbitrary bytes against plain loops. The first four input bytes choose the table (standard, zero,
// one entry altered), the start value and the address; the rest is summed.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "orva_comm.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void set_tables(std::uint8_t choice) {
    std::memset(g_ausCRC16Table, 0, sizeof g_ausCRC16Table);
    std::memset(g_auiCRC32Table, 0, sizeof g_auiCRC32Table);
    if (choice == 0) {
        return;
    }
    ORVA_COMM_InitCrc32Table();
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t r = i << 8;
        for (int bit = 0; bit < 8; ++bit) {
            r = (r & 0x8000) != 0 ? r << 1 ^ 0x11021 : r << 1;
        }
        g_ausCRC16Table[i] = static_cast<std::uint16_t>(r);
    }
    if (choice >= 0x80) {
        g_ausCRC16Table[choice] = static_cast<std::uint16_t>(~g_ausCRC16Table[choice]);
        g_auiCRC32Table[choice] = ~g_auiCRC32Table[choice];
    }
}

std::uint16_t augmented(const std::uint8_t *data, std::size_t size, std::uint32_t r) {
    for (std::size_t i = 0; i < size; ++i) {
        r = ((r << 8) | data[i]) ^ g_ausCRC16Table[(r >> 8) & 0xFF];
    }
    return static_cast<std::uint16_t>(r);
}

void check(const std::uint8_t *data, std::uint32_t size, std::uint16_t start) {
    std::uint16_t direct = start;
    std::uint32_t r32 = 0xFFFFFFFF;
    for (std::uint32_t i = 0; i < size; ++i) {
        direct = static_cast<std::uint16_t>(g_ausCRC16Table[(data[i] ^ (direct >> 8)) & 0xFF] ^ (direct << 8));
        r32 = g_auiCRC32Table[(data[i] ^ r32) & 0xFF] ^ (r32 >> 8);
    }
    std::uint16_t crc = start;
    ORVA_COMM_Crc16CheckSum(data, size, &crc);
    require(crc == direct);
    crc = start;
    ORVA_PWR_CheckCrc16Sum(data, size, &crc);
    require(crc == augmented(data, size, start));
    constexpr std::uint8_t kZeros[2] = {};
    require(ORVA_LOAD_CalcAppCrc16Sum(data, size) == augmented(kZeros, 2, augmented(data, size, 0)));
    require(ORVA_COMM_Crc32CheckSum(data, size) == (size == 0 ? 0 : ~r32));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 4) {
        return 0;
    }
    set_tables(data[0]);
    const std::size_t offset = data[3] % 16;
    const std::size_t length = size - 4;
    const auto storage = std::make_unique<std::uint8_t[]>(offset + length);
    std::memcpy(storage.get() + offset, data + 4, length);
    check(storage.get() + offset, static_cast<std::uint32_t>(length),
          static_cast<std::uint16_t>(data[1] << 8 | data[2]));
    return 0;
}
