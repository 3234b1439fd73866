/**
 * @file
 * Board adaptation: board and chassis identity from the driver layer and the boot environment, board ports, interface
 * addresses, power-module names.
 *
 * Slots and board types are unsigned numbers as the driver layer reports them. Addresses and netmasks are IPv4 in
 * host byte order. Nothing here locks; threads that fill a word of the identity cache at the same time store the same
 * value.
 */
#ifndef ORVA_DRVADP_COMM_H
#define ORVA_DRVADP_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Result codes */

#define ORVA_ERR_BOARD_STACK_ARGUMENT ORVA_RESULT(0x83u, ORVA_REASON_ARGUMENT)     /**< Null argument. */
#define ORVA_ERR_BOARD_STACK_NO_ADDRESS ORVA_RESULT(0x95u, ORVA_REASON_NO_ADDRESS) /**< The port has no address. */
#define ORVA_ERR_BOARD_TYPE_NULL ORVA_RESULT(0xC2u, ORVA_REASON_NULL)              /**< Null board-type output. */
#define ORVA_ERR_CHASSIS_TYPE_NULL ORVA_RESULT(0xD3u, ORVA_REASON_NULL)            /**< Null chassis-type output. */
#define ORVA_ERR_CHASSIS_ID_NULL ORVA_RESULT(0x158u, ORVA_REASON_NULL)             /**< Null chassis-number output. */
#define ORVA_ERR_ENV_CHASSIS_ID_NULL ORVA_RESULT(0x182u, ORVA_REASON_NULL)         /**< The same, environment only. */
#define ORVA_ERR_ENV_STACK_ID_NULL ORVA_RESULT(0x1A2u, ORVA_REASON_NULL)           /**< Null stack-number output. */
#define ORVA_ERR_ENV_STACK_ENABLE_NULL ORVA_RESULT(0x1CDu, ORVA_REASON_NULL)       /**< Null stack-enable output. */
#define ORVA_ERR_ENV_CPU_ID_NULL ORVA_RESULT(0x1E6u, ORVA_REASON_NULL)             /**< Null CPU-number output. */
#define ORVA_ERR_ENV_SLOT_ID_NULL ORVA_RESULT(0x1FFu, ORVA_REASON_NULL)            /**< Null slot output. */

/* ---- Constants */

#define ORVA_SELF_SLOT_UNKNOWN 255u        /**< The own slot is not known. */
#define ORVA_RUN_STATE_UNKNOWN 0xFFFFFFFFu /**< The run state is not known. */
#define ORVA_RUN_STATE_LIMIT 16u           /**< Known run states are below. */

#define ORVA_RUN_STATE_SERVICE_305 7u       /**< Run state of the product service type "305". */
#define ORVA_RUN_STATE_PTN 8u               /**< Run state of a PTN-type device. */
#define ORVA_RUN_STATE_ROUTER_HARD_ROLE 15u /**< Run state of a router that uses the hardware board role. */

#define ORVA_FRAME_TYPE_Q1M 1u       /**< Frame type Q1m; 0 means not yet set. */
#define ORVA_FRAME_TYPE_2U_HALCY 9u  /**< Frame type 2U Halcy. */
#define ORVA_FRAME_TYPE_3U_HALCY 10u /**< Frame type 3U Halcy. */
#define ORVA_FRAME_TYPE_5U_HALCY 11u /**< Frame type 5U Halcy. */
#define ORVA_FRAME_TYPE_1U_HALCY 12u /**< Frame type 1U Halcy. */
#define ORVA_FRAME_TYPE_RZ_BOX 13u   /**< Frame type Rz box. */
#define ORVA_FRAME_TYPE_Q2M 16u      /**< Frame type Q2m. */
#define ORVA_FRAME_TYPE_RZ_BOX_2 21u /**< The second frame type of an Rz box. */

#define ORVA_BOARD_PORT_COUNT 135 /**< Rows of g_boardPort. */
#define ORVA_BOARD_NAME_COUNT 9   /**< Rows of g_boardNameToBoardIdMap. */
#define ORVA_BOARD_ITEM_LEN 32u   /**< Bytes that ORVA_DRVADP_GetBoardElabelItem copies. */

/* ---- Records */

