/**
 * @file
 * Interface-manager binding: loads the interface-manager agent library at run time and tells it two IPv4 addresses
 * whenever they change, that of the active main board (main processing unit) and the board's own.
 *
 * Addresses passed to the agent are in network byte order. Start-up runs once, before other threads use the library.
 * After it only the timer's thread writes the binding record.
 */
#ifndef ORVA_IMLIB_H
#define ORVA_IMLIB_H

#include "im_agent.h"
#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_IMLIB_TIMER_MS 2000u                  /**< Period of the address check, milliseconds. */
#define ORVA_IMLIB_SWITCH_BASE 0x0CE40000u         /**< First debug switch identifier. */
#define ORVA_IMLIB_NAME_SIZE 32                    /**< Bytes for the process name and for the library's file name. */
#define ORVA_ACT_MPU_FILE "/opt/keldv8/tmp/mmb_ip" /**< One line: the active main board's address as dotted text. */
#define ORVA_ACT_MPU_KEY "ACT_MPU"                 /**< The same in the boot environment, as it was at boot. */

/** Entry of the agent library that takes an address, as IM_Agent_SetMainBoardIP. */
typedef uint32_t (*OrvaImSetIpFunc)(uint64_t handle, uint32_t ipNetOrder);
/** Entry of the agent library for debug texts, as IM_Agent_Debug. */
typedef uint32_t (*OrvaImDebugFunc)(OrvaDebugRecord record, const char *name, uint32_t id, const char *format, ...);
/** Entry of the agent library for process information; callers convert it to the interface manager's own type. */
typedef void (*OrvaImProcessInfoFunc)(void);

/** The binding record; zeroed at load time and again by ORVA_SetImlibIpConfigInPnf. */
typedef struct {
    uint64_t imHandle;                    /**< Handle of IM_Agent_Init; 0 means not initialised. */
    uint32_t mainBoardIp;                 /**< Main-board address last passed on, network byte order. */
    uint32_t localIp;                     /**< Own address last passed on, network byte order. */
    MIRO_TIMER_ID ipChkTimer;             /**< Timer of MIRO_ReltmrCbkStart. */
    uint32_t timerModule;                 /**< Module of MIRO_HandleInitialize; 0 means that there is no timer yet. */
    OrvaImSetIpFunc setMainBoardIp;       /**< IM_Agent_SetMainBoardIP. */
    OrvaImSetIpFunc setLocalIp;           /**< IM_Agent_SetLocalIP, or null. */
    OrvaImDebugFunc debug;                /**< IM_Agent_Debug, or null; for callers. */
    OrvaImProcessInfoFunc setProcessInfo; /**< IM_Agent_SetProcessInfo, or null; for callers. */
    uint32_t switchBlock;                 /**< Block number of the debug switch identifiers. */
    uint32_t initParam;                   /**< Passed to IM_Agent_Init, low 16 bits. */
    char processName[ORVA_IMLIB_NAME_SIZE]; /**< Zero-terminated. */
    char libraryPath[ORVA_IMLIB_NAME_SIZE]; /**< Zero-terminated. */
} OrvaImlib;

/** The binding of the process. */
ORVA_API extern OrvaImlib g_OrvaImlib;

/* ---- Binding */

/**
 * Binds the process to the interface manager. Not thread-safe. Part of start-up, before other threads use the
 * library.
 *
 * It zeroes the binding record, starts the address timer, loads the agent library and passes both addresses to it.
 * When the process is already bound it does nothing. A library that is missing or fails is tried again by the timer.
 *
 * Call it once. A second call before the library is bound zeroes the record again and starts a second timer. Call
 * ORVA_InitSetProcessInfoFunc after it, since zeroing the record drops that entry. A timer that the platform refuses
 * is recorded, and the binding goes on without one.
 *
 * @param[in] libraryPath File name of the agent library, at most 31 characters. When it is null or too long, the
 *                        record is zeroed and nothing else happens; nothing is logged.
 * @param[in] initParam   Its low 16 bits reach the agent.
 * @param[in] processName Name of the process, at most 31 characters. Null or too long: as for `libraryPath`.
 * @param[in] switchBlock Block number of the debug switch identifiers.
 */
