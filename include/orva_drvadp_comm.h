/*
 * Board adaptation: board and chassis identity from the driver layer and the boot environment, board ports, interface
 * addresses, power-module names.
 *
 * Slots and board types are unsigned numbers as the driver layer reports them. Addresses and netmasks are IPv4 in
 * host byte order.
 */
#ifndef ORVA_DRVADP_COMM_H
#define ORVA_DRVADP_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Result codes ------------------------------------------------------------------------------ */

#define ORVA_ERR_BOARD_STACK_ARGUMENT ORVA_RESULT(0x83u, ORVA_REASON_ARGUMENT) /* no output for the stack number */
#define ORVA_ERR_BOARD_STACK_NO_ADDRESS ORVA_RESULT(0x95u, ORVA_REASON_NO_ADDRESS) /* the port has no address */
#define ORVA_ERR_BOARD_TYPE_NULL ORVA_RESULT(0xC2u, ORVA_REASON_NULL)
#define ORVA_ERR_CHASSIS_TYPE_NULL ORVA_RESULT(0xD3u, ORVA_REASON_NULL)
#define ORVA_ERR_CHASSIS_ID_NULL ORVA_RESULT(0x158u, ORVA_REASON_NULL)
#define ORVA_ERR_ENV_CHASSIS_ID_NULL ORVA_RESULT(0x182u, ORVA_REASON_NULL) /* shared by both environment readers */
#define ORVA_ERR_ENV_STACK_ID_NULL ORVA_RESULT(0x1A2u, ORVA_REASON_NULL)
#define ORVA_ERR_ENV_STACK_ENABLE_NULL ORVA_RESULT(0x1CDu, ORVA_REASON_NULL)
#define ORVA_ERR_ENV_CPU_ID_NULL ORVA_RESULT(0x1E6u, ORVA_REASON_NULL)
#define ORVA_ERR_ENV_SLOT_ID_NULL ORVA_RESULT(0x1FFu, ORVA_REASON_NULL)

/* ---- Constants --------------------------------------------------------------------------------- */

#define ORVA_SELF_SLOT_UNKNOWN 255u
#define ORVA_RUN_STATE_UNKNOWN 0xFFFFFFFFu
#define ORVA_RUN_STATE_LIMIT 16u /* known run states are below */

/* Run states that the library interprets. */
#define ORVA_RUN_STATE_SERVICE_305 7u
#define ORVA_RUN_STATE_PTN 8u
#define ORVA_RUN_STATE_ROUTER_HARD_ROLE 15u

/* Frame type codes; 0 means not yet set. */
#define ORVA_FRAME_TYPE_Q1M 1u
#define ORVA_FRAME_TYPE_2U_HALCY 9u
#define ORVA_FRAME_TYPE_3U_HALCY 10u
#define ORVA_FRAME_TYPE_5U_HALCY 11u
#define ORVA_FRAME_TYPE_1U_HALCY 12u
#define ORVA_FRAME_TYPE_RZ_BOX 13u
#define ORVA_FRAME_TYPE_Q2M 16u
#define ORVA_FRAME_TYPE_RZ_BOX_2 21u

#define ORVA_BOARD_PORT_COUNT 135
#define ORVA_BOARD_NAME_COUNT 9
#define ORVA_BOARD_ITEM_LEN 32u /* bytes that ORVA_DRVADP_GetBoardElabelItem copies */

/* ---- Records ----------------------------------------------------------------------------------- */

/* Board identity cache. Filled without locks; every word is one plain store. */
typedef struct {
    uint32_t selfSlot;       /* own logical slot, ORVA_SELF_SLOT_UNKNOWN until known */
    uint32_t deviceRunState; /* product run state, ORVA_RUN_STATE_UNKNOWN until known */
    uint32_t reserved;       /* kept for callers; the library never touches it */
    uint32_t selfChassis;    /* own chassis number, as set by the caller */
    uint32_t isBoxStack;     /* whether the device is a stack of box devices, as set by the caller */
    uint32_t frameType;      /* chassis frame type, 0 until set */
} OrvaSelfBoardBase;

