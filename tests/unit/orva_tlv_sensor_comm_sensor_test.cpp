// The four sensor records and the sensor-number item.
#include "orva_tlv_sensor_comm.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "log_line.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"
#include "record_bytes.h"

#include "../golden/sync_blocks.inc"

namespace {

using orva_test::Bytes;
using orva_test::bytes_of;
using orva_test::Filled;
using orva_test::take_logs;
using orva_test::take_logs_without_lines;
using Texts = std::vector<std::string>;

constexpr std::uint8_t kUntouched = 0xEE;

// What each record carries: tag, place and width of the member, and the function that stores it (null: not stored).
template <typename Record>
struct Row {
    std::uint32_t tag;
    std::size_t offset;
    std::uint32_t width;
    void (*store)(Record *, const void *);
};

constexpr Row<OrvaTempSensorCfg> kTempRows[] = {
    {1, offsetof(OrvaTempSensorCfg, tempNodeType), 1, ORVA_TEMP_ProcTempNodeType},
    {2, offsetof(OrvaTempSensorCfg, queryByChip), 1, ORVA_TEMP_ProcQueryByChip},
    {3, offsetof(OrvaTempSensorCfg, sensorNum), 1, ORVA_TEMP_ProcSensorNum},
    {4, offsetof(OrvaTempSensorCfg, sensorType), 1, ORVA_TEMP_ProcSensorType},
    {5, offsetof(OrvaTempSensorCfg, chipIndex), 1, ORVA_TEMP_ProcChipIndex},
    {6, offsetof(OrvaTempSensorCfg, sensorInitia), 1, ORVA_TEMP_ProcSensorInitia},
    {7, offsetof(OrvaTempSensorCfg, assertionEventMask), 2, ORVA_TEMP_ProcAssertionEventMask},
    {8, offsetof(OrvaTempSensorCfg, deassertionEventMask), 2, ORVA_TEMP_ProcDeAssertionEventMask},
    {9, offsetof(OrvaTempSensorCfg, uprMinorAlm), 1, ORVA_TEMP_ProcUprMinorAlm},
    {10, offsetof(OrvaTempSensorCfg, uprMajorAlm), 1, ORVA_TEMP_ProcUprMajorAlm},
    {11, offsetof(OrvaTempSensorCfg, uprFatalAlm), 1, ORVA_TEMP_ProcUprFatalAlm},
    {12, offsetof(OrvaTempSensorCfg, busId), 1, ORVA_TEMP_ProcBusId},
    {13, offsetof(OrvaTempSensorCfg, negativegoingThre), 1, ORVA_TEMP_ProcNegativegoingthre},
    {14, offsetof(OrvaTempSensorCfg, positivegoingThre), 1, ORVA_TEMP_ProcPositivegoingthre},
    {15, offsetof(OrvaTempSensorCfg, lwrMinorAlm), 1, ORVA_TEMP_ProcLwrMinorAlm},
    {16, offsetof(OrvaTempSensorCfg, lwrMajorAlm), 1, ORVA_TEMP_ProcLwrMajorAlm},
    {17, offsetof(OrvaTempSensorCfg, lwrFatalAlm), 1, ORVA_TEMP_ProcLwrFatalAlm},
    {18, offsetof(OrvaTempSensorCfg, cpuIndex), 1, ORVA_TEMP_ProcCpuIndex},
    {19, offsetof(OrvaTempSensorCfg, ownerId), 1, ORVA_TEMP_ProcOwnerId},
    {20, offsetof(OrvaTempSensorCfg, ownerLun), 1, ORVA_TEMP_ProcOwnerLun},
    {21, offsetof(OrvaTempSensorCfg, i2cChannel), 1, ORVA_TEMP_ProcI2cChannel},
    {22, offsetof(OrvaTempSensorCfg, reserve), 1, ORVA_TEMP_ProcReserve},
    {23, offsetof(OrvaTempSensorCfg, deviceModifier), 1, ORVA_TEMP_ProcDeviceModifier},
    {24, offsetof(OrvaTempSensorCfg, sensorUnit3), 1, ORVA_TEMP_ProcSensorUnit3},
};

constexpr Row<OrvaVltSensorCfg> kVltRows[] = {
    {1, offsetof(OrvaVltSensorCfg, sensorNum), 1, ORVA_VLT_ProcSensorNum},
    {2, offsetof(OrvaVltSensorCfg, sensorMLS), 1, ORVA_VLT_ProcSensorMLS},
    {3, offsetof(OrvaVltSensorCfg, rexpBexp), 1, ORVA_VLT_ProcRexpBexp},
    {4, offsetof(OrvaVltSensorCfg, voltageId), 1, ORVA_VLT_ProcVoltageId},
    {5, offsetof(OrvaVltSensorCfg, assertionEventMask), 2, ORVA_VLT_ProcAssertionEventMask},
    {6, offsetof(OrvaVltSensorCfg, deassertionEventMask), 2, ORVA_VLT_ProcDeAssertionEventMask},
    {7, offsetof(OrvaVltSensorCfg, sensorInitia), 1, ORVA_VLT_ProcSensorInitia},
    {8, offsetof(OrvaVltSensorCfg, nominalReading), 1, ORVA_VLT_ProcNominalReading},
    {9, offsetof(OrvaVltSensorCfg, uprMinorAlm), 1, ORVA_VLT_ProcUprMinorAlm},
    {10, offsetof(OrvaVltSensorCfg, uprMajorAlm), 1, ORVA_VLT_ProcUprMajorAlm},
    {11, offsetof(OrvaVltSensorCfg, uprFatalAlm), 1, ORVA_VLT_ProcUprFatalAlm},
    {12, offsetof(OrvaVltSensorCfg, sensorType), 1, ORVA_VLT_ProcSensorType},
    {13, offsetof(OrvaVltSensorCfg, negativegoingThre), 1, ORVA_VLT_ProcNegativegoingthre},
    {14, offsetof(OrvaVltSensorCfg, positiveGoingThre), 1, ORVA_VLT_ProcPositiveGoingThre},
    {15, offsetof(OrvaVltSensorCfg, lwrMinorAlm), 1, ORVA_VLT_ProcLwrMinorAlm},
    {16, offsetof(OrvaVltSensorCfg, lwrMajorAlm), 1, ORVA_VLT_ProcLwrMajorAlm},
    {17, offsetof(OrvaVltSensorCfg, lwrFatalAlm), 1, ORVA_VLT_ProcLwrFatalAlm},
    {18, offsetof(OrvaVltSensorCfg, extra1), 1, nullptr},
    {19, offsetof(OrvaVltSensorCfg, extra2), 1, nullptr},
    {20, offsetof(OrvaVltSensorCfg, extra3), 1, nullptr},
    {21, offsetof(OrvaVltSensorCfg, deviceModifier), 1, ORVA_VLT_ProcDeviceModifier},
    {22, offsetof(OrvaVltSensorCfg, sensorUnit3), 1, ORVA_VLT_ProcSensorUnit3},
};

constexpr Row<OrvaVltSensorCfg> kFmeaRows[] = {
    {1, offsetof(OrvaVltSensorCfg, sensorNum), 1, ORVA_TLV_DecodeFmeaSensorId},
    {2, offsetof(OrvaVltSensorCfg, sensorType), 1, ORVA_TLV_DecodeFmeaSensorType},
    {3, offsetof(OrvaVltSensorCfg, busId), 1, ORVA_TLV_DecodeFmeaBusId},
    {4, offsetof(OrvaVltSensorCfg, voltageId), 1, ORVA_TLV_DecodeFmeaReserve},
    {5, offsetof(OrvaVltSensorCfg, slotId), 1, ORVA_TLV_DecodeFmeaSlotId},
};

constexpr Row<OrvaVltSensorCfg> kPwrSupRows[] = {
    {1, offsetof(OrvaVltSensorCfg, slotId), 1, ORVA_TLV_DecodePowerSupplySlaveAddr},
    {2, offsetof(OrvaVltSensorCfg, voltageId), 1, ORVA_TLV_DecodePowerSupplyReserve},
};

template <typename Record>
struct Kind {
    const char *name;
    const OrvaTlvDes *table;
    std::uint32_t rows;
    const Row<Record> *expected;
    std::uint32_t length;
    std::uint32_t (*calc)();
    std::uint32_t (*encode)(const Record *, void *);
    std::uint32_t (*decode)(const void *, Record *);
    std::uint32_t (*dispatch)(const void *, void *);
    const unsigned char *blocks[2];
    const Record *records[2];
};

const Kind<OrvaTempSensorCfg> kTemp = {"temperature",
                                       g_orvaTempSyncDataDes,
                                       24,
                                       kTempRows,
                                       138,
                                       ORVA_TLV_TempSensor_CalcTlvBufSize,
                                       ORVA_TLV_SyncTempCfgDataEncode,
                                       ORVA_TLV_SyncTempCfgDataDecode,
                                       ORVA_TempCfg_SyncDataDecode,
                                       {kTempBlockA, kTempBlockB},
                                       {&kTempRecordA, &kTempRecordB}};
const Kind<OrvaVltSensorCfg> kVltKinds[] = {{"voltage",
                                             g_orvaVltSyncDataDes,
                                             22,
                                             kVltRows,
                                             128,
                                             ORVA_TLV_VltSensor_CalcTlvBufSize,
                                             ORVA_TLV_SyncVltCfgDataEncode,
                                             ORVA_TLV_SyncVltCfgDataDecode,
                                             ORVA_VltCfg_SyncDataDecode,
                                             {kVltBlockA, kVltBlockB},
                                             {&kVltRecordA, &kVltRecordB}},
                                            {"FMEA",
                                             g_orvaFmeaSyncDataDes,
                                             5,
                                             kFmeaRows,
                                             41,
                                             ORVA_TLV_FmeaSensor_CalcTlvBufSize,
                                             ORVA_TLV_SyncFmeaDataEncode,
                                             ORVA_TLV_SyncFmeaDataDecode,
                                             ORVA_TLV_SyncFmeaSensorDataDecode,
                                             {kFmeaBlockA, kFmeaBlockB},
                                             {&kFmeaRecordA, &kFmeaRecordB}},
                                            {"power supply",
                                             g_orvaPwrSupSyncDataDes,
                                             2,
                                             kPwrSupRows,
                                             26,
                                             ORVA_TLV_PowerSupply_CalcTlvBufSize,
                                             ORVA_TLV_SyncPowerSupplyEncode,
                                             ORVA_TLV_SyncPowerSupplyDecode,
                                             ORVA_TLV_SyncPowerSupplyDataDecode,
                                             {kPwrSupBlockA, kPwrSupBlockB},
                                             {&kPwrSupRecordA, &kPwrSupRecordB}}};

// Runs `check(kind)` for all four records.
template <typename Check>
void for_each_kind(const Check &check) {
    check(kTemp);
    for (const Kind<OrvaVltSensorCfg> &kind : kVltKinds) {
        check(kind);
    }
}

// The receiver's bytes after `from` was stored into a record full of `fill`, for the rows that are stored.
template <typename Record>
Bytes stored_bytes(const Kind<Record> &kind, const Record &from, std::uint8_t fill) {
    Bytes expected(sizeof(Record), fill);
    const Bytes source = bytes_of(from);
    for (std::uint32_t i = 0; i < kind.rows; ++i) {
        const Row<Record> &row = kind.expected[i];
        for (std::size_t at = row.offset; row.store != nullptr && at < row.offset + row.width; ++at) {
            expected[at] = source[at];
        }
    }
    return expected;
}

using TlvSensor = orva_test::PlatformTest;

TEST_F(TlvSensor, Tables_HoldTheirRowsInOrder) {
    for_each_kind([](const auto &kind) {
        for (std::uint32_t i = 0; i < kind.rows; ++i) {
            const OrvaTlvDes &row = kind.table[i];
            const auto &expected = kind.expected[i];
            SCOPED_TRACE(std::string(kind.name) + " row " + std::to_string(i));
            EXPECT_EQ(row.flag, 1u);
            EXPECT_EQ(row.tag, expected.tag);
            EXPECT_EQ(row.offset, expected.offset);
            EXPECT_EQ(row.type, expected.width); // 1 = 8-bit, 2 = 16-bit
            EXPECT_EQ(row.elemSize, expected.width);
            EXPECT_EQ(row.totalLen, expected.width);
            EXPECT_EQ(row.nested, nullptr);
            EXPECT_EQ(row.nestedRows, 0u);
            EXPECT_EQ(row.reserved, 0u);
        }
    });
    EXPECT_EQ(std::size(g_orvaTempSyncDataDes), 24u);
    EXPECT_EQ(std::size(g_orvaVltSyncDataDes), 22u);
    EXPECT_EQ(std::size(g_orvaFmeaSyncDataDes), 5u);
    EXPECT_EQ(std::size(g_orvaPwrSupSyncDataDes), 2u);
}

TEST_F(TlvSensor, BlockSizes_AreFixed) {
    for_each_kind([](const auto &kind) {
        EXPECT_EQ(kind.calc(), kind.length) << kind.name;
        EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(kind.table, kind.rows), kind.length) << kind.name;
        EXPECT_EQ(ORVA_TLV_GetRemoteLength(kind.blocks[0]), kind.length) << kind.name;
    });
}

