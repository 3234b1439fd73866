// The converters against a model that reverses listed byte ranges one by one, and against vectors written by hand.
#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "orva_comm.h"
#include "platform_double.h"
#include "wire_messages.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// The ranges that one conversion reverses, and the bytes that it overwrites, found from the buffer before it.
class Model {
public:
    explicit Model(const Bytes &before) : before_(before) {}

    void longs(std::initializer_list<std::size_t> offsets) {
        for (const std::size_t offset : offsets) {
            ranges_.emplace_back(offset, 4);
        }
    }
    void shorts(std::initializer_list<std::size_t> offsets) {
        for (const std::size_t offset : offsets) {
            ranges_.emplace_back(offset, 2);
        }
    }
    void long_array(std::uint64_t count, std::uint64_t bound, std::size_t start, std::size_t stride) {
        array(count, bound, start, stride, 4);
    }
    void short_array(std::uint64_t count, std::uint64_t bound, std::size_t start, std::size_t stride) {
        array(count, bound, start, stride, 2);
    }
    void overwrite(std::size_t offset, std::uint8_t value) {
        overwritten_.emplace_back(offset, value);
    }
    std::uint64_t byte(std::size_t offset) const {
        return before_[offset];
    }
    std::uint64_t big_endian(std::size_t offset) const {
        return byte(offset) << 24 | byte(offset + 1) << 16 | byte(offset + 2) << 8 | byte(offset + 3);
    }
    std::uint64_t little_endian(std::size_t offset) const {
        return byte(offset + 3) << 24 | byte(offset + 2) << 16 | byte(offset + 1) << 8 | byte(offset);
    }
    Bytes after() const {
        Bytes result = before_;
        for (const auto &[offset, width] : ranges_) {
            std::reverse(result.begin() + static_cast<long>(offset),
                         result.begin() + static_cast<long>(offset + width));
        }
        for (const auto &[offset, value] : overwritten_) {
            result[offset] = value;
        }
        return result;
    }

private:
    void array(std::uint64_t count, std::uint64_t bound, std::size_t start, std::size_t stride, std::size_t width) {
        for (std::uint64_t i = 0; i < count && i < bound; ++i) {
            ranges_.emplace_back(start + stride * i, width);
        }
    }

    const Bytes &before_;
    std::vector<std::pair<std::size_t, std::size_t>> ranges_;
    std::vector<std::pair<std::size_t, std::uint8_t>> overwritten_;
};

enum class CountKind { kNone, kByte, kBigEndianWord, kHostWord };

struct Count {
    CountKind kind;
    std::size_t offset;
    unsigned bound; // the largest number of entries that it can mean
};

struct Case {
    const char *name;
    void (*convert)(void *);
    std::size_t size; // of the buffer with full arrays
    std::array<Count, 2> counts;
    void (*expect)(Model &);
};

constexpr Count kNoCount{CountKind::kNone, 0, 0};

void header(Model &m) {
    m.longs({0, 4, 8, 12});
}

void framed_header(Model &m) {
    m.shorts({0});
    m.longs({8, 12, 16, 20});
}

void header_and_16(Model &m) {
    m.longs({0, 4, 8, 12, 16});
}

void framed_header_and_24(Model &m) {
    m.shorts({0});
    m.longs({8, 12, 16, 20, 24});
}

void header_and_20(Model &m) {
    m.longs({0, 4, 8, 12, 20});
}

void framed_header_and_28(Model &m) {
    m.shorts({0});
    m.longs({8, 12, 16, 20, 28});
}

void mpu_sensors(Model &m) {
    header(m);
    m.short_array(m.byte(16), 68, 24, 12);
    m.long_array(m.byte(16), 68, 28, 12);
    m.short_array(m.byte(17), 168, 840, 12);
    m.long_array(m.byte(17), 168, 844, 12);
}

