// The codec itself, over tables of the test's own.
#include "orva_tlv_sensor_comm.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "orva_additions.h"
#include "platform_double.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kUntouched = 0xEE;

constexpr OrvaTlvDes base(std::uint32_t tag, std::uint32_t offset, std::uint32_t type, std::uint32_t elemSize,
                          std::uint32_t totalLen) {
    return {1, tag, offset, type, elemSize, totalLen, nullptr, 0, 0};
}

constexpr OrvaTlvDes nested(std::uint32_t tag, std::uint32_t offset, std::uint32_t elemSize, std::uint32_t totalLen,
                            const OrvaTlvDes *table, std::uint32_t rows) {
    return {1, tag, offset, ORVA_TLV_TYPE_STRUCT, elemSize, totalLen, table, rows, 0};
}

// Encodes into a buffer with untouched neighbours and returns its first `size` bytes.
Bytes encode(const std::vector<OrvaTlvDes> &table, const void *source, std::size_t size, std::uint32_t expected) {
    Bytes buffer(size + 8, kUntouched);
    EXPECT_EQ(ORVA_TLV_Encode(table.data(), static_cast<std::uint32_t>(table.size()), source, buffer.data()),
              expected);
    for (std::size_t i = size; i < buffer.size(); ++i) {
        EXPECT_EQ(buffer[i], kUntouched) << "written past the end at +" << i - size;
    }
    buffer.resize(size);
    return buffer;
}

void append(Bytes &to, const Bytes &more) {
    for (const std::uint8_t byte : more) {
        to.push_back(byte);
    }
}

struct Seen {
    std::vector<std::uint32_t> tags;
    std::vector<Bytes> values;
};

std::uint32_t keep_item(const void *item, void *ctx) {
    auto *const seen = static_cast<Seen *>(ctx);
    const auto *const value = static_cast<const std::uint8_t *>(item) + 4;
    seen->tags.push_back(ORVA_TLV_GetTag(item));
    seen->values.emplace_back(value, value + ORVA_TLV_GetLength(item));
    return 0x5555; // ignored by the walk
}

using TlvCodec = orva_test::PlatformTest;

TEST_F(TlvCodec, IsBaseCtype_HoldsForOneToThreeOnly) {
    constexpr struct {
        int type;
        std::uint32_t expected;
    } kCases[] = {{0, 0}, {1, 1}, {2, 1}, {3, 1}, {4, 0}, {-1, 0}, {INT32_MAX, 0}, {INT32_MIN, 0}};
    for (const auto &c : kCases) {
        EXPECT_EQ(ORVA_TLV_IsBaseCtype(c.type), c.expected) << c.type;
    }
}

TEST_F(TlvCodec, CalcTlvBufSize_OfNullTableIsZeroAndOfNoRowsIsTheHeader) {
    const OrvaTlvDes row = base(1, 0, 1, 1, 1);
    EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(nullptr, 0), 0u);
    EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(nullptr, 3), 0u);
    EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(&row, 0), 16u);
}

