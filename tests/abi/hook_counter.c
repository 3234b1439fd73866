/* Takes the place of the library's eleven empty hooks and of one query, counts their calls and keeps what the message
 * was like at the last of them. */
#include <stdint.h>
#include <string.h>

enum { kMessageBytes = 16384 };

extern const uint8_t *watched_message;
extern uint8_t message_at_call[kMessageBytes];
const uint8_t *watched_message;
uint8_t message_at_call[kMessageBytes];

static void look(void) {
    if (watched_message != NULL) {
        memcpy(message_at_call, watched_message, sizeof message_at_call);
    }
}

#define HOOK(name)                                                                                                   \
    extern unsigned count_of_##name;                                                                                 \
    extern void name(void);                                                                                          \
    unsigned count_of_##name;                                                                                        \
    void name(void) {                                                                                                \
        ++count_of_##name;                                                                                           \
        look();                                                                                                      \
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

extern unsigned count_of_ORVA_DRVADP_GetIsBoxStackVar;
extern uint32_t ORVA_DRVADP_GetIsBoxStackVar(void);
unsigned count_of_ORVA_DRVADP_GetIsBoxStackVar;
uint32_t ORVA_DRVADP_GetIsBoxStackVar(void) {
    ++count_of_ORVA_DRVADP_GetIsBoxStackVar;
    look();
    return 0;
}