/** Board identity cache. Every word is written by one plain store. */
typedef struct {
    uint32_t selfSlot;       /**< Own logical slot, ORVA_SELF_SLOT_UNKNOWN until known. */
    uint32_t deviceRunState; /**< Product run state, ORVA_RUN_STATE_UNKNOWN until known. */
    uint32_t reserved;       /**< For callers; the library never touches it. */
    uint32_t selfChassis;    /**< Own chassis number, as set by the caller. */
    uint32_t isBoxStack;     /**< Whether the device is a stack of box devices, as set by the caller. */
    uint32_t frameType;      /**< Chassis frame type, 0 until set. */
} OrvaSelfBoardBase;

/** How a board type reaches the internal management network. */
typedef struct {
    uint32_t boardType;  /**< As drv_board_get_type reports it. */
    uint8_t reserved4;   /**< 0. */
    uint8_t waitFlag;    /**< 1: the address may come late, so callers retry; 0: one try. */
    uint8_t octetSelect; /**< 1: the number is the lowest octet of the address; 0: the second-lowest. */
    uint8_t reserved7;   /**< 0. */
    char ifName[16];     /**< Interface name, zero-padded. */
} BoardPortInfo;

/** A power-module model name and the board identifier used for it. */
typedef struct {
    const char *name; /**< Model name. */
    uint32_t boardId; /**< Board identifier, 0xFE000001 and up. */
} OrvaBoardNameId;

/** The identity cache of the process. */
ORVA_API extern OrvaSelfBoardBase g_selfBoardBase;
/** Ports of the board types, constant. Board types are unique. */
ORVA_API extern const BoardPortInfo g_boardPort[ORVA_BOARD_PORT_COUNT];
/** Backup ports in the order of trying, constant: "bond0", "veth0". */
ORVA_API extern const char g_orvaBakPort[2][8];
/** Board identifiers of power-module model names, constant. */
ORVA_API extern const OrvaBoardNameId g_boardNameToBoardIdMap[ORVA_BOARD_NAME_COUNT];

/* ---- Device kind */

/**
 * Product run state (device kind), cached once known. Thread-safe.
 *
 * A "product_service_type" of exactly "305" in the boot environment gives ORVA_RUN_STATE_SERVICE_305. Otherwise the
 * number in "product_family_type" decides. Each value that is read leaves a diagnostic record. A family type of
 * ORVA_RUN_STATE_LIMIT or more leaves a further one, is cached and returned as it is.
 *
 * @return The run state; ORVA_RUN_STATE_UNKNOWN while the service type is not "305" and the family type cannot be
 *         read. The next call then reads the environment again.
 */
ORVA_API uint32_t ORVA_GetDeviceRunState(void);

/**
 * Tells whether the run state is ORVA_RUN_STATE_PTN. Thread-safe.
 *
 * @retval 1 It is.
 * @retval 0 It is not, or is not known.
 */
ORVA_API uint32_t ORVA_IsPtnTypeDevice(void);

/**
 * Tells whether the router uses the hardware board role. Thread-safe.
 *
 * Each of the three comparisons calls ORVA_GetDeviceRunState again.
 *
 * @retval 1 The run state is ORVA_RUN_STATE_ROUTER_HARD_ROLE, ORVA_RUN_STATE_PTN or ORVA_RUN_STATE_SERVICE_305.
 * @retval 0 It is another one, or is not known.
 */
ORVA_API uint32_t ORVA_IsRouterUseHardBoardRoleDevice(void);

/* ---- Slot, board and chassis from the driver */

/**
 * Asks the driver for the own logical slot, without the cache. Thread-safe for distinct objects.
 *
 * @param[out] slot Receives the slot; 1 when the driver's code says that the board has no slot number (low half
 *                  0x01A4). After another driver code it holds what the driver left there.
 * @retval ORVA_OK     `slot` is written.
 * @retval ORVA_FAILED `slot` is null.
 * @retval other       The driver's code, after two process records.
 */
ORVA_API uint32_t ORVA_DRVADP_GetSelfSlotID(uint32_t *slot);

/**
 * Own logical slot, asked of the driver until it is known and then cached in g_selfBoardBase. Thread-safe.
 *
 * A driver code other than 0 and the one for no slot number leaves two process records on every call. After a code
 * whose low byte is 0x20, a slot that the driver wrote nevertheless is cached and returned.
 *
 * @return The slot; 1 for a board without slot number; ORVA_SELF_SLOT_UNKNOWN while the driver does not know it. A
 *         slot of 255 counts as unknown, too: the driver is asked again.
 */
ORVA_API uint32_t ORVA_DRVADP_GetSelfSlotVar(void);