/* How a board type reaches the internal management network. */
typedef struct {
    uint32_t boardType;  /* as drv_board_get_type reports it */
    uint8_t reserved4;   /* 0 */
    uint8_t waitFlag;    /* 1: the address may come late, so callers retry; 0: one try */
    uint8_t octetSelect; /* 1: the number is the lowest octet of the address; 0: the second-lowest */
    uint8_t reserved7;   /* 0 */
    char ifName[16];     /* interface name, zero-padded */
} BoardPortInfo;

/* A power-module model name and the board identifier used for it. */
typedef struct {
    const char *name;
    uint32_t boardId;
} OrvaBoardNameId;

ORVA_API extern OrvaSelfBoardBase g_selfBoardBase;
ORVA_API extern const BoardPortInfo g_boardPort[ORVA_BOARD_PORT_COUNT]; /* board types are unique */
ORVA_API extern const char g_orvaBakPort[2][8];                         /* backup ports, in the order of trying */
ORVA_API extern const OrvaBoardNameId g_boardNameToBoardIdMap[ORVA_BOARD_NAME_COUNT];

/* ---- Device kind ------------------------------------------------------------------------------- */

/* The product run state (device kind), cached once known.
 * Read from the boot environment: a "product_service_type" of exactly "305" gives ORVA_RUN_STATE_SERVICE_305,
 * otherwise the number in "product_family_type" decides. Both reads leave a diagnostic record.
 * Returns the run state, or ORVA_RUN_STATE_UNKNOWN while neither key can be read; the next call then tries again.
 * Kept: a family type of 16 or more is recorded as out of range, cached and returned as it is.
 * Thread safety: no lock; threads that fill the cache at the same time store the same value. */
ORVA_API uint32_t ORVA_GetDeviceRunState(void);

/* Whether the run state is ORVA_RUN_STATE_PTN: 1 or 0.
 * Thread safety: as ORVA_GetDeviceRunState. */
ORVA_API uint32_t ORVA_IsPtnTypeDevice(void);

/* Whether the run state is 15, 8 or 7, that is, whether the router uses the hardware board role: 1 or 0. Each of the
 * three comparisons asks ORVA_GetDeviceRunState again.
 * Thread safety: as ORVA_GetDeviceRunState. */
ORVA_API uint32_t ORVA_IsRouterUseHardBoardRoleDevice(void);

/* ---- Slot, board and chassis from the driver --------------------------------------------------- */

/* Asks the driver for the own logical slot, without the cache.
 * slot: receives the slot; 1 when the driver's code says that the board has no slot number (low half 0x01A4).
 * Returns ORVA_OK; ORVA_FAILED for a null slot; any other driver code as it is, after two process records.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetSelfSlotID(uint32_t *slot);

/* The own logical slot, asked of the driver once and then cached in g_selfBoardBase.
 * Returns the slot, 1 for a board without slot number, or ORVA_SELF_SLOT_UNKNOWN while the driver does not know.
 * Thread safety: no lock; threads that fill the cache at the same time store the same value. */
ORVA_API uint32_t ORVA_DRVADP_GetSelfSlotVar(void);

/* The own board type.
 * boardType: receives the type, as the driver reports it.
 * Returns ORVA_OK; ORVA_ERR_BOARD_TYPE_NULL for a null boardType; the driver's code, recorded in the process log.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetBoardType(uint32_t *boardType);

/* The chassis (backplane) type.
 * chassisType: receives the type; untouched on failure.
 * Returns ORVA_OK; ORVA_ERR_CHASSIS_TYPE_NULL for a null chassisType; the driver's code, recorded in the process log.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetChassisType(uint32_t *chassisType);

/* Whether the chassis is an Rz frame (backplane types 0x10040, 0x10041, 0x10051, 0x10071, 0x10074): 1 or 0. A failed
 * query is recorded as in ORVA_DRVADP_GetChassisType and gives 0.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_IsRzFrame(void);

/* The value of "Item=" in the own board's electronic label.
 * item: buffer of itemLen bytes, receives ORVA_BOARD_ITEM_LEN bytes; its last byte is always set to 0.
 * itemLen: at least ORVA_BOARD_ITEM_LEN for the value to be copied; a smaller buffer keeps its content, which is
 * recorded in the system log.
 * Returns ORVA_OK; ORVA_FAILED on an Rz frame (nothing is read there), for a null or empty buffer, when the label
 * cannot be read or has no item.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetBoardElabelItem(char *item, uint32_t itemLen);

/* Whether the own board is a matrix board: 1 when "libdrv_basic.so" can be opened and has the symbol
 * DRV_GetBoardProductType, else 0. The symbol is never called and nothing is cached.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_IsMatrixBoard(void);

/* ---- Chassis, stack, CPU and slot numbers from the boot environment ---------------------------- */

