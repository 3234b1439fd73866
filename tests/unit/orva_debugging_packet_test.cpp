#include "orva_debugging.h"

#include <array>
#include <cstring>
#include <numeric>
#include <vector>

#include "../../src/comm/hex_text.h"
#include "debug_sink.h"
#include "orva_comm.h"
#include "platform_double.h"

namespace {

using namespace orva_test;
using Records = std::vector<std::string>;
using Bytes = std::vector<std::uint8_t>;

constexpr char kUdpSink[] = "DebugSink(0x0, 0xce42064, NULL, 0xce4bc006) ";   // module 3
constexpr char kSouthSink[] = "DebugSink(0x0, 0xce42065, NULL, 0xce4bc006) "; // module 5

Bytes counting_bytes(std::size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

// Byte by byte with printf: what the table must give.
std::string hex_of(const Bytes &bytes, std::size_t first, std::size_t count) {
    std::string text;
    char cell[8];
    for (std::size_t i = first; i < first + count; ++i) {
        std::snprintf(cell, sizeof cell, " %02x", bytes[i]);
        text += cell;
    }
    return text;
}

class Packets : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        bind_debug_sink();
    }

    static void dump(const char *name, const Bytes &bytes) {
        ORVA_DEBUG_OutPacket(3, name, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
};

// ---- Hex text

TEST_F(Packets, HexText_IsThatOfPrintfForEveryByteWithTheBlankOnEitherSide) {
    const Bytes bytes = counting_bytes(256);
    std::string after;
    for (const std::uint8_t byte : bytes) {
        char cell[8];
        std::snprintf(cell, sizeof cell, "%02x ", byte);
        after += cell;
    }
    std::string text(256 * orva::kHexCharsPerByte, '#');
    EXPECT_EQ(orva::write_hex<orva::HexBlank::Before>(text.data(), bytes.data(), 256), text.data() + text.size());
    EXPECT_EQ(text, hex_of(bytes, 0, 256));
    EXPECT_EQ(orva::write_hex<orva::HexBlank::After>(text.data(), bytes.data(), 256), text.data() + text.size());
    EXPECT_EQ(text, after);
    EXPECT_EQ(orva::write_hex<orva::HexBlank::After>(text.data(), bytes.data(), 0), text.data());
}

// ---- Numbered dump

TEST_F(Packets, OutPacket_SplitsThePacketIntoNumberedPieces) {
    const Bytes bytes = counting_bytes(700);
    dump("name", bytes);
    EXPECT_EQ(take_logs(), (Records{kUdpSink + std::string("[0x1:1] name:") + hex_of(bytes, 0, 662),
                                    kUdpSink + std::string("[0x1:2] name:") + hex_of(bytes, 662, 38)}));
    dump("name", counting_bytes(2));
    EXPECT_EQ(take_logs(), Records{kUdpSink + std::string("[0x2:1] name: 00 01")});
}

TEST_F(Packets, OutPacket_PrintsEveryByteValueAsTwoLowerCaseDigits) {
    const Bytes bytes = counting_bytes(256);
    dump("all", bytes);
    EXPECT_EQ(take_logs(), Records{kUdpSink + std::string("[0x1:1] all:") + hex_of(bytes, 0, 256)});
}

TEST_F(Packets, OutPacket_FillsALineUpToItsLastByte) {
    for (const std::size_t length : {661u, 662u, 663u, 1324u, 1325u}) {
        const Bytes bytes = counting_bytes(length);
        dump("name", bytes);
        const Records records = take_logs();
        ASSERT_EQ(records.size(), (length + 661) / 662) << length;
        std::string digits;
        for (const std::string &record : records) {
            const std::string line = record.substr(sizeof kUdpSink - 1);
            EXPECT_LE(line.size(), 1999u);
            digits += line.substr(line.find("name:") + 5);
        }
        EXPECT_EQ(digits, hex_of(bytes, 0, length));
    }
}

TEST_F(Packets, OutPacket_PassesTheLineAsTextAndUnderTheModulesSwitch) {
    const std::uint8_t byte = 0x0a;
    ORVA_DEBUG_OutPacket(5, "50%n", &byte, 1);
    EXPECT_EQ(platform().formats.back(), "%s");
    ORVA_DEBUG_OutPacket(6, "x", &byte, 1);
    EXPECT_EQ(take_logs(), (Records{kSouthSink + std::string("[0x1:1] 50%n: 0a"),
                                    "DebugSink(0x0, 0xce42000, NULL, 0xce4bc006) [0x2:1] x: 0a"}));
}

TEST_F(Packets, OutPacket_CountsPacketsThatHaveANameAndDataOnly) {
    const std::uint8_t byte = 1;
    ORVA_DEBUG_OutPacket(3, nullptr, &byte, 1);
    ORVA_DEBUG_OutPacket(3, "name", nullptr, 1);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_OutPacket(3, "name", &byte, 1);
    ORVA_DEBUG_OutPacket(3, "name", &byte, 0);
    ORVA_DEBUG_OutPacket(3, "name", &byte, 0x80000000);
    ORVA_DEBUG_OutPacket(3, "name", &byte, 0xFFFFFFFF);
    ORVA_DEBUG_OutPacket(3, "name", &byte, 1);
    EXPECT_EQ(take_logs(),
              (Records{kUdpSink + std::string("[0x1:1] name: 01"), kUdpSink + std::string("[0x5:1] name: 01")}));
}

TEST_F(Packets, OutPacket_BeginsADumpOfTheLongestLength) {
    const std::uint8_t byte = 1;
    ORVA_DEBUG_OutPacket(3, "name", &byte, 0x80000000);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
    fail("MIRO_MemAlloc_F", 1, 0); // of its first piece, which would be read
    ORVA_DEBUG_OutPacket(3, "name", &byte, 0x7FFFFFFF);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 1u);
    EXPECT_EQ(take_logs(), Records{});
}

TEST_F(Packets, OutPacket_NumbersInHexWithoutPadding) {
    const std::uint8_t byte = 1;
    for (int i = 0; i < 25; ++i) {
        ORVA_DEBUG_OutPacket(3, "n", &byte, 0);
    }
    ORVA_DEBUG_OutPacket(3, "n", &byte, 1);
    EXPECT_EQ(take_logs(), Records{kUdpSink + std::string("[0x1a:1] n: 01")});
}

TEST_F(Packets, OutPacket_UsesOneBufferOf2000BytesAPiece) {
    dump("name", counting_bytes(700));
    ASSERT_EQ(platform().allocations.size(), 2u);
    EXPECT_EQ(platform().frees.size(), 2u);
    for (const Allocation &allocation : platform().allocations) {
        EXPECT_EQ(allocation.size, 2000u);
        EXPECT_EQ(allocation.file, "src/comm/orva_debugging");
    }
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Packets, OutPacket_NeedsNoSink) {
    g_OrvaImlib.debug = nullptr;
    dump("name", counting_bytes(700));
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(platform().allocations.size(), 2u);
}

TEST_F(Packets, OutPacket_StopsSilentlyWithoutMemory) {
    const Bytes bytes = counting_bytes(1400);
    std::uint32_t number = 0;
    const unsigned walked = walk_allocation_failures(
        [&] {
            take_logs();
            ++number;
            dump("name", bytes);
        },
        [&](unsigned failing) {
            const Records records = take_logs();
            ASSERT_EQ(records.size(), failing - 1);
            char head[32];
            for (unsigned piece = 1; piece < failing; ++piece) {
                std::snprintf(head, sizeof head, "[0x%x:%u] name:", number, piece);
                EXPECT_EQ(records[piece - 1], kUdpSink + (head + hex_of(bytes, (piece - 1) * 662, 662)));
            }
            EXPECT_EQ(live_blocks(), 0u);
        });
    EXPECT_EQ(walked, 3u);
    EXPECT_EQ(take_logs().size(), 3u);
}

TEST_F(Packets, OutPacket_StopsSilentlyWithoutMemoryHandle) {
    ORVA_SetMemHandle(0);
    dump("name", counting_bytes(4));
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
}

struct NameCase {
    std::size_t nameLength; // the header is 9 characters longer
    std::size_t lines;      // for a packet of three bytes
    std::size_t bytesInALine;
};

// 2000 - header - 1 characters hold the bytes of a line.
constexpr NameCase kNameCases[] = {
    {1981, 1, 3}, {1982, 2, 2}, {1984, 2, 2}, {1985, 3, 1}, {1987, 3, 1},
    {1988, 0, 0}, {1990, 0, 0}, {1991, 0, 0}, {5000, 0, 0},
};

TEST_F(Packets, OutPacket_EndsWhereTheNameLeavesNoRoomForAByte) {
    for (const NameCase &row : kNameCases) {
        SCOPED_TRACE(row.nameLength);
        const std::string name(row.nameLength, 'n');
        const Bytes bytes = counting_bytes(3);
        dump(name.c_str(), bytes);
        const Records records = take_logs();
        ASSERT_EQ(records.size(), row.lines);
        EXPECT_EQ(live_blocks(), 0u);
        for (std::size_t i = 0; i < records.size(); ++i) {
            const std::size_t first = i * row.bytesInALine;
            const std::size_t count = std::min(row.bytesInALine, 3 - first);
            EXPECT_EQ(records[i].substr(records[i].find(": ") + 1), hex_of(bytes, first, count));
        }
    }
}

TEST_F(Packets, OutPacket_EndsWhenTheHeaderCannotBeWritten) {
    fail("sprintf_s", 1, -1);
    dump("name", counting_bytes(4));
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(Packets, OutPacket_EndsThePieceWhenFormattingFails) {
    // The digits reach the line 64 bytes at a time: header, 64 bytes, then the failure.
    const Bytes bytes = counting_bytes(100);
    fail("sprintf_s", 3, -1);
    dump("name", bytes);
    EXPECT_EQ(take_logs(), (Records{kUdpSink + std::string("[0x1:1] name:") + hex_of(bytes, 0, 64),
                                    kUdpSink + std::string("[0x1:2] name:") + hex_of(bytes, 64, 36)}));
}

TEST_F(Packets, OutPacket_GoesOnAfterOnePieceWithoutAByte) {
    const Bytes bytes = counting_bytes(100);
    fail("sprintf_s", 2, -1);
    dump("name", bytes);
    EXPECT_EQ(take_logs(), (Records{kUdpSink + std::string("[0x1:1] name:"),
                                    kUdpSink + std::string("[0x1:2] name:") + hex_of(bytes, 0, 100)}));
    EXPECT_EQ(live_blocks(), 0u);
}

// The next piece's header is built, its bytes are not.
std::uint32_t failing_sink(OrvaDebugRecord record, const char *name, std::uint32_t id, const char *, ...) {
    fail("sprintf_s", 2, -1);
    return debug_sink(record, name, id, "%s", "a piece");
}

TEST_F(Packets, OutPacket_EndsAfterTwoPiecesInARowWithoutAByte) {
    g_OrvaImlib.debug = failing_sink;
    fail("sprintf_s", 2, -1);
    dump("name", counting_bytes(100));
    EXPECT_EQ(take_logs(), (Records{kUdpSink + std::string("a piece"), kUdpSink + std::string("a piece")}));
    EXPECT_EQ(live_blocks(), 0u);
}

std::uint32_t counting_sink(OrvaDebugRecord, const char *, std::uint32_t, const char *, ...) {
    const std::uint8_t byte = 0;
    g_OrvaImlib.debug = debug_sink; // from the second piece on
    ORVA_DEBUG_OutPacket(3, "meanwhile", &byte, 0);
    return 0;
}

TEST_F(Packets, OutPacket_KeepsItsNumberWhenAnotherPacketIsCountedMeanwhile) {
    const Bytes bytes = counting_bytes(700);
    g_OrvaImlib.debug = counting_sink;
    dump("name", bytes);
    EXPECT_EQ(take_logs(), Records{kUdpSink + std::string("[0x1:2] name:") + hex_of(bytes, 662, 38)});
    dump("name", counting_bytes(1));
    EXPECT_EQ(take_logs(), Records{kUdpSink + std::string("[0x3:1] name: 00")});
}

// ---- Appending to a buffer

TEST_F(Packets, FormatPacketToString_WritesThePacketInBuffersOfAnySize) {
    const Bytes bytes = counting_bytes(300);
    for (std::uint32_t outSize = 4; outSize < 420; outSize += outSize < 12 ? 1 : 37) {
        SCOPED_TRACE(outSize);
        auto remaining = static_cast<std::uint32_t>(bytes.size());
        std::string text;
        while (remaining != 0) {
            const std::uint32_t before = remaining;
            std::vector<char> out(outSize + 1, '#');
            ORVA_DEUBG_FormatPacketToString(bytes.data(), 300, &remaining, out.data(), outSize);
            ASSERT_EQ(before - remaining, std::min(before, (outSize - 1) / 3));
            EXPECT_EQ(out[outSize], '#');
            text += out.data();
        }
        EXPECT_EQ(text, hex_of(bytes, 0, 300));
    }
}

TEST_F(Packets, FormatPacketToString_BeginsAtTheFirstByteLeft) {
    const Bytes bytes = counting_bytes(10);
    std::uint32_t remaining = 3;
    char out[32];
    ORVA_DEUBG_FormatPacketToString(bytes.data(), 10, &remaining, out, sizeof out);
    EXPECT_STREQ(out, " 07 08 09");
    EXPECT_EQ(remaining, 0u);
}

struct NothingCase {
    const char *name;
    std::uint32_t length, remaining, outSize;
};

constexpr NothingCase kNothingCases[] = {
    {"nothing left", 10, 0, 32},   {"more left than there is", 10, 11, 32},    {"far more left", 10, 0xFFFFFFFF, 32},
    {"empty packet", 0, 0, 32},    {"empty packet with bytes left", 0, 1, 32}, {"no room for a byte", 10, 10, 3},
    {"no room at all", 10, 10, 0},
};

TEST_F(Packets, FormatPacketToString_DoesNothingOutsideItsRanges) {
    const Bytes bytes = counting_bytes(10);
    for (const NothingCase &row : kNothingCases) {
        SCOPED_TRACE(row.name);
        std::uint32_t remaining = row.remaining;
        char out[32] = "kept";
        ORVA_DEUBG_FormatPacketToString(bytes.data(), row.length, &remaining, out, row.outSize);
        EXPECT_STREQ(out, "kept");
        EXPECT_EQ(remaining, row.remaining);
    }
}

TEST_F(Packets, FormatPacketToString_DoesNothingWithNullPointers) {
    const Bytes bytes = counting_bytes(4);
    std::uint32_t remaining = 4;
    char out[32] = "kept";
    ORVA_DEUBG_FormatPacketToString(nullptr, 4, &remaining, out, sizeof out);
    ORVA_DEUBG_FormatPacketToString(bytes.data(), 4, nullptr, out, sizeof out);
    ORVA_DEUBG_FormatPacketToString(bytes.data(), 4, &remaining, nullptr, sizeof out);
    EXPECT_STREQ(out, "kept");
    EXPECT_EQ(remaining, 4u);
}

TEST_F(Packets, FormatPacketToString_StopsWhenFormattingFails) {
    const Bytes bytes = counting_bytes(100);
    std::uint32_t remaining = 100;
    std::array<char, 400> out{};
    out.fill('#');
    fail("sprintf_s", 2, -1);
    ORVA_DEUBG_FormatPacketToString(bytes.data(), 100, &remaining, out.data(), out.size());
    EXPECT_EQ(std::string(out.data()), hex_of(bytes, 0, 64));
    EXPECT_EQ(remaining, 36u);

    fail("sprintf_s", 1, -1);
    ORVA_DEUBG_FormatPacketToString(bytes.data(), 100, &remaining, out.data(), out.size());
    EXPECT_STREQ(out.data(), "");
    EXPECT_EQ(remaining, 36u);
}

// ---- Fields of a packet

Bytes udp_packet(std::size_t length) {
    Bytes bytes(length, 0xEE);
    if (length > 14) {
        bytes[12] = 0x06;
        bytes[13] = 0x00;
        bytes[14] = 0x01;
    }
    return bytes;
}

Bytes ipmb_packet(std::size_t length) {
    Bytes bytes(length, 0xEE);
    if (length > 3) {
        bytes[3] = 0xC7;
    }
    if (length > 7) {
        bytes[7] = 0x22;
    }
    return bytes;
}

// Lengths out of range and null pointers are refused, and the outputs are left alone. `shortest` is in range.
void expect_refusals(decltype(&ORVA_DEBUG_GetNetFnAndCmdFromUdp) read, const Bytes &packet,
                     std::initializer_list<std::uint32_t> lengths, std::uint32_t shortest) {
    std::uint8_t netFn = 0x77;
    std::uint16_t cmd = 0x8888;
    for (const std::uint32_t length : lengths) {
        EXPECT_EQ(read(packet.data(), length, &netFn, &cmd), 1u) << length;
    }
    EXPECT_EQ(read(nullptr, shortest, &netFn, &cmd), 1u);
    EXPECT_EQ(read(packet.data(), shortest, nullptr, &cmd), 1u);
    EXPECT_EQ(read(packet.data(), shortest, &netFn, nullptr), 1u);
    EXPECT_EQ(netFn, 0x77);
    EXPECT_EQ(cmd, 0x8888);
}

TEST_F(Packets, GetNetFnAndCmdFromUdp_ReadsPacketsOf36To32768Bytes) {
    for (const std::uint32_t length : {36u, 37u, 32767u, 32768u}) {
        std::uint8_t netFn = 0;
        std::uint16_t cmd = 0;
        EXPECT_EQ(ORVA_DEBUG_GetNetFnAndCmdFromUdp(udp_packet(length).data(), length, &netFn, &cmd), 0u) << length;
        EXPECT_EQ(netFn, 6);
        EXPECT_EQ(cmd, 1);
    }
    Bytes packet = udp_packet(36);
    packet[12] = 0xFE;
    packet[13] = 0x12;
    packet[14] = 0x34;
    std::uint8_t netFn = 0;
    std::uint16_t cmd = 0;
    EXPECT_EQ(ORVA_DEBUG_GetNetFnAndCmdFromUdp(packet.data(), 36, &netFn, &cmd), 0u);
    EXPECT_EQ(netFn, 0xFE);
    EXPECT_EQ(cmd, 0x1234);
}

TEST_F(Packets, GetNetFnAndCmdFromUdp_LeavesTheOutputsAloneOutsideTheRange) {
    expect_refusals(ORVA_DEBUG_GetNetFnAndCmdFromUdp, udp_packet(32769), {0u, 35u, 32769u, 0xFFFFFFFFu}, 36);
}

TEST_F(Packets, GetNetFnAndCmdFromIpmb_ReadsPacketsOf7To1031Bytes) {
    for (const std::uint32_t length : {7u, 8u, 1030u, 1031u}) {
        std::uint8_t netFn = 0x77;
        std::uint16_t cmd = 0x8888;
        EXPECT_EQ(ORVA_DEBUG_GetNetFnAndCmdFromIpmb(ipmb_packet(length).data(), length, &netFn, &cmd), 0u) << length;
        EXPECT_EQ(netFn, 7);
        EXPECT_EQ(cmd, length == 7 ? 0 : 0x22);
    }
}

TEST_F(Packets, GetNetFnAndCmdFromIpmb_LeavesTheOutputsAloneOutsideTheRange) {
    expect_refusals(ORVA_DEBUG_GetNetFnAndCmdFromIpmb, ipmb_packet(1032), {0u, 6u, 1032u, 0xFFFFFFFFu}, 7);
}

// ---- Bus dumpers

TEST_F(Packets, OutUdpPacket_AsksTheSwitchWithThePacketsFields) {
    const Bytes packet = udp_packet(36);
    const Records dumped{kUdpSink + std::string("[0x1:1] from 3:") + hex_of(packet, 0, 36)};
    ORVA_DEBUG_OutUdpPacket("from 3", packet.data(), 36);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_SetSouthPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_SetUdpPacketSwitch(1, 6, 2);
    ORVA_DEBUG_OutUdpPacket("from 3", packet.data(), 36);
    EXPECT_EQ(take_logs(), Records{});
    EXPECT_EQ(platform().allocations.size(), 0u);
    ORVA_DEBUG_SetUdpPacketSwitch(1, 6, 1);
    ORVA_DEBUG_OutUdpPacket("from 3", packet.data(), 36);
    EXPECT_EQ(take_logs(), dumped);
}

TEST_F(Packets, OutUdpPacket_NeverDumpsALengthOutOfRange) {
    const Bytes packet = udp_packet(32769);
    ORVA_DEBUG_SetUdpPacketSwitch(1, 0x20, 0xFF);
    ORVA_DEBUG_OutUdpPacket("from 3", packet.data(), 35);
    ORVA_DEBUG_OutUdpPacket("from 3", packet.data(), 32769);
    ORVA_DEBUG_OutUdpPacket("from 3", nullptr, 36);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_OutUdpPacket("from 3", packet.data(), 32768);
    EXPECT_EQ(take_logs().size(), 50u); // 661 bytes a line
}

TEST_F(Packets, OutIpmbPacket_AsksTheSwitchWithThePacketsFields) {
    const Bytes packet = ipmb_packet(9);
    ORVA_DEBUG_SetUdpPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 9);
    ORVA_DEBUG_SetIpmbPacketSwitch(1, 7, 0x21);
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 9);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_SetIpmbPacketSwitch(1, 7, 0x22);
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 9);
    EXPECT_EQ(take_logs(), Records{kSouthSink + std::string("[0x1:1] to 4: ee ee ee c7 ee ee ee 22 ee")});
}