TEST_F(TlvCodec, CalcTlvBufSize_CountsByTheNestedTablePointer) {
    const OrvaTlvDes inner[] = {base(1, 0, 1, 1, 1), base(2, 4, 3, 4, 4)}; // 16 + 5 + 8 = 29
    const struct {
        const char *name;
        OrvaTlvDes row;
        std::uint32_t expected;
    } cases[] = {
        {"one byte", base(1, 0, 1, 1, 1), 16 + 4 + 1},
        {"array", base(1, 0, 1, 1, 29), 16 + 4 + 29},
        {"structure without a table", nested(1, 0, 8, 8, nullptr, 2), 16 + 4 + 8},
        {"element larger than the field", base(1, 0, 3, 8, 4), 16 + 4 + 4},
        {"one nested", nested(1, 0, 8, 8, inner, 2), 16 + 4 + 29},
        {"three nested", nested(1, 0, 8, 24, inner, 2), 16 + 4 + 3 * 29},
        {"remainder dropped", nested(1, 0, 8, 23, inner, 2), 16 + 4 + 2 * 29},
        {"nested element size 0", nested(1, 0, 0, 24, inner, 2), 16 + 4},
        {"nested element too large", nested(1, 0, 25, 24, inner, 2), 16 + 4},
        {"nested without rows", nested(1, 0, 8, 8, inner, 0), 16 + 4 + 16},
        {"base type with a table", {1, 1, 0, ORVA_TLV_TYPE_U8, 1, 2, inner, 2, 0}, 16 + 4 + 2 * 29},
        {"wraps at 32 bits", base(1, 0, 1, 1, 0xFFFFFFFF), 16 + 4 - 1},
        {"product wraps at 32 bits", nested(1, 0, 1, 0x10000000, inner, 2), 16 + 4 + 0xD0000000},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(&c.row, 1), c.expected) << c.name;
    }
}

TEST_F(TlvCodec, Encode_RefusesNullPointers) {
    const OrvaTlvDes row = base(1, 0, 1, 1, 1);
    const std::uint8_t source = 0x2A;
    Bytes out(32, kUntouched);
    EXPECT_EQ(ORVA_TLV_Encode(nullptr, 1, &source, out.data()), 0u);
    EXPECT_EQ(ORVA_TLV_Encode(&row, 1, nullptr, out.data()), 0u);
    EXPECT_EQ(ORVA_TLV_Encode(&row, 1, &source, nullptr), 0u);
    EXPECT_EQ(out, Bytes(32, kUntouched));
}

TEST_F(TlvCodec, Encode_OfNoRowsIsABareHeader) {
    const OrvaTlvDes row = base(1, 0, 1, 1, 1);
    const std::uint8_t source = 0x2A;
    Bytes out(20, kUntouched);
    EXPECT_EQ(ORVA_TLV_Encode(&row, 0, &source, out.data()), 16u);
    EXPECT_EQ(out, (Bytes{0, 0, 0, 0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0xEE, 0xEE, 0xEE, 0xEE}));
    Seen seen;
    EXPECT_EQ(ORVA_TLV_Decode(out.data(), &row, 0, keep_item, &seen), 0u);
    EXPECT_TRUE(seen.tags.empty());
}

TEST_F(TlvCodec, Encode_WritesEachWidthBigEndian) {
    const struct {
        std::uint32_t word;
        std::uint16_t half, pad;
        std::uint8_t byte;
    } source = {0x01020304, 0x1234, 0, 0x2A};
    const std::vector<OrvaTlvDes> table = {base(1, 0, 3, 4, 4), base(2, 4, 2, 2, 2), base(3, 8, 1, 1, 1)};
    EXPECT_EQ(encode(table, &source, 35, 35), (Bytes{0, 0, 0, 3, 0, 0, 0, 35, 0, 0, 0,    0,    0, 0, 0, 0, 0,   1,
                                                     0, 4, 1, 2, 3, 4, 0, 2,  0, 2, 0x12, 0x34, 0, 3, 0, 1, 0x2A}));
}

TEST_F(TlvCodec, Encode_WritesArraysElementByElement) {
    struct {
        std::uint8_t bytes[29];
        std::uint8_t pad;
        std::uint16_t halves[2];
        std::uint32_t words[2];
    } source = {{}, 0, {0x1122, 0x3344}, {0xA1A2A3A4, 0xB1B2B3B4}};
    for (std::uint8_t i = 0; i < 29; ++i) {
        source.bytes[i] = static_cast<std::uint8_t>(0x40 + i);
    }
    const std::vector<OrvaTlvDes> table = {base(1, 0, 1, 1, 29), base(2, 30, 2, 2, 4), base(3, 36, 3, 4, 8)};
    const Bytes block = encode(table, &source, 16 + 33 + 8 + 12, 16 + 33 + 8 + 12);
    Bytes expected = {0, 0, 0, 3, 0, 0, 0, 69, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 29};
    for (std::uint8_t i = 0; i < 29; ++i) {
        expected.push_back(static_cast<std::uint8_t>(0x40 + i));
    }
    append(expected, {0x00, 0x02, 0x00, 0x04, 0x11, 0x22, 0x33, 0x44, 0x00, 0x03,
                      0x00, 0x08, 0xA1, 0xA2, 0xA3, 0xA4, 0xB1, 0xB2, 0xB3, 0xB4});
    EXPECT_EQ(block, expected);
}