TEST_F(TlvSensor, Encode_WritesTheGoldenBlocks) {
    for_each_kind([](const auto &kind) {
        for (int sample = 0; sample < 2; ++sample) {
            Bytes out(kind.length + 9, kUntouched);
            EXPECT_EQ(kind.encode(kind.records[sample], out.data() + 1), kind.length) << kind.name;
            Bytes expected(1, kUntouched);
            expected.insert(expected.end(), kind.blocks[sample], kind.blocks[sample] + kind.length);
            expected.resize(out.size(), kUntouched);
            EXPECT_EQ(out, expected) << kind.name << " sample " << sample;
        }
    });
}

TEST_F(TlvSensor, Encode_RefusesNullPointers) {
    for_each_kind([](const auto &kind) {
        Bytes out(kind.length, kUntouched);
        EXPECT_EQ(kind.encode(nullptr, out.data()), 0u) << kind.name;
        EXPECT_EQ(kind.encode(kind.records[0], nullptr), 0u) << kind.name;
        EXPECT_EQ(kind.encode(nullptr, nullptr), 0u) << kind.name;
        EXPECT_EQ(out, Bytes(kind.length, kUntouched)) << kind.name;
    });
}

TEST_F(TlvSensor, Decode_StoresWhatHasAStoreFunctionAndNothingElse) {
    for_each_kind([](const auto &kind) {
        for (int sample = 0; sample < 2; ++sample) {
            for (const std::uint8_t fill : {std::uint8_t{0x00}, std::uint8_t{0xFF}, std::uint8_t{0x5A}}) {
                Filled<std::remove_cvref_t<decltype(*kind.records[0])>> receiverBytes(fill);
                auto &receiver = receiverBytes.record;
                Bytes block(1, 0); // an odd address
                block.insert(block.end(), kind.blocks[sample], kind.blocks[sample] + kind.length);
                EXPECT_EQ(kind.decode(block.data() + 1, &receiver), 0u) << kind.name;
                EXPECT_EQ(bytes_of(receiver), stored_bytes(kind, *kind.records[sample], fill)) << kind.name;
            }
        }
    });
}

