/*
 * Sensor helpers: pure functions about sensor owners, device modifiers and PMBus number formats.
 * Every function is safe to call from any thread.
 */
#ifndef ORVA_SENSOR_H
#define ORVA_SENSOR_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_LINEAR16_NULL ORVA_RESULT(0xD5u, ORVA_REASON_NULL)
#define ORVA_ERR_LINEAR16_LENGTH ORVA_RESULT(0xD6u, ORVA_REASON_CHECK)

/*
 * The 7-bit system id of a sensor's owner id (IPMI sensor data record, owner id in bits 7 to 1).
 * ownerId: 0 to 255.
 * Returns ownerId shifted right by one.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_SENSOR_GetSensorOwnerSysID(uint8_t ownerId);

/*
 * The LUN bits of a sensor's owner (IPMI sensor data record, owner LUN).
 * ownerLun: any value.
 * Kept: the mask is 0x11, not IPMI's two-bit LUN mask.
 * Returns ownerLun AND 0x11.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_SENSOR_GetSensorOwnerLun(uint32_t ownerLun);

/*
 * Tells whether a sensor sits on the fixed card: its system id is 2 and its LUN bits are not 0.
 * ownerId, ownerLun: as above.
 * Returns 1 or 0.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_SENSOR_IsOnFixCard(uint8_t ownerId, uint32_t ownerLun);

/*
 * Tells whether a device modifier has every bit that is wanted.
 * have: the modifier. want: the bits, of which the low eight count.
 * Returns 1 when (want AND NOT have) AND 0xFF is 0, else 0.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_SENSOR_JudgeDeviceModifier(int32_t have, int32_t want);

/*
 * Converts a PMBus LINEAR11 word to an integer (PMBus specification, part II: exponent in bits 15 to 11, mantissa
 * in bits 10 to 0).
 * raw: the word, in host order, 0 to 0xFFFF.
 * Kept: the mantissa is taken from ten bits, its sign is ignored, and a result above 500 is replaced by raw >> 3.
 * Returns the integer.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_SENSOR_Linear2Uint(uint32_t raw);

/*
 * Converts a PMBus LINEAR16 word with exponent -9 to a number (PMBus specification, part II).
 * raw: the word, in host order, unsigned. rawLen: its length in bytes, 2. value: out, raw * 2^-9.
 * Returns ORVA_OK; ORVA_ERR_LINEAR16_NULL for a null raw; ORVA_ERR_LINEAR16_LENGTH, with an error record, for another
 * length. `value` is written on success only and is not checked.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_SENSOR_LastWordsFormatLinear16Q9(const uint16_t *raw, int32_t rawLen, double *value);

/*
 * Tells whether a part code is that of the power module whose power-good signal is inverted.
 * partCode: zero-terminated, from the module's electronic label.
 * Returns 1 when it is exactly "07465KWD", else 0, also for null.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsOppositePgPower(const char *partCode);

ORVA_END_DECLS

#endif
