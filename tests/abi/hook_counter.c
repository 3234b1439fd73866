/* Takes the place of the library's eleven empty hooks and counts their calls. */
#include <stdint.h>

#define HOOK(name)                                                                                                   \
    extern unsigned count_of_##name;                                                                                 \
    extern void name(void);                                                                                          \
    unsigned count_of_##name;                                                                                        \
    void name(void) {                                                                                                \
        ++count_of_##name;                                                                                           \
    }

HOOK(ORVA_AGENT_ChgSwitchOverMsgToHostPath)
HOOK(ORVA_AGENT_ChgSwitchOverMsgToNetPath)
HOOK(ORVA_AGENT_ChgAddrRegMsgToHostPath)
HOOK(ORVA_AGENT_ChgAddrAckMsgToNetPath)
HOOK(ORVA_AGENT_ChgTempInfoMsgToHostPath)
HOOK(ORVA_AGENT_ChgTempInfoMsgToNetPath)
HOOK(ORVA_AGENT_ChgSubCardInfoMsgToNetPath)
HOOK(ORVA_AGENT_ChgHeartBeatMsgToHostPath)
HOOK(ORVA_AGENT_ChgHeartBeatMsgToNetPath)
HOOK(ORVA_AGENT_ChgPowerStateMsgToNetPath)
HOOK(ORVA_AGENT_CheckReqMsgValidityPath)