TEST_F(TlvSensor, Decode_RefusesNullPointers) {
    for_each_kind([](const auto &kind) {
        Filled<std::remove_cvref_t<decltype(*kind.records[0])>> receiverBytes(kUntouched);
        auto &receiver = receiverBytes.record;
        EXPECT_EQ(kind.decode(nullptr, &receiver), 1u) << kind.name;
        EXPECT_EQ(kind.decode(kind.blocks[0], nullptr), 1u) << kind.name;
        EXPECT_EQ(kind.decode(nullptr, nullptr), 1u) << kind.name;
        EXPECT_EQ(bytes_of(receiver), Bytes(sizeof receiver, kUntouched)) << kind.name;
    });
}

TEST_F(TlvSensor, Decode_StopsAtAnEmptyItemAndKeepsWhatCameBefore) {
    // FMEA: sensorNum, an empty sensorType, busId.
    const Bytes block = {0, 0, 0, 3, 0, 0, 0, 30, 0, 0, 0, 0, 0,    0, 0,
                         0, 0, 1, 0, 1, 7, 0, 2,  0, 0, 0, 3, 0x00, 1, 9};
    Filled<OrvaVltSensorCfg> receiverBytes(kUntouched);
    auto &receiver = receiverBytes.record;
    EXPECT_EQ(ORVA_TLV_SyncFmeaDataDecode(block.data(), &receiver), 1u);
    EXPECT_EQ(receiver.sensorNum, 7);
    EXPECT_EQ(receiver.busId, kUntouched);
}

