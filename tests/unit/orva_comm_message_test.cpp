// The header checks, the packet-length checks, the IPMB checksums, slot addresses and checked I2C modes.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_imlib.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

std::string g_debugOutput;

std::uint32_t keep_debug_output(OrvaDebugRecord, const char *, std::uint32_t, const char *format, ...) {
    char text[640];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    g_debugOutput += text;
    return 0;
}

class OrvaCommMessage : public PlatformTest {
protected:
    // Debug records go to the debug output of a board at 2/5.
    static void open_gate() {
        g_debugOutput.clear();
        g_selfBoardBase.selfChassis = 2;
        g_selfBoardBase.selfSlot = 5;
        g_OrvaImlib.debug = keep_debug_output;
        ORVA_DEBUG_SetLogSwitchOn(0x10000, 0);
    }
};

constexpr char kDebugRecord[] = "WriteLog(0x10000, 0x4) [ORVA_COMM][ORVA_LEVEL_DEBUG]";
constexpr char kDebugOutput[] = "[Position: 2/5][ORVA_COMM]";

struct HeaderCase {
    const char *name;
    std::uint8_t ownSlot;
    std::uint32_t header[4];
    std::uint32_t result;
    const char *text; // of the debug record, null for none
};

constexpr HeaderCase kRequests[] = {
    {"to the own slot", 3, {1, 0, 3, 0}, 0, nullptr},
    {"to slot 0", 0, {1, 30, 0, 0xFFFFFFFF}, 0, nullptr},
    {"to all boards", 3, {1, 30, 0xFFFFFFFF, 0}, 0, nullptr},
    {"own slot outside the chassis", 255, {1, 30, 255, 0}, 0, nullptr},
    {"no kind", 3, {0, 0, 3, 0}, ORVA_ERR_REQ_KIND, "The ReqOrReply flag is invalid, ReqOrReply: 0."},
    {"reply", 3, {2, 0, 3, 0}, ORVA_ERR_REQ_KIND, "The ReqOrReply flag is invalid, ReqOrReply: 2."},
    {"reply with wrong slots", 3, {2, 31, 4, 0}, ORVA_ERR_REQ_KIND, "The ReqOrReply flag is invalid, ReqOrReply: 2."},
    {"kind in network byte order",
     3,
     {0x01000000, 0, 3, 0},
     ORVA_ERR_REQ_KIND,
     "The ReqOrReply flag is invalid, ReqOrReply: 16777216."},
    {"sender 31", 3, {1, 31, 3, 0}, ORVA_ERR_REQ_SRC_SLOT, "The SrcSlot is invalid, SrcSlot: 31."},
    {"sender 31 and wrong receiver", 3, {1, 31, 4, 0}, ORVA_ERR_REQ_SRC_SLOT, "The SrcSlot is invalid, SrcSlot: 31."},
    {"sender -1", 3, {1, 0xFFFFFFFF, 3, 0}, ORVA_ERR_REQ_SRC_SLOT, "The SrcSlot is invalid, SrcSlot: 4294967295."},
    {"other receiver", 3, {1, 0, 4, 0}, ORVA_ERR_REQ_DEST_SLOT, "The DestSlot is invalid, DestSlot: 4."},
    {"receiver 3 modulo 256", 3, {1, 0, 259, 0}, ORVA_ERR_REQ_DEST_SLOT, "The DestSlot is invalid, DestSlot: 259."},
};