ORVA_API void ORVA_SetImlibIpConfigInPnf(const char *libraryPath, uint32_t initParam, const char *processName,
                                         uint32_t switchBlock);

/**
 * Loads and initialises the agent library. Thread-safe after start-up. Of two concurrent calls each may open the
 * library and initialise the agent.
 *
 * On success the library stays open and the handle is stored. Nothing is logged. Entries found before a failure stay
 * in the record although their library is closed; the library does not call them, and ORVA_GetDebugFunc does not
 * return them.
 *
 * @param[in] libraryPath File name of the agent library, of any length.
 * @param[in] initParam   As for ORVA_SetImlibIpConfigInPnf.
 * @param[in] processName As for ORVA_SetImlibIpConfigInPnf.
 * @param[in] switchBlock As for ORVA_SetImlibIpConfigInPnf.
 * @retval ORVA_OK     The process is bound.
 * @retval ORVA_FAILED `libraryPath` is null, the library cannot be opened, lacks IM_Agent_Init or
 *                     IM_Agent_SetMainBoardIP or refuses to initialise, or `processName` is null or too long.
 */
ORVA_API uint32_t ORVA_InitImlib(const char *libraryPath, uint32_t initParam, const char *processName,
                                 uint32_t switchBlock);

/**
 * One periodic check: binds the library if it is not bound yet, then passes on the addresses that changed.
 * Thread-safe after start-up. The timer's thread calls it.
 *
 * @retval ORVA_FAILED The library cannot be bound.
 * @retval other       The result of ORVA_SetLocalIpAddr.
 */
ORVA_API uint32_t ORVA_InitImlibAndSetIpAddrChk(void);

/**
 * Starts the periodic check, every ORVA_IMLIB_TIMER_MS milliseconds, once. Not thread-safe. Part of start-up.
 *
 * Failures of the platform are recorded in the process log. When the platform refuses the timer, the module stays
 * registered: there is no timer, and a second call does nothing and returns ORVA_OK.
 *
 * @param[in] processName Part of the timer's name, which is truncated to 63 characters.
 * @retval ORVA_OK     The timer runs, or a module is registered already.
 * @retval ORVA_FAILED `processName` is null, or the name could not be formatted.
 * @retval other       The platform's code: the module or the timer is refused.
 */
ORVA_API uint32_t ORVA_CreateImlibIpAddrTimer(const char *processName);

/**
 * Looks IM_Agent_SetProcessInfo up in a library. Not thread-safe. Part of start-up, after ORVA_SetImlibIpConfigInPnf.
 *
 * The library stays open when it has the entry. Failures are recorded in the process log.
 *
 * @param[in] libraryPath File name of the library; null does nothing.
 */
ORVA_API void ORVA_InitSetProcessInfoFunc(const char *libraryPath);

/** Handle of the agent. Thread-safe after start-up. @return The handle; 0 while unbound. */
ORVA_API uint64_t ORVA_GetImHandle(void);

/** Debug entry of the agent. Thread-safe after start-up. @return The entry; null while unbound or when it has none.
 */
ORVA_API OrvaImDebugFunc ORVA_GetDebugFunc(void);

/** Process-information entry of the agent. Thread-safe after start-up. @return The entry, or null. */
ORVA_API OrvaImProcessInfoFunc ORVA_GetSetProcessInfoFunc(void);

/**
 * Interface-manager switch identifier of a debug switch. Thread-safe after start-up.
 *
 * @param[in] switchBit 1 << n gives number n + 1; the combinations 3 and 5 give 100 and 101; anything else gives 0.
 * @return 0x0CE40000 + (switchBlock << 12) + number.
 */
ORVA_API uint32_t ORVA_GetDebugSwitchId(uint32_t switchBit);

/* ---- Addresses passed on */

/**
 * Passes the active main board's address to the agent when it changed. Thread-safe after start-up. The timer's thread
 * calls it.
 *
 * The new address is stored first, so each change is passed on once, also when the agent refuses it. Called while the
 * process is unbound it stores the address and passes it to nobody: that address does not reach the agent until it
 * changes again.
 *
 * @retval ORVA_OK     Nothing changed, or no agent is bound.
 * @retval ORVA_FAILED There is no address (ORVA_GetActMpuIpAddr).
 * @retval other       The agent's result.
 */
