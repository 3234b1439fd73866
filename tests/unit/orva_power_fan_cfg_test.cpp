#include "orva_power_fan_cfg.h"

#include <string>

#include "platform_double.h"

namespace {

using namespace orva_test;

class PowerFanCfg : public PlatformTest {
protected:
    static bool is_zero(const OrvaCalThreshold &threshold) {
        return threshold.first == 0 && threshold.second == 0 && threshold.third == 0 && threshold.fourth == 0.0F;
    }
    static bool is_calibration(const OrvaCalThreshold &threshold) {
        return threshold.first == 100 && threshold.second == 30 && threshold.third == 60 &&
               threshold.fourth == 0.067F;
    }
};

TEST_F(PowerFanCfg, GetSpecPowerFanMinSpeed_RaisesToTheTablesMinimum) {
    struct Case {
        std::int32_t boardType;
        std::uint32_t minimum;
    };
    constexpr Case kCases[] = {
        {0x12004, 60}, {0x12A01, 50},  {0x12002, 60},  {0x1291F, 50},
        {0x12A22, 60}, {0xC12925, 50}, {0xC12901, 50}, {0x12A05, 50},
    };
    for (const Case &row : kCases) {
        std::uint32_t speed = 40;
        EXPECT_EQ(ORVA_CFG_GetSpecPowerFanMinSpeed(row.boardType, 31, &speed), 0u) << row.boardType;
        EXPECT_EQ(speed, row.minimum) << row.boardType;
        speed = 80;
        EXPECT_EQ(ORVA_CFG_GetSpecPowerFanMinSpeed(row.boardType, 0xFFFFFFFF, &speed), 0u) << row.boardType;
        EXPECT_EQ(speed, 80u) << row.boardType;
        EXPECT_EQ(ORVA_CFG_GetSpecPowerFanMinSpeed(row.boardType, 30, &speed), 1u) << row.boardType;
        EXPECT_EQ(speed, 80u) << row.boardType;
    }
}

TEST_F(PowerFanCfg, GetSpecPowerFanMinSpeed_LeavesTheSpeedWhereTheRuleDoesNotApply) {
    std::uint32_t speed = 10;
    EXPECT_EQ(ORVA_CFG_GetSpecPowerFanMinSpeed(0x12004, 30, &speed), 1u);
    EXPECT_EQ(ORVA_CFG_GetSpecPowerFanMinSpeed(0x12005, 31, &speed), 1u);
    EXPECT_EQ(ORVA_CFG_GetSpecPowerFanMinSpeed(0x12004, 31, nullptr), 1u);
    EXPECT_EQ(speed, 10u);
}

TEST_F(PowerFanCfg, Is550WPower_ComparesThePartCodeExactly) {
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, "47068HWL-007"), 1u);
    EXPECT_EQ(ORVA_CFG_Is550WPower(9, 9, "47068HWL"), 1u);
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, "47068HWLX-007"), 0u);
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, "47068HW-L"), 0u);
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, ""), 0u);
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, nullptr), 0u);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, std::string(40, 'A').c_str()), 0u) << "does not fit into 30 bytes";
    EXPECT_EQ(take_logs().size(), 1u);
}

TEST_F(PowerFanCfg, GetCalThresholdPara_AppliesToOneBoardTypeAndTwoPartCodes) {
    EXPECT_TRUE(is_calibration(ORVA_GetCalThresholdPara(0x1800C, "")));
    EXPECT_TRUE(is_calibration(ORVA_GetCalThresholdPara(0x1800C, "51730964")));
    EXPECT_TRUE(is_calibration(ORVA_GetCalThresholdPara(0x1800C, "51730964-X")));
    EXPECT_TRUE(is_calibration(ORVA_GetCalThresholdPara(0x1800C, "-X"))) << "an empty part code";
    EXPECT_TRUE(is_calibration(ORVA_GetCalThresholdPara(0x1800C, nullptr)));
    EXPECT_TRUE(take_logs().empty());
    EXPECT_TRUE(is_calibration(ORVA_GetCalThresholdPara(0x1800C, std::string(32, 'A').c_str())))
        << "one that does not fit leaves the code empty";
    EXPECT_EQ(take_logs().size(), 1u);
    EXPECT_TRUE(is_zero(ORVA_GetCalThresholdPara(0x1800C, std::string(31, 'A').c_str())));
    EXPECT_TRUE(is_zero(ORVA_GetCalThresholdPara(0x1800C, "517309641")));
    EXPECT_TRUE(is_zero(ORVA_GetCalThresholdPara(0x1800C, "47068HWL")));
    EXPECT_TRUE(is_zero(ORVA_GetCalThresholdPara(0x1800D, "")));
    EXPECT_TRUE(is_zero(ORVA_GetCalThresholdPara(0x1800D, "51730964")));
}

