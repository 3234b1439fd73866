/*
 * Interface-manager binding: loads the interface-manager agent library at run time and keeps it told of two IPv4
 * addresses, that of the active main processing unit and the board's own.
 *
 * Addresses handed to the agent are in network byte order. Set-up runs once, before other threads use the library;
 * from then on the binding record is written by the timer's thread only, with plain stores.
 */
#ifndef ORVA_IMLIB_H
#define ORVA_IMLIB_H

#include "im_agent.h"
#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_IMLIB_TIMER_MS 2000u                  /* period of the address check */
#define ORVA_IMLIB_SWITCH_BASE 0x0CE40000u         /* debug switch identifiers start here */
#define ORVA_IMLIB_NAME_SIZE 32                    /* bytes for the process name and for the library's file name */
#define ORVA_ACT_MPU_FILE "/opt/keldv8/tmp/mmb_ip" /* one line: the active unit's address as dotted text */
#define ORVA_ACT_MPU_KEY "ACT_MPU"                 /* the same in the boot environment, as it was at boot */

/* Entries of the agent library. */
typedef uint32_t (*OrvaImSetIpFunc)(uint64_t handle, uint32_t ipNetOrder);
typedef uint32_t (*OrvaImDebugFunc)(OrvaDebugRecord record, const char *name, uint32_t id, const char *format, ...);
typedef void (*OrvaImProcessInfoFunc)(void); /* callers convert it to the interface manager's own type */

/* The binding record; zeroed at load time and again by ORVA_SetImlibIpConfigInPnf. */
typedef struct {
    uint64_t imHandle;                    /* of IM_Agent_Init; 0 means not initialised */
    uint32_t mainBoardIp;                 /* active-unit address last handed over, network byte order */
    uint32_t localIp;                     /* own address last handed over, network byte order */
    MIRO_TIMER_ID ipChkTimer;             /* of MIRO_ReltmrCbkStart */
    uint32_t timerModule;                 /* of MIRO_HandleInitialize; 0 means that there is no timer yet */
    OrvaImSetIpFunc setMainBoardIp;       /* IM_Agent_SetMainBoardIP */
    OrvaImSetIpFunc setLocalIp;           /* IM_Agent_SetLocalIP, or null */
    OrvaImDebugFunc debug;                /* IM_Agent_Debug, or null; kept for callers */
    OrvaImProcessInfoFunc setProcessInfo; /* IM_Agent_SetProcessInfo, or null; kept for callers */
    uint32_t switchBlock;                 /* block number of the debug switch identifiers */
    uint32_t initParam;                   /* handed to IM_Agent_Init */
    char processName[ORVA_IMLIB_NAME_SIZE];
    char libraryPath[ORVA_IMLIB_NAME_SIZE];
} OrvaImlib;

ORVA_API extern OrvaImlib g_OrvaImlib;

/* ---- Binding ----------------------------------------------------------------------------------- */

/* Binds the process to the interface manager: starts the address timer, loads the agent library and hands both
 * addresses over. Does nothing when already bound. A library that is missing or fails is tried again by the timer.
 * libraryPath: file name of the agent library, at most 31 characters. initParam: low 16 bits reach the agent.
 * processName: at most 31 characters. switchBlock: block number of the debug switch identifiers.
 * A name that is null or too long stops the set-up silently. Zeroes the binding record first, so
 * ORVA_InitSetProcessInfoFunc must come after it.
 * Thread safety: set-up, before other threads use the library. */
ORVA_API void ORVA_SetImlibIpConfigInPnf(const char *libraryPath, uint32_t initParam, const char *processName,
                                         uint32_t switchBlock);

/* Loads and initialises the agent library; on success the library stays open and the handle is stored.
 * Arguments: as ORVA_SetImlibIpConfigInPnf, without the limit on libraryPath.
 * Returns ORVA_OK; ORVA_FAILED for a null libraryPath, a library that cannot be opened, lacks IM_Agent_Init or
 * IM_Agent_SetMainBoardIP or refuses to initialise, or a process name that is null or too long. Nothing is logged;
 * entries found before the failure stay in the record, whose library is closed: they are not called from there, and
 * ORVA_GetDebugFunc does not hand them out.
 * Thread safety: set-up, or the timer's thread. */
ORVA_API uint32_t ORVA_InitImlib(const char *libraryPath, uint32_t initParam, const char *processName,
                                 uint32_t switchBlock);

/* One periodic check: loads the library if it is not bound yet, then hands over the addresses that changed.
 * Returns ORVA_FAILED when the library cannot be bound, otherwise the result of ORVA_SetLocalIpAddr.
 * Thread safety: the timer's thread. */
ORVA_API uint32_t ORVA_InitImlibAndSetIpAddrChk(void);

