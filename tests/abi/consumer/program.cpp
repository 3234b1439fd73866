#include <cstdio>

#include "orva_comm.h"

int main() {
    constexpr uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    uint16_t crc = 0xFFFF;
    ORVA_COMM_InitCrc16Table();
    ORVA_COMM_InitCrc32Table();
    ORVA_COMM_Crc16CheckSum(digits, sizeof digits, &crc);
    std::printf("%04x %08x\n", unsigned{crc}, ORVA_COMM_Crc32CheckSum(digits, sizeof digits));
}
