// The diagnostic manager on the host platform: its thread, and many threads at once on its trees.
#include "orva_diag.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "miro_host.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "system_support.h"

using namespace orva_test;

namespace {

constexpr unsigned kThreads = 8;
constexpr std::uint32_t kKeys = 400;
constexpr std::uint32_t kDiagId = 371;
constexpr auto kPatience = std::chrono::seconds(60);

std::uint32_t now(const std::uint32_t &field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

// The file /proc/self/task/*/status of the thread of this name, or "".
std::string status_of_thread(const std::string &name) {
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::string status = read_file(entry.path() / "status");
        if (status.find("Name:\t" + name + "\n") == 0) {
            return status;
        }
    }
    return "";
}

std::uint64_t effective_capabilities(const std::string &status) {
    const std::size_t at = status.find("CapEff:\t");
    return at == std::string::npos ? ~0ull : std::stoull(status.substr(at + 8, 16), nullptr, 16);
}

std::uint32_t ask(std::uint32_t keyId) {
    return ORVA_DiagMgrNeedRestrain(kDiagId, keyId, "orva_diag_test", 1, "key %u", keyId);
}

void run_at_once(const std::function<void(unsigned)> &body) {
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            body(i);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

struct Totals {
    std::uint64_t let, dropped;
};

// Walks the tree of the id and checks that it holds every key once, in order.
Totals walk_whole_tree() {
    OrvaDiagNode *node = g_orvaDiagMgr->nodes[kDiagId];
    EXPECT_EQ(node->itemCount, kKeys);
    Totals totals{};
    auto *item = static_cast<OrvaDiagItem *>(node->tree.first->self);
    for (std::uint32_t key = 0; key < kKeys; ++key) {
        if (item == nullptr || item->keyId != key) {
            ADD_FAILURE() << "key " << key << " is out of place";
            return totals;
        }
        EXPECT_EQ(MIRO_AVL_Find(&node->tree, &key), item);
        EXPECT_LE(item->successNum, 48u);
        totals.let += item->successNum;
        totals.dropped += item->dropNum;
        item = static_cast<OrvaDiagItem *>(MIRO_AVL_Next(&item->link));
    }
    EXPECT_EQ(item, nullptr);
    return totals;
}

} // namespace

class DiagSystem : public ::testing::Test {
protected:
    void SetUp() override {
        std::uint32_t handle = 0;
        ASSERT_EQ(MIRO_HostStart(nullptr, &handle), MIRO_HOST_OK);
        ORVA_SetMemHandle(handle);
        ASSERT_EQ(ORVA_CreateMemPt(), ORVA_OK);
        ORVA_SetSingleProcess(1);
        ORVA_DRVADP_GetSelfSlotVar();
    }
};

TEST_F(DiagSystem, TimerThread_DrivesTheClockAndDropsItsCapabilities) {
    ASSERT_EQ(ORVA_DiagMgrInit(10, 0), ORVA_OK);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (now(g_orvaDiagMgr->startTime) < 2 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_GE(now(g_orvaDiagMgr->startTime), 2u);
    const std::string status = status_of_thread("OrvaDiagThread");
    ASSERT_NE(status, "");
    EXPECT_EQ(effective_capabilities(status) & ((1u << 17) | (1u << 21)), 0u);
}

TEST_F(DiagSystem, NeedRestrain_CountsTheRecordsOfManyThreadsExactly) {
    constexpr unsigned kRecords = 500;
    ASSERT_EQ(ORVA_DiagInit(kDiagId + 1, 0), ORVA_OK);
    ASSERT_EQ(ask(7), 0u);
    std::atomic<unsigned> let{1};
    run_at_once([&](unsigned) {
        for (unsigned i = 0; i < kRecords; ++i) {
            let += ask(7) == 0 ? 1u : 0u;
        }
    });
    const auto *item = static_cast<OrvaDiagItem *>(g_orvaDiagMgr->nodes[kDiagId]->tree.first->self);
    EXPECT_EQ(let, 48u);
    EXPECT_EQ(item->successNum, 48u);
    EXPECT_EQ(item->zone[0], 48);
    EXPECT_EQ(item->dropNum, kThreads * kRecords + 1 - 48);
    EXPECT_EQ(g_orvaDiagMgr->uiErrCount, 0u);
}

TEST_F(DiagSystem, NeedRestrain_KeepsTheTreeWholeUnderConcurrentFirstRecords) {
    ASSERT_EQ(ORVA_DiagInit(kDiagId + 1, 0), ORVA_OK);
    // Half of the threads go up through the keys, half down: they meet, and race for the same ones at both ends.
    run_at_once([](unsigned thread) {
        for (std::uint32_t i = 0; i < kKeys; ++i) {
            ask(thread % 2 == 0 ? i : kKeys - 1 - i);
        }
    });
    const Totals totals = walk_whole_tree();
    // Each record that no item counts is a failure: twice when someone else inserted its key meanwhile, once when its
    // thread met look-ups at every try.
    const std::uint64_t uncounted = std::uint64_t{kThreads} * kKeys - totals.let;
    EXPECT_LE(uncounted, g_orvaDiagMgr->uiErrCount);
    EXPECT_GE(2 * uncounted, g_orvaDiagMgr->uiErrCount);
    EXPECT_EQ(totals.dropped, 0u);
    EXPECT_EQ(std::string(g_orvaDiagMgr->nodes[kDiagId]->text).rfind("key ", 0), 0u);
}

TEST_F(DiagSystem, TimerPassAndDump_RunBesideRecordsAndInsertions) {
    ASSERT_EQ(ORVA_DiagInit(kDiagId + 1, 0), ORVA_OK);
    std::atomic<bool> isDone{false};
    std::thread clock([&] {
        for (unsigned second = 0; !isDone || second % 3600 != 0; ++second) {
            ORVA_DiagMgrTimerSchdule();
            if (second % 1000 == 0) {
                ORVA_DiagMgrPrintLocalData();
            }
        }
    });
    run_at_once([](unsigned thread) {
        for (std::uint32_t i = 0; i < 4 * kKeys; ++i) {
            ask((i * 7 + thread) % kKeys);
        }
    });
    isDone = true;
    clock.join();
    walk_whole_tree();
}