/**
 * Own board type. Thread-safe for distinct objects.
 *
 * @param[out] boardType Receives the type, as the driver reports it.
 * @retval ORVA_OK                  `boardType` is written.
 * @retval ORVA_ERR_BOARD_TYPE_NULL `boardType` is null.
 * @retval other                    The driver's code, recorded in the process log.
 */
ORVA_API uint32_t ORVA_DRVADP_GetBoardType(uint32_t *boardType);

/**
 * Chassis (backplane) type. Thread-safe for distinct objects.
 *
 * @param[out] chassisType Receives the type, on success only.
 * @retval ORVA_OK                    `chassisType` is written.
 * @retval ORVA_ERR_CHASSIS_TYPE_NULL `chassisType` is null.
 * @retval other                      The driver's code, recorded in the process log.
 */
ORVA_API uint32_t ORVA_DRVADP_GetChassisType(uint32_t *chassisType);

/**
 * Tells whether the chassis is an Rz frame. Thread-safe.
 *
 * @retval 1 The backplane type is 0x10040, 0x10041, 0x10051, 0x10071 or 0x10074.
 * @retval 0 It is another one, or the query failed, which is recorded in the process log.
 */
ORVA_API uint32_t ORVA_DRVADP_IsRzFrame(void);

/**
 * Value of "Item=" in the own board's electronic label. Thread-safe for distinct objects.
 *
 * A chassis type that cannot be read is recorded in the process log and counts as another frame.
 *
 * @param[out] item    Receives ORVA_BOARD_ITEM_LEN bytes; its last byte is always set to 0.
 * @param[in]  itemLen Bytes at `item`. With fewer than ORVA_BOARD_ITEM_LEN nothing but that last byte is written, the
 *                     system log says so, and the result is ORVA_OK nevertheless.
 * @retval ORVA_OK     The label has an item.
 * @retval ORVA_FAILED `item` is null or `itemLen` is 0, the chassis is an Rz frame (nothing is read there), the label
 *                     cannot be read, or it has no item.
 */
ORVA_API uint32_t ORVA_DRVADP_GetBoardElabelItem(char *item, uint32_t itemLen);

/**
 * Tells whether the own board is a matrix board. Thread-safe. The library is opened on every call.
 *
 * @retval 1 "libdrv_basic.so" can be opened and has the symbol DRV_GetBoardProductType, which is never called.
 * @retval 0 It cannot, or has not.
 */
ORVA_API uint32_t ORVA_DRVADP_IsMatrixBoard(void);

/* ---- Chassis, stack, CPU and slot numbers from the boot environment */

/**
 * Chassis number: from the address of the board's port where there is one, else from the boot environment, else 1.
 * Thread-safe for distinct objects. It may wait for about 300 ms and 300 interface queries.
 *
 * In the environment "stackid" decides, where 0 counts; then "chassisid", where 0 does not. A port whose wait flag is
 * set is asked up to 300 times with pauses of 1 ms.
 *
 * @param[out] chassisId Receives the number.
 * @retval ORVA_OK                  `chassisId` is written.
 * @retval ORVA_ERR_CHASSIS_ID_NULL `chassisId` is null.
 */
ORVA_API uint32_t ORVA_DRVADP_GetChassisID(uint32_t *chassisId);

/**
 * Chassis number from the boot environment alone: "stackid", where 0 counts, else "chassisid" when it is not 0, else
 * 1. Thread-safe for distinct objects.
 *
 * @param[out] chassisId Receives the number.
 * @retval ORVA_OK                      `chassisId` is written.
 * @retval ORVA_ERR_ENV_CHASSIS_ID_NULL `chassisId` is null.
 */
ORVA_API uint32_t ORVA_DRVADP_GetChassisIdFromEnv(uint32_t *chassisId);

/**
 * Number in "chassisid" of the boot environment when it is not 0, else 1. Thread-safe for distinct objects.
 *
 * @param[out] chassisId Receives the number.
 * @retval ORVA_OK                      `chassisId` is written.
 * @retval ORVA_ERR_ENV_CHASSIS_ID_NULL `chassisId` is null.
 */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfChassisId(uint32_t *chassisId);

/**
 * Number in "stackid" of the boot environment. Thread-safe for distinct objects.
 *
 * It is the only reader of the environment that reports a missing key.
 *
 * @param[out] stackId Receives the number, on success only.
 * @retval ORVA_OK                    `stackId` is written.
 * @retval ORVA_ERR_ENV_STACK_ID_NULL `stackId` is null.
 * @retval ORVA_FAILED                The key is missing.
 */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfStackId(uint32_t *stackId);

