// The host platform's memory partitions: limits, accounting, refused frees, leak reports.
#include "miro.h"
#include "miro_host.h"
#include "system_support.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <sys/ipc.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t kAnyHandle = 1;
constexpr char kFile[] = "src/area";

class HostMiroMemory : public testing::Test {
protected:
    HostMiroMemory() {
        MIRO_HostSetReporter(
            [](const char *line, void *context) { static_cast<HostMiroMemory *>(context)->lines.push_back(line); },
            this);
    }
    ~HostMiroMemory() override {
        for (uint8_t number : numbers) {
            MIRO_MemPtDelete(number);
        }
        MIRO_HostSetReporter(nullptr, nullptr);
    }
    uint8_t create(uint32_t size, const char *name = "pt", const char *owner = "own") {
        uint8_t number = 0;
        EXPECT_EQ(MIRO_MemPtCreateEx(name, owner, nullptr, nullptr, size, &number), MIRO_HOST_OK);
        numbers.push_back(number);
        return number;
    }
    static void *allocate(uint8_t partition, size_t size, uint32_t line = 1, const char *file = kFile) {
        return MIRO_MemAlloc_F(kAnyHandle, partition, size, file, line);
    }
    static uint32_t release(void *block, uint32_t line = 2) {
        return MIRO_MemFree_F(kAnyHandle, block, kFile, line);
    }
    static MIRO_HOST_MEM_STATS stats(uint8_t partition) {
        MIRO_HOST_MEM_STATS record{};
        EXPECT_EQ(MIRO_HostMemStats(partition, &record), MIRO_HOST_OK);
        return record;
    }
    static std::vector<std::string> leak_report() {
        std::vector<std::string> report;
        MIRO_HostLeakReport([](const char *line,
                               void *context) { static_cast<std::vector<std::string> *>(context)->push_back(line); },
                            &report);
        return report;
    }

    std::vector<std::string> lines;
    std::vector<uint8_t> numbers;
};

