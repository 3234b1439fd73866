// Board information, power-module power and model-control records, and the FRU item.
#include "orva_tlv_sensor_comm.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform_double.h"
#include "record_bytes.h"

#include "../golden/sync_blocks.inc"

namespace {

using orva_test::Bytes;
using orva_test::bytes_of;
using orva_test::Filled;

constexpr std::uint8_t kUntouched = 0xEE;

Bytes item(std::uint32_t tag, const Bytes &value) {
    Bytes bytes = {static_cast<std::uint8_t>(tag >> 8), static_cast<std::uint8_t>(tag),
                   static_cast<std::uint8_t>(value.size() >> 8), static_cast<std::uint8_t>(value.size())};
    for (const std::uint8_t byte : value) {
        bytes.push_back(byte);
    }
    return bytes;
}

Bytes block(const std::vector<Bytes> &items) {
    Bytes bytes = {0, 0, 0, static_cast<std::uint8_t>(items.size()), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (const Bytes &one : items) {
        for (const std::uint8_t byte : one) {
            bytes.push_back(byte);
        }
    }
    bytes[7] = static_cast<std::uint8_t>(bytes.size());
    return bytes;
}

// A value of `count` bytes first, first + 1, ...
Bytes run(std::uint8_t first, std::size_t count) {
    Bytes bytes(count);
    for (std::uint8_t &byte : bytes) {
        byte = first++;
    }
    return bytes;
}

using TlvBoard = orva_test::PlatformTest;

struct ExpectedRow {
    std::uint32_t tag;
    std::size_t offset;
    std::uint32_t type, elemSize, totalLen;
    const OrvaTlvDes *nested;
    std::uint32_t nestedRows;
};

void expect_rows(const char *name, const OrvaTlvDes *table, std::size_t rows,
                 const std::vector<ExpectedRow> &expected) {
    ASSERT_EQ(rows, expected.size()) << name;
    for (std::size_t i = 0; i < rows; ++i) {
        SCOPED_TRACE(std::string(name) + " row " + std::to_string(i));
        EXPECT_EQ(table[i].flag, 1u);
        EXPECT_EQ(table[i].tag, expected[i].tag);
        EXPECT_EQ(table[i].offset, expected[i].offset);
        EXPECT_EQ(table[i].type, expected[i].type);
        EXPECT_EQ(table[i].elemSize, expected[i].elemSize);
        EXPECT_EQ(table[i].totalLen, expected[i].totalLen);
        EXPECT_EQ(table[i].nested, expected[i].nested);
        EXPECT_EQ(table[i].nestedRows, expected[i].nestedRows);
        EXPECT_EQ(table[i].reserved, 0u);
    }
}

TEST_F(TlvBoard, Tables_HoldTheirRowsInOrder) {
    expect_rows("delayed power-on", g_orvaDelayPowerOnDes, std::size(g_orvaDelayPowerOnDes),
                {{4, offsetof(OrvaDelayPowerOn, delayFlag), 1, 1, 1, nullptr, 0},
                 {5, offsetof(OrvaDelayPowerOn, delayTime), 3, 4, 4, nullptr, 0}});
    expect_rows("board", g_orvaBoardInfoSyncToBakDataDes, std::size(g_orvaBoardInfoSyncToBakDataDes),
                {{1, offsetof(OrvaBoardInfoSync, info1), 1, 1, 1, nullptr, 0},
                 {2, offsetof(OrvaBoardInfoSync, info2), 1, 1, 1, nullptr, 0},
                 {3, offsetof(OrvaBoardInfoSync, delayPowerOn), 4, sizeof(OrvaDelayPowerOn), sizeof(OrvaDelayPowerOn),
                  g_orvaDelayPowerOnDes, 2}});
    expect_rows("power", g_orvaPwrsSyncToBakDataDes, std::size(g_orvaPwrsSyncToBakDataDes),
                {{1, offsetof(OrvaPwrsPwrSync, pwr1), 1, 1, 1, nullptr, 0},
                 {2, offsetof(OrvaPwrsPwrSync, pwr2), 1, 1, 1, nullptr, 0},
                 {3, offsetof(OrvaPwrsPwrSync, pwr3), 1, 1, 1, nullptr, 0}});
    expect_rows("model control", g_orvaAgentModelCtlTlvDes, std::size(g_orvaAgentModelCtlTlvDes),
                {{1, offsetof(OrvaAgentModelCtl, ctlWord1), 3, 4, 4, nullptr, 0},
                 {2, offsetof(OrvaAgentModelCtl, ctlWord2), 3, 4, 4, nullptr, 0},
                 {3, offsetof(OrvaAgentModelCtl, ctlByte3), 1, 1, 1, nullptr, 0},
                 {4, offsetof(OrvaAgentModelCtl, mngSlotNum), 1, 1, 1, nullptr, 0},
                 {5, offsetof(OrvaAgentModelCtl, mngSlot), 1, 1, 29, nullptr, 0},
                 {6, offsetof(OrvaAgentModelCtl, mngSlotType), 1, 1, 29, nullptr, 0},
                 {7, offsetof(OrvaAgentModelCtl, ctlByte7), 1, 1, 1, nullptr, 0},
                 {8, offsetof(OrvaAgentModelCtl, ctlByte8), 1, 1, 1, nullptr, 0},
                 {9, offsetof(OrvaAgentModelCtl, ctlByte9), 1, 1, 1, nullptr, 0},
                 {10, offsetof(OrvaAgentModelCtl, ctlByte10), 1, 1, 1, nullptr, 0},
                 {11, offsetof(OrvaAgentModelCtl, ctlByte11), 1, 1, 1, nullptr, 0},
                 {12, offsetof(OrvaAgentModelCtl, ctlByte12), 1, 1, 1, nullptr, 0},
                 {13, offsetof(OrvaAgentModelCtl, ctlByte13), 1, 1, 1, nullptr, 0},
                 {14, offsetof(OrvaAgentModelCtl, ctlByte14), 1, 1, 1, nullptr, 0},
                 {15, offsetof(OrvaAgentModelCtl, ctlByte15), 1, 1, 1, nullptr, 0},
                 {16, offsetof(OrvaAgentModelCtl, ctlByte16), 1, 1, 1, nullptr, 0},
                 {17, offsetof(OrvaAgentModelCtl, stackSlotNum), 1, 1, 1, nullptr, 0},
                 {18, offsetof(OrvaAgentModelCtl, stackSlot), 1, 1, 15, nullptr, 0}});
}

TEST_F(TlvBoard, BlockSizes_AreFixed) {
    EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(g_orvaDelayPowerOnDes, 2), 29u);
    EXPECT_EQ(ORVA_TLV_CalBoardInfoTlvLen(), 59u);
    EXPECT_EQ(ORVA_TLV_CalPwrsPwrDataTlvLen(), 31u);
    EXPECT_EQ(ORVA_OrvaAgt_GetModelCtlTlvBufSize(), 182u);
}

template <typename Record, std::size_t N>
void expect_golden(const char *name, std::uint32_t (*encode)(const Record *, void *), const Record &record,
                   const unsigned char (&golden)[N]) {
    Bytes out(N + 9, kUntouched);
    EXPECT_EQ(encode(&record, out.data() + 1), N) << name;
    Bytes expected(N + 9, kUntouched);
    std::copy_n(golden, N, expected.begin() + 1);
    EXPECT_EQ(out, expected) << name;
}

std::uint32_t encode_delay(const OrvaDelayPowerOn *record, void *out) {
    return ORVA_TLV_Encode(g_orvaDelayPowerOnDes, 2, record, out);
}

TEST_F(TlvBoard, Encode_WritesTheGoldenBlocks) {
    expect_golden("delay A", encode_delay, kDelayRecordA, kDelayBlockA);
    expect_golden("delay B", encode_delay, kDelayRecordB, kDelayBlockB);
    expect_golden("board A", ORVA_TLV_SyncBoardInfoToBakEncode, kBoardRecordA, kBoardBlockA);
    expect_golden("board B", ORVA_TLV_SyncBoardInfoToBakEncode, kBoardRecordB, kBoardBlockB);
    expect_golden("power A", ORVA_TLV_SyncPwrsPwrDataToBakEncode, kPwrsRecordA, kPwrsBlockA);
    expect_golden("power B", ORVA_TLV_SyncPwrsPwrDataToBakEncode, kPwrsRecordB, kPwrsBlockB);
    expect_golden("model control A", ORVA_OrvaAgt_ModelCtlTlvDataEncode, kModelCtlRecordA, kModelCtlBlockA);
    expect_golden("model control B", ORVA_OrvaAgt_ModelCtlTlvDataEncode, kModelCtlRecordB, kModelCtlBlockB);
}

TEST_F(TlvBoard, Encode_OfABoardNestsACompleteBlock) {
    const OrvaBoardInfoSync info = {
        .info1 = 0x11, .info2 = 0x22, .delayPowerOn = {.delayFlag = 1, .delayTime = 3600}};
    Bytes out(59);
    ASSERT_EQ(ORVA_TLV_SyncBoardInfoToBakEncode(&info, out.data()), 59u);
    EXPECT_EQ(out, (Bytes{0,    0, 0, 3, 0, 0,    0, 59, 0, 0,  0, 0, 0, 0, 0, 0,    0,    1,    0,   1,
                          0x11, 0, 2, 0, 1, 0x22, 0, 3,  0, 29, 0, 0, 0, 2, 0, 0,    0,    29,   0,   0,
                          0,    0, 0, 0, 0, 0,    0, 4,  0, 1,  1, 0, 5, 0, 4, 0x00, 0x00, 0x0E, 0x10}));
}

TEST_F(TlvBoard, Encode_RefusesANullRecord) {
    Bytes out(200, kUntouched);
    EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakEncode(nullptr, out.data()), 0u);
    EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataToBakEncode(nullptr, out.data()), 0u);
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataEncode(nullptr, out.data()), 0u);
    EXPECT_EQ(out, Bytes(200, kUntouched));
}