/* The chassis number: from the address of the board's port where there is one, else from the boot environment
 * ("stackid", where 0 counts; then "chassisid", where 0 does not), else 1.
 * A port whose wait flag is set is asked up to 300 times with pauses of 1 ms.
 * chassisId: receives the number.
 * Returns ORVA_OK; ORVA_ERR_CHASSIS_ID_NULL for a null chassisId.
 * Thread safety: any thread; may block for the 300 tries. */
ORVA_API uint32_t ORVA_DRVADP_GetChassisID(uint32_t *chassisId);

/* The chassis number from the boot environment alone: "stackid" (0 counts), else a non-zero "chassisid", else 1.
 * chassisId: receives the number.
 * Returns ORVA_OK; ORVA_ERR_ENV_CHASSIS_ID_NULL for a null chassisId.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetChassisIdFromEnv(uint32_t *chassisId);

/* The non-zero number in "chassisid", else 1.
 * chassisId: receives the number.
 * Returns ORVA_OK; ORVA_ERR_ENV_CHASSIS_ID_NULL for a null chassisId.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfChassisId(uint32_t *chassisId);

/* The number in "stackid".
 * stackId: receives the number; untouched on failure.
 * Returns ORVA_OK; ORVA_ERR_ENV_STACK_ID_NULL for a null stackId; ORVA_FAILED when the key is missing.
 * Kept: the only reader of the environment that reports a missing key.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfStackId(uint32_t *stackId);

/* The number in "stkenv_enable", else 0.
 * enable: receives the number.
 * Returns ORVA_OK; ORVA_ERR_ENV_STACK_ENABLE_NULL for a null enable.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfStackEnable(uint32_t *enable);

/* The number in "cpu_id", else 0.
 * cpuId: receives the number.
 * Returns ORVA_OK; ORVA_ERR_ENV_CPU_ID_NULL for a null cpuId.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfCpuId(uint32_t *cpuId);

/* The number in "slotid", else 1.
 * slotId: receives the number.
 * Returns ORVA_OK; ORVA_ERR_ENV_SLOT_ID_NULL for a null slotId.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfSlotId(uint32_t *slotId);

/* The stack number that the address of a port gives: its lowest octet where octetSelect is 1, else its second-lowest.
 * port: a row of g_boardPort or of the same form. stackId: receives the number, 0 to 255; untouched on failure.
 * A port whose wait flag is 1 is asked up to 300 times with pauses of 1 ms.
 * Returns ORVA_OK; ORVA_ERR_BOARD_STACK_ARGUMENT for a null argument; ORVA_ERR_BOARD_STACK_NO_ADDRESS when the port
 * has no address and is not to be waited for; ORVA_FAILED after the last try.
 * Thread safety: any thread; may block for the 300 tries. */
ORVA_API uint32_t ORVA_GetBoardStackID(const BoardPortInfo *port, uint32_t *stackId);

/* ---- Cached variables -------------------------------------------------------------------------- */

/* The frame type, 0 until set. Thread safety: plain load. */
ORVA_API uint32_t ORVA_DRVADP_GetFrameTypeVar(void);

/* Stores the frame type while it is still 0; the first caller wins. Thread safety: plain load and store. */
ORVA_API void ORVA_DRVADP_SetFrameTypeVar(uint32_t frameType);

/* The own chassis number, as last set. Thread safety: plain load. */
ORVA_API uint32_t ORVA_DRVADP_GetSelfChassisVar(void);

/* Stores the own chassis number. Thread safety: plain store. */
ORVA_API void ORVA_DRVADP_SetSelfChassisVar(uint32_t chassis);

/* Whether the device is a stack of box devices, as last set. Thread safety: plain load. */
ORVA_API uint32_t ORVA_DRVADP_GetIsBoxStackVar(void);

