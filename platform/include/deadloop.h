/*
 * Optional dead-loop libraries, opened at run time: "libzebbase.so" and "libqarl_sysdiag_agent_native.so".
 * The declarations serve whoever implements them; the library itself looks the symbols up by name.
 */
#ifndef DEADLOOP_H
#define DEADLOOP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Handed to the hook registration, four pointer-sized words. The registration copies what it keeps. */
typedef struct {
    void *regMonCallback; /* address of the function QARL_RegDeadloopMonCallback */
    void *dmOpers;        /* address of the data QARL_DmOpers */
    void *reserved1;      /* null */
    void *reserved2;      /* null */
} OrvaDeadLoopHook;

#ifdef __cplusplus
static_assert(sizeof(OrvaDeadLoopHook) == 32, "four pointers");
#else
_Static_assert(sizeof(OrvaDeadLoopHook) == 32, "four pointers");
#endif

#define ZEB_HOOK_KIND_DEADLOOP 1u
#define ZEB_HOOK_REGISTERED 0u     /* registered */
#define ZEB_HOOK_TAKEN 1u          /* a hook is already registered by someone else */
#define ZEB_HOOK_INVALID_INPUT 22u /* the input is invalid */

/* libzebbase.so */
uint32_t ZEB_DeadLoopUsrHookReg(uint32_t kind, OrvaDeadLoopHook *hook);

/* libqarl_sysdiag_agent_native.so; QARL_RegDeadloopMonCallback and QARL_DmOpers are passed on by address only. */
uint32_t QARL_CheckAndRepairDeadloop(void);

#ifdef __cplusplus
}
#endif

#endif