TEST_F(TlvBoard, Encode_WithoutABufferReturnsTheRecordsAddressForTwoRecords) {
    const OrvaBoardInfoSync info{};
    const OrvaPwrsPwrSync pwr{};
    const OrvaAgentModelCtl ctl{};
    EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakEncode(&info, nullptr),
              static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&info)));
    EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataToBakEncode(&pwr, nullptr),
              static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&pwr)));
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataEncode(&ctl, nullptr), 0u);
    EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakEncode(nullptr, nullptr), 0u);
    EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataToBakEncode(nullptr, nullptr), 0u);
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataEncode(nullptr, nullptr), 0u);
}

TEST_F(TlvBoard, Decode_RefusesNullPointers) {
    Filled<OrvaBoardInfoSync> infoBytes(kUntouched);
    auto &info = infoBytes.record;
    Filled<OrvaPwrsPwrSync> pwrBytes(kUntouched);
    auto &pwr = pwrBytes.record;
    Filled<OrvaAgentModelCtl> ctlBytes(kUntouched);
    auto &ctl = ctlBytes.record;
    EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakDecode(nullptr, &info), 1u);
    EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakDecode(kBoardBlockA, nullptr), 1u);
    EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataDecode(nullptr, &pwr), 1u);
    EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataDecode(kPwrsBlockA, nullptr), 1u);
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataDecode(nullptr, &ctl), 1u);
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataDecode(kModelCtlBlockA, nullptr), 1u);
    EXPECT_EQ(bytes_of(info), Bytes(sizeof info, kUntouched));
    EXPECT_EQ(bytes_of(pwr), Bytes(sizeof pwr, kUntouched));
    EXPECT_EQ(bytes_of(ctl), Bytes(sizeof ctl, kUntouched));
}

