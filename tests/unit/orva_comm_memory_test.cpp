#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "orva_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

class Memory : public PlatformTest {};

// Without the base's set-up: the record as it is at load.
TEST(MemoryAtLoad, StateRecord_IsAllZero) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(&g_orvaCommLocal);
    EXPECT_EQ(std::count(bytes, bytes + sizeof g_orvaCommLocal, 0), 16400);
    EXPECT_EQ(ORVA_GetMemHandle(), 0u);
    EXPECT_EQ(ORVA_GetOmaMemHandle(), 0u);
    EXPECT_EQ(ORVA_GetMemPtr(), 0u);
}

TEST_F(Memory, Setters_StoreWhatTheGettersReturn) {
    for (const std::uint32_t value : {0u, 1u, 0x12345678u, 0xFFFFFFFFu}) {
        ORVA_SetMemHandle(value);
        ORVA_SetOmaMemHandle(~value);
        EXPECT_EQ(ORVA_GetMemHandle(), value);
        EXPECT_EQ(ORVA_GetOmaMemHandle(), ~value);
    }
}

TEST_F(Memory, Setters_WriteTheirOwnFieldOfTheRecord) {
    ORVA_SetMemHandle(0x11223344);
    ORVA_SetMemPtr(0x55);
    ORVA_SetOmaMemHandle(0x66778899);
    const auto *bytes = reinterpret_cast<const unsigned char *>(&g_orvaCommLocal);
    const std::array<unsigned char, 16> expected = {0x44, 0x33, 0x22, 0x11, 0x55, 0, 0, 0,
                                                    0x99, 0x88, 0x77, 0x66, 0,    0, 0, 0};
    EXPECT_EQ(std::memcmp(bytes + 16384, expected.data(), expected.size()), 0);
    EXPECT_EQ(std::count(bytes, bytes + 16384, 0), 16384);
}

TEST_F(Memory, SetMemPtr_KeepsTheLowEightBits) {
    const volatile std::uint32_t wide = 0x1FF;
    ORVA_SetMemPtr(static_cast<std::uint8_t>(wide));
    EXPECT_EQ(ORVA_GetMemPtr(), 0xFFu);
    EXPECT_EQ(g_orvaCommLocal.omaMemHandle, 0u);
}

TEST_F(Memory, CreateMemPt_CreatesAGrowingPartitionAndStoresItsNumber) {
    ORVA_SetMemPtr(0);
    platform().nextPartition = 0xC8;
    EXPECT_EQ(ORVA_CreateMemPt(), 0u);
    EXPECT_EQ(ORVA_GetMemPtr(), 0xC8u);
    EXPECT_EQ(platform().calls,
              (Records{"MIRO_MemPtCreateEx(\"orvaCommonPt\", \"HIM\", 0, 0, 0x80000)", "MIRO_MemDbgOptSet(0xc8, 0x3)",
                       "MIRO_MemPtAutoFlexSetEx(0xc8, 0x1, 0x0, 0, 0, 0)"}));
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Memory, CreateMemPt_KeepsAPresentPartition) {
    ORVA_SetMemPtr(42);
    EXPECT_EQ(ORVA_CreateMemPt(), 0u);
    EXPECT_EQ(ORVA_GetMemPtr(), 42u);
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x1000, 0x0) Mem pt 42 "});
}

TEST_F(Memory, CreateMemPt_SecondCallCreatesNothing) {
    ORVA_SetMemPtr(0);
    ASSERT_EQ(ORVA_CreateMemPt(), 0u);
    platform().calls.clear();
    EXPECT_EQ(ORVA_CreateMemPt(), 0u);
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x1000, 0x0) Mem pt 7 "});
}

struct CreationFailure {
    const char *name;
    const char *call;
    std::uint32_t result;
    const char *record; // or null
    bool deleted;
};

constexpr CreationFailure kCreationFailures[] = {
    {"creation", "MIRO_MemPtCreateEx", 5, nullptr, false},
    {"debug option", "MIRO_MemDbgOptSet", 0x21, "PLog(0x3, orva, 0x1000, 0x21) MIRO mem dbg opt set failed.", true},
    {"growth", "MIRO_MemPtAutoFlexSetEx", 0x80000001,
     "PLog(0x3, orva, 0x1000, 0x80000001) orva mem pt auto flex setex failed.", true},
};

TEST_F(Memory, CreateMemPt_FailureStoresNothingAndMayBeRepeated) {
    for (const CreationFailure &failure : kCreationFailures) {
        SCOPED_TRACE(failure.name);
        ORVA_SetMemPtr(0);
        platform().calls.clear();
        fail(failure.call, 1, failure.result);
        EXPECT_EQ(ORVA_CreateMemPt(), 1u);
        EXPECT_EQ(ORVA_GetMemPtr(), 0u);
        EXPECT_EQ(take_logs(), failure.record == nullptr ? Records{} : Records{failure.record});
        EXPECT_EQ(platform().calls.back() == "MIRO_MemPtDelete(0x7)", failure.deleted);
        EXPECT_EQ(std::count(platform().calls.begin(), platform().calls.end(), "MIRO_MemPtDelete(0x7)"),
                  failure.deleted ? 1 : 0);
        EXPECT_EQ(ORVA_CreateMemPt(), 0u);
        EXPECT_EQ(ORVA_GetMemPtr(), 7u);
    }
}

TEST_F(Memory, AllocatingFunctions_FailWithoutAHandleAndWithoutTheAllocator) {
    ORVA_SetMemHandle(0);
    char buffer[4] = {1, 2, 3, 4};
    void *mutex = buffer;
    EXPECT_EQ(ORVA_QueueWrite(1, buffer, 4, 0), ORVA_ERR_QUEUE_WRITE_MEMORY);
    EXPECT_EQ(ORVA_QueueRead(1, buffer, 4, 0, 0), 0u);
    EXPECT_EQ(ORVA_QueueClear(1), ORVA_ERR_QUEUE_CLEAR_MEMORY);
    EXPECT_EQ(ORVA_CreatMutex(1, &mutex), ORVA_ERR_MUTEX_CREATE_MEMORY);
    EXPECT_EQ(mutex, buffer);
    EXPECT_EQ(calls_of("MIRO_MemAlloc_F"), 0u);
    EXPECT_EQ(calls_of("MIRO_MemFree_F"), 0u);
    EXPECT_TRUE(take_logs().empty());
}