constexpr Case kCases[] = {
    {"SwitchOverMsgToHost", ORVA_AGENT_ChgSwitchOverMsgToHost, 20, {kNoCount, kNoCount}, header_and_16},
    {"SwitchOverMsgToNet", ORVA_AGENT_ChgSwitchOverMsgToNet, 28, {kNoCount, kNoCount}, framed_header_and_24},
    {"SenAlmReqMsgToHost", ORVA_AGENT_ChgSenAlmReqMsgToHost, 16, {kNoCount, kNoCount}, header},
    {"SenAlmReqMsgToNet", ORVA_AGENT_ChgSenAlmReqMsgToNet, 16, {kNoCount, kNoCount}, header},
    {"AddrRegMsgToHost", ORVA_AGENT_ChgAddrRegMsgToHost, 20, {kNoCount, kNoCount}, header_and_16},
    {"AddrAckMsgToNet", ORVA_AGENT_ChgAddrAckMsgToNet, 28, {kNoCount, kNoCount}, framed_header_and_24},
    {"TempInfoMsgToHost",
     ORVA_AGENT_ChgTempInfoMsgToHost,
     564,
     {{{CountKind::kByte, 19, 68}, kNoCount}},
     [](Model &m) {
         m.long_array(m.byte(19), 68, 24, 8);
         m.longs({0, 4, 8, 12});
     }},
    {"TempInfoMsgToNet",
     ORVA_AGENT_ChgTempInfoMsgToNet,
     572,
     {{{CountKind::kByte, 27, 68}, kNoCount}},
     [](Model &m) {
         framed_header(m);
         m.long_array(m.byte(27), 68, 32, 8);
     }},
    {"VltInfoMsgToHost",
     ORVA_AGENT_ChgVltInfoMsgToHost,
     1364,
     {{{CountKind::kByte, 19, 168}, kNoCount}},
     [](Model &m) {
         m.long_array(m.byte(19), 168, 24, 8);
         m.longs({0, 4, 8, 12});
     }},
    {"VltInfoMsgToNet",
     ORVA_AGENT_ChgVltInfoMsgToNet,
     1372,
     {{{CountKind::kByte, 27, 168}, kNoCount}},
     [](Model &m) {
         framed_header(m);
         m.long_array(m.byte(27), 168, 32, 8);
     }},
    {"MpuMngSensorInfoToHost",
     ORVA_AGENT_ChgMpuMngSensorInfoToHost,
     2852,
     {{{CountKind::kByte, 16, 68}, {CountKind::kByte, 17, 168}}},
     mpu_sensors},
    {"MpuMngSensorInfoToNet",
     ORVA_AGENT_ChgMpuMngSensorInfoToNet,
     2852,
     {{{CountKind::kByte, 16, 68}, {CountKind::kByte, 17, 168}}},
     mpu_sensors},
    {"MpuMngSensorInfoMsgToNet",
     ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet,
     2860,
     {{{CountKind::kByte, 24, 68}, {CountKind::kByte, 25, 168}}},
     [](Model &m) {
         framed_header(m);
         m.short_array(m.byte(24), 68, 32, 12);
         m.long_array(m.byte(24), 68, 36, 12);
         m.short_array(m.byte(25), 168, 848, 12);
         m.long_array(m.byte(25), 168, 852, 12);
     }},
    {"SubCardInfoMsgToHost",
     ORVA_AGENT_ChgSubCardInfoMsgToHost,
     5316,
     {{{CountKind::kByte, 21, 14}, {CountKind::kByte, 22, 168}}},
     [](Model &m) {
         m.longs({0, 4, 8, 12, 16});
         m.long_array(m.byte(21), 14, 24, 8);
         m.short_array(m.byte(22), 168, 140, 22);
         m.short_array(m.byte(22), 168, 142, 22);
         m.short_array(m.byte(22), 68, 3838, 22);
         m.short_array(m.byte(22), 68, 3840, 22);
     }},
    {"SubCardInfoMsgToNet",
     ORVA_AGENT_ChgSubCardInfoMsgToNet,
     5324,
     {{{CountKind::kByte, 29, 14}, {CountKind::kByte, 30, 168}}},
     [](Model &m) {
         m.shorts({0});
         m.longs({8, 12, 16, 20, 24});
         m.long_array(m.byte(29), 14, 32, 8);
         m.short_array(m.byte(30), 168, 148, 22);
         m.short_array(m.byte(30), 168, 150, 22);
         m.short_array(m.byte(30), 68, 3846, 22);
         m.short_array(m.byte(30), 68, 3848, 22);
     }},
    {"CardAttrMsgToHost", ORVA_AGENT_ChgCardAttrMsgToHost, 24, {kNoCount, kNoCount}, header_and_20},
    {"CardAttrMsgToNet", ORVA_AGENT_ChgCardAttrMsgToNet, 32, {kNoCount, kNoCount}, framed_header_and_28},
    {"CardHumidMsgToHost", ORVA_AGENT_ChgCardHumidMsgToHost, 24, {kNoCount, kNoCount}, header_and_20},
    {"CardHumidMsgToNet", ORVA_AGENT_ChgCardHumidMsgToNet, 32, {kNoCount, kNoCount}, framed_header_and_28},
    {"SimulateMsgToHost",
     ORVA_AGENT_ChgSimulateMsgToHost,
     1252,
     {{{CountKind::kBigEndianWord, 0, 32}, kNoCount}},
     [](Model &m) {
         m.longs({0});
         m.long_array(m.big_endian(0), 32, 4, 40);
         m.long_array(m.big_endian(0), 32, 8, 40);
     }},
    {"SimulateMsgToNet",
     ORVA_AGENT_ChgSimulateMsgToNet,
     1260,
     {{{CountKind::kHostWord, 8, 32}, kNoCount}},
     [](Model &m) {
         m.shorts({0});
         m.long_array(m.little_endian(8), 32, 12, 40);
         m.long_array(m.little_endian(8), 32, 16, 40);
         m.longs({8});
     }},
    {"SoNameReqToHost", ORVA_AGENT_ChgSoNameReqToHost, 4, {kNoCount, kNoCount}, [](Model &m) { m.longs({0}); }},
    {"SoNameReqToNet",
     ORVA_AGENT_ChgSoNameReqToNet,
     12,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.shorts({0});
         m.longs({8});
     }},
    {"SoNameAckToHost",
     ORVA_AGENT_ChgSoNameAckToHost,
     2180,
     {{{CountKind::kBigEndianWord, 0, 32}, kNoCount}},
     [](Model &m) {
         m.longs({0});
         m.short_array(m.big_endian(0), 32, 68, 68);
         m.short_array(m.big_endian(0), 32, 70, 68);
     }},
    {"SoNameAckToNet",
     ORVA_AGENT_ChgSoNameAckToNet,
     2188,
     {{{CountKind::kHostWord, 8, 32}, kNoCount}},
     [](Model &m) {
         m.shorts({0});
         m.short_array(m.little_endian(8), 32, 76, 68);
         m.short_array(m.little_endian(8), 32, 78, 68);
         m.longs({8});
     }},
    {"FrameAttrMsgToHost",
     ORVA_AGENT_ChgFrameAttrMsgToHost,
     144,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.longs({0, 4, 8, 12, 140});
     }},
    {"ReqFrameAtrrMsgToNet",
     ORVA_AGENT_ChgReqFrameAtrrMsgToNet,
     152,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.shorts({0});
         m.longs({8, 12, 16, 20, 148});
     }},
    {"ReqMsgToHost", ORVA_AGENT_ChgReqMsgToHost, 16, {kNoCount, kNoCount}, header},
    {"ReqMsgToNet", ORVA_AGENT_ChgReqMsgToNet, 16, {kNoCount, kNoCount}, header},
    {"FrameCardPowerStateMsgToHost", ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, 16, {kNoCount, kNoCount}, header},
    {"FrameCardPowerStateMsgToNet",
     ORVA_AGENT_ChgFrameCardPowerStateMsgToNet,
     24,
     {kNoCount, kNoCount},
     framed_header},
    {"PowerStateMsgToNet",
     ORVA_AGENT_ChgPowerStateMsgToNet,
     60,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.shorts({0});
         m.longs({8, 12, 16, 20, 24, 56});
     }},
    {"PwrSenCfgMsgToHost",
     ORVA_AGENT_ChgPwrSenCfgMsgToHost,
     4300,
     {{{CountKind::kByte, 87, 96}, kNoCount}},
     [](Model &m) {
         m.longs({0, 4, 8, 12, 80});
         m.short_array(m.byte(87), 96, 2206, 22);
         m.short_array(m.byte(87), 96, 2208, 22);
         if (m.byte(87) >= 97) {
             m.overwrite(87, 96);
         }
     }},
    {"PwrSenCfgMsgToNet",
     ORVA_AGENT_ChgPwrSenCfgMsgToNet,
     4308,
     {{{CountKind::kByte, 95, 96}, kNoCount}},
     [](Model &m) {
         m.shorts({0});
         m.longs({8, 12, 16, 20, 88});
         m.short_array(m.byte(95), 96, 2214, 22);
         m.short_array(m.byte(95), 96, 2216, 22);
         if (m.byte(95) >= 97) {
             m.overwrite(95, 96);
         }
     }},
    {"HeartBeatMsgToHost",
     ORVA_AGENT_ChgHeartBeatMsgToHost,
     44,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.longs({0, 4, 8, 12, 16, 20, 24, 28, 36, 40});
     }},
    {"HeartBeatMsgToNet",
     ORVA_AGENT_ChgHeartBeatMsgToNet,
     36,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.shorts({0});
         m.longs({8, 12, 16, 20, 24, 28, 32});
     }},
    {"SensorCtrlMsgToHost",
     ORVA_AGENT_ChgSensorCtrlMsgToHost,
     28,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.longs({0, 4, 8, 12, 16, 20, 24});
     }},
    {"SensorCtrlMsgToNet",
     ORVA_AGENT_ChgSensorCtrlMsgToNet,
     36,
     {kNoCount, kNoCount},
     [](Model &m) {
         m.shorts({0});
         m.longs({8, 12, 16, 20, 24, 28, 32});
     }},
};