TEST_F(TlvBoard, Decode_OfABoardStoresEveryMember) {
    for (const auto &[golden, record] : {std::pair{kBoardBlockA, kBoardRecordA}, {kBoardBlockB, kBoardRecordB}}) {
        Bytes odd(1, 0);
        for (int i = 0; i < 59; ++i) {
            odd.push_back(golden[i]);
        }
        Filled<OrvaBoardInfoSync> infoBytes(kUntouched);
        auto &info = infoBytes.record;
        EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakDecode(odd.data() + 1, &info), 0u);
        EXPECT_EQ(info.info1, record.info1);
        EXPECT_EQ(info.info2, record.info2);
        EXPECT_EQ(info.delayPowerOn.delayFlag, record.delayPowerOn.delayFlag);
        EXPECT_EQ(info.delayPowerOn.delayTime, record.delayPowerOn.delayTime);
    }
}

TEST_F(TlvBoard, Decode_OfANestedBlockLeavesMembersWithoutATag) {
    const struct {
        const char *name;
        std::vector<Bytes> items;
        std::uint8_t flag;
        std::uint32_t time;
    } cases[] = {
        {"both", {item(4, {7}), item(5, {0, 0, 0x0E, 0x10})}, 7, 3600},
        {"flag only", {item(4, {7})}, 7, 99},
        {"time only", {item(5, {0, 0, 0x0E, 0x10})}, 66, 3600},
        {"neither", {}, 66, 99},
        {"foreign tags", {item(1, {1}), item(6, {1, 2, 3, 4})}, 66, 99},
        {"an empty item ends the nested block only", {item(4, {7}), item(9, {}), item(5, {0, 0, 14, 16})}, 7, 99},
    };
    for (const auto &c : cases) {
        OrvaBoardInfoSync info = {.info1 = 1, .info2 = 2, .delayPowerOn = {.delayFlag = 66, .delayTime = 99}};
        const Bytes received = block({item(3, block(c.items)), item(1, {0x55})});
        EXPECT_EQ(ORVA_TLV_SyncBoardInfoToBakDecode(received.data(), &info), 0u) << c.name;
        EXPECT_EQ(info.delayPowerOn.delayFlag, c.flag) << c.name;
        EXPECT_EQ(info.delayPowerOn.delayTime, c.time) << c.name;
        EXPECT_EQ(info.info1, 0x55) << c.name;
        EXPECT_EQ(info.info2, 2) << c.name;
    }
}