TEST_F(TlvCodec, Encode_KeepsTheLowHalfOfTagAndLengthAndAdvancesByTheWholeLength) {
    std::vector<std::uint8_t> source(70001, 0x77);
    source[70000] = 0x2A;
    const std::vector<OrvaTlvDes> table = {base(0x12345, 0, 1, 1, 70000), base(2, 70000, 1, 1, 1)};
    const Bytes block = encode(table, source.data(), 16 + 4 + 70000 + 5, 16 + 4 + 70000 + 5);
    EXPECT_EQ(Bytes(block.begin() + 16, block.begin() + 21), (Bytes{0x23, 0x45, 0x11, 0x70, 0x77})); // 70000 - 65536
    EXPECT_EQ(Bytes(block.end() - 6, block.end()), (Bytes{0x77, 0, 2, 0, 1, 0x2A}));
}

TEST_F(TlvCodec, Encode_WritesAnEmptyItemWhenTheElementExceedsTheField) {
    const std::uint8_t source[8] = {0x2A, 0x2B, 0x2C, 0x2D};
    const std::vector<OrvaTlvDes> table = {base(1, 0, 1, 1, 1), base(2, 0, 3, 4, 2), base(3, 1, 1, 1, 1)};
    const Bytes block = encode(table, source, 16 + 5 + 4 + 5, 16 + 5 + 6 + 5);
    EXPECT_EQ(Bytes(block.begin() + 16, block.end()), (Bytes{0, 1, 0, 1, 0x2A, 0, 2, 0, 0, 0, 3, 0, 1, 0x2B}));
    Seen seen;
    EXPECT_EQ(ORVA_TLV_Decode(block.data(), table.data(), 3, keep_item, &seen), 1u);
    EXPECT_EQ(seen.tags, (std::vector<std::uint32_t>{1, 2})); // the empty item was still passed
    EXPECT_EQ(seen.values, (std::vector<Bytes>{{0x2A}, {}}));
}

TEST_F(TlvCodec, Encode_CountsButDoesNotWriteAStructureWithoutATable) {
    const std::uint8_t source[9] = {1, 2, 3, 4, 5, 6, 7, 8, 0x2A};
    for (const std::uint32_t type : {0u, 4u, 5u, 0xFFFFFFFFu}) {
        std::vector<OrvaTlvDes> table = {nested(1, 0, 8, 8, nullptr, 2), base(2, 8, 1, 1, 1)};
        table[0].type = type;
        const Bytes block = encode(table, source, 16 + 4 + 5, 16 + 12 + 5); // shorter than its length field says
        EXPECT_EQ(block, (Bytes{0, 0, 0, 2, 0, 0, 0, 33, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 1, 0x2A}));
        Seen seen;
        EXPECT_EQ(ORVA_TLV_Decode(block.data(), table.data(), 2, keep_item, &seen), 1u);
        EXPECT_EQ(seen.tags, (std::vector<std::uint32_t>{1}));
    }
}

struct Inner {
    std::uint8_t flag;
    std::uint32_t time;
};
constexpr OrvaTlvDes kInner[] = {base(4, offsetof(Inner, flag), 1, 1, 1), base(5, offsetof(Inner, time), 3, 4, 4)};

