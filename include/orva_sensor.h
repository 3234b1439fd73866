/**
 * @file
 * Sensor helpers: pure functions about sensor owners, device modifiers and PMBus number formats.
 */
#ifndef ORVA_SENSOR_H
#define ORVA_SENSOR_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_LINEAR16_NULL ORVA_RESULT(0xD5u, ORVA_REASON_NULL)    /**< Null word. */
#define ORVA_ERR_LINEAR16_LENGTH ORVA_RESULT(0xD6u, ORVA_REASON_CHECK) /**< Not a 16-bit word. */

/**
 * System id of a sensor's owner (IPMI sensor data record: owner id, bits 7 to 1). Thread-safe.
 *
 * @param[in] ownerId Owner id, 0 to 255.
 * @return The 7-bit system id, ownerId shifted right by one.
 */
ORVA_API uint32_t ORVA_SENSOR_GetSensorOwnerSysID(uint8_t ownerId);

/**
 * LUN bits of a sensor's owner (IPMI sensor data record: owner LUN). Thread-safe.
 *
 * The mask is 0x11 (bits 0 and 4), not IPMI's two-bit LUN mask.
 *
 * @param[in] ownerLun Owner LUN, any value.
 * @return ownerLun AND 0x11.
 */
ORVA_API uint32_t ORVA_SENSOR_GetSensorOwnerLun(uint32_t ownerLun);

/**
 * Tells whether a sensor is on the fixed card. Thread-safe.
 *
 * @param[in] ownerId  Owner id, 0 to 255.
 * @param[in] ownerLun Owner LUN, any value.
 * @retval 1 The system id is 2 and the LUN bits (ORVA_SENSOR_GetSensorOwnerLun) are not 0.
 * @retval 0 It is not.
 */
ORVA_API uint32_t ORVA_SENSOR_IsOnFixCard(uint8_t ownerId, uint32_t ownerLun);

/**
 * Tells whether a device modifier has every bit that is wanted. Thread-safe.
 *
 * @param[in] have The modifier.
 * @param[in] want The bits, of which the low eight count.
 * @retval 1 (want AND NOT have) AND 0xFF is 0.
 * @retval 0 A wanted bit is missing.
 */
ORVA_API uint32_t ORVA_SENSOR_JudgeDeviceModifier(int32_t have, int32_t want);

/**
 * Converts a PMBus LINEAR11 word to an integer. Thread-safe.
 *
 * LINEAR11 has the exponent in bits 15 to 11 and the mantissa in bits 10 to 0, both in two's complement. This
 * conversion differs: the mantissa is bits 9 to 0 and its sign (bit 10) is ignored; an exponent of -16 counts as 0;
 * fractions are dropped; the result is taken modulo 65536, and a result above 500 is replaced by raw >> 3.
 *
 * @param[in] raw The word, host byte order, 0 to 0xFFFF.
 * @return The integer, in the unit of the reading.
 */
ORVA_API uint32_t ORVA_SENSOR_Linear2Uint(uint32_t raw);

/**
 * Converts a PMBus LINEAR16 word with exponent -9 to a number. Thread-safe for distinct objects.
 *
 * @param[in]  raw    The word, host byte order, unsigned, at any address.
 * @param[in]  rawLen Length of the word in bytes, 2.
 * @param[out] value  Receives raw * 2^-9, on success only; not checked for null.
 * @retval ORVA_OK                  `value` is written.
 * @retval ORVA_ERR_LINEAR16_NULL   `raw` is null.
 * @retval ORVA_ERR_LINEAR16_LENGTH `rawLen` is not 2; an error record says so.
 */
ORVA_API uint32_t ORVA_SENSOR_LastWordsFormatLinear16Q9(const uint16_t *raw, int32_t rawLen, double *value);

/**
 * Tells whether a part code is that of the power module whose power-good signal is inverted. Thread-safe.
 *
 * @param[in] partCode Part code of the module, zero-terminated, or null: the item of its electronic label up to the
 *                     first '-' (ORVA_VER_TransformItemLabel).
 * @retval 1 The code is exactly "07465KWD".
 * @retval 0 Any other code, also a longer one that begins so, and null.
 */
ORVA_API uint32_t ORVA_IsOppositePgPower(const char *partCode);

ORVA_END_DECLS

#endif
