#include "orva_sensor.h"

#include "platform_double.h"

namespace {

using namespace orva_test;

class Sensor : public PlatformTest {};

TEST_F(Sensor, GetSensorOwnerSysID_DropsTheLowestBit) {
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerSysID(0x05), 2u);
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerSysID(0x04), 2u);
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerSysID(0xFF), 0x7Fu);
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerSysID(0x01), 0u);
}

TEST_F(Sensor, GetSensorOwnerLun_KeepsBits0And4) {
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerLun(0x13), 0x11u);
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerLun(0xFFFFFFFF), 0x11u);
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerLun(0x02), 0u);
    EXPECT_EQ(ORVA_SENSOR_GetSensorOwnerLun(0x10), 0x10u);
}

TEST_F(Sensor, IsOnFixCard_NeedsSystem2AndALun) {
    EXPECT_EQ(ORVA_SENSOR_IsOnFixCard(0x04, 0x02), 0u);
    EXPECT_EQ(ORVA_SENSOR_IsOnFixCard(0x05, 0x10), 1u);
    EXPECT_EQ(ORVA_SENSOR_IsOnFixCard(0x04, 0x01), 1u);
    EXPECT_EQ(ORVA_SENSOR_IsOnFixCard(0x06, 0x11), 0u);
    EXPECT_EQ(ORVA_SENSOR_IsOnFixCard(0x84, 0x11), 0u);
}

TEST_F(Sensor, JudgeDeviceModifier_CountsTheLowByteOfTheWantedBits) {
    EXPECT_EQ(ORVA_SENSOR_JudgeDeviceModifier(0x0F, 0x05), 1u);
    EXPECT_EQ(ORVA_SENSOR_JudgeDeviceModifier(0x0F, 0x15), 0u);
    EXPECT_EQ(ORVA_SENSOR_JudgeDeviceModifier(0x0F, 0x105), 1u);
    EXPECT_EQ(ORVA_SENSOR_JudgeDeviceModifier(0, 0), 1u);
    EXPECT_EQ(ORVA_SENSOR_JudgeDeviceModifier(-1, -1), 1u);
    EXPECT_EQ(ORVA_SENSOR_JudgeDeviceModifier(0, 0x80), 0u);
}

TEST_F(Sensor, Linear2Uint_FollowsItsOwnRules) {
    struct Case {
        const char *name;
        std::uint32_t raw, expected;
    };
    constexpr Case kCases[] = {
        {"exponent 0", 0x0019, 25},
        {"exponent 1", 0x0819, 50},
        {"exponent -1", 0xF819, 12},
        {"exponent -2", 0xF019, 6},
        {"exponent -16 shifts by 0", 0x8019, 25},
        {"at the limit", 0x01F4, 500},
        {"above the limit", 0x01F5, 62},
        {"shifted above the limit", 0x0BFF, 0x0BFF >> 3},
        {"the mantissa's sign is ignored", 0x0419, 25},
        {"exponent 15 leaves 16 bits", 0x7803, 0x7803 >> 3},
        {"exponent 15 of an even mantissa", 0x7802, 0},
        {"zero", 0, 0},
    };
    for (const Case &row : kCases) {
        EXPECT_EQ(ORVA_SENSOR_Linear2Uint(row.raw), row.expected) << row.name;
    }
}

TEST_F(Sensor, LastWordsFormatLinear16Q9_ScalesByTwoToTheMinusNine) {
    double value = -1;
    std::uint16_t raw = 0x0200;
    EXPECT_EQ(ORVA_SENSOR_LastWordsFormatLinear16Q9(&raw, 2, &value), 0u);
    EXPECT_EQ(value, 1.0);
    raw = 0xFFFF;
    EXPECT_EQ(ORVA_SENSOR_LastWordsFormatLinear16Q9(&raw, 2, &value), 0u);
    EXPECT_EQ(value, 65535.0 / 512);
    raw = 1;
    EXPECT_EQ(ORVA_SENSOR_LastWordsFormatLinear16Q9(&raw, 2, &value), 0u);
    EXPECT_EQ(value, 0.001953125);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Sensor, LastWordsFormatLinear16Q9_RefusesNullAndOtherLengths) {
    double value = 7;
    const std::uint16_t raw = 0x0200;
    EXPECT_EQ(ORVA_SENSOR_LastWordsFormatLinear16Q9(nullptr, 2, &value), ORVA_ERR_LINEAR16_NULL);
    EXPECT_TRUE(take_logs().empty());
    for (const std::int32_t length : {4, 0, 1, -2}) {
        EXPECT_EQ(ORVA_SENSOR_LastWordsFormatLinear16Q9(&raw, length, &value), ORVA_ERR_LINEAR16_LENGTH);
        const auto logs = take_logs();
        ASSERT_EQ(logs.size(), 1u);
        EXPECT_EQ(logs[0].rfind("WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]check true return error, l=", 0),
                  0u)
            << logs[0];
    }
    EXPECT_EQ(value, 7);
}

TEST_F(Sensor, IsOppositePgPower_MatchesTheWholeCodeOnly) {
    EXPECT_EQ(ORVA_IsOppositePgPower("07465KWD"), 1u);
    EXPECT_EQ(ORVA_IsOppositePgPower("07465KWDX"), 0u);
    EXPECT_EQ(ORVA_IsOppositePgPower("07465KW"), 0u);
    EXPECT_EQ(ORVA_IsOppositePgPower("07465kwd"), 0u);
    EXPECT_EQ(ORVA_IsOppositePgPower(""), 0u);
    EXPECT_EQ(ORVA_IsOppositePgPower(nullptr), 0u);
}

} // namespace