std::string address(const void *pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

TEST_F(HostMiroMemory, HostStart_GivesOneHandleThatIsNotZero) {
    uint32_t first = 0;
    uint32_t second = 0;
    EXPECT_EQ(MIRO_HostStart(nullptr, &first), MIRO_HOST_OK);
    MIRO_HOST_CONFIG config{};
    config.deadLoopLimitMs = 100;
    EXPECT_EQ(MIRO_HostStart(&config, &second), MIRO_HOST_OK);
    EXPECT_NE(first, 0u);
    EXPECT_EQ(first, second);
    EXPECT_EQ(MIRO_HostStart(nullptr, nullptr), MIRO_HOST_ERR_ARGUMENT);
}

TEST_F(HostMiroMemory, MemPtCreate_KeepsNameOwnerAndSize) {
    const uint8_t number = create(0x80000, "orvaCommonPt", "HIM");
    EXPECT_GE(number, 1);
    const MIRO_HOST_MEM_STATS record = stats(number);
    EXPECT_STREQ(record.name, "orvaCommonPt");
    EXPECT_STREQ(record.owner, "HIM");
    EXPECT_EQ(record.sizeBytes, 0x80000u);
    EXPECT_EQ(record.grows, 0u);
    EXPECT_EQ(record.liveBlocks, 0u);
}

TEST_F(HostMiroMemory, MemPtCreate_TruncatesLongNamesInItsRecordOnly) {
    const std::string name(40, 'n');
    const uint8_t number = create(16, name.c_str(), nullptr);
    EXPECT_EQ(std::string(stats(number).name), name.substr(0, 31));
    EXPECT_STREQ(stats(number).owner, "");
    ASSERT_NE(allocate(number, 3, 9), nullptr);
    EXPECT_EQ(leak_report().at(0),
              "leak: partition " + std::to_string(number) + " \"" + name + "\": src/area:9: 1 block, 3 bytes");
}

TEST_F(HostMiroMemory, MemPtCreate_RefusesWhatItCannotUse) {
    uint8_t number = 77;
    char memory[64];
    EXPECT_EQ(MIRO_MemPtCreateEx(nullptr, "o", nullptr, nullptr, 16, &number), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_MemPtCreateEx("n", "o", nullptr, nullptr, 16, nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_MemPtCreateEx("n", "o", memory, nullptr, 16, &number), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_EQ(MIRO_MemPtCreateEx("n", "o", nullptr, memory, 16, &number), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_EQ(number, 77);
}

TEST_F(HostMiroMemory, MemPtCreate_GivesNumbers1To255Once) {
    std::set<unsigned> seen;
    for (int i = 0; i < 255; ++i) {
        seen.insert(create(16));
    }
    EXPECT_EQ(seen.size(), 255u);
    EXPECT_EQ(*seen.begin(), 1u);
    EXPECT_EQ(*seen.rbegin(), 255u);
    uint8_t number = 0;
    EXPECT_EQ(MIRO_MemPtCreateEx("n", "o", nullptr, nullptr, 16, &number), MIRO_HOST_ERR_PARTITIONS_USED_UP);
    EXPECT_EQ(MIRO_MemPtDelete(100), MIRO_HOST_OK);
    EXPECT_EQ(create(16), 100);
}

TEST_F(HostMiroMemory, MemPtDelete_DoesNotReuseTheNumberAtOnce) {
    const uint8_t first = create(16);
    EXPECT_EQ(MIRO_MemPtDelete(first), MIRO_HOST_OK);
    EXPECT_NE(create(16), first);
}

TEST_F(HostMiroMemory, EveryCall_RefusesANumberWithoutPartition) {
    MIRO_HOST_MEM_STATS record{};
    for (const uint8_t number : {uint8_t{0}, uint8_t{200}}) {
        EXPECT_EQ(MIRO_MemDbgOptSet(number, 3), MIRO_HOST_ERR_NO_PARTITION);
        EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, nullptr, nullptr), MIRO_HOST_ERR_NO_PARTITION);
        EXPECT_EQ(MIRO_MemPtDelete(number), MIRO_HOST_ERR_NO_PARTITION);
        EXPECT_EQ(allocate(number, 1), nullptr);
        EXPECT_EQ(MIRO_HostMemStats(number, &record), MIRO_HOST_ERR_NO_PARTITION);
    }
    const auto ignore = [](const MIRO_HOST_MEM_SITE *, void *) {};
    EXPECT_EQ(MIRO_HostMemWalk(200, ignore, nullptr), MIRO_HOST_ERR_NO_PARTITION);
    EXPECT_EQ(MIRO_HostMemWalk(0, ignore, nullptr), MIRO_HOST_OK);
}

TEST_F(HostMiroMemory, Settings_RefuseValuesOutOfRange) {
    const uint8_t number = create(16);
    EXPECT_EQ(MIRO_MemDbgOptSet(number, 4), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 2, 0, nullptr, nullptr, nullptr), MIRO_HOST_ERR_ARGUMENT);
    char some = 0;
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 0, &some, nullptr, nullptr), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, &some, nullptr), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, nullptr, &some), MIRO_HOST_ERR_UNSUPPORTED);
    EXPECT_EQ(MIRO_HostMemStats(number, nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_HostMemWalk(number, nullptr, nullptr), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(stats(number).grows, 0u);
    EXPECT_EQ(stats(number).debugOption, 3u);
}

TEST_F(HostMiroMemory, MemAlloc_FailsBeyondTheSizeUntilSomethingIsFreed) {
    const uint8_t number = create(100);
    void *first = allocate(number, 60);
    void *second = allocate(number, 40);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(allocate(number, 1), nullptr);
    EXPECT_EQ(stats(number).failedAllocations, 1u);
    EXPECT_EQ(release(first), MIRO_HOST_OK);
    EXPECT_EQ(allocate(number, 61), nullptr);
    EXPECT_NE(allocate(number, 60), nullptr);
    EXPECT_EQ(stats(number).failedAllocations, 2u);
    EXPECT_EQ(stats(number).liveBytes, 100u);
}

TEST_F(HostMiroMemory, AutoFlex_GrowsToTheLimitAndWithoutOneFreely) {
    const uint8_t number = create(100);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 50, nullptr, nullptr, nullptr), MIRO_HOST_OK);
    EXPECT_NE(allocate(number, 150), nullptr);
    EXPECT_EQ(allocate(number, 1), nullptr);
    EXPECT_EQ(stats(number).growthLimitBytes, 50u);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, nullptr, nullptr), MIRO_HOST_OK);
    EXPECT_NE(allocate(number, 1 << 20), nullptr);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 0, 0, nullptr, nullptr, nullptr), MIRO_HOST_OK);
    EXPECT_EQ(allocate(number, 1), nullptr);
    EXPECT_EQ(stats(number).grows, 0u);
}