constexpr HeaderCase kReplies[] = {
    {"to the own slot", 3, {2, 0, 3, 0}, 0, nullptr},
    {"from slot 30", 0, {2, 30, 0, 0xFFFFFFFF}, 0, nullptr},
    {"request", 3, {1, 0, 3, 0}, ORVA_ERR_ACK_KIND, "The ReqOrReply flag is invalid, ReqOrReply: 1."},
    {"request with wrong slots",
     3,
     {1, 31, 4, 0},
     ORVA_ERR_ACK_KIND,
     "The ReqOrReply flag is invalid, ReqOrReply: 1."},
    {"kind 3", 3, {3, 0, 3, 0}, ORVA_ERR_ACK_KIND, "The ReqOrReply flag is invalid, ReqOrReply: 3."},
    {"sender 31", 3, {2, 31, 3, 0}, ORVA_ERR_ACK_SRC_SLOT, "The SrcSlot is invalid, SrcSlot: 31."},
    {"sender 31 and wrong receiver", 3, {2, 31, 4, 0}, ORVA_ERR_ACK_SRC_SLOT, "The SrcSlot is invalid, SrcSlot: 31."},
    {"other receiver", 3, {2, 0, 4, 0}, ORVA_ERR_ACK_DEST_SLOT, "The DestSlot is invalid, DestSlot: 4."},
    {"to all boards",
     3,
     {2, 0, 0xFFFFFFFF, 0},
     ORVA_ERR_ACK_DEST_SLOT,
     "The DestSlot is invalid, DestSlot: 4294967295."},
    {"to all boards as slot 255",
     255,
     {2, 0, 0xFFFFFFFF, 0},
     ORVA_ERR_ACK_DEST_SLOT,
     "The DestSlot is invalid, DestSlot: 4294967295."},
};

using HeaderCheck = std::uint32_t (*)(std::uint8_t, const std::uint32_t *);

void expect_checked(HeaderCheck check, const HeaderCase &row) {
    std::uint32_t header[4];
    std::memcpy(header, row.header, sizeof header);
    EXPECT_EQ(check(row.ownSlot, header), row.result) << row.name;
    EXPECT_EQ(std::memcmp(header, row.header, sizeof header), 0) << row.name;
}

template <std::size_t N>
void expect_debug_records(HeaderCheck check, const HeaderCase (&rows)[N]) {
    for (const HeaderCase &row : rows) {
        expect_checked(check, row);
        const Records expected = row.text == nullptr ? Records{} : Records{std::string(kDebugRecord) + row.text};
        EXPECT_EQ(take_logs(), expected) << row.name;
    }
}

