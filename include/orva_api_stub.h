/**
 * @file
 * Stub values: overrides of hardware readings, identified by a stub type (a row of the name table) and a name, kept
 * in the stub list of a simulation root (orva_simulate_comm.h).
 *
 * Every reader returns 0 when a stub is set, and another value when the caller goes on with the hardware's reading.
 * Compare the result with 0 only: for a stub type above 212 a reader returns its first argument.
 *
 * The readers only read a root, without locks. Whoever fills the root does so while no reader runs.
 */
#ifndef ORVA_API_STUB_H
#define ORVA_API_STUB_H

#include "orva_simulate_comm.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_STUB_TYPES 213u    /**< Rows of the name table; stub types are 0 to 212. */
#define ORVA_STUB_NAME_SIZE 50u /**< Bytes of a row and of a composed name, the zero included. */

#define ORVA_STUB_WIDTH_8 0u  /**< Width code of an 8-bit destination. */
#define ORVA_STUB_WIDTH_16 1u /**< Width code of a 16-bit destination. */
#define ORVA_STUB_WIDTH_32 2u /**< Width code of a 32-bit destination. */

/** The stub names; the row index is the stub type. They are matched as strings, spelling included. */
extern ORVA_API const char g_acStubParaBuf[ORVA_STUB_TYPES][ORVA_STUB_NAME_SIZE];

/**
 * Looks a name up in the name table. Thread-safe for distinct objects.
 *
 * A row also matches when its name's first occurrence inside `name` is at the very end of it: the composed name
 * 3_1_pmSwitch finds pmSwitch. A name in which the row's name occurs earlier too does not match that row. The first
 * matching row counts.
 *
 * @param[in]  name     The name, zero-terminated, or null.
 * @param[out] stubType Receives the row's index, 0 to 212, on a match only.
 * @retval 1 A row matches.
 * @retval 0 No row matches, or a pointer is null.
 */
ORVA_API uint32_t ORVA_STUB_GetStubType(const char *name, uint32_t *stubType);

/**
 * Tells whether a character may be part of a tester's signed decimal or hexadecimal number. Thread-safe.
 *
 * @param[in] c The character.
 * @retval 1 '-', '0' to '9', 'A' to 'F' and 'a' to 'f'.
 * @retval 0 Any other character.
 */
ORVA_API uint32_t ORVA_STUB_IsDigit(uint8_t c);

/**
 * Stores a value into a destination of a given width. Thread-safe for distinct objects.
 *
 * @param[in]  stubType  Not used.
 * @param[out] dst       At any address: receives the low 8, 16 or 32 bits of `value`, host byte order. Null stores
 *                       nothing.
 * @param[in]  widthCode ORVA_STUB_WIDTH_8, ORVA_STUB_WIDTH_16 or ORVA_STUB_WIDTH_32; any other code stores nothing.
 * @param[in]  value     The value.
 */
ORVA_API void ORVA_STUB_GetCaseValue(uint32_t stubType, void *dst, uint32_t widthCode, int32_t value);

/**
 * Reads a stub of the management process under its bare name. Thread-safe after start-up.
 *
 * @param[in]  stubType  Stub type, 0 to 212.
 * @param[out] dst       As for ORVA_STUB_GetCaseValue, on success only.
 * @param[in]  widthCode As for ORVA_STUB_GetCaseValue.
 * @retval ORVA_OK               The stub is set.
 * @retval ORVA_SIMULATE_NOT_SET The root has no stub of this type and name.
 * @retval ORVA_SIMULATE_NO_ROOT No root is installed.
 * @retval stubType              It is above 212.
 */
ORVA_API uint32_t ORVA_STUB_GetStubValue(uint32_t stubType, void *dst, uint32_t widthCode);

/**
 * Reads a stub of the management process that is set for one board or module, under the name "slot_fru_name".
 * Thread-safe after start-up.
 *
 * @param[in]  slot      Slot; its low 8 bits enter the name.
 * @param[in]  fru       FRU number.
 * @param[in]  stubType  Stub type, 0 to 212.
 * @param[out] dst       As for ORVA_STUB_GetCaseValue, on success only.
 * @param[in]  widthCode As for ORVA_STUB_GetCaseValue.
 * @retval ORVA_OK               The stub is set.
 * @retval ORVA_SIMULATE_NOT_SET The root has no stub of this type and name.
 * @retval ORVA_SIMULATE_NO_ROOT No root is installed.
 * @retval slot                  `stubType` is above 212. This is 0 for slot 0, with nothing stored.
 * @retval other                 The name could not be formatted: the log sink's result, not 0 in practice.
 */