struct Middle {
    std::uint16_t number;
    Inner inner[2];
};
constexpr OrvaTlvDes kMiddle[] = {base(1, offsetof(Middle, number), 2, 2, 2),
                                  nested(2, offsetof(Middle, inner), sizeof(Inner), 2 * sizeof(Inner), kInner, 2)};

TEST_F(TlvCodec, Encode_NestsOneBlockPerElementToAnyDepth) {
    const struct {
        std::uint8_t head;
        Middle middle[2];
        std::uint8_t tail;
    } source = {
        0x11,
        {{0x2122, {{0x31, 0x41424344}, {0x32, 0x51525354}}}, {0x6162, {{0x33, 0x71727374}, {0x34, 0x81828384}}}},
        0x99};
    const std::vector<OrvaTlvDes> table = {base(1, 0, 1, 1, 1),
                                           nested(2, 4, sizeof(Middle), 2 * sizeof(Middle), kMiddle, 2),
                                           base(3, 4 + 2 * sizeof(Middle), 1, 1, 1)};
    // Inner block 29 bytes; middle block 16 + 6 + 4 + 2 * 29 = 84; outer 16 + 5 + 4 + 2 * 84 + 5 = 198.
    const auto header = [](std::uint8_t count, std::uint8_t length) {
        return Bytes{0, 0, 0, count, 0, 0, 0, length, 0, 0, 0, 0, 0, 0, 0, 0};
    };
    const auto inner = [&](std::uint8_t flag, std::uint8_t b1) {
        Bytes block = header(2, 29);
        append(block, {0, 4, 0, 1, flag, 0, 5, 0, 4});
        for (int i = 0; i < 4; ++i) {
            block.push_back(static_cast<std::uint8_t>(b1 + i));
        }
        return block;
    };
    Bytes expected = header(3, 198);
    append(expected, {0, 1, 0, 1, 0x11, 0, 2, 0, 168});
    append(expected, header(2, 84));
    append(expected, {0, 1, 0, 2, 0x21, 0x22, 0, 2, 0, 58});
    append(expected, inner(0x31, 0x41));
    append(expected, inner(0x32, 0x51));
    append(expected, header(2, 84));
    append(expected, {0, 1, 0, 2, 0x61, 0x62, 0, 2, 0, 58});
    append(expected, inner(0x33, 0x71));
    append(expected, inner(0x34, 0x81));
    append(expected, {0, 3, 0, 1, 0x99});
    EXPECT_EQ(encode(table, &source, 198, 198), expected);
}

TEST_F(TlvCodec, Encode_AcceptsAnyAddress) {
    std::uint8_t source[16] = {};
    std::uint8_t out[64] = {};
    source[1] = 0x04, source[2] = 0x03, source[3] = 0x02, source[4] = 0x01;
    source[5] = 0x34, source[6] = 0x12;
    const std::vector<OrvaTlvDes> table = {base(1, 0, 3, 4, 4), base(2, 4, 2, 2, 2)};
    EXPECT_EQ(ORVA_TLV_Encode(table.data(), 2, source + 1, out + 3), 30u);
    EXPECT_EQ(Bytes(out + 3 + 16, out + 3 + 30), (Bytes{0, 1, 0, 4, 1, 2, 3, 4, 0, 2, 0, 2, 0x12, 0x34}));
    Seen seen;
    EXPECT_EQ(ORVA_TLV_Decode(out + 3, nullptr, 0, keep_item, &seen), 0u);
    EXPECT_EQ(seen.values, (std::vector<Bytes>{{1, 2, 3, 4}, {0x12, 0x34}}));
}

