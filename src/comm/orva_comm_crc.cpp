// Checksums over the exported tables: each table governs, and the engine serves only while it holds the standard
// values.
#include "orva_comm.h"

#include <cstdint>

#include "bytes.h"
#include "crc_engine.h"
#include "crc_proof.h"

uint16_t g_ausCRC16Table[ORVA_CRC_TABLE_ENTRIES];
uint32_t g_auiCRC32Table[ORVA_CRC_TABLE_ENTRIES];

namespace {

namespace crc = orva::crc;

bool g_isCrc16TableBuilt;

// From these lengths the compare of the exported table, 512 and 1024 bytes, costs less than the fast form saves.
constexpr std::uint32_t kCrc16FastBytes = 16;
constexpr std::uint32_t kCrc32FastBytes = 24;

// Entries that hold their value already are not written, so that checksums may run while a table is built again.
template <typename Register>
void build_table(Register (&table)[ORVA_CRC_TABLE_ENTRIES], const Register (&standard)[ORVA_CRC_TABLE_ENTRIES]) {
    for (std::size_t i = 0; i < ORVA_CRC_TABLE_ENTRIES; ++i) {
        if (__atomic_load_n(&table[i], __ATOMIC_RELAXED) != standard[i]) {
            __atomic_store_n(&table[i], standard[i], __ATOMIC_RELAXED);
        }
    }
}

bool is_crc16_fast(std::uint32_t length) {
    return length >= kCrc16FastBytes && crc::is_standard<crc::Crc16>(g_ausCRC16Table);
}

std::uint16_t shift_in(std::uint16_t r, std::uint8_t byte) {
    return static_cast<std::uint16_t>((r << 8 | byte) ^ g_ausCRC16Table[r >> 8]);
}

} // namespace

void ORVA_COMM_InitCrc16Table() {
    if (__atomic_load_n(&g_isCrc16TableBuilt, __ATOMIC_ACQUIRE)) {
        return;
    }
    build_table(g_ausCRC16Table, crc::kTables<crc::Crc16>.row[0]);
    __atomic_store_n(&g_isCrc16TableBuilt, true, __ATOMIC_RELEASE);
}

void ORVA_COMM_InitCrc32Table() {
    build_table(g_auiCRC32Table, crc::kTables<crc::Crc32>.row[0]);
}

void ORVA_COMM_Crc16CheckSum(const uint8_t *data, uint32_t length, uint16_t *crc) {
    if (length == 0 || data == nullptr || crc == nullptr) {
        return;
    }
    std::uint16_t r = *crc;
    if (is_crc16_fast(length)) {
        *crc = crc::advance<crc::Crc16>(r, data, length);
        return;
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        r = static_cast<std::uint16_t>(g_ausCRC16Table[data[i] ^ r >> 8] ^ r << 8);
    }
    *crc = r;
}

void ORVA_PWR_CheckCrc16Sum(const uint8_t *data, uint32_t length, uint16_t *crc) {
    std::uint16_t r = *crc;
    if (is_crc16_fast(length)) {
        // Shifting a message in is the direct form over all but its last two bytes, with a start value that
        // two zero bytes have been shifted into; the last two bytes are then added to the register unchanged.
        r = shift_in(shift_in(r, 0), 0);
        *crc = crc::advance<crc::Crc16>(r, data, length - 2) ^ orva::load_be16(data + length - 2);
        return;
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        r = shift_in(r, data[i]);
    }
    *crc = r;
}

uint16_t ORVA_LOAD_CalcAppCrc16Sum(const uint8_t *data, uint32_t length) {
    if (is_crc16_fast(length)) {
        return crc::advance<crc::Crc16>(0, data, length);
    }
    std::uint16_t r = 0;
    for (std::uint32_t i = 0; i < length; ++i) {
        r = shift_in(r, data[i]);
    }
    return shift_in(shift_in(r, 0), 0);
}

uint32_t ORVA_COMM_Crc32CheckSum(const uint8_t *data, uint32_t length) {
    if (length == 0) {
        return 0;
    }
    std::uint32_t r = 0xFFFFFFFF;
    if (length >= kCrc32FastBytes && crc::is_standard<crc::Crc32>(g_auiCRC32Table)) {
        return ~crc::advance<crc::Crc32>(r, data, length);
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        r = g_auiCRC32Table[(data[i] ^ r) & 0xFF] ^ r >> 8;
    }
    return ~r;
}