constexpr std::size_t kGuardBytes = 64;

// Bytes of which no two neighbours in a word are equal, so that every swap shows.
Bytes patterned(std::size_t size, unsigned seed) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 37 + i / 256 * 11 + seed);
    }
    return bytes;
}

void put_count(Bytes &buffer, const Count &count, std::uint32_t value) {
    switch (count.kind) {
    case CountKind::kNone:
        break;
    case CountKind::kByte:
        buffer[count.offset] = static_cast<std::uint8_t>(value);
        break;
    case CountKind::kBigEndianWord:
        for (unsigned k = 0; k < 4; ++k) {
            buffer[count.offset + k] = static_cast<std::uint8_t>(value >> (24 - 8 * k));
        }
        break;
    case CountKind::kHostWord:
        for (unsigned k = 0; k < 4; ++k) {
            buffer[count.offset + k] = static_cast<std::uint8_t>(value >> 8 * k);
        }
        break;
    }
}

std::vector<std::uint32_t> count_values(const Count &count) {
    switch (count.kind) {
    case CountKind::kNone:
        return {0};
    case CountKind::kByte:
        return {0, 1, 2, count.bound - 1, count.bound, count.bound + 1, 200, 255};
    default:
        return {0, 1, 5, count.bound - 1, count.bound, count.bound + 1, 255, 256, 0x05000000, 0xFFFFFFFF};
    }
}