TEST_F(TlvSensor, Decode_SkipsUnknownTags) {
    const Bytes block = {0, 0, 0, 3, 0, 0, 0,  31, 0, 0, 0, 0, 0,    0, 0, 0,
                         0, 0, 0, 1, 1, 0, 25, 0,  1, 2, 0, 3, 0x00, 1, 9};
    Filled<OrvaTempSensorCfg> receiverBytes(kUntouched);
    auto &receiver = receiverBytes.record;
    Bytes expected = bytes_of(receiver);
    expected[offsetof(OrvaTempSensorCfg, sensorNum)] = 9;
    EXPECT_EQ(ORVA_TLV_SyncTempCfgDataDecode(block.data(), &receiver), 0u);
    EXPECT_EQ(bytes_of(receiver), expected);
}

TEST_F(TlvSensor, Decode_OfAVoltageBlockLeavesTheThreeExtrasUntouched) {
    Filled<OrvaVltSensorCfg> receiverBytes(0x5A);
    auto &receiver = receiverBytes.record;
    EXPECT_EQ(ORVA_TLV_SyncVltCfgDataDecode(kVltBlockA, &receiver), 0u);
    EXPECT_EQ(receiver.extra1, 0x5A);
    EXPECT_EQ(receiver.extra2, 0x5A);
    EXPECT_EQ(receiver.extra3, 0x5A);
    EXPECT_EQ(receiver.sensorUnit3, kVltRecordA.sensorUnit3);
}

