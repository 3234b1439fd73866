// The description of the sync records against the library: the straight-line encoders and decoders do what the
// generic codec does over the same tables, and the checks refuse tables that are wrong.
#include "wire_record_table.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "sync_tables.h"

namespace {

using namespace orva::wire;
using Bytes = std::vector<std::uint8_t>;

// The callbacks that decoders pass items to, in the order of the records; null where a record has no decoder.
constexpr OrvaTlvCallback kCallbacks[] = {
    ORVA_TempCfg_SyncDataDecode,
    ORVA_VltCfg_SyncDataDecode,
    ORVA_TLV_SyncFmeaSensorDataDecode,
    ORVA_TLV_SyncPowerSupplyDataDecode,
    nullptr,
    ORVA_BoardInfo_SyncDataDecode,
    ORVA_TLV_SyncPwrsPwrDataDecodeFunc,
    ORVA_OrvaAgt_ModelCtlDecode,
};

std::uint32_t rows_of(const Record &record) {
    return static_cast<std::uint32_t>(record.members.size());
}

// Any bytes, except in the padding, which stays as it is.
Bytes random_record(const Record &record, std::mt19937 &numbers) {
    Bytes bytes(record.size);
    std::ranges::generate(bytes, [&numbers] { return static_cast<std::uint8_t>(numbers()); });
    return bytes;
}

Bytes encoded(const Record &record, const Bytes &bytes) {
    Bytes block(record.length);
    EXPECT_EQ(record.encode(bytes.data(), block.data()), record.length);
    return block;
}

TEST(WireRecords, EachTableIsItsDescription) {
    for (const Record &record : kRecords) {
        EXPECT_EQ(ORVA_TLV_CalcTlvBufSize(record.table, rows_of(record)), record.length) << record.key;
        for (std::size_t i = 0; i < record.members.size(); ++i) {
            const Member &member = record.members[i];
            const OrvaTlvDes &row = record.table[i];
            EXPECT_EQ(row.tag, member.tag) << record.key;
            EXPECT_EQ(row.offset, member.offset) << record.key << ' ' << member.name;
            EXPECT_EQ(row.totalLen, member.bytes) << record.key << ' ' << member.name;
            EXPECT_EQ(row.nested != nullptr, member.kept == Kept::kNested) << record.key << ' ' << member.name;
        }
        EXPECT_EQ(record_of(record.table), &record);
        EXPECT_EQ(record.encode == nullptr, record.key == std::string("delay")) << record.key;
    }
    EXPECT_EQ(record_of(nullptr), nullptr);
}

TEST(WireRecords, EachEncoderWritesWhatTheGenericEncoderWrites) {
    std::mt19937 numbers(1);
    for (const Record &record : kRecords) {
        for (int turn = 0; record.encode != nullptr && turn < 50; ++turn) {
            const Bytes bytes = random_record(record, numbers);
            Bytes generic(record.length);
            ASSERT_EQ(ORVA_TLV_Encode(record.table, rows_of(record), bytes.data(), generic.data()), record.length);
            ASSERT_EQ(encoded(record, bytes), generic) << record.key;
        }
    }
}

// Decodes at the start of a buffer with room for whatever the lengths say; both ways start from the same record.
void expect_same_decode(const Record &record, OrvaTlvCallback callback, const Bytes &block, Bytes &room,
                        const Bytes &before) {
    std::copy(block.begin(), block.end(), room.begin());
    Bytes straight = before;
    Bytes walked = before;
    const std::uint32_t straightResult = record.decode(room.data(), straight.data());
    const std::uint32_t walkedResult =
        ORVA_TLV_Decode(room.data(), record.table, rows_of(record), callback, walked.data());
    ASSERT_EQ(straightResult, walkedResult) << record.key;
    ASSERT_EQ(straight, walked) << record.key;
}

TEST(WireRecords, EachDecoderStoresWhatTheWalkStoresWhateverTheBlock) {
    constexpr std::uint8_t kValues[] = {0x00, 0x01, 0x02, 0x05, 0x7F, 0xFF};
    std::mt19937 numbers(2);
    Bytes room(32 * 0x10010);
    for (std::size_t k = 0; k < kRecords.size(); ++k) {
        const Record &record = kRecords[k];
        if (record.decode == nullptr) {
            continue;
        }
        const Bytes block = encoded(record, random_record(record, numbers));
        const Bytes before = random_record(record, numbers);
        ASSERT_NO_FATAL_FAILURE(expect_same_decode(record, kCallbacks[k], block, room, before));
        for (std::size_t i = 3; i < block.size(); ++i) { // a count above 255 would walk through all of the room
            for (const std::uint8_t value : kValues) {
                Bytes changed = block;
                changed[i] = value;
                ASSERT_NO_FATAL_FAILURE(expect_same_decode(record, kCallbacks[k], changed, room, before)) << i;
            }
            std::fill(room.begin(), room.end(), std::uint8_t{0});
        }
    }
}

TEST(WireRecords, EachDecoderReadsNoByteAfterTheItemThatStopsIt) {
    for (const Record &record : kRecords) {
        if (record.decode == nullptr) {
            continue;
        }
        std::size_t at = ORVA_TLV_BLOCK_HEADER;
        const Bytes block = encoded(record, Bytes(record.size, 1));
        for (std::size_t i = 0; i < record.members.size(); ++i) {
            // Ends with the head of item i, of length 0, in memory of exactly that size: a sanitizer sees a longer
            // read.
            Bytes shorter(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(at + ORVA_TLV_ITEM_HEADER));
            shorter[at] = 0x7F; // of a tag that stores nothing
            shorter[at + 2] = 0;
            shorter[at + 3] = 0;
            Bytes received(record.size);
            EXPECT_EQ(record.decode(shorter.data(), received.data()), ORVA_FAILED) << record.key << " item " << i;
            at += ORVA_TLV_ITEM_HEADER + ORVA_TLV_GetLength(block.data() + at);
        }
        EXPECT_EQ(at, block.size()) << record.key;
    }
}

// ---- The checks

TEST(WireRecords, MembersAreSound_RefusesEveryWrongMember) {
    const auto refuses = [](auto change) {
        auto members = kModelMembers;
        change(members);
        return !members_are_sound(members, sizeof(OrvaAgentModelCtl));
    };
    using Members = std::remove_const_t<decltype(kModelMembers)>;
    ASSERT_TRUE(members_are_sound(kModelMembers, sizeof(OrvaAgentModelCtl)));
    EXPECT_FALSE(members_are_sound({}, 8));
    EXPECT_FALSE(members_are_sound(kModelMembers, sizeof(OrvaAgentModelCtl) - 8)); // ends after the structure
    EXPECT_TRUE(refuses([](Members &m) { m[3].tag = 3; }));
    EXPECT_TRUE(refuses([](Members &m) { m[3].name = ""; }));
    EXPECT_TRUE(refuses([](Members &m) { m[3].text = ""; }));
    EXPECT_TRUE(refuses([](Members &m) { m[3].bytes = 0; }));
    EXPECT_TRUE(refuses([](Members &m) { m[3].offset = m[2].offset; }));   // two members in one byte
    EXPECT_TRUE(refuses([](Members &m) { m[4].count = "stackSlotNum"; })); // comes after its array
    EXPECT_TRUE(refuses([](Members &m) { m[4].count = ""; }));
    EXPECT_TRUE(refuses([](Members &m) { m[2].count = "ctlWord1"; })); // counts nothing
}

TEST(WireRecords, TableIsSound_RefusesEveryWrongRow) {
    const auto refuses = [](auto change) {
        OrvaTlvDes table[ORVA_PWRS_SYNC_ROWS];
        std::ranges::copy(g_orvaPwrsSyncToBakDataDes, table);
        change(table);
        return !orva::table_is_sound<OrvaPwrsPwrSync>(table, 1);
    };
    using Table = OrvaTlvDes[ORVA_PWRS_SYNC_ROWS];
    ASSERT_FALSE(refuses([](Table &) {}));
    EXPECT_TRUE(refuses([](Table &t) { t[1].flag = 0; }));
    EXPECT_TRUE(refuses([](Table &t) { t[1].tag = 1; }));
    EXPECT_TRUE(refuses([](Table &t) { t[1].elemSize = 0; }));
    EXPECT_TRUE(refuses([](Table &t) { t[1].elemSize = 2; }));
    EXPECT_TRUE(refuses([](Table &t) { t[1].offset = 0; }));
    EXPECT_TRUE(refuses([](Table &t) { t[2].offset = 3; }));
    EXPECT_TRUE(refuses([](Table &t) { t[2].totalLen = 2; }));
}

} // namespace