TEST_F(TlvCodec, FillBaseTypeValue_WritesElementsByTheTypeCode) {
    const std::uint8_t source[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const struct {
        const char *name;
        OrvaTlvDes row;
        Bytes expected;
    } cases[] = {
        {"byte", base(1, 0, 1, 1, 1), {1}},
        {"bytes", base(1, 0, 1, 1, 5), {1, 2, 3, 4, 5}},
        {"half", base(1, 0, 2, 2, 2), {2, 1}},
        {"halves", base(1, 0, 2, 2, 6), {2, 1, 4, 3, 6, 5}},
        {"word", base(1, 0, 3, 4, 4), {4, 3, 2, 1}},
        {"words", base(1, 0, 3, 4, 8), {4, 3, 2, 1, 8, 7, 6, 5}},
        {"element exceeds field", base(1, 0, 1, 2, 1), {}},
        {"element size 0 counts as one element", base(1, 0, 1, 0, 5), {1}},
        {"element size 0 and length 0", base(1, 0, 3, 0, 0), {4, 3, 2, 1}},
        {"count by element size, step by type", base(1, 0, 1, 3, 7), {1, 2}},
        {"wide step by type", base(1, 0, 3, 2, 4), {4, 3, 2, 1, 8, 7, 6, 5}},
        {"remainder dropped", base(1, 0, 2, 2, 5), {2, 1, 4, 3}},
        {"type 0", base(1, 0, 0, 1, 4), {}},
        {"type 4", base(1, 0, 4, 1, 4), {}},
        {"type 5", base(1, 0, 5, 4, 4), {}},
    };
    for (const auto &c : cases) {
        Bytes out(16, kUntouched);
        EXPECT_EQ(ORVA_TLV_FillBaseTypeValue(out.data(), source, &c.row), c.expected.size()) << c.name;
        Bytes expected = c.expected;
        expected.resize(16, kUntouched);
        EXPECT_EQ(out, expected) << c.name;
    }
}

TEST_F(TlvCodec, FillStructTypeValue_AccountsTheNestedSizePerElement) {
    const Inner source[2] = {{0x31, 0x41424344}, {0x32, 0x51525354}};
    const OrvaTlvDes two = nested(9, 0, sizeof(Inner), sizeof source, kInner, 2);
    Bytes out(80, kUntouched);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(out.data(), source, &two), 58u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), (Bytes{0, 0, 0, 2, 0, 0, 0, 29}));
    EXPECT_EQ(Bytes(out.begin() + 16, out.begin() + 29),
              (Bytes{0, 4, 0, 1, 0x31, 0, 5, 0, 4, 0x41, 0x42, 0x43, 0x44}));
    EXPECT_EQ(Bytes(out.begin() + 45, out.begin() + 58),
              (Bytes{0, 4, 0, 1, 0x32, 0, 5, 0, 4, 0x51, 0x52, 0x53, 0x54}));
    EXPECT_EQ(Bytes(out.begin() + 58, out.end()), Bytes(22, kUntouched));
}

TEST_F(TlvCodec, FillStructTypeValue_WritesNothingWithoutPointersOrRoom) {
    const Inner source[2] = {{0x31, 0x41424344}, {0x32, 0x51525354}};
    const OrvaTlvDes plain = nested(9, 0, sizeof(Inner), sizeof source, kInner, 2);
    const OrvaTlvDes noTable = nested(9, 0, sizeof(Inner), sizeof source, nullptr, 2);
    const OrvaTlvDes tooLarge = nested(9, 0, sizeof source + 1, sizeof source, kInner, 2);
    Bytes out(80, kUntouched);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(nullptr, source, &plain), 0u);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(out.data(), nullptr, &plain), 0u);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(out.data(), source, &noTable), 0u);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(out.data(), source, &tooLarge), 0u);
    EXPECT_EQ(out, Bytes(80, kUntouched));
}

TEST_F(TlvCodec, FillStructTypeValue_TreatsElementSizeZeroAsOneElement) {
    const Inner source = {0x31, 0x41424344};
    const OrvaTlvDes row = nested(9, 0, 0, sizeof source, kInner, 2);
    Bytes out(40, kUntouched);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(out.data(), &source, &row), 29u);
    EXPECT_EQ(out[20], 0x31);
    EXPECT_EQ(out[29], kUntouched);
    const OrvaTlvDes noRows = nested(9, 0, sizeof source, sizeof source, kInner, 0);
    EXPECT_EQ(ORVA_TLV_FillStructTypeValue(out.data(), &source, &noRows), 16u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), (Bytes{0, 0, 0, 0, 0, 0, 0, 16}));
}