// Converts `before` at `offset` bytes after an 8-byte boundary, between guards, and returns the result.
Bytes converted(void (*convert)(void *), const Bytes &before, std::size_t offset) {
    constexpr std::uint8_t kGuard = 0xE7;
    Bytes storage(before.size() + 2 * kGuardBytes + 8, kGuard);
    auto *start = storage.data() + kGuardBytes;
    start += (8 - reinterpret_cast<std::uintptr_t>(start) % 8) % 8 + offset;
    std::copy(before.begin(), before.end(), start);
    convert(start);
    const auto is_guard = [](std::uint8_t byte) { return byte == kGuard; };
    EXPECT_TRUE(std::all_of(storage.data(), start, is_guard));
    EXPECT_TRUE(std::all_of(start + before.size(), storage.data() + storage.size(), is_guard));
    return {start, start + before.size()};
}

Bytes expected(void (*expect)(Model &), const Bytes &before) {
    Model model(before);
    expect(model);
    return model.after();
}

std::uint32_t big_endian_at(const Bytes &bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(Model(bytes).big_endian(offset));
}

class OrvaCommConvert : public orva_test::PlatformTest {};

TEST_F(OrvaCommConvert, EveryDescribedConverterHasACase) {
    EXPECT_EQ(std::size(kCases), orva::wire::kConverters.size());
    for (const orva::wire::Converter &converter : orva::wire::kConverters) {
        EXPECT_TRUE(std::any_of(std::begin(kCases), std::end(kCases), [&converter](const Case &row) {
            return row.convert == converter.call;
        })) << converter.function;
    }
}

TEST_F(OrvaCommConvert, EveryConverterSwapsExactlyItsFieldsAtEveryCount) {
    for (const Case &row : kCases) {
        for (const std::uint32_t first : count_values(row.counts[0])) {
            for (const std::uint32_t second : count_values(row.counts[1])) {
                Bytes before = patterned(row.size, first * 7 + second);
                put_count(before, row.counts[0], first);
                put_count(before, row.counts[1], second);
                ASSERT_EQ(converted(row.convert, before, 0), expected(row.expect, before))
                    << row.name << " counts " << first << ", " << second;
            }
        }
    }
}