TEST_F(HostMiroMemory, AutoFlex_LimitsDoNotWrap) {
    const uint8_t number = create(UINT32_MAX);
    EXPECT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, UINT32_MAX, nullptr, nullptr, nullptr), MIRO_HOST_OK);
    EXPECT_NE(allocate(number, 100), nullptr);
    EXPECT_EQ(allocate(number, SIZE_MAX), nullptr);
    EXPECT_EQ(allocate(number, SIZE_MAX - 50), nullptr);
}

TEST_F(HostMiroMemory, MemAlloc_NeedsAHandleAndTakesAnyOther) {
    const uint8_t number = create(100);
    EXPECT_EQ(MIRO_MemAlloc_F(0, number, 1, kFile, 1), nullptr);
    for (const uint32_t handle : {1u, 0x80000000u, UINT32_MAX}) {
        void *block = MIRO_MemAlloc_F(handle, number, 1, kFile, 1);
        EXPECT_NE(block, nullptr);
        EXPECT_EQ(MIRO_MemFree_F(handle, block, kFile, 2), MIRO_HOST_OK);
    }
}

TEST_F(HostMiroMemory, MemAlloc_AlignsForEveryType) {
    const uint8_t number = create(100000);
    for (size_t size = 0; size < 200; ++size) {
        void *block = allocate(number, size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u) << size;
        std::memset(block, 0xA5, size);
    }
    EXPECT_EQ(stats(number).liveBytes, 199u * 200u / 2);
}

TEST_F(HostMiroMemory, Accounting_FollowsBytesBlocksAndPeak) {
    const uint8_t number = create(1000);
    void *first = allocate(number, 100);
    void *second = allocate(number, 200);
    EXPECT_EQ(release(first), MIRO_HOST_OK);
    void *third = allocate(number, 50);
    const MIRO_HOST_MEM_STATS record = stats(number);
    EXPECT_EQ(record.liveBytes, 250u);
    EXPECT_EQ(record.peakBytes, 300u);
    EXPECT_EQ(record.liveBlocks, 2u);
    EXPECT_EQ(record.totalBlocks, 3u);
    EXPECT_EQ(release(second), MIRO_HOST_OK);
    EXPECT_EQ(release(third), MIRO_HOST_OK);
    EXPECT_EQ(stats(number).liveBytes, 0u);
    EXPECT_EQ(stats(number).peakBytes, 300u);
}

struct SeenSite {
    std::string file;
    uint32_t line;
    unsigned partition;
    uint64_t live, peak, blocks, total;
    bool operator==(const SeenSite &) const = default;
};

std::vector<SeenSite> walk(uint8_t partition) {
    std::vector<SeenSite> sites;
    EXPECT_EQ(MIRO_HostMemWalk(
                  partition,
                  [](const MIRO_HOST_MEM_SITE *site, void *context) {
                      static_cast<std::vector<SeenSite> *>(context)->push_back(
                          {site->file != nullptr ? site->file : "<none>", site->line, site->partition,
                           site->liveBytes, site->peakBytes, site->liveBlocks, site->totalBlocks});
                  },
                  &sites),
              MIRO_HOST_OK);
    return sites;
}

