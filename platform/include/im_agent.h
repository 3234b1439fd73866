/**
 * @file
 * Interface-manager agent library, opened at run time under a file name that the caller chooses.
 *
 * The declarations serve whoever implements the library. `liborva_comm` itself looks the symbols up by name.
 */
#ifndef IM_AGENT_H
#define IM_AGENT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Record that the debug entry takes by value, 8 bytes. */
typedef struct {
    uint32_t zero;     /**< 0. */
    uint32_t switchId; /**< Interface-manager switch identifier, 0x0CE40000 and up. */
} OrvaDebugRecord;

/** Record given to IM_Agent_Init, 96 bytes, zeroed first. */
typedef struct {
    char processName[32];     /**< Zero-terminated. */
    uint32_t reserved32;      /**< 0. */
    uint16_t initParam;       /**< The low 16 bits of the caller's value. */
    uint8_t reserved38[26];   /**< Zeros. */
    void (*getSysTime)(void); /**< Address of the library's time function: uint32_t (*)(MIRO_SYSTIME *). */
    void *reserved72;         /**< Null. */
    uint32_t reserved80;      /**< 0. */
    uint8_t reserved84[12];   /**< Zeros. */
} OrvaImInitRecord;

/**
 * Initialises the agent library. Not thread-safe. Called from one thread at a time.
 *
 * @param[in] record What the process tells about itself; valid during the call only.
 * @return A handle for the other entries; 0 on failure, and the call may be repeated.
 */
uint64_t IM_Agent_Init(const OrvaImInitRecord *record);

/**
 * Tells the agent library the address of the active main board. Thread-safe after start-up.
 *
 * @param[in] handle     The handle of IM_Agent_Init.
 * @param[in] ipNetOrder IPv4 address, network byte order.
 * @retval 0     The address is taken over.
 * @retval other It is not; the value is logged.
 */
uint32_t IM_Agent_SetMainBoardIP(uint64_t handle, uint32_t ipNetOrder);

/**
 * Tells the agent library the board's own address. Thread-safe after start-up.
 *
 * @param[in] handle     The handle of IM_Agent_Init.
 * @param[in] ipNetOrder IPv4 address, network byte order.
 * @retval 0     The address is taken over.
 * @retval other It is not; the value is logged.
 */
uint32_t IM_Agent_SetLocalIP(uint64_t handle, uint32_t ipNetOrder);

/**
 * Writes one debug text. Thread-safe.
 *
 * @param[in] record Its switch identifier says whether the text is wanted.
 * @param[in] name   Name of the source; the library passes "NULL".
 * @param[in] id     Identifier of the text.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 * @return The agent library's own code.
 */
uint32_t IM_Agent_Debug(OrvaDebugRecord record, const char *name, uint32_t id, const char *format, ...);

/**
 * Entry of the process information. The library passes its address to callers and never calls it. Thread-safe after
 * start-up.
 *
 * The arguments are the interface manager's, so the declaration leaves them open.
 *
 * @return The agent library's own code.
 */
#ifdef __cplusplus
uint32_t IM_Agent_SetProcessInfo(...);
#else
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstrict-prototypes"
#endif
uint32_t IM_Agent_SetProcessInfo();
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
#endif

#ifdef __cplusplus
}
#endif

#endif
