// The hooks of converters and of the request check: a program that defines them has its own called, each by its
// function and by no other.
#include <cstdint>
#include <gtest/gtest.h>
#include <numeric>

#include "orva_comm.h"

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

} // namespace