TEST_F(HostMiroMemory, MemWalk_AccountsPerFileAndLine) {
    const uint8_t one = create(1000);
    const uint8_t two = create(1000);
    char changing[] = "src/b";
    allocate(one, 10, 7, "src/b");
    void *freed = allocate(one, 30, 7, changing);
    changing[4] = 'x'; // the text is copied
    allocate(one, 5, 3, "src/b");
    allocate(one, 1, 9, "src/a");
    allocate(two, 2, 7, nullptr);
    EXPECT_EQ(release(freed), MIRO_HOST_OK);
    const std::vector<SeenSite> expected_one = {
        {"src/a", 9, one, 1, 1, 1, 1}, {"src/b", 3, one, 5, 5, 1, 1}, {"src/b", 7, one, 10, 40, 1, 2}};
    EXPECT_EQ(walk(one), expected_one);
    std::vector<SeenSite> expected_all = expected_one;
    expected_all.push_back({"(no file)", 7, two, 2, 2, 1, 1});
    EXPECT_EQ(walk(0), expected_all);
}

TEST_F(HostMiroMemory, MemDbgOpt_Below3KeepsNoCallSites) {
    const uint8_t number = create(1000);
    void *with_site = allocate(number, 10, 7);
    EXPECT_EQ(MIRO_MemDbgOptSet(number, 2), MIRO_HOST_OK);
    allocate(number, 20, 8);
    allocate(number, 30, 9);
    EXPECT_EQ(release(with_site), MIRO_HOST_OK);
    const std::vector<SeenSite> expected = {{"<none>", 0, number, 50, 50, 2, 2}, {kFile, 7, number, 0, 10, 0, 1}};
    EXPECT_EQ(walk(number), expected);
    EXPECT_EQ(leak_report().at(0),
              "leak: partition " + std::to_string(number) + " \"pt\": call site not kept: 2 blocks, 50 bytes");
}

TEST_F(HostMiroMemory, MemFree_TwiceIsRefusedAndSaysWhereTheFirstWas) {
    const uint8_t number = create(1000);
    void *block = allocate(number, 10);
    EXPECT_EQ(release(block, 20), MIRO_HOST_OK);
    EXPECT_EQ(release(block, 30), MIRO_HOST_ERR_UNKNOWN_BLOCK);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "refused to free " + address(block) + " at src/area:30: freed already at src/area:20");
    EXPECT_EQ(stats(number).liveBlocks, 0u);
}

TEST_F(HostMiroMemory, MemFree_OfForeignPointersIsRefused) {
    const uint8_t number = create(1000);
    int on_stack = 0;
    std::vector<char> on_heap(10);
    void *block = allocate(number, 16, 5);
    struct {
        void *pointer;
        std::string why;
    } const cases[] = {
        {&on_stack, "no block of any partition"},
        {on_heap.data(), "no block of any partition"},
        {reinterpret_cast<void *>(uintptr_t{8}), "no block of any partition"},
        {static_cast<char *>(block) + 8, "8 bytes into a block of 16 from src/area:5"},
        {static_cast<char *>(block) + 1, "1 bytes into a block of 16 from src/area:5"},
        {static_cast<char *>(block) + 16, "no block of any partition"},
    };
    for (const auto &c : cases) {
        lines.clear();
        EXPECT_EQ(release(c.pointer, 6), MIRO_HOST_ERR_UNKNOWN_BLOCK);
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0], "refused to free " + address(c.pointer) + " at src/area:6: " + c.why);
    }
    EXPECT_EQ(stats(number).liveBlocks, 1u);
    EXPECT_EQ(release(block), MIRO_HOST_OK);
}

