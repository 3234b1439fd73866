/*
 * Sensor simulation: the test-time store behind stub values and simulated sensors.
 *
 * A simulation root is made and filled by the program that owns it and installed here, one for the management process
 * and one for the agent side of the same process image. The library never allocates or frees a root; it allocates the
 * sensor items that it adds. Null, the value at load, means no simulation.
 *
 * Thread safety: no locks. The owner serialises add, delete, dump and changes of the stub list; look-ups only read.
 */
#ifndef ORVA_SIMULATE_COMM_H
#define ORVA_SIMULATE_COMM_H

#include "miro.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_SIMULATE_STUBS 32u       /* stub entries that are looked at */
#define ORVA_SIMULATE_STUB_NAME 32u   /* bytes of a stub name, its zero included */
#define ORVA_SIMULATE_BOARD_PAIRS 32u /* board-online pairs */
#define ORVA_SIMULATE_SENSORS 64u     /* simulated sensors at most */

/* Results of a look-up. */
#define ORVA_SIMULATE_NOT_SET 1u /* the root has no such stub */
#define ORVA_SIMULATE_NO_ROOT 2u /* no root is installed */

/* Result codes of ORVA_SimulateSensorDelItem. */
#define ORVA_ERR_SIMULATE_NULL_ROOT ORVA_RESULT(0x80u, ORVA_REASON_NULL)
#define ORVA_ERR_SIMULATE_NULL_VALUE ORVA_RESULT(0x81u, ORVA_REASON_NULL)
#define ORVA_ERR_SIMULATE_NO_SENSOR ORVA_RESULT(0x89u, ORVA_REASON_NOT_FOUND)

/* One stub value; also an entry of the agent simulate message. */
typedef struct OrvaStubItem {
    uint32_t stubType; /* row of g_acStubParaBuf */
    int32_t stubValue;
    char stubName[ORVA_SIMULATE_STUB_NAME]; /* a table name, or a composed one such as 3_1_pmSwitch */
} OrvaStubItem;

/* One board-online override. */
typedef struct OrvaBoardOnlinePair {
    uint8_t slot;
    uint8_t state;
} OrvaBoardOnlinePair;

/* Simulation root. */
typedef struct OrvaSimulateRoot {
    uint32_t stubCount; /* valid entries in stubs */
    OrvaStubItem stubs[ORVA_SIMULATE_STUBS];
    OrvaBoardOnlinePair boardOnline[ORVA_SIMULATE_BOARD_PAIRS];
    uint32_t sensorCount;     /* items in sensorTree */
    MIRO_AVL_TREE sensorTree; /* its owner sets compare to ORVA_simulateSensorCompare */
} OrvaSimulateRoot;

/* Simulated sensor, allocated by ORVA_SimulateSensorAddItem. */
typedef struct OrvaSimulateSensorItem {
    uint8_t key[4]; /* sensorType, slotId, keyExtra, sensorNum */
    uint8_t sensorMask;
    int32_t sensorValue;
    MIRO_AVL_NODE node; /* self and key point at the item */
} OrvaSimulateSensorItem;

/* Sensor request; only the low 8 bits of each member are kept. */
typedef struct OrvaSimulateSensorReq {
    uint32_t lead; /* not read */
    uint32_t slotId;
    uint32_t keyExtra;
    uint32_t sensorType;
    uint32_t sensorNum;
    uint32_t gap; /* not read */
    uint32_t sensorMask;
} OrvaSimulateSensorReq;

/* The installed roots, null until installed. */
extern ORVA_API OrvaSimulateRoot *g_orvaSimulate;
extern ORVA_API OrvaSimulateRoot *g_orvaAgentSimulate;

/*
 * Installs the root of the management process.
 *
 * root: stays the caller's and must outlive its installation; null switches simulation off.
 */
ORVA_API void ORVA_simulateSetRoot(OrvaSimulateRoot *root);

/* The root of the management process, or null. */
ORVA_API OrvaSimulateRoot *ORVA_simulateGetRoot(void);

/*
 * Installs the root of the agent side.
 *
 * root: stays the caller's and must outlive its installation; null switches simulation off.
 */
ORVA_API void ORVA_simulateSetRootForAgent(OrvaSimulateRoot *root);

/* The root of the agent side, or null. */
ORVA_API OrvaSimulateRoot *ORVA_simulateGetRootForAgent(void);

/*
 * Looks a stub value up. The first entry, among the first 32, whose type and whole name are equal wins.
 *
 * root:      may be null. name: the stub's name, case-sensitive. stubType: its type.
 * dst:       out: the value, cut to the width that widthCode gives: 0 = 8 bits, 1 = 16, 2 = 32; any other code (and a
 *            null dst) stores nothing but counts as found. Any address.
 * Returns 0 (ORVA_OK) when found; 1 (ORVA_SIMULATE_NOT_SET) when there is no such entry or name is null; 2
 * (ORVA_SIMULATE_NO_ROOT) for a null root.
 */
ORVA_API uint32_t ORVA_simulateGetValue(const OrvaSimulateRoot *root, const char *name, uint32_t stubType, void *dst,
                                        uint32_t widthCode);

/*
 * The order of the sensor tree: by sensor type, then slot, then keyExtra, then sensor number.
 *
 * keyA, keyB: four key bytes each.
 * Returns 1, -1 or 0 as keyA orders after, before or with keyB; 1 when either is null.
 */
ORVA_API int32_t ORVA_simulateSensorCompare(const void *keyA, const void *keyB);

/*
 * Adds a simulated sensor, or updates the mask of a present one.
 *
 * Kept: adding a present sensor again changes its mask only; its value stays.
 * Nothing happens for a null root or request, with 64 sensors present, and when no memory can be had.
 *
 * root: its tree is ready. req: key and mask. value: the sensor's reading.
 */
ORVA_API void ORVA_SimulateSensorAddItem(OrvaSimulateRoot *root, const OrvaSimulateSensorReq *req, int32_t value);

/*
 * Removes a simulated sensor and frees its item.
 *
 * root: its tree is ready. req: the key; its mask is not read. oldValue: out, on success: the sensor's value.
 * Returns 0 (ORVA_OK); ORVA_ERR_SIMULATE_NULL_ROOT for a null root; ORVA_ERR_SIMULATE_NULL_VALUE for a null oldValue;
 * ORVA_ERR_SIMULATE_NO_SENSOR when no such sensor is present, or for a null request.
 */
ORVA_API uint32_t ORVA_SimulateSensorDelItem(OrvaSimulateRoot *root, const OrvaSimulateSensorReq *req,
                                             int32_t *oldValue);

/*
 * Writes the sensors and the stub list of a root to the process log.
 *
 * Kept: all stubCount entries are written, not only the 32 that fit the root; whoever sets a larger count provides
 * the memory behind it.
 *
 * root: null writes nothing.
 */
ORVA_API void ORVA_SimulatePrintLocal(const OrvaSimulateRoot *root);

ORVA_END_DECLS

#define ORVA_LAYOUT_SIMULATE_COMM
#include "orva_layout.h"

#endif