TEST_F(TlvBoard, Decode_OfPowerStoresEveryMember) {
    for (const auto &[golden, record] : {std::pair{kPwrsBlockA, kPwrsRecordA}, {kPwrsBlockB, kPwrsRecordB}}) {
        Filled<OrvaPwrsPwrSync> pwrBytes(kUntouched);
        auto &pwr = pwrBytes.record;
        EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataDecode(golden, &pwr), 0u);
        EXPECT_EQ(bytes_of(pwr), bytes_of(record));
    }
}

TEST_F(TlvBoard, Decode_StopsAtAnEmptyItem) {
    const Bytes received = block({item(1, {5}), item(2, {}), item(3, {6})});
    Filled<OrvaPwrsPwrSync> pwrBytes(kUntouched);
    auto &pwr = pwrBytes.record;
    EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataDecode(received.data(), &pwr), 1u);
    EXPECT_EQ(pwr.pwr1, 5);
    EXPECT_EQ(pwr.pwr3, kUntouched);
}

TEST_F(TlvBoard, Decode_OfModelControlStoresAllButTag14) {
    for (const std::uint8_t fill : {std::uint8_t{0x00}, std::uint8_t{0x5A}}) {
        Filled<OrvaAgentModelCtl> ctlBytes(fill);
        auto &ctl = ctlBytes.record;
        EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataDecode(kModelCtlBlockA, &ctl), 0u); // 29 and 15 entries
        Bytes expected = bytes_of(kModelCtlRecordA);
        expected[offsetof(OrvaAgentModelCtl, ctlByte14)] = fill;
        const Bytes received = bytes_of(ctl);
        EXPECT_EQ(Bytes(received.begin(), received.begin() + 94), Bytes(expected.begin(), expected.begin() + 94));
        EXPECT_EQ(Bytes(received.begin() + 94, received.end()), Bytes(2, fill));
    }
}

