// The hooks of converters and of the request check: a program that defines them has its own called, each by its
// function and by no other. So has one that defines a public function which the library calls.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <thread>

#include "miro_host.h"
#include "orva_comm.h"
#include "orva_diag.h"
#include "system_support.h"

namespace {

enum Hook {
    kSwitchOverToHost,
    kSwitchOverToNet,
    kAddrRegToHost,
    kAddrAckToNet,
    kTempInfoToHost,
    kTempInfoToNet,
    kSubCardInfoToNet,
    kPowerStateToNet,
    kHeartBeatToHost,
    kHeartBeatToNet,
    kRequestCheck,
    kHooks
};

unsigned g_calls[kHooks];
std::atomic<bool> g_mayEnd{false};
std::atomic<unsigned> g_timerCalls{0};

void check_request(void *header) {
    static_cast<void>(ORVA_AGENT_CheckReqMsgValidity(0, static_cast<const std::uint32_t *>(header)));
}

} // namespace

// In the place of the library's, which do nothing.
void ORVA_AGENT_ChgSwitchOverMsgToHostPath() {
    ++g_calls[kSwitchOverToHost];
}
void ORVA_AGENT_ChgSwitchOverMsgToNetPath() {
    ++g_calls[kSwitchOverToNet];
}
void ORVA_AGENT_ChgAddrRegMsgToHostPath() {
    ++g_calls[kAddrRegToHost];
}
void ORVA_AGENT_ChgAddrAckMsgToNetPath() {
    ++g_calls[kAddrAckToNet];
}
void ORVA_AGENT_ChgTempInfoMsgToHostPath() {
    ++g_calls[kTempInfoToHost];
}
void ORVA_AGENT_ChgTempInfoMsgToNetPath() {
    ++g_calls[kTempInfoToNet];
}
void ORVA_AGENT_ChgSubCardInfoMsgToNetPath() {
    ++g_calls[kSubCardInfoToNet];
}
void ORVA_AGENT_ChgPowerStateMsgToNetPath() {
    ++g_calls[kPowerStateToNet];
}
void ORVA_AGENT_ChgHeartBeatMsgToHostPath() {
    ++g_calls[kHeartBeatToHost];
}
void ORVA_AGENT_ChgHeartBeatMsgToNetPath() {
    ++g_calls[kHeartBeatToNet];
}
void ORVA_AGENT_CheckReqMsgValidityPath() {
    ++g_calls[kRequestCheck];
}

// In the place of the library's, which never returns.
void ORVA_DiagMgrTimerThread() {
    ++g_timerCalls;
    while (!g_mayEnd) {
        std::this_thread::yield();
    }
}

namespace {

struct HookCase {
    const char *name;
    void (*run)(void *buffer);
    Hook hook;
};

const HookCase kHookCases[] = {
    {"switch-over to host", ORVA_AGENT_ChgSwitchOverMsgToHost, kSwitchOverToHost},
    {"switch-over to net", ORVA_AGENT_ChgSwitchOverMsgToNet, kSwitchOverToNet},
    {"address registration to host", ORVA_AGENT_ChgAddrRegMsgToHost, kAddrRegToHost},
    {"address reply to net", ORVA_AGENT_ChgAddrAckMsgToNet, kAddrAckToNet},
    {"temperatures to host", ORVA_AGENT_ChgTempInfoMsgToHost, kTempInfoToHost},
    {"temperatures to net", ORVA_AGENT_ChgTempInfoMsgToNet, kTempInfoToNet},
    {"sub-cards to net", ORVA_AGENT_ChgSubCardInfoMsgToNet, kSubCardInfoToNet},
    {"power state to net", ORVA_AGENT_ChgPowerStateMsgToNet, kPowerStateToNet},
    {"heart beat to host", ORVA_AGENT_ChgHeartBeatMsgToHost, kHeartBeatToHost},
    {"heart beat to net", ORVA_AGENT_ChgHeartBeatMsgToNet, kHeartBeatToNet},
    {"request check", check_request, kRequestCheck},
};

TEST(Hooks, EachFunction_CallsItsHookOnceAndNoOther) {
    alignas(8) std::uint8_t buffer[16384] = {};
    for (const HookCase &row : kHookCases) {
        SCOPED_TRACE(row.name);
        const unsigned before = g_calls[row.hook];
        const unsigned all = std::accumulate(std::begin(g_calls), std::end(g_calls), 0u);
        row.run(buffer);
        EXPECT_EQ(g_calls[row.hook], before + 1);
        EXPECT_EQ(std::accumulate(std::begin(g_calls), std::end(g_calls), 0u), all + 1);
    }
}

bool has_thread(const std::string &name) {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::any_of(begin(tasks), end(tasks), [&name](const std::filesystem::directory_entry &task) {
        return orva_test::read_file(task.path() / "comm") == name + "\n";
    });
}

TEST(Hooks, DiagTask_RunsTheProgramsTimerFunctionAndEndsWithIt) {
    std::uint32_t handle = 0;
    ASSERT_EQ(MIRO_HostStart(nullptr, &handle), MIRO_HOST_OK);
    ORVA_SetMemHandle(handle);
    ASSERT_EQ(ORVA_CreateMemPt(), ORVA_OK);
    ASSERT_EQ(ORVA_DiagMgrInit(4, 100), ORVA_OK);
    while (g_timerCalls == 0) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(has_thread("OrvaDiagThread"));
    g_mayEnd = true;
    while (has_thread("OrvaDiagThread")) { // forever only when the task does not end
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(g_timerCalls, 1u);
}

} // namespace