TEST_F(TlvSensor, EventMask_TravelsBigEndian) {
    OrvaTempSensorCfg cfg{};
    cfg.assertionEventMask = 0xABCD;
    Bytes out(138, 0);
    ASSERT_EQ(ORVA_TLV_SyncTempCfgDataEncode(&cfg, out.data()), 138u);
    EXPECT_EQ(Bytes(out.begin() + 46, out.begin() + 52), (Bytes{0x00, 0x07, 0x00, 0x02, 0xAB, 0xCD}));
    OrvaTempSensorCfg receiver{};
    ASSERT_EQ(ORVA_TLV_SyncTempCfgDataDecode(out.data(), &receiver), 0u);
    EXPECT_EQ(receiver.assertionEventMask, 0xABCD);
}

TEST_F(TlvSensor, StoreFunctions_WriteTheirMemberOnlyAndLookAtNothingElse) {
    for_each_kind([](const auto &kind) {
        using Record = std::remove_cvref_t<decltype(*kind.records[0])>;
        for (std::uint32_t i = 0; i < kind.rows; ++i) {
            const auto &row = kind.expected[i];
            if (row.store == nullptr) {
                continue;
            }
            const Bytes item = {0xFF, 0xFF, 0x00, 0x00, 0x12, 0x34}; // a foreign tag, an empty item
            Filled<Record> receiverBytes(kUntouched);
            auto &receiver = receiverBytes.record;
            row.store(&receiver, item.data());
            Bytes expected(sizeof receiver, kUntouched);
            expected[row.offset] = row.width == 2 ? 0x34 : 0x12;
            if (row.width == 2) {
                expected[row.offset + 1] = 0x12;
            }
            EXPECT_EQ(bytes_of(receiver), expected) << kind.name << " tag " << row.tag;
        }
    });
}