TEST_F(TlvBoard, Decode_OfModelControlCopiesOnlyTheEntriesThatCount) {
    Filled<OrvaAgentModelCtl> ctlBytes(0x5A);
    auto &ctl = ctlBytes.record;
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataDecode(kModelCtlBlockB, &ctl), 0u); // 3 and 0 entries
    for (std::size_t i = 0; i < 29; ++i) {
        EXPECT_EQ(ctl.mngSlot[i], i < 3 ? kModelCtlRecordB.mngSlot[i] : 0x5A) << i;
        EXPECT_EQ(ctl.mngSlotType[i], i < 3 ? kModelCtlRecordB.mngSlotType[i] : 0x5A) << i;
    }
    EXPECT_EQ(Bytes(ctl.stackSlot, ctl.stackSlot + 15), Bytes(15, 0x5A));
    EXPECT_EQ(ctl.ctlByte7, kModelCtlRecordB.ctlByte7);
    EXPECT_EQ(ctl.ctlByte13, kModelCtlRecordB.ctlByte13);
    EXPECT_EQ(ctl.ctlByte14, 0x5A);
    EXPECT_EQ(ctl.ctlByte15, kModelCtlRecordB.ctlByte15);
    EXPECT_EQ(ctl.stackSlotNum, 0);
}

TEST_F(TlvBoard, Decode_OfTag14LeavesTheReceiver) {
    const Bytes received = block({item(14, {0x55}), item(15, {0x66})});
    Filled<OrvaAgentModelCtl> ctlBytes(0x11);
    auto &ctl = ctlBytes.record;
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlTlvDataDecode(received.data(), &ctl), 0u);
    EXPECT_EQ(ctl.ctlByte14, 0x11);
    EXPECT_EQ(ctl.ctlByte15, 0x66);
}

TEST_F(TlvBoard, SlotLists_AreBoundedByCountAndCapacity) {
    const struct {
        const char *name;
        void (*store)(OrvaAgentModelCtl *, const void *);
        std::uint32_t tag;
        std::size_t offset, capacity;
        std::uint8_t OrvaAgentModelCtl::*count;
    } lists[] = {
        {"mngSlot", ORVA_ProcMngSlotTLV, 5, offsetof(OrvaAgentModelCtl, mngSlot), 29, &OrvaAgentModelCtl::mngSlotNum},
        {"mngSlotType", ORVA_ProcMngSlotTypeTLV, 6, offsetof(OrvaAgentModelCtl, mngSlotType), 29,
         &OrvaAgentModelCtl::mngSlotNum},
        {"stackSlot", ORVA_ProcMngStackSlotTLV, 18, offsetof(OrvaAgentModelCtl, stackSlot), 15,
         &OrvaAgentModelCtl::stackSlotNum},
    };
    for (const auto &list : lists) {
        for (const unsigned count : {0u, 1u, 3u, 14u, 15u, 16u, 28u, 29u, 30u, 40u, 255u}) {
            const Bytes bytes = item(list.tag, run(1, 29));
            Filled<OrvaAgentModelCtl> direct(kUntouched);
            Filled<OrvaAgentModelCtl> through(kUntouched);
            direct.record.*list.count = static_cast<std::uint8_t>(count);
            through.record.*list.count = static_cast<std::uint8_t>(count);
            Bytes expected = bytes_of(direct.record);
            for (std::size_t i = 0; i < std::min<std::size_t>(count, list.capacity); ++i) {
                expected[list.offset + i] = static_cast<std::uint8_t>(1 + i);
            }
            list.store(&direct.record, bytes.data());
            EXPECT_EQ(bytes_of(direct.record), expected) << list.name << " count " << count;
            EXPECT_EQ(ORVA_OrvaAgt_ModelCtlDecode(bytes.data(), &through.record), list.tag);
            EXPECT_EQ(bytes_of(through.record), expected) << list.name << " count " << count;
        }
    }
}

