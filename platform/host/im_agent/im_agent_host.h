/*
 * Sample interface-manager agent: what the host platform adds. Looked up by name, as the agent's other entries are.
 *
 * Environment, read when the library needs it first:
 *   ORVA_HOST_IM_LOG        file that every change and every debug line is appended to; unset or empty: none
 *   ORVA_HOST_IM_FAIL_INIT  number of initialisations, from the first on, that fail in this process
 */
#ifndef IM_AGENT_HOST_H
#define IM_AGENT_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define IM_AGENT_HOST_API __attribute__((visibility("default")))
#else
#define IM_AGENT_HOST_API
#endif

#define IM_AGENT_OK 0u
#define IM_AGENT_INVALID                                                                                             \
    1u /* unknown handle, null pointer or format, or a debug record that does not begin with 0                       \
        */
#define IM_AGENT_NO_OUTPUT 2u /* the log file cannot be written */

#define IM_AGENT_MAX_INSTANCES 64u /* successful initialisations in one process */

/*
 * Stores the two addresses that the agent was told last, IPv4 in network byte order, 0 before the first.
 *
 * handle: from IM_Agent_Init. mainBoardIp, localIp: not null.
 *
 * IM_AGENT_OK: stored. IM_AGENT_INVALID: unknown handle or null pointer; nothing is stored.
 *
 * Any thread.
 */
IM_AGENT_HOST_API uint32_t IM_Agent_HostAddresses(uint64_t handle, uint32_t *mainBoardIp, uint32_t *localIp);

#ifdef __cplusplus
}
#endif

#endif
