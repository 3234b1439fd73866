/* Runs every converter and the request check once and compares the hook calls, as counted by the preloaded library,
 * with what each is to call: one for the eleven, none for any other. A converter calls its hook at its end, the
 * request check at its beginning, also for a header that it refuses. The slot address asks for the box stack in any
 * case. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "orva_comm.h"

typedef void (*Converter)(void *);

static uint8_t g_buffer[16384];

static void check_request(void *buffer) {
    uint32_t header[4] = {9, 99, 99, 0};
    (void)buffer;
    (void)ORVA_AGENT_CheckReqMsgValidity(3, header);
}

static void ask_main_address(void *buffer) {
    (void)buffer;
    (void)ORVA_GetAddressFromSlot(5, 0);
}

static const struct {
    const char *name;
    Converter run;
    const char *hook; /* the hook that it calls, or null */
} g_rows[] = {
#define WITH(function)                                                                                               \
    { #function, (Converter)function, #function "Path" }
#define WITHOUT(function)                                                                                            \
    { #function, (Converter)function, NULL }
    WITH(ORVA_AGENT_ChgSwitchOverMsgToHost),
    WITH(ORVA_AGENT_ChgSwitchOverMsgToNet),
    WITHOUT(ORVA_AGENT_ChgSenAlmReqMsgToHost),
    WITHOUT(ORVA_AGENT_ChgSenAlmReqMsgToNet),
    WITH(ORVA_AGENT_ChgAddrRegMsgToHost),
    WITH(ORVA_AGENT_ChgAddrAckMsgToNet),
    WITH(ORVA_AGENT_ChgTempInfoMsgToHost),
    WITH(ORVA_AGENT_ChgTempInfoMsgToNet),
    WITHOUT(ORVA_AGENT_ChgVltInfoMsgToHost),
    WITHOUT(ORVA_AGENT_ChgVltInfoMsgToNet),
    WITHOUT(ORVA_AGENT_ChgMpuMngSensorInfoToHost),
    WITHOUT(ORVA_AGENT_ChgMpuMngSensorInfoToNet),
    WITHOUT(ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet),
    WITHOUT(ORVA_AGENT_ChgSubCardInfoMsgToHost),
    WITH(ORVA_AGENT_ChgSubCardInfoMsgToNet),
    WITHOUT(ORVA_AGENT_ChgCardAttrMsgToHost),
    WITHOUT(ORVA_AGENT_ChgCardAttrMsgToNet),
    WITHOUT(ORVA_AGENT_ChgCardHumidMsgToHost),
    WITHOUT(ORVA_AGENT_ChgCardHumidMsgToNet),
    WITHOUT(ORVA_AGENT_ChgSimulateMsgToHost),
    WITHOUT(ORVA_AGENT_ChgSimulateMsgToNet),
    WITHOUT(ORVA_AGENT_ChgSoNameReqToHost),
    WITHOUT(ORVA_AGENT_ChgSoNameReqToNet),
    WITHOUT(ORVA_AGENT_ChgSoNameAckToHost),
    WITHOUT(ORVA_AGENT_ChgSoNameAckToNet),
    WITHOUT(ORVA_AGENT_ChgFrameAttrMsgToHost),
    WITHOUT(ORVA_AGENT_ChgReqFrameAtrrMsgToNet),
    WITHOUT(ORVA_AGENT_ChgReqMsgToHost),
    WITHOUT(ORVA_AGENT_ChgReqMsgToNet),
    WITHOUT(ORVA_AGENT_ChgFrameCardPowerStateMsgToHost),
    WITHOUT(ORVA_AGENT_ChgFrameCardPowerStateMsgToNet),
    WITH(ORVA_AGENT_ChgPowerStateMsgToNet),
    WITHOUT(ORVA_AGENT_ChgPwrSenCfgMsgToHost),
    WITHOUT(ORVA_AGENT_ChgPwrSenCfgMsgToNet),
    WITH(ORVA_AGENT_ChgHeartBeatMsgToHost),
    WITH(ORVA_AGENT_ChgHeartBeatMsgToNet),
    WITHOUT(ORVA_AGENT_ChgSensorCtrlMsgToHost),
    WITHOUT(ORVA_AGENT_ChgSensorCtrlMsgToNet),
    {"ORVA_AGENT_CheckReqMsgValidity", check_request, "ORVA_AGENT_CheckReqMsgValidityPath"},
    {"ORVA_GetAddressFromSlot", ask_main_address, "ORVA_DRVADP_GetIsBoxStackVar"},
};

static unsigned *counter(const char *hook) {
    char symbol[128];
    (void)snprintf(symbol, sizeof symbol, "count_of_%s", hook);
    return (unsigned *)dlsym(RTLD_DEFAULT, symbol);
}

static unsigned total(void) {
    unsigned sum = 0;
    for (size_t i = 0; i < sizeof g_rows / sizeof g_rows[0]; ++i) {
        const unsigned *count = g_rows[i].hook != NULL ? counter(g_rows[i].hook) : NULL;
        sum += count != NULL ? *count : 0;
    }
    return sum;
}

static void fill_buffer(void) {
    for (size_t i = 0; i < sizeof g_buffer; ++i) {
        g_buffer[i] = (uint8_t)(i * 37 + 1);
    }
}

int main(int argc, char **argv) {
    const int interposed = argc > 1 && strcmp(argv[1], "interposed") == 0;
    const uint8_t **watched = (const uint8_t **)dlsym(RTLD_DEFAULT, "watched_message");
    const uint8_t *at_call = (const uint8_t *)dlsym(RTLD_DEFAULT, "message_at_call");
    if (interposed && (watched == NULL || at_call == NULL)) {
        (void)printf("the counting library is not loaded\n");
        return 1;
    }
    if (watched != NULL) {
        *watched = g_buffer;
    }
    unsigned calls = 0;
    for (size_t i = 0; i < sizeof g_rows / sizeof g_rows[0]; ++i) {
        fill_buffer();
        g_rows[i].run(g_buffer);
        if (!interposed) {
            continue;
        }
        const unsigned *own = g_rows[i].hook != NULL ? counter(g_rows[i].hook) : NULL;
        calls += g_rows[i].hook != NULL;
        if ((g_rows[i].hook != NULL && (own == NULL || *own != 1)) || total() != calls) {
            (void)printf("%s: %u hook calls in all, %u expected\n", g_rows[i].name, total(), calls);
            return 1;
        }
        if (g_rows[i].hook != NULL && memcmp(at_call, g_buffer, sizeof g_buffer) != 0) {
            (void)printf("%s: its hook was not the last step\n", g_rows[i].name);
            return 1;
        }
    }
    (void)printf("%zu functions, %u hook calls\n", sizeof g_rows / sizeof g_rows[0], total());
    return total() == (interposed ? 12u : 0u) ? 0 : 1;
}
