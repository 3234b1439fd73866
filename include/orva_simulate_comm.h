/**
 * @file
 * Sensor simulation: the test-time store of stub values and simulated sensors.
 *
 * A simulation root is made and filled by the program that owns it and installed here, one for the management process
 * and one for the agent side of the same process image. The library never allocates or frees a root; it allocates the
 * sensor items that it adds. Null, the value at load, means no simulation.
 *
 * Nothing locks. The owner of a root serialises add, delete, dump and changes of the stub list; look-ups only read.
 */
#ifndef ORVA_SIMULATE_COMM_H
#define ORVA_SIMULATE_COMM_H

#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_SIMULATE_STUBS 32u       /**< Stub entries that are looked at. */
#define ORVA_SIMULATE_STUB_NAME 32u   /**< Bytes of a stub name, its zero included. */
#define ORVA_SIMULATE_BOARD_PAIRS 32u /**< Board-online pairs. */
#define ORVA_SIMULATE_SENSORS 64u     /**< Simulated sensors at most. */

#define ORVA_SIMULATE_NOT_SET 1u /**< Result of a look-up: the root has no such stub. */
#define ORVA_SIMULATE_NO_ROOT 2u /**< Result of a look-up: no root is installed. */

#define ORVA_ERR_SIMULATE_NULL_ROOT ORVA_RESULT(0x80u, ORVA_REASON_NULL)      /**< Null root. */
#define ORVA_ERR_SIMULATE_NULL_VALUE ORVA_RESULT(0x81u, ORVA_REASON_NULL)     /**< Null output. */
#define ORVA_ERR_SIMULATE_NO_SENSOR ORVA_RESULT(0x89u, ORVA_REASON_NOT_FOUND) /**< No such sensor. */

/** One stub value; also an entry of the agent simulate message. */
typedef struct OrvaStubItem {
    uint32_t stubType;                      /**< Row of g_acStubParaBuf. */
    int32_t stubValue;                      /**< The value that replaces the reading. */
    char stubName[ORVA_SIMULATE_STUB_NAME]; /**< A table name, or a composed one such as 3_1_pmSwitch. */
} OrvaStubItem;

/** One board-online override. */
typedef struct OrvaBoardOnlinePair {
    uint8_t slot;  /**< Slot of the board. */
    uint8_t state; /**< Its state; the values are the caller's. */
} OrvaBoardOnlinePair;

/** Simulation root. */
typedef struct OrvaSimulateRoot {
    uint32_t stubCount;                                         /**< Valid entries in stubs. */
    OrvaStubItem stubs[ORVA_SIMULATE_STUBS];                    /**< Stub values; the first that matches counts. */
    OrvaBoardOnlinePair boardOnline[ORVA_SIMULATE_BOARD_PAIRS]; /**< All pairs count, also zero ones. */
    uint32_t sensorCount;                                       /**< Items in sensorTree. */
    MIRO_AVL_TREE sensorTree;                                   /**< Its owner sets compare to
                                                                     ORVA_simulateSensorCompare. */
} OrvaSimulateRoot;

/** Simulated sensor, allocated by ORVA_SimulateSensorAddItem. */
typedef struct OrvaSimulateSensorItem {
    uint8_t key[4];      /**< sensorType, slotId, keyExtra, sensorNum. */
    uint8_t sensorMask;  /**< The request's mask. */
    int32_t sensorValue; /**< The simulated reading. */
    MIRO_AVL_NODE node;  /**< self and key point at the item. */
} OrvaSimulateSensorItem;

/** Sensor request; only the low 8 bits of each member are kept. */
typedef struct OrvaSimulateSensorReq {
    uint32_t lead;       /**< Not read. */
    uint32_t slotId;     /**< Slot of the sensor. */
    uint32_t keyExtra;   /**< Further part of the key; its meaning is the caller's. */
    uint32_t sensorType; /**< Sensor type. */
    uint32_t sensorNum;  /**< Sensor number. */
    uint32_t gap;        /**< Not read. */
    uint32_t sensorMask; /**< Mask of the sensor; its meaning is the caller's. */
} OrvaSimulateSensorReq;

/** Installed root of the management process, null until installed. */
extern ORVA_API OrvaSimulateRoot *g_orvaSimulate;
/** Installed root of the agent side, null until installed. */
extern ORVA_API OrvaSimulateRoot *g_orvaAgentSimulate;