/* Stores whether the device is a stack of box devices. Thread safety: plain store. */
ORVA_API void ORVA_DRVADP_SetIsBoxStackVar(uint32_t isBoxStack);

/* ---- Frame-type predicates: 1 or 0 from the stored frame type; any thread ---------------------- */

/* Frame type 1. */
ORVA_API uint32_t ORVA_DRVADP_IsQ1m(void);

/* Frame type 16. */
ORVA_API uint32_t ORVA_DRVADP_IsQ2m(void);

/* Frame type 1 or 16. */
ORVA_API uint32_t ORVA_DRVADP_IsQxm(void);

/* Frame type 12. */
ORVA_API uint32_t ORVA_DRVADP_Is1uHalcy(void);

/* Frame type 10. */
ORVA_API uint32_t ORVA_DRVADP_Is3uHalcy(void);

/* Frame type 11. */
ORVA_API uint32_t ORVA_DRVADP_Is5uHalcy(void);

/* Frame type 9, 10 or 11. */
ORVA_API uint32_t ORVA_DRVADP_Is2u3u5uHalcy(void);

/* Frame type 13 or 21. */
ORVA_API uint32_t ORVA_DRVADP_IsRzBox(void);

/* Frame type 12: the frame whose fans carry an electronic label. */
ORVA_API uint32_t ORVA_DRVADP_IsSupportGetFanElabel(void);

/* ---- Board ports and addresses ----------------------------------------------------------------- */

/* Runs one IPv4 query on a network interface.
 * ifName: interface name; a name longer than 15 characters is recorded and the query fails.
 * request: SIOCGIFADDR (0x8915) or SIOCGIFNETMASK (0x891B).
 * value: receives the address or the mask in host byte order; untouched on failure.
 * Returns ORVA_OK; ORVA_FAILED for a null argument, without a socket, or when the interface has no answer.
 * Thread safety: any thread; each query has a socket of its own. */
ORVA_API uint32_t ORVA_QueryEthPortCfg(const char *ifName, int32_t request, uint32_t *value);

/* The IPv4 address of a network interface.
 * ifName, ip, result and thread safety: as ORVA_QueryEthPortCfg. */
ORVA_API uint32_t ORVA_GetIpAddress(const char *ifName, uint32_t *ip);

/* The row of g_boardPort for a board type, or null. The row is constant and lives as long as the process.
 * Thread safety: any thread. */
ORVA_API const BoardPortInfo *ORVA_GetBoardEthInfo(uint32_t boardType);

/* Runs a query on the backup ports, "bond0" first, "veth0" when that fails. Despite its name it serves addresses and
 * netmasks.
 * value: receives the answer, host byte order. request: SIOCGIFADDR or SIOCGIFNETMASK.
 * Returns ORVA_OK; ORVA_FAILED when both ports fail or value is null.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetBakEthInfoMask(uint32_t *value, uint32_t request);

/* The address of "bond0", else of "veth0", in host byte order; 0 when both fail.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetEthPortIpAddr(void);

/* The netmask of the port of a board type, or of the backup ports for a type without a row.
 * mask: receives the netmask, host byte order; untouched on failure.
 * Returns ORVA_OK or ORVA_FAILED.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetSubNetMask(uint32_t boardType, uint32_t *mask);

/* The internal address 172.16.(255 - b1).(255 - b0) of a word whose two low octets are b1 and b0, host byte order.
 * Kept: b1 = 255 gives 1 in the third octet, so that the result stays out of 172.16.0.x.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_ComputerSubNetIpAddress(int32_t ip);

/* The internal address derived from the own board's netmask.
 * force: 0 gives 0 when the netmask cannot be read; otherwise a netmask of 0 is used then.
 * A board type that cannot be read is recorded and counts as 0.
 * Returns the address, host byte order, or 0.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetSubNetIpAddress(int32_t force);

/* The board identifier of a power-module model name.
 * name: compared exactly. boardId: receives the identifier; untouched on failure.
 * Returns ORVA_OK; ORVA_FAILED for a null argument or an unknown name.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_COMM_BoardNameToBoardId(const char *name, uint32_t *boardId);

ORVA_END_DECLS

#define ORVA_LAYOUT_DRVADP_COMM
#include "orva_layout.h"

#endif