TEST_F(HostMiroMemory, MemFree_NeedsAHandleAndAPointer) {
    const uint8_t number = create(1000);
    void *block = allocate(number, 10);
    EXPECT_EQ(MIRO_MemFree_F(0, block, kFile, 4), MIRO_HOST_ERR_ARGUMENT);
    EXPECT_EQ(MIRO_MemFree_F(kAnyHandle, nullptr, nullptr, 5), MIRO_HOST_ERR_ARGUMENT);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "refused to free " + address(block) + " at src/area:4: no memory handle");
    EXPECT_EQ(lines[1], "refused to free (nil) at (no file):5: a null pointer");
    EXPECT_EQ(stats(number).liveBlocks, 1u);
}

TEST_F(HostMiroMemory, Reports_StayOnOneLine) {
    int on_stack = 0;
    EXPECT_EQ(MIRO_MemFree_F(kAnyHandle, &on_stack, "a\nb\x1b[2J", 4), MIRO_HOST_ERR_UNKNOWN_BLOCK);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("at a\\nb\\x1b[2J:4:"), std::string::npos) << lines[0];
}

TEST_F(HostMiroMemory, MemPtDelete_ReleasesWhatIsLeftInIt) {
    const uint8_t doomed = create(1000);
    const uint8_t other = create(1000);
    void *lost = allocate(doomed, 10);
    allocate(doomed, 20);
    void *kept = allocate(other, 30);
    EXPECT_EQ(MIRO_MemPtDelete(doomed), MIRO_HOST_OK);
    EXPECT_EQ(release(lost), MIRO_HOST_ERR_UNKNOWN_BLOCK);
    EXPECT_EQ(allocate(doomed, 1), nullptr);
    EXPECT_EQ(MIRO_MemPtDelete(doomed), MIRO_HOST_ERR_NO_PARTITION);
    EXPECT_EQ(release(kept), MIRO_HOST_OK);
    EXPECT_EQ(leak_report().at(0), "leak report: every block was freed");
}

TEST_F(HostMiroMemory, LeakReport_NamesTheLargestFirstAndTheSum) {
    const uint8_t number = create(1000, "a\tb");
    allocate(number, 10, 1);
    allocate(number, 100, 2);
    allocate(number, 15, 1);
    const std::string partition = "leak: partition " + std::to_string(number) + " \"a\\tb\": ";
    const std::vector<std::string> expected = {partition + "src/area:2: 1 block, 100 bytes",
                                               partition + "src/area:1: 2 blocks, 25 bytes",
                                               "leak report: 3 blocks, 125 bytes, 2 call sites"};
    EXPECT_EQ(leak_report(), expected);
    EXPECT_EQ(MIRO_HostLeakReport([](const char *, void *) {}, nullptr), 3u);
}

TEST_F(HostMiroMemory, LeakReport_LeavesOutWhatTheDiagnosticManagerKeepsAndSaysSo) {
    const uint8_t number = create(1000, "pt");
    void *mutex = MIRO_MemAlloc_F(kAnyHandle, number, 40, "src/comm/orva_comm", 7);
    auto **manager = static_cast<void **>(MIRO_MemAlloc_F(kAnyHandle, number, 56, "src/comm/orva_diag", 1));
    std::fill_n(manager, 7, nullptr);
    manager[4] = mutex;
    EXPECT_EQ(leak_report(), (std::vector<std::string>{
                                 "leak report: every block was freed",
                                 "leak report: left out: 2 blocks, 96 bytes, which src/comm/orva_diag keeps for the "
                                 "life of the process"}));
    void *leaked = MIRO_MemAlloc_F(kAnyHandle, number, 40, "src/comm/orva_comm", 7);
    EXPECT_EQ(leak_report().at(0),
              "leak: partition " + std::to_string(number) + " \"pt\": src/comm/orva_comm:7: 1 block, 40 bytes");
    EXPECT_EQ(MIRO_HostLeakReport([](const char *, void *) {}, nullptr), 1u);
    for (void *block : {leaked, mutex, static_cast<void *>(manager)}) {
        EXPECT_EQ(release(block), MIRO_HOST_OK);
    }
}