TEST_F(TlvSensor, Dispatch_ReturnsZeroForAStoredTagAndTheTagOtherwise) {
    for_each_kind([](const auto &kind) {
        using Record = std::remove_cvref_t<decltype(*kind.records[0])>;
        for (std::uint32_t tag = 0; tag <= 0xFFFF; tag += tag < 40 ? 1 : 997) {
            const Bytes item = {
                static_cast<std::uint8_t>(tag >> 8), static_cast<std::uint8_t>(tag), 0, 2, 0x12, 0x34};
            const bool stored = tag >= 1 && tag <= kind.rows && kind.expected[tag - 1].store != nullptr;
            Filled<Record> receiverBytes(kUntouched);
            auto &receiver = receiverBytes.record;
            EXPECT_EQ(kind.dispatch(item.data(), &receiver), stored ? 0 : tag) << kind.name << " tag " << tag;
            Filled<Record> expectedBytes(kUntouched);
            auto &expected = expectedBytes.record;
            if (stored) {
                kind.expected[tag - 1].store(&expected, item.data());
                EXPECT_NE(bytes_of(expected), Bytes(sizeof expected, kUntouched));
            }
            EXPECT_EQ(bytes_of(receiver), bytes_of(expected)) << kind.name << " tag " << tag;
        }
    });
}

TEST_F(TlvSensor, StoreOfAMask_LogsAFailedCopyAndLeavesTheMember) {
    const Bytes item = {0, 7, 0, 2, 0x12, 0x34};
    Filled<OrvaTempSensorCfg> tempBytes(kUntouched);
    auto &temp = tempBytes.record;
    Filled<OrvaVltSensorCfg> vltBytes(kUntouched);
    auto &vlt = vltBytes.record;
    orva_test::fail_always("memcpy_s", 34);
    ORVA_TEMP_ProcAssertionEventMask(&temp, item.data());
    ORVA_TEMP_ProcDeAssertionEventMask(&temp, item.data());
    ORVA_VLT_ProcAssertionEventMask(&vlt, item.data());
    ORVA_VLT_ProcDeAssertionEventMask(&vlt, item.data());
    orva_test::reset_calls();
    const std::string text = "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, "
                             "f=orva_tlv_sensor_comm, l=N, ret=34";
    EXPECT_EQ(take_logs_without_lines(), (Texts{text, text, text, text}));
    EXPECT_EQ(bytes_of(temp), Bytes(sizeof temp, kUntouched));
    EXPECT_EQ(bytes_of(vlt), Bytes(sizeof vlt, kUntouched));
}

TEST_F(TlvSensor, Decode_GoesOnAfterAFailedCopyAndStillSucceeds) {
    Filled<OrvaTempSensorCfg> receiverBytes(0x5A);
    auto &receiver = receiverBytes.record;
    orva_test::fail("memcpy_s", 1, 22);
    EXPECT_EQ(ORVA_TLV_SyncTempCfgDataDecode(kTempBlockA, &receiver), 0u);
    Bytes expected = stored_bytes(kTemp, kTempRecordA, 0x5A);
    expected[offsetof(OrvaTempSensorCfg, assertionEventMask)] = 0x5A;
    expected[offsetof(OrvaTempSensorCfg, assertionEventMask) + 1] = 0x5A;
    EXPECT_EQ(bytes_of(receiver), expected);
    EXPECT_EQ(take_logs_without_lines(), (Texts{"WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, "
                                                "f=orva_tlv_sensor_comm, l=N, ret=22"}));
}