/**
 * Installs the root of the management process. Not thread-safe. No reader may run meanwhile.
 *
 * @param[in] root Stays the caller's and must live as long as it is installed; null switches simulation off.
 */
ORVA_API void ORVA_simulateSetRoot(OrvaSimulateRoot *root);

/** Root of the management process. Thread-safe after start-up. @return The root, or null. */
ORVA_API OrvaSimulateRoot *ORVA_simulateGetRoot(void);

/**
 * Installs the root of the agent side. Not thread-safe. No reader may run meanwhile.
 *
 * @param[in] root Stays the caller's and must live as long as it is installed; null switches simulation off.
 */
ORVA_API void ORVA_simulateSetRootForAgent(OrvaSimulateRoot *root);

/** Root of the agent side. Thread-safe after start-up. @return The root, or null. */
ORVA_API OrvaSimulateRoot *ORVA_simulateGetRootForAgent(void);

/**
 * Looks a stub value up. Thread-safe for distinct objects. Several threads may read one root while nobody changes it.
 *
 * Among the first 32 entries the first whose type and whole name are equal counts.
 *
 * @param[in]  root      The root, or null.
 * @param[in]  name      The stub's name, case-sensitive, or null.
 * @param[in]  stubType  The stub's type.
 * @param[out] dst       At any address: receives the low 8, 16 or 32 bits of the value, host byte order. Null stores
 *                       nothing.
 * @param[in]  widthCode 0 = 8 bits, 1 = 16, 2 = 32. Any other code stores nothing, and the stub counts as found.
 * @retval ORVA_OK               The stub is set.
 * @retval ORVA_SIMULATE_NOT_SET There is no such entry, or `name` is null.
 * @retval ORVA_SIMULATE_NO_ROOT `root` is null.
 */
ORVA_API uint32_t ORVA_simulateGetValue(const OrvaSimulateRoot *root, const char *name, uint32_t stubType, void *dst,
                                        uint32_t widthCode);

/**
 * Orders two keys of the sensor tree: by sensor type, then slot, then keyExtra, then sensor number. Thread-safe.
 *
 * @param[in] keyA Four key bytes, or null.
 * @param[in] keyB Four key bytes, or null.
 * @retval 1  keyA orders after keyB, or one of them is null.
 * @retval 0  They are equal.
 * @retval -1 keyA orders before keyB.
 */
ORVA_API int32_t ORVA_simulateSensorCompare(const void *keyA, const void *keyB);

/**
 * Adds a simulated sensor, or updates the mask of a present one. Thread-safe for distinct objects.
 *
 * A sensor that is present keeps its value, also when the root holds ORVA_SIMULATE_SENSORS sensors. A new one is not
 * added when the root holds that many or there is no memory handle or no memory.
 *
 * @param[in,out] root  Its tree is ready; null does nothing.
 * @param[in]     req   Key and mask; null does nothing.
 * @param[in]     value The sensor's reading.
 */
ORVA_API void ORVA_SimulateSensorAddItem(OrvaSimulateRoot *root, const OrvaSimulateSensorReq *req, int32_t value);

/**
 * Removes a simulated sensor and frees its item. Thread-safe for distinct objects.
 *
 * @param[in,out] root     Its tree is ready.
 * @param[in]     req      The key; the mask is not read.
 * @param[out]    oldValue Receives the sensor's value, on success only.
 * @retval ORVA_OK                      The sensor is removed.
 * @retval ORVA_ERR_SIMULATE_NULL_ROOT  `root` is null.
 * @retval ORVA_ERR_SIMULATE_NULL_VALUE `oldValue` is null.
 * @retval ORVA_ERR_SIMULATE_NO_SENSOR  No such sensor is present, or `req` is null.
 */
ORVA_API uint32_t ORVA_SimulateSensorDelItem(OrvaSimulateRoot *root, const OrvaSimulateSensorReq *req,
                                             int32_t *oldValue);

/**
 * Writes the sensors and the stub list of a root to the process log. Thread-safe for distinct objects.
 *
 * All stubCount entries are written, not only the 32 that fit the root: whoever sets a larger count provides the
 * memory after it.
 *
 * @param[in] root The root; null writes nothing.
 */
ORVA_API void ORVA_SimulatePrintLocal(const OrvaSimulateRoot *root);

ORVA_END_DECLS

#define ORVA_LAYOUT_SIMULATE_COMM
#include "orva_layout.h"

#endif