// Every size has its place, and no live block is another's, whatever was freed before.
TEST_F(HostMiroMemory, Blocks_OfAllSizesAreAlignedAndTheirOwn) {
    const uint8_t number = create(1);
    ASSERT_EQ(MIRO_MemPtAutoFlexSetEx(number, 1, 0, nullptr, nullptr, nullptr), MIRO_HOST_OK);
    std::map<unsigned char *, size_t> live;
    for (int pass = 0; pass < 3; ++pass) {
        for (size_t size = 0; size <= 9000; size += size < 600 ? 1 : 61) {
            auto *block = static_cast<unsigned char *>(allocate(number, size));
            ASSERT_NE(block, nullptr) << size;
            ASSERT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u) << size;
            std::memset(block, static_cast<int>(size), size);
            ASSERT_TRUE(live.emplace(block, size).second);
        }
        for (auto at = live.begin(); at != live.end();) {
            const auto next = std::next(at);
            ASSERT_TRUE(next == live.end() || at->first + at->second <= next->first) << "blocks overlap";
            for (size_t i = 0; i < at->second; ++i) {
                ASSERT_EQ(at->first[i], static_cast<unsigned char>(at->second)) << at->second;
            }
            if (at->second % 3 != 0) {
                ASSERT_EQ(release(at->first), MIRO_HOST_OK);
                ASSERT_EQ(release(at->first), MIRO_HOST_ERR_UNKNOWN_BLOCK);
                at = live.erase(at);
            } else {
                ++at;
            }
        }
        lines.clear();
    }
    EXPECT_EQ(MIRO_HostLeakReport([](const char *, void *) {}, nullptr), live.size());
    EXPECT_EQ(MIRO_MemPtDelete(number), MIRO_HOST_OK);
    EXPECT_EQ(MIRO_HostLeakReport([](const char *, void *) {}, nullptr), 0u);
}

TEST_F(HostMiroMemory, KeyFile_ThatIsMissingIsNamedOnce) {
    for (int i = 0; i < 3; ++i) {
        errno = 0;
        EXPECT_EQ(ftok("/missing/key", i), -1);
        EXPECT_EQ(errno, ENOENT);
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{"the key file \"/missing/key\" of a message queue cannot be used: No such "
                                        "file or directory"}));
    EXPECT_NE(ftok("/", 1), -1);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(HostMiroMemory, Reporter_MayUseThePlatformItself) {
    struct Context {
        uint8_t number;
        void *block;
    } context{create(100), nullptr};
    MIRO_HostSetReporter(
        [](const char *, void *c) {
            auto &mine = *static_cast<Context *>(c);
            mine.block = MIRO_MemAlloc_F(kAnyHandle, mine.number, 5, kFile, 1);
        },
        &context);
    EXPECT_EQ(release(&context), MIRO_HOST_ERR_UNKNOWN_BLOCK);
    EXPECT_EQ(release(context.block), MIRO_HOST_OK);
}