TEST_F(TlvCodec, FillValue_ChoosesTheWriterByTheTypeCode) {
    const Inner source = {0x31, 0x41424344};
    const OrvaTlvDes asBase = {1, 1, 0, ORVA_TLV_TYPE_U8, 1, 1, kInner, 2, 0}; // the pointer does not matter here
    const OrvaTlvDes asStruct = {1, 1, 0, 77, sizeof source, sizeof source, kInner, 2, 0};
    Bytes out(40, kUntouched);
    EXPECT_EQ(ORVA_TLV_FillValue(out.data(), &source, &asBase), 1u);
    EXPECT_EQ(out[0], 0x31);
    EXPECT_EQ(out[1], kUntouched);
    EXPECT_EQ(ORVA_TLV_FillValue(out.data(), &source, &asStruct), 29u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), (Bytes{0, 0, 0, 2, 0, 0, 0, 29}));
}

TEST_F(TlvCodec, Decode_PassesItemsInOrderAndIgnoresTheCallbacksResult) {
    const Bytes block = {
        0, 0, 0, 3, 0,    0,    0,    0xFF, 9, 9, 9, 9, 9, 9, 9, 9, // length and reserved bytes are not read
        0, 7, 0, 1, 0x2A, 0xFF, 0xFE, 0,    3, 1, 2, 3, 0, 7, 0, 2, 8, 9};
    Seen seen;
    EXPECT_EQ(ORVA_TLV_Decode(block.data(), nullptr, 0, keep_item, &seen), 0u);
    EXPECT_EQ(seen.tags, (std::vector<std::uint32_t>{7, 0xFFFE, 7}));
    EXPECT_EQ(seen.values, (std::vector<Bytes>{{0x2A}, {1, 2, 3}, {8, 9}}));
}