TEST_F(PowerFanCfg, IsWindCheckPower_LooksAtYearAndPartCode) {
    struct Case {
        const char *name;
        const char *item;
        const char *label;
        std::uint32_t expected;
    };
    constexpr Case kCases[] = {
        {"last day", "47062MZN-01", "Item=x\r\nManufactured=2025-12-31\r\n", 1},
        {"first day after", "47062MZN-01", "Manufactured=2026-01-01\n", 0},
        {"no date", "47062MZN", "Item=x\n", 0},
        {"two numbers", "47062MZN", "Manufactured=2020-12\n", 0},
        {"no number", "47062MZN", "Manufactured=soon\n", 0},
        {"empty label", "47062MZN", "", 0},
        {"the excluded code", "47061RVE", "Manufactured=2020-01-01\n", 0},
        {"another code", "47068HWL", "Manufactured=2020-01-01\n", 0},
        {"a longer code", "47062MZNA", "Manufactured=2020-01-01\n", 0},
        {"early year", "47062MZN", "Manufactured=1-1-1", 1},
    };
    for (const Case &row : kCases) {
        EXPECT_EQ(ORVA_IsWindCheckPower(row.item, row.label), row.expected) << row.name;
    }
}

// A date is read up to its 29th character: a day after it is missing.
TEST_F(PowerFanCfg, IsWindCheckPower_ReadsADateOf29Characters) {
    const std::string month23 = std::string(21, '0') + "12";
    const std::string fits = "2020-" + month23.substr(1) + "-7";
    const std::string tooLong = "2020-" + month23 + "-7";
    ASSERT_EQ(fits.size(), 29u);
    EXPECT_EQ(ORVA_IsWindCheckPower("47062MZN", ("Manufactured=" + fits).c_str()), 1u);
    EXPECT_EQ(ORVA_IsWindCheckPower("47062MZN", ("Manufactured=" + tooLong).c_str()), 0u);
}

TEST_F(PowerFanCfg, IsWindCheckPower_ReadsAPartCodeOf29Characters) {
    EXPECT_EQ(ORVA_IsWindCheckPower(std::string(29, 'A').c_str(), "Manufactured=2020-01-01"), 0u);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(ORVA_IsWindCheckPower(std::string(30, 'A').c_str(), "Manufactured=2020-01-01"), 0u);
    EXPECT_EQ(take_logs().size(), 1u) << "the copy is refused and recorded";
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, std::string(29, 'A').c_str()), 0u);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(ORVA_CFG_Is550WPower(0, 0, std::string(30, 'A').c_str()), 0u);
    EXPECT_EQ(take_logs().size(), 1u);
}

TEST_F(PowerFanCfg, IsSpecBrdGetBrdType_IsZeroForOnePair) {
    EXPECT_EQ(ORVA_IsSpecBrdGetBrdType(1057, -1), 0u);
    EXPECT_EQ(ORVA_IsSpecBrdGetBrdType(1057, 0), 1u);
    EXPECT_EQ(ORVA_IsSpecBrdGetBrdType(1056, -1), 1u);
    EXPECT_EQ(ORVA_IsSpecBrdGetBrdType(0, 0), 1u);
}

} // namespace