TEST_F(TlvBoard, DelayPowerOnCallback_StoresTwoTagsAndReturnsEveryTag) {
    for (const std::uint32_t tag : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xFFFFu}) {
        OrvaDelayPowerOn delay = {.delayFlag = 66, .delayTime = 99};
        EXPECT_EQ(ORVA_DelayPowerOn_SyncDataDecode(item(tag, {0x01, 0x02, 0x03, 0x04}).data(), &delay), tag);
        EXPECT_EQ(delay.delayFlag, tag == 4 ? 0x01 : 66) << tag;
        EXPECT_EQ(delay.delayTime, tag == 5 ? 0x01020304u : 99u) << tag;
    }
}

TEST_F(TlvBoard, BoardInfoCallback_ReturnsEveryTag) {
    for (const std::uint32_t tag : {0u, 1u, 2u, 3u, 4u, 5u, 0x0101u, 0xFFFFu}) {
        OrvaBoardInfoSync info = {.info1 = 11, .info2 = 22, .delayPowerOn = {.delayFlag = 66, .delayTime = 99}};
        const Bytes value = block({item(4, {7})});
        EXPECT_EQ(ORVA_BoardInfo_SyncDataDecode(item(tag, value).data(), &info), tag);
        EXPECT_EQ(info.info1, tag == 1 ? 0 : 11) << tag; // the first value byte is 0
        EXPECT_EQ(info.info2, tag == 2 ? 0 : 22) << tag;
        EXPECT_EQ(info.delayPowerOn.delayFlag, tag == 3 ? 7 : 66) << tag;
        EXPECT_EQ(info.delayPowerOn.delayTime, 99u) << tag;
    }
}

TEST_F(TlvBoard, PowerCallback_ReturnsEveryTag) {
    for (const std::uint32_t tag : {0u, 1u, 2u, 3u, 4u, 0x0101u, 0xFFFFu}) {
        OrvaPwrsPwrSync pwr = {.pwr1 = 11, .pwr2 = 22, .pwr3 = 33};
        EXPECT_EQ(ORVA_TLV_SyncPwrsPwrDataDecodeFunc(item(tag, {7}).data(), &pwr), tag);
        EXPECT_EQ(pwr.pwr1, tag == 1 ? 7 : 11) << tag;
        EXPECT_EQ(pwr.pwr2, tag == 2 ? 7 : 22) << tag;
        EXPECT_EQ(pwr.pwr3, tag == 3 ? 7 : 33) << tag;
    }
}

// Where each tag of the model-control record is stored; no place for tag 14 and the slot lists (count 0 here).
constexpr struct {
    std::uint32_t tag;
    std::size_t offset, width;
} kModelCtlPlaces[] = {{1, 0, 4},   {2, 4, 4},  {3, 8, 1},   {4, 9, 1},      {5, 0, 0},     {6, 0, 0},
                       {7, 68, 1},  {8, 69, 1}, {9, 70, 1},  {10, 71, 1},    {11, 72, 1},   {12, 73, 1},
                       {13, 74, 1}, {14, 0, 0}, {15, 76, 1}, {16, 77, 1},    {17, 78, 1},   {18, 0, 0},
                       {0, 0, 0},   {19, 0, 0}, {20, 0, 0},  {0x0101, 0, 0}, {0xFFFF, 0, 0}};

