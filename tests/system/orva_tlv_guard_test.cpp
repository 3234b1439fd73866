// A receiver that bounds a block before it decodes never reads past what it received: every block, truncated at every
// length and damaged in many ways, is laid so that its last byte is the last byte before an inaccessible page.
#include "orva_additions.h"
#include "orva_tlv_sensor_comm.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "system_support.h"

#include "../golden/sync_blocks.inc"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Two pages, the second inaccessible.
class GuardedPage {
public:
    GuardedPage() : size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void *const memory = mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        page_ = memory == MAP_FAILED ? nullptr : static_cast<std::uint8_t *>(memory);
        if (page_ == nullptr || mprotect(page_ + size_, size_, PROT_NONE) != 0) {
            ADD_FAILURE() << "no guard page";
        }
    }
    ~GuardedPage() {
        munmap(page_, 2 * size_);
    }
    GuardedPage(const GuardedPage &) = delete;
    GuardedPage &operator=(const GuardedPage &) = delete;

    // The first `size` bytes of `block`, ending where the inaccessible page begins.
    const std::uint8_t *place(const Bytes &block, std::size_t size) {
        std::uint8_t *const start = page_ + size_ - size;
        std::copy_n(block.begin(), size, start);
        return start;
    }

private:
    std::size_t size_;
    std::uint8_t *page_;
};

template <typename Record, std::uint32_t (*Decode)(const void *, Record *)>
std::uint32_t decode_into(const void *block) {
    Record record{};
    return Decode(block, &record);
}

std::uint32_t decode_delay(const void *block, OrvaDelayPowerOn *record) {
    return ORVA_TLV_Decode(block, g_orvaDelayPowerOnDes, ORVA_DELAY_POWER_ON_ROWS, ORVA_DelayPowerOn_SyncDataDecode,
                           record);
}

// A model-control receiver whose counts are as large as they can be.
std::uint32_t decode_model_ctl(const void *block, OrvaAgentModelCtl *record) {
    record->mngSlotNum = 255;
    record->stackSlotNum = 255;
    return ORVA_OrvaAgt_ModelCtlTlvDataDecode(block, record);
}

struct Kind {
    const char *name;
    Bytes blocks[2];
    const OrvaTlvDes *table;
    std::uint32_t rows;
    std::uint32_t (*decode)(const void *block);
};

template <std::size_t N>
Bytes bytes(const unsigned char (&block)[N]) {
    return Bytes(block, block + N);
}

std::vector<Kind> kinds() {
    return {
        {"temperature",
         {bytes(kTempBlockA), bytes(kTempBlockB)},
         g_orvaTempSyncDataDes,
         ORVA_TEMP_SYNC_ROWS,
         decode_into<OrvaTempSensorCfg, ORVA_TLV_SyncTempCfgDataDecode>},
        {"voltage",
         {bytes(kVltBlockA), bytes(kVltBlockB)},
         g_orvaVltSyncDataDes,
         ORVA_VLT_SYNC_ROWS,
         decode_into<OrvaVltSensorCfg, ORVA_TLV_SyncVltCfgDataDecode>},
        {"FMEA",
         {bytes(kFmeaBlockA), bytes(kFmeaBlockB)},
         g_orvaFmeaSyncDataDes,
         ORVA_FMEA_SYNC_ROWS,
         decode_into<OrvaVltSensorCfg, ORVA_TLV_SyncFmeaDataDecode>},
        {"power supply",
         {bytes(kPwrSupBlockA), bytes(kPwrSupBlockB)},
         g_orvaPwrSupSyncDataDes,
         ORVA_PWR_SUP_SYNC_ROWS,
         decode_into<OrvaVltSensorCfg, ORVA_TLV_SyncPowerSupplyDecode>},
        {"delayed power-on",
         {bytes(kDelayBlockA), bytes(kDelayBlockB)},
         g_orvaDelayPowerOnDes,
         ORVA_DELAY_POWER_ON_ROWS,
         decode_into<OrvaDelayPowerOn, decode_delay>},
        {"board",
         {bytes(kBoardBlockA), bytes(kBoardBlockB)},
         g_orvaBoardInfoSyncToBakDataDes,
         ORVA_BOARD_INFO_SYNC_ROWS,
         decode_into<OrvaBoardInfoSync, ORVA_TLV_SyncBoardInfoToBakDecode>},
        {"power",
         {bytes(kPwrsBlockA), bytes(kPwrsBlockB)},
         g_orvaPwrsSyncToBakDataDes,
         ORVA_PWRS_SYNC_ROWS,
         decode_into<OrvaPwrsPwrSync, ORVA_TLV_SyncPwrsPwrDataDecode>},
        {"model control",
         {bytes(kModelCtlBlockA), bytes(kModelCtlBlockB)},
         g_orvaAgentModelCtlTlvDes,
         ORVA_MODEL_CTL_ROWS,
         decode_into<OrvaAgentModelCtl, decode_model_ctl>},
    };
}

enum class Outcome { kRefused, kDecoded, kFailed };

