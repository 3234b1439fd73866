/**
 * @file
 * Optional dead-loop libraries, opened at run time: "libzebbase.so" and "libqarl_sysdiag_agent_native.so".
 *
 * The declarations serve whoever implements the libraries. `liborva_comm` itself looks the symbols up by name.
 */
#ifndef DEADLOOP_H
#define DEADLOOP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Hook record given to the registration: four pointers. The registration copies what it keeps. */
typedef struct {
    void *regMonCallback; /**< Address of the function QARL_RegDeadloopMonCallback. */
    void *dmOpers;        /**< Address of the data QARL_DmOpers. */
    void *reserved1;      /**< Null. */
    void *reserved2;      /**< Null. */
} OrvaDeadLoopHook;

#define ZEB_HOOK_KIND_DEADLOOP 1u  /**< Hook kind that the library registers. */
#define ZEB_HOOK_REGISTERED 0u     /**< The hook is registered. */
#define ZEB_HOOK_TAKEN 1u          /**< Someone else has registered a hook. */
#define ZEB_HOOK_INVALID_INPUT 22u /**< The input is invalid. */

/**
 * Registers a dead-loop hook ("libzebbase.so"). Not thread-safe. Called once, at start-up.
 *
 * @param[in] kind Hook kind, ZEB_HOOK_KIND_DEADLOOP.
 * @param[in] hook The hook record, on the caller's stack: copy what is kept.
 * @retval ZEB_HOOK_REGISTERED    The hook is registered.
 * @retval ZEB_HOOK_TAKEN         Another hook is registered.
 * @retval ZEB_HOOK_INVALID_INPUT The kind or the hook is invalid.
 */
uint32_t ZEB_DeadLoopUsrHookReg(uint32_t kind, OrvaDeadLoopHook *hook);

/**
 * Checks for dead loops and repairs them ("libqarl_sysdiag_agent_native.so"). Thread-safe.
 *
 * The same library holds QARL_RegDeadloopMonCallback and QARL_DmOpers. Their addresses are passed on, nothing else.
 *
 * @return The library's own code; `liborva_comm` logs it.
 */
uint32_t QARL_CheckAndRepairDeadloop(void);

#ifdef __cplusplus
}
#endif

#endif
