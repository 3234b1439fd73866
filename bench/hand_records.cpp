#include "hand_records.h"

#include <cstring>

#include "safeio.h"

namespace {

void put16(std::uint8_t *to, std::uint16_t value) {
    value = __builtin_bswap16(value);
    std::memcpy(to, &value, sizeof value);
}

void put32(std::uint8_t *to, std::uint32_t value) {
    value = __builtin_bswap32(value);
    std::memcpy(to, &value, sizeof value);
}

std::uint16_t get16(const std::uint8_t *from) {
    std::uint16_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap16(value);
}

std::uint32_t get32(const std::uint8_t *from) {
    std::uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap32(value);
}

// As the record's rule says: a bounded copy, which may fail.
bool copy16(const std::uint8_t *from, std::uint16_t &member) {
    std::uint16_t value = 0;
    if (memcpy_s(&value, sizeof value, from, sizeof value) != 0) {
        return false;
    }
    member = __builtin_bswap16(value);
    return true;
}

bool load16(const std::uint8_t *from, std::uint16_t &member) {
    member = get16(from);
    return true;
}

template <bool (*kTake16)(const std::uint8_t *, std::uint16_t &)>
std::uint32_t decode(const void *block, OrvaTempSensorCfg *cfg) {
    const auto *const from = static_cast<const std::uint8_t *>(block);
    if (from == nullptr || cfg == nullptr || get32(from) != 24) {
        return 1;
    }
    if (get32(from + 16) != 0x00010001) {
        return 1;
    }
    cfg->tempNodeType = from[20];
    if (get32(from + 21) != 0x00020001) {
        return 1;
    }
    cfg->queryByChip = from[25];
    if (get32(from + 26) != 0x00030001) {
        return 1;
    }
    cfg->sensorNum = from[30];
    if (get32(from + 31) != 0x00040001) {
        return 1;
    }
    cfg->sensorType = from[35];
    if (get32(from + 36) != 0x00050001) {
        return 1;
    }
    cfg->chipIndex = from[40];
    if (get32(from + 41) != 0x00060001) {
        return 1;
    }
    cfg->sensorInitia = from[45];
    if (get32(from + 46) != 0x00070002) {
        return 1;
    }
    if (!kTake16(from + 50, cfg->assertionEventMask)) {
        return 1;
    }
    if (get32(from + 52) != 0x00080002) {
        return 1;
    }
    if (!kTake16(from + 56, cfg->deassertionEventMask)) {
        return 1;
    }
    if (get32(from + 58) != 0x00090001) {
        return 1;
    }
    cfg->uprMinorAlm = from[62];
    if (get32(from + 63) != 0x000A0001) {
        return 1;
    }
    cfg->uprMajorAlm = from[67];
    if (get32(from + 68) != 0x000B0001) {
        return 1;
    }
    cfg->uprFatalAlm = from[72];
    if (get32(from + 73) != 0x000C0001) {
        return 1;
    }
    cfg->busId = from[77];
    if (get32(from + 78) != 0x000D0001) {
        return 1;
    }
    cfg->negativegoingThre = from[82];
    if (get32(from + 83) != 0x000E0001) {
        return 1;
    }
    cfg->positivegoingThre = from[87];
    if (get32(from + 88) != 0x000F0001) {
        return 1;
    }
    cfg->lwrMinorAlm = from[92];
    if (get32(from + 93) != 0x00100001) {
        return 1;
    }
    cfg->lwrMajorAlm = from[97];
    if (get32(from + 98) != 0x00110001) {
        return 1;
    }
    cfg->lwrFatalAlm = from[102];
    if (get32(from + 103) != 0x00120001) {
        return 1;
    }
    cfg->cpuIndex = from[107];
    if (get32(from + 108) != 0x00130001) {
        return 1;
    }
    cfg->ownerId = from[112];
    if (get32(from + 113) != 0x00140001) {
        return 1;
    }
    cfg->ownerLun = from[117];
    if (get32(from + 118) != 0x00150001) {
        return 1;
    }
    cfg->i2cChannel = from[122];
    if (get32(from + 123) != 0x00160001) {
        return 1;
    }
    cfg->reserve = from[127];
    if (get32(from + 128) != 0x00170001) {
        return 1;
    }
    cfg->deviceModifier = from[132];
    if (get32(from + 133) != 0x00180001) {
        return 1;
    }
    cfg->sensorUnit3 = from[137];
    return 0;
}

} // namespace

std::uint32_t orva_bench_hand_temp_encode(const OrvaTempSensorCfg *cfg, void *out) {
    auto *const to = static_cast<std::uint8_t *>(out);
    if (cfg == nullptr || to == nullptr) {
        return 0;
    }
    put32(to, 24);
    put32(to + 4, 138);
    std::memset(to + 8, 0, 8);
    put32(to + 16, 0x00010001);
    to[20] = cfg->tempNodeType;
    put32(to + 21, 0x00020001);
    to[25] = cfg->queryByChip;
    put32(to + 26, 0x00030001);
    to[30] = cfg->sensorNum;
    put32(to + 31, 0x00040001);
    to[35] = cfg->sensorType;
    put32(to + 36, 0x00050001);
    to[40] = cfg->chipIndex;
    put32(to + 41, 0x00060001);
    to[45] = cfg->sensorInitia;
    put32(to + 46, 0x00070002);
    put16(to + 50, cfg->assertionEventMask);
    put32(to + 52, 0x00080002);
    put16(to + 56, cfg->deassertionEventMask);
    put32(to + 58, 0x00090001);
    to[62] = cfg->uprMinorAlm;
    put32(to + 63, 0x000A0001);
    to[67] = cfg->uprMajorAlm;
    put32(to + 68, 0x000B0001);
    to[72] = cfg->uprFatalAlm;
    put32(to + 73, 0x000C0001);
    to[77] = cfg->busId;
    put32(to + 78, 0x000D0001);
    to[82] = cfg->negativegoingThre;
    put32(to + 83, 0x000E0001);
    to[87] = cfg->positivegoingThre;
    put32(to + 88, 0x000F0001);
    to[92] = cfg->lwrMinorAlm;
    put32(to + 93, 0x00100001);
    to[97] = cfg->lwrMajorAlm;
    put32(to + 98, 0x00110001);
    to[102] = cfg->lwrFatalAlm;
    put32(to + 103, 0x00120001);
    to[107] = cfg->cpuIndex;
    put32(to + 108, 0x00130001);
    to[112] = cfg->ownerId;
    put32(to + 113, 0x00140001);
    to[117] = cfg->ownerLun;
    put32(to + 118, 0x00150001);
    to[122] = cfg->i2cChannel;
    put32(to + 123, 0x00160001);
    to[127] = cfg->reserve;
    put32(to + 128, 0x00170001);
    to[132] = cfg->deviceModifier;
    put32(to + 133, 0x00180001);
    to[137] = cfg->sensorUnit3;
    return 138;
}

std::uint32_t orva_bench_hand_temp_decode(const void *block, OrvaTempSensorCfg *cfg) {
    return decode<copy16>(block, cfg);
}

std::uint32_t orva_bench_bare_temp_decode(const void *block, OrvaTempSensorCfg *cfg) {
    return decode<load16>(block, cfg);
}