/**
 * Number in "stkenv_enable" of the boot environment, else 0. Thread-safe for distinct objects.
 *
 * @param[out] enable Receives the number.
 * @retval ORVA_OK                        `enable` is written.
 * @retval ORVA_ERR_ENV_STACK_ENABLE_NULL `enable` is null.
 */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfStackEnable(uint32_t *enable);

/**
 * Number in "cpu_id" of the boot environment, else 0. Thread-safe for distinct objects.
 *
 * @param[out] cpuId Receives the number.
 * @retval ORVA_OK                  `cpuId` is written.
 * @retval ORVA_ERR_ENV_CPU_ID_NULL `cpuId` is null.
 */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfCpuId(uint32_t *cpuId);

/**
 * Number in "slotid" of the boot environment, else 1. Thread-safe for distinct objects.
 *
 * @param[out] slotId Receives the number.
 * @retval ORVA_OK                   `slotId` is written.
 * @retval ORVA_ERR_ENV_SLOT_ID_NULL `slotId` is null.
 */
ORVA_API uint32_t ORVA_DRVADP_GetEnvOfSlotId(uint32_t *slotId);

/**
 * Stack number that the address of a port gives. Thread-safe for distinct objects. It may wait for about 300 ms and
 * 300 interface queries.
 *
 * A port whose wait flag is 1 is asked up to 300 times with pauses of 1 ms.
 *
 * @param[in]  port    Row of g_boardPort, or a row of the same form.
 * @param[out] stackId Receives the lowest octet where octetSelect is 1, else the second-lowest; on success only.
 * @retval ORVA_OK                         `stackId` is written.
 * @retval ORVA_ERR_BOARD_STACK_ARGUMENT   An argument is null.
 * @retval ORVA_ERR_BOARD_STACK_NO_ADDRESS The port has no address and its wait flag is not 1.
 * @retval ORVA_FAILED                     The port had no address at the last try.
 */
ORVA_API uint32_t ORVA_GetBoardStackID(const BoardPortInfo *port, uint32_t *stackId);

/* ---- Cached variables */

/** Frame type. Thread-safe. @return ORVA_FRAME_TYPE_..., 0 until set. */
ORVA_API uint32_t ORVA_DRVADP_GetFrameTypeVar(void);

/**
 * Stores the frame type while it is still 0. Not thread-safe. Part of start-up; of two racing calls the last wins.
 *
 * @param[in] frameType ORVA_FRAME_TYPE_...; ignored when one is stored already.
 */
ORVA_API void ORVA_DRVADP_SetFrameTypeVar(uint32_t frameType);

/** Own chassis number. Thread-safe. @return The number as last set, 0 at load. */
ORVA_API uint32_t ORVA_DRVADP_GetSelfChassisVar(void);

/**
 * Stores the own chassis number. Thread-safe.
 *
 * @param[in] chassis The number; 0 is printed as "-" in diagnostic records.
 */
ORVA_API void ORVA_DRVADP_SetSelfChassisVar(uint32_t chassis);

/** Whether the device is a stack of box devices. Thread-safe. @return The value as last set, 0 at load. */
ORVA_API uint32_t ORVA_DRVADP_GetIsBoxStackVar(void);

/**
 * Stores whether the device is a stack of box devices. Thread-safe.
 *
 * @param[in] isBoxStack 1 = it is, any other value = it is not.
 */
ORVA_API void ORVA_DRVADP_SetIsBoxStackVar(uint32_t isBoxStack);

