/*
 * Stub values: overrides of hardware readings, known by a stub type (a row of the name table) and a name, kept in the
 * stub list of a simulation root (orva_simulate_comm.h).
 *
 * Every reader returns 0 when a stub is set, and non-zero when the caller goes on with the hardware's value:
 *   0                          a stub is set and dst holds its value
 *   1 (ORVA_SIMULATE_NOT_SET)  the root has no stub of this type and name
 *   2 (ORVA_SIMULATE_NO_ROOT)  no root is installed
 * Kept: for a stub type above 212 the result is the reader's first argument, unchanged (the slot, or the type
 * itself); nothing is stored, and callers compare the result with 0 only.
 *
 * Thread safety: the readers only read a root, without locks; whoever fills the root does so while no reader runs.
 */
#ifndef ORVA_API_STUB_H
#define ORVA_API_STUB_H

#include "orva_simulate_comm.h"
#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_STUB_TYPES 213u    /* rows of the name table; stub types are 0 to 212 */
#define ORVA_STUB_NAME_SIZE 50u /* bytes of a row and of a composed name, the zero included */

/* Width codes of a destination; any other code stores nothing, and the look-up still succeeds. */
#define ORVA_STUB_WIDTH_8 0u
#define ORVA_STUB_WIDTH_16 1u
#define ORVA_STUB_WIDTH_32 2u

/* The stub names; the row index is the stub type. They are matched as strings, spelling included. */
extern ORVA_API const char g_acStubParaBuf[ORVA_STUB_TYPES][ORVA_STUB_NAME_SIZE];

/*
 * Looks a name up in the name table.
 *
 * Kept: a row also matches when its name's first occurrence inside `name` is at the very end of it, so a composed
 * name such as 3_1_pmSwitch finds pmSwitch; a name in which the row's name occurs earlier too does not match that
 * row. The first matching row wins.
 *
 * name: a text, or null. stubType: out, on a match: the row's index, 0 to 212.
 * Returns 1 on a match; 0, with *stubType as it was, when no row matches or a pointer is null.
 */
ORVA_API uint32_t ORVA_STUB_GetStubType(const char *name, uint32_t *stubType);

/*
 * Tells whether a character may stand in a tester's signed decimal or hexadecimal number.
 *
 * Returns 1 for '-', '0' to '9', 'A' to 'F' and 'a' to 'f', else 0.
 */
ORVA_API uint32_t ORVA_STUB_IsDigit(uint8_t c);

/*
 * Stores a value into a destination of a given width.
 *
 * stubType:  not used.
 * dst:       out, any address: the low 8, 16 or 32 bits of value, host byte order; null stores nothing.
 * widthCode: ORVA_STUB_WIDTH_8, ORVA_STUB_WIDTH_16 or ORVA_STUB_WIDTH_32; any other code stores nothing.
 */
ORVA_API void ORVA_STUB_GetCaseValue(uint32_t stubType, void *dst, uint32_t widthCode, int32_t value);

/*
 * Reads a stub of the management process under its bare name.
 *
 * stubType: 0 to 212. dst, widthCode: as for ORVA_STUB_GetCaseValue; dst changes only when the result is 0.
 * Returns 0 (ORVA_OK), ORVA_SIMULATE_NOT_SET, ORVA_SIMULATE_NO_ROOT, or stubType itself when it is above 212.
 */
ORVA_API uint32_t ORVA_STUB_GetStubValue(uint32_t stubType, void *dst, uint32_t widthCode);

/*
 * Reads a stub of the management process that is set for one board or module, under the name "slot_fru_name".
 *
 * slot: its low 8 bits enter the name. fru: FRU number. stubType: 0 to 212.
 * dst, widthCode: as for ORVA_STUB_GetCaseValue; dst changes only when the result is 0.
 * Returns 0 (ORVA_OK), ORVA_SIMULATE_NOT_SET, ORVA_SIMULATE_NO_ROOT, or slot when stubType is above 212 (which is 0
 * for slot 0); when the name cannot be formatted, the log sink's result, non-zero in practice.
 */
ORVA_API uint32_t ORVA_STUB_GetStubValueAtSlotFru(uint32_t slot, uint8_t fru, uint32_t stubType, void *dst,
                                                  uint32_t widthCode);

/*
 * Reads a 32-bit stub of the management process that is set for one of several parts of a module, under the name
 * "slot_fru_index_name".
 *
 * slot: its low 8 bits enter the name. fru: FRU number. index: of the part. stubType: 0 to 212.
 * dst: out, any address: all 32 bits of the value; changes only when the result is 0.
 * Returns 0 (ORVA_OK), ORVA_SIMULATE_NOT_SET, ORVA_SIMULATE_NO_ROOT, or slot when stubType is above 212 (which is 0
 * for slot 0); when the name cannot be formatted, the log sink's result, non-zero in practice.
 */
ORVA_API uint32_t ORVA_STUB_GetIntStubValueAtSlotFruIndex(uint32_t slot, uint8_t fru, uint8_t index,
                                                          uint32_t stubType, uint32_t *dst);

/*
 * Reads a stub of the agent side under its bare name.
 *
 * stubType: 0 to 212. dst, widthCode: as for ORVA_STUB_GetCaseValue; dst changes only when the result is 0.
 * Returns 0 (ORVA_OK), ORVA_SIMULATE_NOT_SET, ORVA_SIMULATE_NO_ROOT, or stubType itself when it is above 212.
 */
ORVA_API uint32_t ORVA_STUB_GetAgentStubValue(uint32_t stubType, void *dst, uint32_t widthCode);

/*
 * Reads a stub of the agent side that is set for one board or module, under the name "slot_fru_name".
 *
 * slot: its low 8 bits enter the name. fru: FRU number. stubType: 0 to 212.
 * dst, widthCode: as for ORVA_STUB_GetCaseValue; dst changes only when the result is 0.
 * Returns 0 (ORVA_OK), ORVA_SIMULATE_NOT_SET, ORVA_SIMULATE_NO_ROOT, or slot when stubType is above 212 (which is 0
 * for slot 0); when the name cannot be formatted, the log sink's result, non-zero in practice.
 */
ORVA_API uint32_t ORVA_STUB_GetAgentStubValueAtSlotFru(uint32_t slot, uint8_t fru, uint32_t stubType, void *dst,
                                                       uint32_t widthCode);

/*
 * Tells whether a root's board-online list holds a pair.
 *
 * root: may be null. slot, state: the pair. isSet: out: 1 when the pair is present, else as it was; may be null.
 */
ORVA_API void ORVA_STUB_GetStubBrdOnlineStatus(const OrvaSimulateRoot *root, uint8_t slot, uint8_t state,
                                               uint8_t *isSet);

ORVA_END_DECLS

#endif