TEST_F(TlvCodec, Decode_StopsAfterAnEmptyItem) {
    const Bytes middle = {0, 0, 0, 3, 0, 0, 0, 30, 0, 0, 0, 0, 0, 0,    0,
                          0, 0, 1, 0, 1, 5, 0, 2,  0, 0, 0, 3, 0, 0x01, 6};
    Seen seen;
    EXPECT_EQ(ORVA_TLV_Decode(middle.data(), nullptr, 0, keep_item, &seen), 1u);
    EXPECT_EQ(seen.tags, (std::vector<std::uint32_t>{1, 2}));

    const Bytes last = {0, 0, 0, 1, 0, 0, 0, 20, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    Seen seenLast;
    EXPECT_EQ(ORVA_TLV_Decode(last.data(), nullptr, 0, keep_item, &seenLast), 1u);
    EXPECT_EQ(seenLast.tags, (std::vector<std::uint32_t>{1}));
}

TEST_F(TlvCodec, Decode_RefusesANullBlockOrCallback) {
    const Bytes block = {0, 0, 0, 1, 0, 0, 0, 21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 5};
    Seen seen;
    EXPECT_EQ(ORVA_TLV_Decode(nullptr, nullptr, 0, keep_item, &seen), 1u);
    EXPECT_EQ(ORVA_TLV_Decode(block.data(), nullptr, 0, nullptr, &seen), 1u);
    EXPECT_TRUE(seen.tags.empty());
}

TEST_F(TlvCodec, Decode_ReadsTheCountBeforeTheCallback) {
    const Bytes empty = {0, 0, 0, 0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(ORVA_TLV_Decode(empty.data(), nullptr, 0, nullptr, nullptr), 0u);
    EXPECT_EQ(ORVA_TLV_Decode(nullptr, nullptr, 0, nullptr, nullptr), 1u);
}

TEST_F(TlvCodec, Accessors_ReadHostOrderAndMarkNull) {
    const Bytes item = {0x12, 0x34, 0x00, 0x02, 0xAA, 0xBB, 0x00, 0x01, 0x00, 0x00};
    EXPECT_EQ(ORVA_TLV_GetTag(item.data()), 0x1234u);
    EXPECT_EQ(ORVA_TLV_GetLength(item.data()), 2u);
    EXPECT_EQ(ORVA_TLV_Next(item.data()), item.data() + 6);
    EXPECT_EQ(ORVA_TLV_Next(item.data() + 6), nullptr); // an empty item
    EXPECT_EQ(ORVA_TLV_GetTag(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(ORVA_TLV_GetLength(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(ORVA_TLV_Next(nullptr), nullptr);

    const Bytes block = {9, 9, 9, 9, 0x01, 0x02, 0x03, 0x04};
    EXPECT_EQ(ORVA_TLV_GetRemoteLength(block.data()), 0x01020304u);
    EXPECT_EQ(ORVA_TLV_GetRemoteLength(nullptr), 0u);
}

// ---- The same encoding once more, field by field, over random tables.

void put(Bytes &out, std::uint64_t value, unsigned bytes) {
    while (bytes-- > 0) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * bytes)));
    }
}

Bytes naive_block(const std::vector<OrvaTlvDes> &table, const std::uint8_t *source) {
    Bytes items;
    for (const OrvaTlvDes &row : table) {
        Bytes value;
        for (std::uint32_t at = 0; at < row.totalLen; at += row.elemSize) {
            const std::uint8_t *const element = source + row.offset + at;
            if (row.type == ORVA_TLV_TYPE_STRUCT) {
                append(value, naive_block({row.nested, row.nested + row.nestedRows}, element));
                continue;
            }
            for (std::uint32_t byte = row.elemSize; byte-- > 0;) {
                value.push_back(element[byte]);
            }
        }
        put(items, row.tag, 2);
        put(items, value.size(), 2);
        append(items, value);
    }
    Bytes block;
    put(block, table.size(), 4);
    put(block, 16 + items.size(), 4);
    put(block, 0, 8);
    append(block, items);
    return block;
}

std::uint32_t pick(std::mt19937 &random, std::uint32_t bound) {
    return static_cast<std::uint32_t>(random()) % bound;
}

std::vector<OrvaTlvDes> random_table(std::mt19937 &random, const std::vector<OrvaTlvDes> &inner,
                                     std::uint32_t innerSize, std::uint32_t &size) {
    std::vector<OrvaTlvDes> table;
    size = 0;
    for (std::uint32_t tag = 1 + pick(random, 3), rows = pick(random, 30); rows > 0; --rows, ++tag) {
        const std::uint32_t type = 1 + pick(random, inner.empty() ? 3 : 4);
        const std::uint32_t width = type == 4 ? innerSize : 1u << (type - 1);
        const std::uint32_t count = pick(random, 3) == 0 ? 1 + pick(random, 9) : 1;
        if (width == 0) {
            continue;
        }
        table.push_back(type == 4 ? nested(tag, size, width, width * count, inner.data(),
                                           static_cast<std::uint32_t>(inner.size()))
                                  : base(tag, size, type, width, width * count));
        size += width * count;
    }
    return table;
}

TEST_F(TlvCodec, Encode_AgreesWithTheNaiveFormOnRandomTables) {
    std::mt19937 random(4711);
    for (int round = 0; round < 500; ++round) {
        std::uint32_t innerSize = 0;
        std::uint32_t size = 0;
        const std::vector<OrvaTlvDes> inner = random_table(random, {}, 0, innerSize);
        const std::vector<OrvaTlvDes> table = random_table(random, inner, innerSize, size);
        if (table.empty()) {
            continue;
        }
        Bytes source(size);
        for (std::uint8_t &byte : source) {
            byte = static_cast<std::uint8_t>(random());
        }
        const Bytes expected = naive_block(table, source.data());
        const auto length = static_cast<std::uint32_t>(expected.size());
        ASSERT_EQ(encode(table, source.data(), expected.size(), length), expected) << "round " << round;
        EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(table.data(), static_cast<std::uint32_t>(table.size())), length);
        EXPECT_EQ(ORVA_TLV_GetRemoteLength(expected.data()), length);
        Seen seen;
        EXPECT_EQ(ORVA_TLV_Decode(expected.data(), nullptr, 0, keep_item, &seen), 0u);
        EXPECT_EQ(seen.tags.size(), table.size());
        EXPECT_TRUE(orva_tlv_block_is_whole(expected.data(), expected.size(), table.data(),
                                            static_cast<std::uint32_t>(table.size())));
    }
}

// ---- The bounded caller

struct WholeCase {
    const char *name;
    Bytes block;
    int expected;
};

Bytes outer(std::uint8_t count, std::uint8_t length, const Bytes &items) {
    Bytes block = {0, 0, 0, count, 0, 0, 0, length, 0, 0, 0, 0, 0, 0, 0, 0};
    append(block, items);
    return block;
}

TEST_F(TlvCodec, BlockIsWhole_AcceptsWhatADecoderMayReadAndNothingElse) {
    const std::vector<OrvaTlvDes> table = {base(1, 0, 1, 1, 1), base(2, 4, 3, 4, 4),
                                           nested(3, 8, sizeof(Inner), sizeof(Inner), kInner, 2)};
    Bytes nestedItem = {0, 3, 0, 29};
    append(nestedItem, outer(2, 29, {0, 4, 0, 1, 7, 0, 5, 0, 4, 1, 2, 3, 4}));
    Bytes cutNested = nestedItem; // the inner length field says one byte more than the item holds
    cutNested[4 + 7] = 30;
    Bytes shortNested = nestedItem; // an inner word of 3 bytes
    shortNested[4 + 16 + 5 + 3] = 3;
    const WholeCase cases[] = {
        {"empty", outer(0, 16, {}), 1},
        {"surplus bytes after the block", outer(0, 16, {1, 2, 3}), 1},
        {"one item", outer(1, 21, {0, 1, 0, 1, 5}), 1},
        {"longer value than the field", outer(1, 23, {0, 1, 0, 3, 5, 6, 7}), 1},
        {"unknown tag", outer(1, 21, {9, 9, 0, 1, 5}), 1},
        {"word", outer(1, 24, {0, 2, 0, 4, 5, 6, 7, 8}), 1},
        {"nested", outer(1, 49, nestedItem), 1},
        {"no header", Bytes(15, 0), 0},
        {"length below the header", outer(0, 15, {}), 0},
        {"length beyond what was received", outer(0, 17, {}), 0},
        {"count beyond the items", outer(2, 21, {0, 1, 0, 1, 5}), 0},
        {"item header cut", outer(1, 19, {0, 1, 0}), 0},
        {"value cut", outer(1, 24, {0, 1, 0, 5, 5, 6, 7, 8}), 0},
        {"value runs on after the block", outer(1, 21, {0, 1, 0, 2, 5, 6}), 0},
        {"empty item", outer(1, 20, {0, 1, 0, 0}), 0},
        {"word too short", outer(1, 23, {0, 2, 0, 3, 5, 6, 7}), 0},
        {"nested block cut", outer(1, 49, cutNested), 0},
        {"nested word too short", outer(1, 49, shortNested), 0},
        {"nested item without room for a header", outer(1, 21, {0, 3, 0, 1, 5}), 0},
        {"count of all ones", {255, 255, 255, 255, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0}, 0},
    };
    for (const WholeCase &c : cases) {
        EXPECT_EQ(orva_tlv_block_is_whole(c.block.data(), c.block.size(), table.data(), 3), c.expected) << c.name;
    }
    EXPECT_EQ(orva_tlv_block_is_whole(nullptr, 100, table.data(), 3), 0);
}

} // namespace