TEST_F(Packets, OutIpmbPacket_NeverDumpsALengthOutOfRange) {
    const Bytes packet = ipmb_packet(1032);
    ORVA_DEBUG_SetIpmbPacketSwitch(1, 0x20, 0xFF);
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 6);
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 1032);
    ORVA_DEBUG_OutIpmbPacket("to 4", nullptr, 9);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 7);
    ORVA_DEBUG_OutIpmbPacket("to 4", packet.data(), 1031);
    EXPECT_EQ(take_logs().size(), 3u);
}

TEST_F(Packets, OutFanPacket_AsksTheRs485SwitchOnly) {
    const Bytes packet{1, 2, 3};
    ORVA_DEBUG_SetUdpPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_SetIpmbPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_SetCanPacketSwitch(1);
    ORVA_DEBUG_OutFanPacket("fan", packet.data(), 3);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_SetRs485PacketSwitch(1);
    ORVA_DEBUG_OutFanPacket("fan", packet.data(), 3);
    EXPECT_EQ(take_logs(), Records{kSouthSink + std::string("[0x1:1] fan: 01 02 03")});
}

TEST_F(Packets, OutPmPacket_AsksTheCanSwitchOnly) {
    const Bytes packet{1, 2, 3};
    ORVA_DEBUG_SetUdpPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_SetIpmbPacketSwitch(1, 0x20, 0);
    ORVA_DEBUG_SetRs485PacketSwitch(1);
    ORVA_DEBUG_OutPmPacket("pm", packet.data(), 3);
    EXPECT_EQ(take_logs(), Records{});
    ORVA_DEBUG_SetCanPacketSwitch(1);
    ORVA_DEBUG_OutPmPacket("pm", packet.data(), 3);
    EXPECT_EQ(take_logs(), Records{kSouthSink + std::string("[0x1:1] pm: 01 02 03")});
}

} // namespace
