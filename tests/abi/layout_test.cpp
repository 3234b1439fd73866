// Record layouts, as C++ and as C see them, and the sizes of the exported tables.
#include <gtest/gtest.h>

#include "every_header.h"

extern "C" const size_t g_layout_as_c[];
extern "C" const size_t g_layout_rows;

namespace {

struct Row {
    const char *what;
    size_t expected;
    size_t asCpp;
};

constexpr Row kRows[] = {
#define SIZE(record, bytes) {"size of " #record, bytes, sizeof(record)},
#define AT(record, field, offset) {#record "." #field, offset, offsetof(record, field)},
#include "layout_rows.inc"
#undef SIZE
#undef AT
};

TEST(Layout, Records_AreAsRecordedInCppAndInC) {
    ASSERT_EQ(std::size(kRows), g_layout_rows);
    for (size_t i = 0; i < std::size(kRows); ++i) {
        EXPECT_EQ(kRows[i].asCpp, kRows[i].expected) << kRows[i].what;
        EXPECT_EQ(g_layout_as_c[i], kRows[i].expected) << kRows[i].what << " as C";
    }
}

TEST(Layout, Tables_HaveTheirSizes) {
    EXPECT_EQ(sizeof g_orvaCommLocal, 16400u);
    EXPECT_EQ(sizeof g_ausCRC16Table, 512u);
    EXPECT_EQ(sizeof g_auiCRC32Table, 1024u);
    EXPECT_EQ(sizeof g_boardPort, 135u * 24);
    EXPECT_EQ(sizeof g_orvaBakPort, 16u);
    EXPECT_EQ(sizeof g_boardNameToBoardIdMap, 9u * 16);
    EXPECT_EQ(sizeof g_dlogInfoDesc, 4u * 68);
    EXPECT_EQ(sizeof g_sensorTypeDesc, 78u * 260);
    EXPECT_EQ(sizeof g_acStubParaBuf, 10650u);
    EXPECT_EQ(sizeof g_debugGetSwitchFunc, 4u * 16);
    EXPECT_EQ(sizeof g_debugSetSwitchFunc, 5u * 16);
    EXPECT_EQ(sizeof g_orvaTempSyncDataDes, 24u * 40);
    EXPECT_EQ(sizeof g_orvaVltSyncDataDes, 22u * 40);
    EXPECT_EQ(sizeof g_orvaFmeaSyncDataDes, 5u * 40);
    EXPECT_EQ(sizeof g_orvaPwrSupSyncDataDes, 2u * 40);
    EXPECT_EQ(sizeof g_orvaDelayPowerOnDes, 2u * 40);
    EXPECT_EQ(sizeof g_orvaBoardInfoSyncToBakDataDes, 3u * 40);
    EXPECT_EQ(sizeof g_orvaPwrsSyncToBakDataDes, 3u * 40);
    EXPECT_EQ(sizeof g_orvaAgentModelCtlTlvDes, 18u * 40);
}

} // namespace