/* Starts the periodic check, every ORVA_IMLIB_TIMER_MS milliseconds, once.
 * processName: becomes part of the timer's name, which is cut to 63 characters.
 * Returns ORVA_OK, also when the timer exists; ORVA_FAILED when the name cannot be built (null processName); the
 * platform's code when the module or the timer is refused. Failures are recorded in the process log.
 * Kept: after a refused timer the module stays registered, so a second call does nothing and returns ORVA_OK.
 * Thread safety: set-up. */
ORVA_API uint32_t ORVA_CreateImlibIpAddrTimer(const char *processName);

/* Looks up IM_Agent_SetProcessInfo in a library, which stays open when it has the entry. Failures are recorded in the
 * process log; a null libraryPath does nothing.
 * Thread safety: set-up. */
ORVA_API void ORVA_InitSetProcessInfoFunc(const char *libraryPath);

/* The agent's handle, 0 while unbound. Thread safety: plain load. */
ORVA_API uint64_t ORVA_GetImHandle(void);

/* The agent's debug entry; null while the library is not bound, or when it has none. Thread safety: plain load. */
ORVA_API OrvaImDebugFunc ORVA_GetDebugFunc(void);

/* The process-information entry, or null. Thread safety: plain load. */
ORVA_API OrvaImProcessInfoFunc ORVA_GetSetProcessInfoFunc(void);

/* The interface-manager switch identifier of a debug switch.
 * switchBit: 1 << n gives number n + 1; the combinations 3 and 5 give 100 and 101; anything else gives 0.
 * Returns 0x0CE40000 + (switchBlock << 12) + number.
 * Thread safety: plain load of the block number. */
ORVA_API uint32_t ORVA_GetDebugSwitchId(uint32_t switchBit);

/* ---- Addresses handed over --------------------------------------------------------------------- */

/* Hands the active unit's address to the agent when it changed. The new address is stored first, so each change is
 * handed over once.
 * Returns ORVA_OK when nothing changed or no agent is bound; the agent's result; the code of ORVA_GetActMpuIpAddr
 * when there is no address.
 * Thread safety: the timer's thread. */
ORVA_API uint32_t ORVA_SetMainBoardIpAddr(void);

/* Hands the own address to the agent when it changed. The new address is stored first, so each change is handed over
 * once, also when the agent refuses it.
 * Returns ORVA_OK when nothing changed, no agent is bound or it has no such entry; the agent's result; the code of
 * ORVA_GetLocalIpAddr when there is no address.
 * Thread safety: the timer's thread. */
ORVA_API uint32_t ORVA_SetLocalIpAddr(void);

/* ---- Address sources --------------------------------------------------------------------------- */

/* The own address: that of the board type's port, or of the backup ports for a type without one.
 * ip: receives the address, host byte order; untouched on failure.
 * Returns ORVA_OK; ORVA_FAILED for a null ip or an interface without an address; the code of
 * ORVA_DRVADP_GetBoardType.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetLocalIpAddr(uint32_t *ip);

/* The active unit's address; the same as ORVA_ChoseActMpuIp. */
ORVA_API uint32_t ORVA_GetActMpuIpAddr(uint32_t *ip);

/* The active unit's address from the address file, else from the boot environment: the file is written at
 * switch-over, the environment only knows the unit that was active at boot. ip: receives the address, network byte
 * order; 0 on failure. Returns ORVA_OK; ORVA_FAILED for a null ip or when neither source has a value. Thread safety:
 * any thread. */
ORVA_API uint32_t ORVA_ChoseActMpuIp(uint32_t *ip);

/* The address in the first line of ORVA_ACT_MPU_FILE.
 * ip: receives the address, network byte order; 0xFFFFFFFF for a line that is not an address; untouched when the file
 * is missing or empty.
 * Returns ORVA_OK; ORVA_FAILED for a null ip, a missing or empty file, or a line that is not an address.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetActMpuIpAddrFromFile(uint32_t *ip);

/* The address in the boot environment under ORVA_ACT_MPU_KEY; otherwise as ORVA_GetIpAddrFromEnv. */
ORVA_API uint32_t ORVA_GetActMpuIpAddrFromEnv(uint32_t *ip);

/* The address in the boot environment under a key.
 * key: zero-terminated. ip: receives the address, network byte order; 0 when the key is missing.
 * Returns ORVA_OK; ORVA_FAILED for a null argument; the driver's code when the key is missing.
 * Kept: a text that is not an address gives ORVA_OK and 0xFFFFFFFF, unlike in the file.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetIpAddrFromEnv(const char *key, uint32_t *ip);

ORVA_END_DECLS

#define ORVA_LAYOUT_IMLIB
#include "orva_layout.h"

#endif