ORVA_API uint32_t ORVA_SetMainBoardIpAddr(void);

/**
 * Passes the own address to the agent when it changed. Thread-safe after start-up. The timer's thread calls it.
 *
 * The new address is stored first, so each change is passed on once, also when the agent refuses it. Called while the
 * process is unbound it stores the address and passes it to nobody: that address does not reach the agent until it
 * changes again. A change and its outcome are recorded in the process log.
 *
 * @retval ORVA_OK     Nothing changed, no agent is bound, or it has no such entry.
 * @retval ORVA_FAILED The interface has no address.
 * @retval other       The agent's result, or the code of ORVA_DRVADP_GetBoardType.
 */
ORVA_API uint32_t ORVA_SetLocalIpAddr(void);

/* ---- Address sources */

/**
 * Own address: that of the board type's port, or of the backup ports for a type without one. Thread-safe for distinct
 * objects.
 *
 * @param[out] ip Receives the address, host byte order, on success only.
 * @retval ORVA_OK     `ip` is written.
 * @retval ORVA_FAILED `ip` is null, or the interface has no address.
 * @retval other       The code of ORVA_DRVADP_GetBoardType.
 */
ORVA_API uint32_t ORVA_GetLocalIpAddr(uint32_t *ip);

/**
 * Active main board's address: the same as ORVA_ChoseActMpuIp. Thread-safe for distinct objects.
 *
 * @param[out] ip As for ORVA_ChoseActMpuIp.
 * @retval ORVA_OK     As ORVA_ChoseActMpuIp.
 * @retval ORVA_FAILED As ORVA_ChoseActMpuIp.
 */
ORVA_API uint32_t ORVA_GetActMpuIpAddr(uint32_t *ip);

/**
 * Active main board's address from the address file, else from the boot environment. Thread-safe for distinct
 * objects.
 *
 * The file is written at switch-over; the environment only knows the main board that was active at boot.
 *
 * @param[out] ip Receives the address, network byte order; 0 on failure. 0xFFFFFFFF when the text of the environment
 *                is not an address.
 * @retval ORVA_OK     `ip` is written.
 * @retval ORVA_FAILED `ip` is null, or neither source has a value.
 */
ORVA_API uint32_t ORVA_ChoseActMpuIp(uint32_t *ip);

/**
 * Active main board's address from the first line of ORVA_ACT_MPU_FILE. Thread-safe for distinct objects.
 *
 * @param[out] ip Receives the address, network byte order; 0xFFFFFFFF for a line that is not an address; unchanged
 *                when the file is missing or empty.
 * @retval ORVA_OK     `ip` is an address.
 * @retval ORVA_FAILED `ip` is null, the file is missing or empty, or its first line is not an address.
 */
ORVA_API uint32_t ORVA_GetActMpuIpAddrFromFile(uint32_t *ip);

/**
 * Active main board's address from the boot environment, key ORVA_ACT_MPU_KEY. Thread-safe for distinct objects.
 *
 * @param[out] ip As for ORVA_GetIpAddrFromEnv.
 * @retval ORVA_OK     As ORVA_GetIpAddrFromEnv, also for a text that is not an address.
 * @retval ORVA_FAILED `ip` is null.
 * @retval other       The driver's code: the key is missing.
 */
ORVA_API uint32_t ORVA_GetActMpuIpAddrFromEnv(uint32_t *ip);

/**
 * Address from the boot environment. Thread-safe for distinct objects.
 *
 * @param[in]  key Key, zero-terminated.
 * @param[out] ip  Receives the address, network byte order; 0xFFFFFFFF for a text that is not an address; 0 when the
 *                 key is missing.
 * @retval ORVA_OK     The key is present, also when its text is not an address: test `ip` for 0xFFFFFFFF.
 * @retval ORVA_FAILED An argument is null.
 * @retval other       The driver's code: the key is missing.
 */
ORVA_API uint32_t ORVA_GetIpAddrFromEnv(const char *key, uint32_t *ip);

ORVA_END_DECLS

#define ORVA_LAYOUT_IMLIB
#include "orva_layout.h"

#endif
