/**
 * @file
 * Power and fan configuration rules: fixed product rules keyed on board types and on part codes, the part of an
 * electronic label's item before its first '-'.
 */
#ifndef ORVA_POWER_FAN_CFG_H
#define ORVA_POWER_FAN_CFG_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_POWER_LABEL_LEN 2048u /**< Bytes of a label that may hold the date of ORVA_IsWindCheckPower. */

/** Calibration thresholds; their meaning is the caller's. */
typedef struct OrvaCalThreshold {
    uint32_t first;  /**< 100, or 0. */
    uint32_t second; /**< 30, or 0. */
    uint32_t third;  /**< 60, or 0. */
    float fourth;    /**< 0.067, or 0. */
} OrvaCalThreshold;

/**
 * Raises a fan speed to the minimum that a board type imposes. Thread-safe for distinct objects.
 *
 * @param[in]     boardType Board type, any value.
 * @param[in]     value     The level; the rule applies from 31 up.
 * @param[in,out] speed     Fan speed in percent; becomes the larger of the two, on success only.
 * @retval ORVA_OK     The board type imposes a minimum, and `speed` is at least that.
 * @retval ORVA_FAILED `value` is below 31, `speed` is null, or the board type imposes no minimum.
 */
ORVA_API uint32_t ORVA_CFG_GetSpecPowerFanMinSpeed(int32_t boardType, uint32_t value, uint32_t *speed);

/**
 * Tells whether a power module is the 550 W model. Thread-safe.
 *
 * @param[in] unused1   Not used.
 * @param[in] unused2   Not used.
 * @param[in] itemLabel Item of the module's label, zero-terminated, or null.
 * @retval 1 The item's part code is exactly "47068HWL".
 * @retval 0 It is not.
 */
ORVA_API uint32_t ORVA_CFG_Is550WPower(uint32_t unused1, uint32_t unused2, const char *itemLabel);

/**
 * Calibration thresholds of a sensor board. Thread-safe.
 *
 * A null item has an empty part code, and so has one whose code is longer than 31 characters.
 *
 * @param[in] boardType Board type, any value.
 * @param[in] itemLabel Item of the board's label, zero-terminated, or null.
 * @return {100, 30, 60, 0.067} for board type 0x1800C with the part code "51730964" or an empty one; else zeros.
 */
ORVA_API OrvaCalThreshold ORVA_GetCalThresholdPara(uint32_t boardType, const char *itemLabel);

/**
 * Tells whether a power module needs the airflow check: the modules of one part code made up to the end of 2025.
 * Thread-safe.
 *
 * @param[in] itemLabel Item of the module's label, zero-terminated, or null.
 * @param[in] label     The module's electronic label, zero-terminated. Its "Manufactured=" date is taken from the
 *                      first ORVA_POWER_LABEL_LEN bytes.
 * @retval 1 The date has three numbers, its year is at most 2025, and the part code is exactly "47062MZN".
 * @retval 0 It does not need the check.
 */
ORVA_API uint32_t ORVA_IsWindCheckPower(const char *itemLabel, const char *label);

/**
 * Tells whether a board's type is read in the ordinary way. Thread-safe.
 *
 * @param[in] boardType Board type, any value.
 * @param[in] slot      Slot, any value.
 * @retval 0 For board type 1057 and slot -1 only.
 * @retval 1 For every other pair.
 */
ORVA_API uint32_t ORVA_IsSpecBrdGetBrdType(int32_t boardType, int32_t slot);

ORVA_END_DECLS

#define ORVA_LAYOUT_POWER_FAN_CFG
#include "orva_layout.h"

#endif