TEST_F(OrvaCommConvert, EveryConverterTakesABufferAtAnyAddress) {
    for (const Case &row : kCases) {
        Bytes before = patterned(row.size, 99);
        put_count(before, row.counts[0], 9);
        put_count(before, row.counts[1], 13);
        const Bytes after = expected(row.expect, before);
        for (std::size_t offset = 0; offset < 8; ++offset) {
            ASSERT_EQ(converted(row.convert, before, offset), after) << row.name << " offset " << offset;
        }
    }
}

TEST_F(OrvaCommConvert, EveryConverterTouchesOnlyTheEntriesThatItsCountNames) {
    for (const Case &row : kCases) {
        if (row.counts[0].kind == CountKind::kNone) {
            continue;
        }
        Bytes before = patterned(row.size, 3);
        put_count(before, row.counts[0], 0);
        put_count(before, row.counts[1], 0);
        const Bytes after = converted(row.convert, before, 0);
        EXPECT_EQ(after, expected(row.expect, before)) << row.name;
        // The fixed part of the families with arrays ends before byte 96.
        EXPECT_TRUE(std::equal(before.begin() + 96, before.end(), after.begin() + 96)) << row.name;
    }
}

TEST_F(OrvaCommConvert, EveryConverterLeavesNoRecordAndAllocatesNothing) {
    for (const Case &row : kCases) {
        Bytes buffer = patterned(row.size, 1);
        row.convert(buffer.data());
    }
    EXPECT_TRUE(orva_test::platform().logs.empty());
    EXPECT_TRUE(orva_test::platform().allocations.empty());
    EXPECT_TRUE(orva_test::platform().calls.empty());
}

TEST_F(OrvaCommConvert, Hooks_DoNothing) {
    ORVA_AGENT_ChgSwitchOverMsgToHostPath();
    ORVA_AGENT_ChgSwitchOverMsgToNetPath();
    ORVA_AGENT_ChgAddrRegMsgToHostPath();
    ORVA_AGENT_ChgAddrAckMsgToNetPath();
    ORVA_AGENT_ChgTempInfoMsgToHostPath();
    ORVA_AGENT_ChgTempInfoMsgToNetPath();
    ORVA_AGENT_ChgSubCardInfoMsgToNetPath();
    ORVA_AGENT_ChgHeartBeatMsgToHostPath();
    ORVA_AGENT_ChgHeartBeatMsgToNetPath();
    ORVA_AGENT_ChgPowerStateMsgToNetPath();
    EXPECT_TRUE(orva_test::platform().logs.empty());
    EXPECT_TRUE(orva_test::platform().calls.empty());
}

// Vectors written by hand.