template <std::size_t N>
void expect_debug_output(HeaderCheck check, const HeaderCase (&rows)[N]) {
    for (const HeaderCase &row : rows) {
        g_debugOutput.clear();
        expect_checked(check, row);
        EXPECT_EQ(g_debugOutput, row.text == nullptr ? "" : std::string(kDebugOutput) + row.text) << row.name;
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaCommMessage, CheckReqMsgValidity_FirstFailureDecidesAndLeavesADebugRecord) {
    expect_debug_records(ORVA_AGENT_CheckReqMsgValidity, kRequests);
}

TEST_F(OrvaCommMessage, CheckReqMsgValidity_RecordsGoToTheDebugOutputWhenTheGateIsOpen) {
    open_gate();
    expect_debug_output(ORVA_AGENT_CheckReqMsgValidity, kRequests);
}

TEST_F(OrvaCommMessage, CheckAckMsgValidity_FirstFailureDecidesAndLeavesADebugRecord) {
    expect_debug_records(ORVA_AGENT_CheckAckMsgValidity, kReplies);
}

TEST_F(OrvaCommMessage, CheckAckMsgValidity_RecordsGoToTheDebugOutputWhenTheGateIsOpen) {
    open_gate();
    expect_debug_output(ORVA_AGENT_CheckAckMsgValidity, kReplies);
}

TEST_F(OrvaCommMessage, CheckReqMsgValidityPath_DoesNothing) {
    ORVA_AGENT_CheckReqMsgValidityPath();
    EXPECT_TRUE(take_logs().empty());
    EXPECT_TRUE(platform().calls.empty());
}

constexpr const char *kModules[] = {"TQ9XA", "TQ9XB", "FAN", "PM", "AGENT", "MBUS", "AGENT_MGR"};

TEST_F(OrvaCommMessage, CheckPakcetLen_LengthsUpToThePacketPassSilently) {
    EXPECT_EQ(ORVA_CheckPakcetLen(4, 10, 10), 0u);
    EXPECT_EQ(ORVA_CheckPakcetLen(4, 0, 0), 0u);
    EXPECT_EQ(ORVA_CheckPakcetLen(4, 0, 0xFFFFFFFF), 0u);
    EXPECT_EQ(ORVA_CheckPakcetLen(4, 0xFFFFFFFF, 0xFFFFFFFF), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaCommMessage, CheckPakcetLen_ALongerLengthIsRecordedWithTheModule) {
    for (std::uint32_t module = 0; module < std::size(kModules); ++module) {
        EXPECT_EQ(ORVA_CheckPakcetLen(module, 11, 10), 1u);
        EXPECT_EQ(take_logs(), Records{std::string(kDebugRecord) + "Invalid packet length, module: " +
                                       kModules[module] + ", realLen: 11, pktLen: 10"});
    }
    EXPECT_EQ(ORVA_CheckPakcetLen(4, 0xFFFFFFFF, 0), 1u);
    EXPECT_EQ(take_logs(), Records{std::string(kDebugRecord) +
                                   "Invalid packet length, module: AGENT, realLen: 4294967295, pktLen: 0"});
}

TEST_F(OrvaCommMessage, CheckPakcetLen_RecordGoesToTheDebugOutputWhenTheGateIsOpen) {
    open_gate();
    EXPECT_EQ(ORVA_CheckPakcetLen(2, 11, 10), 1u);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(g_debugOutput,
              std::string(kDebugOutput) + "Invalid packet length, module: FAN, realLen: 11, pktLen: 10");
}

TEST_F(OrvaCommMessage, CheckPakcetLenByMsg_LengthsUpToThePacketPassSilently) {
    EXPECT_EQ(ORVA_CheckPakcetLenByMsg(4, 10, 10, 1, 2), 0u);
    EXPECT_EQ(ORVA_CheckPakcetLenByMsg(4, 0, 0, 1, 2), 0u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaCommMessage, CheckPakcetLenByMsg_ALongerLengthLeavesADiagnosticRecordWithTheModule) {
    g_selfBoardBase.selfChassis = 1;
    g_selfBoardBase.selfSlot = 9;
    for (std::uint32_t module = 0; module < std::size(kModules); ++module) {
        EXPECT_EQ(ORVA_CheckPakcetLenByMsg(module, 30, 29, 6, 0xFF), ORVA_ERR_PACKET_LENGTH);
        EXPECT_EQ(take_logs(), Records{std::string("DLog(0x0, 0xce41001, 0x0, 0x0, 0x0) [Position: 1/9]"
                                                   "Invalid packet length, module: ") +
                                       kModules[module] + ", realLen: 30, pktLen: 29, netFn: 6, cmd: 255"});
    }
}

TEST_F(OrvaCommMessage, CheckPakcetLenByMsg_RecordsTheFirst48OfAnHourUnderItem371) {
    g_selfBoardBase.selfChassis = 1;
    g_selfBoardBase.selfSlot = 9;
    ASSERT_EQ(ORVA_DiagInit(400, 0), 0u);
    for (unsigned i = 0; i < 48; ++i) {
        EXPECT_EQ(ORVA_CheckPakcetLenByMsg(4, 30, 29, 6, i), ORVA_ERR_PACKET_LENGTH);
        EXPECT_EQ(take_logs(), Records{"DLog(0x0, 0xce41001, 0x0, 0x0, 0x0) [Position: 1/9]Invalid packet length, "
                                       "module: AGENT, realLen: 30, pktLen: 29, netFn: 6, cmd: " +
                                       std::to_string(i)});
    }
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(ORVA_CheckPakcetLenByMsg(4, 30, 29, 6, i), ORVA_ERR_PACKET_LENGTH);
        EXPECT_TRUE(take_logs().empty()) << i;
    }
    const OrvaDiagNode *node = g_orvaDiagMgr->nodes[371];
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->diagId, 371u);
    EXPECT_EQ(node->itemCount, 1u);
    EXPECT_EQ(node->line, 994u);
    EXPECT_STREQ(node->file, "orva_comm");
    EXPECT_EQ(
        std::string(node->text),
        std::string("Invalid packet length, module: AGENT, realLen: 30, pktLen: 29, netFn: 6, cmd: 0").substr(0, 63));
    const auto *item = static_cast<const OrvaDiagItem *>(node->tree.first->self);
    EXPECT_EQ(item->keyId, 0u);
    EXPECT_EQ(item->successNum, 48u);
    EXPECT_EQ(item->dropNum, 3u);
    // The manager, its mutex, the node and the item live until the process ends.
    expect_live_blocks(4);
}

struct IpmbCase {
    const char *name;
    std::vector<std::uint8_t> frame;
    std::uint32_t length;
    std::uint32_t result;
};

TEST_F(OrvaCommMessage, CheckIpmbSum_ChecksTheHeaderAndThenTheData) {
    const IpmbCase cases[] = {
        {"header only", {0x20, 0x18, 0xC8}, 3, 0},
        {"length 0 still checks the header", {0x20, 0x18, 0xC8}, 0, 0},
        {"length 0 with a wrong header", {0x20, 0x18, 0xC9}, 0, ORVA_ERR_IPMB_HEADER_SUM},
        {"header checksum wrong", {0x20, 0x18, 0xC7}, 3, ORVA_ERR_IPMB_HEADER_SUM},
        {"zero header", {0, 0, 0}, 3, 0},
        {"header sum above 255", {0xFF, 0xFF, 0x02}, 3, 0},
        {"data byte 1 alone", {0x20, 0x18, 0xC8, 0x01}, 4, ORVA_ERR_IPMB_DATA_SUM},
        {"data byte 0 alone", {0x20, 0x18, 0xC8, 0x00}, 4, 0},
        {"whole request", {0x20, 0x18, 0xC8, 0x81, 0x04, 0x01, 0x7A}, 7, 0},
        {"whole request, data checksum wrong", {0x20, 0x18, 0xC8, 0x81, 0x04, 0x01, 0x7B}, 7, ORVA_ERR_IPMB_DATA_SUM},
        {"both wrong", {0x20, 0x18, 0xC9, 0x81, 0x04, 0x01, 0x7B}, 7, ORVA_ERR_IPMB_HEADER_SUM},
        {"data up to the length only", {0x20, 0x18, 0xC8, 0x81, 0x7F, 0x55}, 5, 0},
    };
    for (const IpmbCase &row : cases) {
        EXPECT_EQ(ORVA_TRANS_CheckIpmbSum(row.frame.data(), row.length), row.result) << row.name;
    }
    EXPECT_EQ(ORVA_TRANS_CheckIpmbSum(nullptr, 7), ORVA_ERR_IPMB_NULL);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaCommMessage, CheckIpmbSum_EveryWrongHeaderChecksumIsRefused) {
    for (unsigned sum = 0; sum < 256; ++sum) {
        const std::uint8_t frame[] = {0xB2, 0x1C, static_cast<std::uint8_t>(sum)};
        EXPECT_EQ(ORVA_TRANS_CheckIpmbSum(frame, 3), sum == 0x32 ? 0u : ORVA_ERR_IPMB_HEADER_SUM) << sum;
    }
}

TEST_F(OrvaCommMessage, GetAddressFromSlot_FollowsTheSubSlotAndTheBoxStack) {
    struct Case {
        std::uint8_t slot, subSlot;
        std::uint32_t isBoxStack, address;
    };
    constexpr Case kCases[] = {
        {5, 0, 0, 0xAC1005FA},   {5, 0, 1, 0xAC1005FA},     {0, 0, 0, 0xAC1000FA}, {255, 0, 0, 0xAC10FFFA},
        {5, 7, 0, 0xAC100507},   {5, 7, 1, 0xAC100105},     {5, 7, 2, 0xAC100507}, {0, 255, 0, 0xAC1000FF},
        {255, 1, 1, 0xAC1001FF}, {255, 255, 0, 0xAC10FFFF}, {0, 1, 1, 0xAC100100}, {5, 7, 0xFFFFFFFF, 0xAC100507},
    };
    for (const Case &row : kCases) {
        ORVA_DRVADP_SetIsBoxStackVar(row.isBoxStack);
        EXPECT_EQ(ORVA_GetAddressFromSlot(row.slot, row.subSlot), row.address)
            << unsigned{row.slot} << "/" << unsigned{row.subSlot} << " box stack " << row.isBoxStack;
    }
}

TEST_F(OrvaCommMessage, IsCheckBetweenBoardI2cMode_KnowsTheCheckedModes) {
    for (unsigned mode = 0; mode < 256; ++mode) {
        const bool isChecked = mode == 3 || mode == 4 || mode == 9 || mode == 11 || mode == 12;
        EXPECT_EQ(ORVA_AGENT_IsCheckBetweenBoardI2cMode(static_cast<std::uint8_t>(mode)), isChecked ? 1u : 0u)
            << mode;
    }
}

} // namespace