/* ---- Frame-type predicates */

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 1; else 0. */
ORVA_API uint32_t ORVA_DRVADP_IsQ1m(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 16; else 0. */
ORVA_API uint32_t ORVA_DRVADP_IsQ2m(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 1 or 16; else 0. */
ORVA_API uint32_t ORVA_DRVADP_IsQxm(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 12; else 0. */
ORVA_API uint32_t ORVA_DRVADP_Is1uHalcy(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 10; else 0. */
ORVA_API uint32_t ORVA_DRVADP_Is3uHalcy(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 11; else 0. */
ORVA_API uint32_t ORVA_DRVADP_Is5uHalcy(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 9, 10 or 11; else 0. */
ORVA_API uint32_t ORVA_DRVADP_Is2u3u5uHalcy(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 13 or 21; else 0. */
ORVA_API uint32_t ORVA_DRVADP_IsRzBox(void);

/** Predicate of the stored frame type. Thread-safe. @return 1 for frame type 12, the frame whose fans carry an
 * electronic label; else 0. */
ORVA_API uint32_t ORVA_DRVADP_IsSupportGetFanElabel(void);

/* ---- Board ports and addresses */

/**
 * Runs one IPv4 query on a network interface. Thread-safe for distinct objects. Each query has a socket of its own.
 *
 * @param[in]  ifName  Interface name; one of more than 15 characters is recorded, and the query fails.
 * @param[in]  request SIOCGIFADDR (0x8915) or SIOCGIFNETMASK (0x891B).
 * @param[out] value   Receives the address or the mask, host byte order, on success only.
 * @retval ORVA_OK     `value` is written.
 * @retval ORVA_FAILED An argument is null, there is no socket, or the interface has no answer.
 */
ORVA_API uint32_t ORVA_QueryEthPortCfg(const char *ifName, int32_t request, uint32_t *value);

/**
 * IPv4 address of a network interface. Thread-safe for distinct objects.
 *
 * @param[in]  ifName As for ORVA_QueryEthPortCfg.
 * @param[out] ip     Receives the address, host byte order, on success only.
 * @retval ORVA_OK     `ip` is written.
 * @retval ORVA_FAILED As ORVA_QueryEthPortCfg.
 */
ORVA_API uint32_t ORVA_GetIpAddress(const char *ifName, uint32_t *ip);

/**
 * Finds the port of a board type. Thread-safe.
 *
 * @param[in] boardType Board type.
 * @return The row of g_boardPort; null when the type has none.
 */
ORVA_API const BoardPortInfo *ORVA_GetBoardEthInfo(uint32_t boardType);

/**
 * Runs a query on the backup ports, "bond0" first, "veth0" when that fails. Thread-safe for distinct objects.
 *
 * Despite its name it serves addresses and netmasks.
 *
 * @param[out] value   Receives the answer, host byte order, on success only.
 * @param[in]  request SIOCGIFADDR or SIOCGIFNETMASK.
 * @retval ORVA_OK     `value` is written.
 * @retval ORVA_FAILED Both ports failed, or `value` is null.
 */
ORVA_API uint32_t ORVA_GetBakEthInfoMask(uint32_t *value, uint32_t request);

/** Address of "bond0", else of "veth0". Thread-safe. @return The address, host byte order; 0 when both fail. */
ORVA_API uint32_t ORVA_GetEthPortIpAddr(void);

/**
 * Netmask of the port of a board type, or of the backup ports for a type without a row. Thread-safe for distinct
 * objects.
 *
 * @param[in]  boardType Board type.
 * @param[out] mask      Receives the netmask, host byte order, on success only.
 * @retval ORVA_OK     `mask` is written.
 * @retval ORVA_FAILED The query failed, or `mask` is null.
 */
ORVA_API uint32_t ORVA_GetSubNetMask(uint32_t boardType, uint32_t *mask);

/**
 * Internal address of a word whose two low octets are b1 and b0. Thread-safe.
 *
 * @param[in] ip The word, host byte order.
 * @return 172.16.(255 - b1).(255 - b0), host byte order. A b1 of 255 gives 1 in the third octet, so that the result
 *         stays out of 172.16.0.x.
 */
ORVA_API uint32_t ORVA_ComputerSubNetIpAddress(int32_t ip);

/**
 * Internal address derived from the own board's netmask by ORVA_ComputerSubNetIpAddress. Thread-safe.
 *
 * A board type that cannot be read is recorded and counts as 0.
 *
 * @param[in] force 0 returns 0 without a netmask; any other value uses a netmask of 0 then.
 * @return The address, host byte order; 0 when there is no netmask and `force` is 0.
 */
ORVA_API uint32_t ORVA_GetSubNetIpAddress(int32_t force);

/**
 * Board identifier of a power-module model name. Thread-safe for distinct objects.
 *
 * @param[in]  name    Model name, compared exactly.
 * @param[out] boardId Receives the identifier, on success only.
 * @retval ORVA_OK     `boardId` is written.
 * @retval ORVA_FAILED An argument is null, or the name is unknown.
 */
ORVA_API uint32_t ORVA_COMM_BoardNameToBoardId(const char *name, uint32_t *boardId);

ORVA_END_DECLS

#define ORVA_LAYOUT_DRVADP_COMM
#include "orva_layout.h"

#endif