TEST_F(OrvaCommConvert, ChgReqMsgToHost_TurnsWireBytesIntoHostWords) {
    Bytes body = {0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0x12, 0x34, 0x56, 0x78};
    ORVA_AGENT_ChgReqMsgToHost(body.data());
    const Bytes host = {0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
                        0xFF, 0xFF, 0xFF, 0xFF, 0x78, 0x56, 0x34, 0x12};
    EXPECT_EQ(body, host);
    ORVA_AGENT_ChgReqMsgToNet(body.data());
    const Bytes wire = {0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02,
                        0xFF, 0xFF, 0xFF, 0xFF, 0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(body, wire);
}

TEST_F(OrvaCommConvert, ChgSwitchOverMsgToNet_SwapsThePrefixWordAndKeepsTheRestOfThePrefix) {
    Bytes frame = {0x34, 0x12, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0x02, 0x00, 0x00, 0x00, 0x1E, 0x00,
                   0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55};
    ORVA_AGENT_ChgSwitchOverMsgToNet(frame.data());
    const Bytes wire = {0x12, 0x34, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00,
                        0x00, 0x1E, 0x00, 0x00, 0x00, 0x03, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    EXPECT_EQ(frame, wire);
}

TEST_F(OrvaCommConvert, ChgTempInfoMsgToHost_TurnsTwoReadingsIntoHostWords) {
    Bytes body = {0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                  0x00, 0x07, 0x10, 0x11, 0x12, 0x02, 0x14, 0x15, 0x16, 0x17, 0x00, 0x00, 0x00, 0x2A,
                  0xB0, 0xB1, 0xB2, 0xB3, 0xFF, 0xFF, 0xFF, 0xF6, 0xB4, 0xB5, 0xB6, 0xB7};
    body.resize(564, 0xCC);
    ORVA_AGENT_ChgTempInfoMsgToHost(body.data());
    Bytes host = {0x02, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07, 0x00,
                  0x00, 0x00, 0x10, 0x11, 0x12, 0x02, 0x14, 0x15, 0x16, 0x17, 0x2A, 0x00, 0x00, 0x00,
                  0xB0, 0xB1, 0xB2, 0xB3, 0xF6, 0xFF, 0xFF, 0xFF, 0xB4, 0xB5, 0xB6, 0xB7};
    host.resize(564, 0xCC);
    EXPECT_EQ(body, host);
}

TEST_F(OrvaCommConvert, ChgSoNameAckToNet_TurnsOneEntryIntoWireBytes) {
    Bytes frame(2188, 0x5A);
    const Bytes start = {0x08, 0x00, 1, 2, 3, 4, 5, 6, 0x01, 0x00, 0x00, 0x00};
    std::copy(start.begin(), start.end(), frame.begin());
    frame[76] = 0xCD;
    frame[77] = 0xAB;
    frame[78] = 0x02;
    frame[79] = 0x01;
    Bytes wire = frame;
    ORVA_AGENT_ChgSoNameAckToNet(frame.data());
    const Bytes wireStart = {0x00, 0x08, 1, 2, 3, 4, 5, 6, 0x00, 0x00, 0x00, 0x01};
    std::copy(wireStart.begin(), wireStart.end(), wire.begin());
    wire[76] = 0xAB;
    wire[77] = 0xCD;
    wire[78] = 0x01;
    wire[79] = 0x02;
    EXPECT_EQ(frame, wire);
}

TEST_F(OrvaCommConvert, ChgPwrSenCfgMsgToHost_LowersACountOf200To96InTheBuffer) {
    Bytes body(4300, 0);
    body[87] = 200;
    body[2206 + 22 * 95] = 0x12;
    body[2207 + 22 * 95] = 0x34;
    ORVA_AGENT_ChgPwrSenCfgMsgToHost(body.data());
    EXPECT_EQ(body[87], 96);
    EXPECT_EQ(body[2206 + 22 * 95], 0x34);
    EXPECT_EQ(body[2207 + 22 * 95], 0x12);
    body[87] = 96;
    ORVA_AGENT_ChgPwrSenCfgMsgToHost(body.data());
    EXPECT_EQ(body[87], 96);
    EXPECT_EQ(body[2206 + 22 * 95], 0x12);
}

TEST_F(OrvaCommConvert, ChgTempInfoMsgToNet_ConvertsAtMost68EntriesAndKeepsTheCount) {
    Bytes frame(32 + 8 * 100, 0);
    frame[27] = 100;
    for (std::size_t i = 0; i < 100; ++i) {
        frame[32 + 8 * i] = 1;
    }
    ORVA_AGENT_ChgTempInfoMsgToNet(frame.data());
    EXPECT_EQ(frame[27], 100);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(big_endian_at(frame, 32 + 8 * i), i < 68 ? 1u : 0x01000000u) << i;
    }
}

TEST_F(OrvaCommConvert, ChgSimulateMsgToNet_ConvertsFiveEntriesAndThenTheirCount) {
    Bytes frame(1260, 0);
    frame[8] = 5;
    for (std::size_t i = 0; i < 32; ++i) {
        frame[12 + 40 * i] = 7;
        frame[16 + 40 * i] = 9;
    }
    ORVA_AGENT_ChgSimulateMsgToNet(frame.data());
    EXPECT_EQ(big_endian_at(frame, 8), 5u);
    for (std::size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(big_endian_at(frame, 12 + 40 * i), i < 5 ? 7u : 0x07000000u) << i;
        EXPECT_EQ(big_endian_at(frame, 16 + 40 * i), i < 5 ? 9u : 0x09000000u) << i;
    }
}

TEST_F(OrvaCommConvert, ChgHeartBeat_ToNetAndBackRestoresOnlyTheWordsThatBothDirectionsConvert) {
    Bytes frame = patterned(52, 5);
    const Bytes original = frame;
    ORVA_AGENT_ChgHeartBeatMsgToNet(frame.data());
    ORVA_AGENT_ChgHeartBeatMsgToHost(frame.data() + 8);
    for (std::size_t offset = 0; offset < 44; offset += 4) {
        const bool restored = std::memcmp(frame.data() + 8 + offset, original.data() + 8 + offset, 4) == 0;
        EXPECT_EQ(restored, offset != 28 && offset != 36 && offset != 40) << offset;
    }
}

TEST_F(OrvaCommConvert, Pairs_ThatMirrorEachOtherRestoreTheBody) {
    struct Pair {
        const char *name;
        void (*toNet)(void *);
        void (*toHost)(void *);
        std::size_t bodySize;
        bool isFramed;
    };
    constexpr Pair kPairs[] = {
        {"SwitchOver", ORVA_AGENT_ChgSwitchOverMsgToNet, ORVA_AGENT_ChgSwitchOverMsgToHost, 20, true},
        {"SenAlmReq", ORVA_AGENT_ChgSenAlmReqMsgToNet, ORVA_AGENT_ChgSenAlmReqMsgToHost, 16, false},
        {"TempInfo", ORVA_AGENT_ChgTempInfoMsgToNet, ORVA_AGENT_ChgTempInfoMsgToHost, 564, true},
        {"VltInfo", ORVA_AGENT_ChgVltInfoMsgToNet, ORVA_AGENT_ChgVltInfoMsgToHost, 1364, true},
        {"MpuMng", ORVA_AGENT_ChgMpuMngSensorInfoToNet, ORVA_AGENT_ChgMpuMngSensorInfoToHost, 2852, false},
        {"MpuMngMsg", ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet, ORVA_AGENT_ChgMpuMngSensorInfoToHost, 2852, true},
        {"SubCardInfo", ORVA_AGENT_ChgSubCardInfoMsgToNet, ORVA_AGENT_ChgSubCardInfoMsgToHost, 5316, true},
        {"CardAttr", ORVA_AGENT_ChgCardAttrMsgToNet, ORVA_AGENT_ChgCardAttrMsgToHost, 24, true},
        {"CardHumid", ORVA_AGENT_ChgCardHumidMsgToNet, ORVA_AGENT_ChgCardHumidMsgToHost, 24, true},
        {"Simulate", ORVA_AGENT_ChgSimulateMsgToNet, ORVA_AGENT_ChgSimulateMsgToHost, 1252, true},
        {"SoNameReq", ORVA_AGENT_ChgSoNameReqToNet, ORVA_AGENT_ChgSoNameReqToHost, 4, true},
        {"SoNameAck", ORVA_AGENT_ChgSoNameAckToNet, ORVA_AGENT_ChgSoNameAckToHost, 2180, true},
        {"FrameAttr", ORVA_AGENT_ChgReqFrameAtrrMsgToNet, ORVA_AGENT_ChgFrameAttrMsgToHost, 144, true},
        {"Req", ORVA_AGENT_ChgReqMsgToNet, ORVA_AGENT_ChgReqMsgToHost, 16, false},
        {"FrameCardPowerState", ORVA_AGENT_ChgFrameCardPowerStateMsgToNet, ORVA_AGENT_ChgFrameCardPowerStateMsgToHost,
         16, true},
        {"PwrSenCfg", ORVA_AGENT_ChgPwrSenCfgMsgToNet, ORVA_AGENT_ChgPwrSenCfgMsgToHost, 4300, true},
        {"SensorCtrl", ORVA_AGENT_ChgSensorCtrlMsgToNet, ORVA_AGENT_ChgSensorCtrlMsgToHost, 28, true},
    };
    for (const Pair &pair : kPairs) {
        const std::size_t prefix = pair.isFramed ? 8 : 0;
        Bytes buffer = patterned(prefix + pair.bodySize, 41);
        if (pair.toHost == ORVA_AGENT_ChgPwrSenCfgMsgToHost) {
            buffer[prefix + 87] = 90;
        }
        const Bytes original = buffer;
        pair.toNet(buffer.data());
        EXPECT_NE(buffer, original) << pair.name;
        pair.toHost(buffer.data() + prefix);
        EXPECT_TRUE(std::equal(buffer.begin() + static_cast<long>(prefix), buffer.end(),
                               original.begin() + static_cast<long>(prefix)))
            << pair.name;
    }
}

} // namespace