void expect_model_ctl(std::uint32_t (*callback)(const void *, void *), std::uint32_t firstTag, const char *name) {
    for (const auto &place : kModelCtlPlaces) {
        Filled<OrvaAgentModelCtl> ctlBytes(0);
        auto &ctl = ctlBytes.record;
        EXPECT_EQ(callback(item(place.tag, run(0x11, 29)).data(), &ctl), place.tag) << name;
        Bytes expected(sizeof ctl, 0);
        for (std::size_t i = 0; place.tag >= firstTag && i < place.width; ++i) {
            // A big-endian word lands with its last byte first.
            expected[place.offset + i] = static_cast<std::uint8_t>(0x11 + place.width - 1 - i);
        }
        EXPECT_EQ(bytes_of(ctl), expected) << name << " tag " << place.tag;
    }
}

TEST_F(TlvBoard, ModelControlCallbacks_StoreTheirTagsAndReturnEveryTag) {
    expect_model_ctl(ORVA_OrvaAgt_ModelCtlDecode, 1, "all");
    expect_model_ctl(ORVA_OrvaAgt_ModelCtlDecodeAdd, 16, "tail");
    OrvaAgentModelCtl ctl{};
    ctl.stackSlotNum = 2;
    EXPECT_EQ(ORVA_OrvaAgt_ModelCtlDecodeAdd(item(18, run(0x11, 15)).data(), &ctl), 18u);
    EXPECT_EQ(Bytes(ctl.stackSlot, ctl.stackSlot + 3), (Bytes{0x11, 0x12, 0}));
}

TEST_F(TlvBoard, FruItem_IsWrittenIntoFiveBytes) {
    Bytes out(8, kUntouched);
    ORVA_OrvaAgt_AppendFruTlvForE2prom(out.data() + 1, 0x2A);
    EXPECT_EQ(out, (Bytes{kUntouched, 0x00, 0x09, 0x00, 0x01, 0x2A, kUntouched, kUntouched}));
    ORVA_OrvaAgt_AppendFruTlvForE2prom(nullptr, 0x2A);
}

TEST_F(TlvBoard, FruItem_IsReadOrZero) {
    const struct {
        const char *name;
        Bytes bytes;
        std::uint32_t len;
        std::uint8_t expected;
    } cases[] = {
        {"item", {0x00, 0x09, 0x00, 0x01, 0x2A}, 5, 0x2A},
        {"surplus", {0x00, 0x09, 0x00, 0x01, 0x2A, 0x2B}, 6, 0x2A},
        {"len 4", {0x00, 0x09, 0x00, 0x01, 0x2A}, 4, 0},
        {"len 0", {0x00, 0x09, 0x00, 0x01, 0x2A}, 0, 0},
        {"tag 8", {0x00, 0x08, 0x00, 0x01, 0x2A}, 5, 0},
        {"tag 0x0109", {0x01, 0x09, 0x00, 0x01, 0x2A}, 5, 0},
        {"length 2", {0x00, 0x09, 0x00, 0x02, 0x2A}, 5, 0},
        {"length 0x0101", {0x00, 0x09, 0x01, 0x01, 0x2A}, 5, 0},
    };
    for (const auto &c : cases) {
        std::uint8_t fru = 0x77;
        ORVA_OrvaAgt_HandleFruTlvForE2prom(c.bytes.data(), &fru, c.len);
        EXPECT_EQ(fru, c.expected) << c.name;
    }
    std::uint8_t fru = 0x77;
    ORVA_OrvaAgt_HandleFruTlvForE2prom(nullptr, &fru, 5);
    EXPECT_EQ(fru, 0);
}

} // namespace
