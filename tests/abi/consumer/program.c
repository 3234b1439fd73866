#include <inttypes.h>
#include <stdio.h>

#include "orva_comm.h"

int main(void) {
    static const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    uint16_t crc = 0xFFFF;
    ORVA_COMM_InitCrc16Table();
    ORVA_COMM_InitCrc32Table();
    ORVA_COMM_Crc16CheckSum(digits, sizeof digits, &crc);
    printf("%04" PRIx16 " %08" PRIx32 "\n", crc, ORVA_COMM_Crc32CheckSum(digits, sizeof digits));
    return 0;
}