TEST_F(TlvSensor, SensorNumEncode_WritesFiveBytes) {
    for (const std::uint32_t size : {5u, 6u, 0xFFFFFFFFu}) {
        Bytes out(8, kUntouched);
        EXPECT_EQ(ORVA_TLV_SensorNumEncode(out.data(), size, 0x2A), 5u);
        EXPECT_EQ(out, (Bytes{0x00, 0x08, 0x00, 0x01, 0x2A, kUntouched, kUntouched, kUntouched}));
    }
    EXPECT_EQ(ORVA_TLV_SensorNumEncode(nullptr, 5, 0x2A), 0u);
    EXPECT_EQ(take_logs(), Texts{});
}

TEST_F(TlvSensor, SensorNumEncode_RecordsABufferThatIsTooSmall) {
    g_selfBoardBase.selfSlot = 9;
    g_selfBoardBase.selfChassis = 1;
    for (const std::uint32_t size : {0u, 4u}) {
        Bytes out(8, kUntouched);
        EXPECT_EQ(ORVA_TLV_SensorNumEncode(out.data(), size, 0x2A), 0u);
        EXPECT_EQ(out, Bytes(8, kUntouched));
        EXPECT_EQ(take_logs(), (Texts{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/9]ORVA_TLV_OverSpecSensorNum"
                                      "Encode buf is enough. buflen = " +
                                      std::to_string(size) + " sensorNumDataLen = 5"}));
    }
}

TEST_F(TlvSensor, SensorNumDecode_ReadsFiveBytes) {
    const Bytes item = {0x00, 0x08, 0x00, 0x01, 0x07, 0x09};
    for (const std::uint32_t size : {5u, 6u}) {
        std::uint32_t remaining = size;
        std::uint32_t consumed = 77;
        std::uint8_t number = 0;
        EXPECT_EQ(ORVA_TLV_SensorNumDecode(item.data(), &remaining, &number, &consumed), 0u) << size;
        EXPECT_EQ(remaining, size - 5) << size;
        EXPECT_EQ(consumed, 5u) << size;
        EXPECT_EQ(number, 7) << size;
    }
}

TEST_F(TlvSensor, SensorNumDecode_RefusesAnythingElse) {
    const struct {
        const char *name;
        Bytes item;
        std::uint32_t remaining;
    } cases[] = {
        {"too few bytes", {0x00, 0x08, 0x00, 0x01, 0x07}, 4}, {"none", {0x00, 0x08, 0x00, 0x01, 0x07}, 0},
        {"length 2", {0x00, 0x08, 0x00, 0x02, 0x07}, 5},      {"length 257", {0x00, 0x08, 0x01, 0x01, 0x07}, 5},
        {"tag 9", {0x00, 0x09, 0x00, 0x01, 0x07}, 5},         {"tag 0x0108", {0x01, 0x08, 0x00, 0x01, 0x07}, 5},
    };
    for (const auto &c : cases) {
        std::uint32_t remaining = c.remaining;
        std::uint32_t consumed = 77;
        std::uint8_t number = 99;
        EXPECT_EQ(ORVA_TLV_SensorNumDecode(c.item.data(), &remaining, &number, &consumed), 1u) << c.name;
        EXPECT_EQ(remaining, c.remaining) << c.name;
        EXPECT_EQ(consumed, 77u) << c.name;
        EXPECT_EQ(number, 99) << c.name;
    }
    const Bytes item = {0x00, 0x08, 0x00, 0x01, 0x07};
    std::uint32_t remaining = 5;
    std::uint32_t consumed = 77;
    std::uint8_t number = 99;
    EXPECT_EQ(ORVA_TLV_SensorNumDecode(nullptr, &remaining, &number, &consumed), 1u);
    EXPECT_EQ(ORVA_TLV_SensorNumDecode(item.data(), nullptr, &number, &consumed), 1u);
    EXPECT_EQ(ORVA_TLV_SensorNumDecode(item.data(), &remaining, nullptr, &consumed), 1u);
    EXPECT_EQ(ORVA_TLV_SensorNumDecode(item.data(), &remaining, &number, nullptr), 1u);
    EXPECT_EQ(remaining, 5u);
    EXPECT_EQ(number, 99);
}

} // namespace
