/*
 * Interface-manager agent library, opened at run time under a file name that the caller chooses.
 * The declarations serve whoever implements it; the library itself looks the symbols up by name.
 */
#ifndef IM_AGENT_H
#define IM_AGENT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define IM_AGENT_ASSERT static_assert
#else
#define IM_AGENT_ASSERT _Static_assert
#endif

/* Passed by value to the debug entry. */
typedef struct {
    uint32_t zero;
    uint32_t switchId; /* interface-manager switch identifier, 0x0CE40000 and up */
} OrvaDebugRecord;

/* Handed to IM_Agent_Init, 96 bytes, zeroed first. */
typedef struct {
    char processName[32]; /* zero-terminated */
    uint32_t reserved32;  /* 0 */
    uint16_t initParam;   /* the caller's value, low 16 bits */
    uint8_t reserved38[26];
    void (*getSysTime)(void); /* address of the library's time function: uint32_t (*)(record of 12 bytes *) */
    void *reserved72;         /* null */
    uint32_t reserved80;      /* 0 */
    uint8_t reserved84[12];
} OrvaImInitRecord;

IM_AGENT_ASSERT(sizeof(OrvaImInitRecord) == 96, "fixed layout");
IM_AGENT_ASSERT(offsetof(OrvaImInitRecord, initParam) == 36, "fixed layout");
IM_AGENT_ASSERT(offsetof(OrvaImInitRecord, getSysTime) == 64, "fixed layout");
IM_AGENT_ASSERT(offsetof(OrvaImInitRecord, reserved84) == 84, "fixed layout");

/* A non-zero handle, or 0 on failure. */
uint64_t IM_Agent_Init(const OrvaImInitRecord *record);

/* 0 on success; addresses are IPv4 in network byte order. */
uint32_t IM_Agent_SetMainBoardIP(uint64_t handle, uint32_t ipNetOrder);
uint32_t IM_Agent_SetLocalIP(uint64_t handle, uint32_t ipNetOrder);

/* Debug output under a switch identifier; formats are those of printf. */
uint32_t IM_Agent_Debug(OrvaDebugRecord record, const char *name, uint32_t id, const char *format, ...);

/* Handed on to callers, never called by the library: its arguments are the interface manager's. */
#ifdef __cplusplus
uint32_t IM_Agent_SetProcessInfo(...);
#else
uint32_t IM_Agent_SetProcessInfo();
#endif

#ifdef __cplusplus
}
#endif

#undef IM_AGENT_ASSERT

#endif