ORVA_API uint32_t ORVA_STUB_GetStubValueAtSlotFru(uint32_t slot, uint8_t fru, uint32_t stubType, void *dst,
                                                  uint32_t widthCode);

/**
 * Reads a 32-bit stub of the management process that is set for one of several parts of a module, under the name
 * "slot_fru_index_name". Thread-safe after start-up.
 *
 * @param[in]  slot     Slot; its low 8 bits enter the name.
 * @param[in]  fru      FRU number.
 * @param[in]  index    Index of the part.
 * @param[in]  stubType Stub type, 0 to 212.
 * @param[out] dst      At any address: receives all 32 bits of the value, on success only.
 * @retval ORVA_OK               The stub is set.
 * @retval ORVA_SIMULATE_NOT_SET The root has no stub of this type and name.
 * @retval ORVA_SIMULATE_NO_ROOT No root is installed.
 * @retval slot                  `stubType` is above 212. This is 0 for slot 0, with nothing stored.
 * @retval other                 The name could not be formatted: the log sink's result, not 0 in practice.
 */
ORVA_API uint32_t ORVA_STUB_GetIntStubValueAtSlotFruIndex(uint32_t slot, uint8_t fru, uint8_t index,
                                                          uint32_t stubType, uint32_t *dst);

/**
 * Reads a stub of the agent side under its bare name. Thread-safe after start-up.
 *
 * @param[in]  stubType  Stub type, 0 to 212.
 * @param[out] dst       As for ORVA_STUB_GetCaseValue, on success only.
 * @param[in]  widthCode As for ORVA_STUB_GetCaseValue.
 * @retval ORVA_OK               The stub is set.
 * @retval ORVA_SIMULATE_NOT_SET The root has no stub of this type and name.
 * @retval ORVA_SIMULATE_NO_ROOT No root is installed.
 * @retval stubType              It is above 212.
 */
ORVA_API uint32_t ORVA_STUB_GetAgentStubValue(uint32_t stubType, void *dst, uint32_t widthCode);

/**
 * Reads a stub of the agent side that is set for one board or module, under the name "slot_fru_name". Thread-safe
 * after start-up.
 *
 * @param[in]  slot      Slot; its low 8 bits enter the name.
 * @param[in]  fru       FRU number.
 * @param[in]  stubType  Stub type, 0 to 212.
 * @param[out] dst       As for ORVA_STUB_GetCaseValue, on success only.
 * @param[in]  widthCode As for ORVA_STUB_GetCaseValue.
 * @retval ORVA_OK               The stub is set.
 * @retval ORVA_SIMULATE_NOT_SET The root has no stub of this type and name.
 * @retval ORVA_SIMULATE_NO_ROOT No root is installed.
 * @retval slot                  `stubType` is above 212. This is 0 for slot 0, with nothing stored.
 * @retval other                 The name could not be formatted: the log sink's result, not 0 in practice.
 */
ORVA_API uint32_t ORVA_STUB_GetAgentStubValueAtSlotFru(uint32_t slot, uint8_t fru, uint32_t stubType, void *dst,
                                                       uint32_t widthCode);

/**
 * Tells whether a root's board-online list holds a pair. Thread-safe for distinct objects. Several threads may read
 * one root while nobody changes it.
 *
 * @param[in]     root  The root; null does nothing.
 * @param[in]     slot  Slot of the pair.
 * @param[in]     state State of the pair.
 * @param[in,out] isSet Becomes 1 when the pair is present, else it keeps its value; null does nothing.
 */
ORVA_API void ORVA_STUB_GetStubBrdOnlineStatus(const OrvaSimulateRoot *root, uint8_t slot, uint8_t state,
                                               uint8_t *isSet);

ORVA_END_DECLS

#endif