TEST_F(HostMiroMemory, ManyThreads_KeepTheAccountingExact) {
    const uint8_t number = create(64 * 1024);
    std::vector<std::thread> threads;
    std::atomic<uint64_t> refused{0};
    for (uint32_t i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            std::vector<void *> held;
            for (uint32_t round = 0; round < 3000; ++round) {
                void *block = allocate(number, 1 + (round * 37 + i) % 900, i);
                if (block != nullptr) {
                    std::memset(block, static_cast<int>(i), 1);
                    held.push_back(block);
                } else {
                    ++refused;
                }
                if (held.size() > 30) {
                    EXPECT_EQ(release(held[round % held.size()]), MIRO_HOST_OK);
                    held.erase(held.begin() + static_cast<long>(round % held.size()));
                }
            }
            for (void *block : held) {
                EXPECT_EQ(release(block), MIRO_HOST_OK);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    const MIRO_HOST_MEM_STATS record = stats(number);
    EXPECT_EQ(record.liveBytes, 0u);
    EXPECT_EQ(record.liveBlocks, 0u);
    EXPECT_EQ(record.totalBlocks + record.failedAllocations, 4u * 3000u);
    EXPECT_EQ(record.failedAllocations, refused);
    EXPECT_LE(record.peakBytes, 64u * 1024u);
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostMiroMemory, AChildProcess_AllocatesWhileOthersDid) {
    const uint8_t number = create(1 << 20);
    std::atomic<bool> stop{false};
    std::thread busy([&] {
        while (!stop) {
            release(allocate(number, 10));
        }
    });
    for (int i = 0; i < 20; ++i) {
        const int status = orva_test::run_in_child([&] {
            alarm(20);
            return release(allocate(number, 10)) == MIRO_HOST_OK ? 0 : 1;
        });
        ASSERT_EQ(status, 0) << i;
    }
    stop = true;
    busy.join();
}

using HostMiroExit = HostMiroMemory;

void leak_and_exit() {
    MIRO_HostSetReporter(nullptr, nullptr);
    uint8_t number = 0;
    MIRO_MemPtCreateEx("left", "me", nullptr, nullptr, 1000, &number);
    MIRO_MemAlloc_F(kAnyHandle, number, 33, "src/leaky", 12);
    std::exit(0);
}

void ask_at_start() {
    MIRO_HOST_CONFIG config{};
    config.leakReportAtExit = 1;
    uint32_t handle = 0;
    MIRO_HostStart(&config, &handle);
}

TEST_F(HostMiroExit, LeakReport_ComesAtExitWhenTheStartAsked) {
    EXPECT_EXIT(
        {
            ask_at_start();
            leak_and_exit();
        },
        testing::ExitedWithCode(0),
        "miro\\[[0-9]+\\]: leak: partition 1 \"left\": src/leaky:12: 1 block, 33 bytes\n"
        "miro\\[[0-9]+\\]: leak report: 1 block, 33 bytes, 1 call site\n$");
}

TEST_F(HostMiroExit, LeakReport_ComesAtExitWhenTheEnvironmentAsked) {
    EXPECT_EXIT(
        {
            setenv("MIRO_LEAK_REPORT", "1", 1);
            leak_and_exit();
        },
        testing::ExitedWithCode(0), "leak: partition 1 \"left\": src/leaky:12: 1 block, 33 bytes\n");
}

TEST_F(HostMiroExit, LeakReport_GoesToTheFileThatTheEnvironmentNames) {
    const orva_test::ScratchFolder folder;
    const std::string path = folder.file("leaks");
    orva_test::write_file(path, "before\n");
    EXPECT_EXIT(
        {
            setenv("MIRO_LEAK_REPORT", path.c_str(), 1);
            leak_and_exit();
        },
        testing::ExitedWithCode(0), "^$");
    const std::string report = orva_test::read_file(path);
    EXPECT_EQ(report.rfind("before\nmiro[", 0), 0u) << report;
    EXPECT_NE(report.find("src/leaky:12: 1 block, 33 bytes\n"), std::string::npos) << report;
    EXPECT_EXIT(
        {
            setenv("MIRO_LEAK_REPORT", "/nonexistent/leaks", 1);
            leak_and_exit();
        },
        testing::ExitedWithCode(0), "\"/nonexistent/leaks\" for the leak report cannot be opened");
}

TEST_F(HostMiroExit, LeakReport_StaysAwayUnlessAskedFor) {
    for (const char *value : {"", "0"}) {
        EXPECT_EXIT(
            {
                setenv("MIRO_LEAK_REPORT", value, 1);
                leak_and_exit();
            },
            testing::ExitedWithCode(0), "^$");
    }
}

TEST_F(HostMiroExit, LeakReport_WithoutASinkGoesToStandardError) {
    EXPECT_EXIT(
        {
            MIRO_HostSetReporter(nullptr, nullptr);
            MIRO_HostLeakReport(nullptr, nullptr);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^miro: leak report: every block was freed\n$");
}

} // namespace
