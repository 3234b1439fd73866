// Power and fan configuration rules: constant tables and comparisons. Knows part codes and board types, never a
// device.

#include "orva_power_fan_cfg.h"

#include <cstdint>
#include <cstring>

#include "orva_elabel_comm.h"
#include "safeio.h"

namespace {

struct MinFanSpeed {
    std::int32_t boardType;
    std::uint32_t percent;
};

constexpr MinFanSpeed kMinFanSpeeds[] = {
    {0x12004, 60}, {0x12A01, 50},  {0x12002, 60},  {0x1291F, 50},
    {0x12A22, 60}, {0xC12925, 50}, {0xC12901, 50}, {0x12A05, 50},
};
constexpr std::uint32_t kMinFanSpeedFromValue = 31;

constexpr char k550WPartCode[] = "47068HWL";
constexpr char kCalibrationPartCode[] = "51730964";
constexpr char kNoWindCheckPartCode[] = "47061RVE";
constexpr char kWindCheckPartCode[] = "47062MZN";
constexpr unsigned kWindCheckLastYear = 2025;
constexpr char kManufacturedKey[] = "Manufactured=";

constexpr std::uint32_t kCalibratedBoardType = 0x1800C;
constexpr OrvaCalThreshold kCalibration = {100, 30, 60, 0.067F};

constexpr std::int32_t kSpecialBoardType = 1057;
constexpr std::int32_t kSpecialSlot = -1;

// The part code of a label item; empty for an empty item and for one that does not fit.
template <std::size_t N>
struct PartCode {
    char text[N] = {};
    explicit PartCode(const char *itemLabel) {
        ORVA_VER_TransformItemLabel(itemLabel, text, N);
    }
    bool is(const char *code) const {
        return std::strcmp(text, code) == 0;
    }
};

} // namespace

uint32_t ORVA_CFG_GetSpecPowerFanMinSpeed(int32_t boardType, uint32_t value, uint32_t *speed) {
    if (value < kMinFanSpeedFromValue || speed == nullptr) {
        return ORVA_FAILED;
    }
    for (const MinFanSpeed &row : kMinFanSpeeds) {
        if (row.boardType == boardType) {
            *speed = *speed < row.percent ? row.percent : *speed;
            return ORVA_OK;
        }
    }
    return ORVA_FAILED;
}

uint32_t ORVA_CFG_Is550WPower(uint32_t, uint32_t, const char *itemLabel) {
    return PartCode<30>(itemLabel).is(k550WPartCode) ? 1 : 0;
}

OrvaCalThreshold ORVA_GetCalThresholdPara(uint32_t boardType, const char *itemLabel) {
    if (boardType != kCalibratedBoardType) {
        return {};
    }
    const PartCode<32> code(itemLabel);
    return code.is(kCalibrationPartCode) || code.is("") ? kCalibration : OrvaCalThreshold{};
}

uint32_t ORVA_IsWindCheckPower(const char *itemLabel, const char *label) {
    char made[30] = {};
    ORVA_GetElabelElement(label, ORVA_POWER_LABEL_LEN, kManufacturedKey, made, sizeof made);
    unsigned year = 0;
    unsigned month = 0;
    unsigned day = 0;
    if (sscanf_s(made, "%u-%u-%u", &year, &month, &day) < 3) {
        return 0;
    }
    const PartCode<30> code(itemLabel);
    if (year > kWindCheckLastYear) {
        return 0;
    }
    // Compat: callers' code. One part code is excluded on its own, although the last comparison would answer the
    // same.
    if (code.is(kNoWindCheckPartCode)) {
        return 0;
    }
    return code.is(kWindCheckPartCode) ? 1 : 0;
}

uint32_t ORVA_IsSpecBrdGetBrdType(int32_t boardType, int32_t slot) {
    return boardType == kSpecialBoardType && slot == kSpecialSlot ? 0 : 1;
}