// What a receiver does with `size` bytes at `received`.
Outcome receive(const Kind &kind, const void *received, std::size_t size) {
    if (!orva_tlv_block_is_whole(received, size, kind.table, kind.rows)) {
        return Outcome::kRefused;
    }
    return kind.decode(received) == 0 ? Outcome::kDecoded : Outcome::kFailed;
}

void set_length(Bytes &block, std::size_t length) {
    for (unsigned i = 0; i < 4; ++i) {
        block[4 + i] = static_cast<std::uint8_t>(length >> (8 * (3 - i)));
    }
}

TEST(TlvGuard, TheGuardIsReal_AnUnboundedDecodeOfATruncatedBlockDies) {
    const Kind temperature = kinds().front();
    const int status = orva_test::run_in_child([&] {
        GuardedPage page;
        temperature.decode(page.place(temperature.blocks[0], 100));
        return 0;
    });
    EXPECT_NE(status, 0);
}

TEST(TlvGuard, BoundedCaller_RefusesEveryTruncationAndDecodesTheWholeBlock) {
    GuardedPage page;
    for (const Kind &kind : kinds()) {
        for (const Bytes &block : kind.blocks) {
            for (std::size_t size = 0; size <= block.size(); ++size) {
                EXPECT_EQ(receive(kind, page.place(block, size), size),
                          size == block.size() ? Outcome::kDecoded : Outcome::kRefused)
                    << kind.name << " cut to " << size;
            }
        }
    }
}

TEST(TlvGuard, BoundedCaller_RefusesTruncationsWhoseHeaderClaimsTheTruncatedLength) {
    GuardedPage page;
    for (const Kind &kind : kinds()) {
        for (Bytes block : kind.blocks) {
            for (std::size_t size = 16; size < block.size(); ++size) {
                set_length(block, size);
                EXPECT_EQ(receive(kind, page.place(block, size), size), Outcome::kRefused)
                    << kind.name << " cut to " << size;
            }
        }
    }
}

TEST(TlvGuard, BoundedCaller_DecodesTruncationsAtItemEndsWhoseHeaderIsRight) {
    GuardedPage page;
    for (const Kind &kind : kinds()) {
        Bytes block = kind.blocks[0];
        std::size_t end = 16;
        for (std::uint8_t count = 0; count <= kind.rows; ++count) {
            block[3] = count;
            set_length(block, end);
            EXPECT_EQ(receive(kind, page.place(block, end), end), Outcome::kDecoded)
                << kind.name << " items " << +count;
            if (count < kind.rows) {
                end += 4 + ORVA_TLV_GetLength(block.data() + end);
            }
        }
        EXPECT_EQ(end, kind.blocks[0].size()) << kind.name;
    }
}

TEST(TlvGuard, BoundedCaller_RefusesEveryItemThatIsTooShortForItsField) {
    GuardedPage page;
    for (const Kind &kind : kinds()) {
        for (std::uint32_t i = 0; i < kind.rows; ++i) {
            const std::uint32_t fieldLength =
                kind.table[i].nested == nullptr
                    ? kind.table[i].totalLen
                    : ORVA_TLV_CalcTlvBufSize(kind.table[i].nested, kind.table[i].nestedRows);
            for (std::uint32_t length = 0; length <= fieldLength; ++length) {
                Bytes block = {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
                block[17] = static_cast<std::uint8_t>(kind.table[i].tag);
                block[19] = static_cast<std::uint8_t>(length);
                block.resize(20 + length, 0xFF);
                set_length(block, block.size());
                const Outcome outcome = receive(kind, page.place(block, block.size()), block.size());
                const bool plain = kind.table[i].nested == nullptr && length == fieldLength;
                EXPECT_EQ(outcome, plain ? Outcome::kDecoded : Outcome::kRefused)
                    << kind.name << " tag " << kind.table[i].tag << " length " << length;
            }
        }
    }
}

TEST(TlvGuard, BoundedCaller_NeverReadsPastTheEndOfDamagedBlocks) {
    GuardedPage page;
    std::mt19937 random(20261121);
    std::array<unsigned, 3> outcomes{};
    for (const Kind &kind : kinds()) {
        for (const Bytes &whole : kind.blocks) {
            for (unsigned round = 0; round < 20000; ++round) {
                Bytes block = whole;
                for (unsigned change = static_cast<unsigned>(random() % 4); change > 0; --change) {
                    block[random() % block.size()] =
                        static_cast<std::uint8_t>(random() % 3 == 0 ? random() % 40 : random());
                }
                const std::size_t size = round % 2 == 0 ? block.size() : random() % (block.size() + 1);
                if (size >= 16 && round % 3 == 0) {
                    set_length(block, size);
                }
                ++outcomes[static_cast<std::size_t>(receive(kind, page.place(block, size), size))];
            }
        }
    }
    EXPECT_GT(outcomes[0], 1000u); // both outcomes occurred
    EXPECT_GT(outcomes[1], 1000u);
    EXPECT_EQ(outcomes[2], 0u); // an empty item never gets as far as the decoder
}

} // namespace
