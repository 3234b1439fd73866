/*
 * Power and fan configuration rules: fixed product rules keyed on board types and on part codes, the part of an
 * electronic label's item before its first '-'. Every function is safe to call from any thread.
 */
#ifndef ORVA_POWER_FAN_CFG_H
#define ORVA_POWER_FAN_CFG_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_POWER_LABEL_LEN 2048u /* bytes of electronic label that may hold the date of ORVA_IsWindCheckPower */

/* Calibration thresholds; their meaning is the caller's. */
typedef struct OrvaCalThreshold {
    uint32_t first;
    uint32_t second;
    uint32_t third;
    float fourth;
} OrvaCalThreshold;

/*
 * Raises a fan speed to the minimum that a board type imposes.
 * boardType: any value. value: the level; the rule applies from 31 up. speed: in and out, percent.
 * Returns ORVA_OK with the larger of the two speeds in `*speed`; ORVA_FAILED, with `*speed` unchanged, when `value`
 * is below 31, `speed` is null, or the board type imposes no minimum. Thread-safe.
 */
ORVA_API uint32_t ORVA_CFG_GetSpecPowerFanMinSpeed(int32_t boardType, uint32_t value, uint32_t *speed);

/*
 * Tells whether a power module is the 550 W model.
 * unused1, unused2: not used, any value. itemLabel: the module's label item, zero-terminated.
 * Returns 1 when the item's part code is exactly "47068HWL", else 0.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_CFG_Is550WPower(uint32_t unused1, uint32_t unused2, const char *itemLabel);

/*
 * The calibration thresholds of a sensor board.
 * boardType: any value. itemLabel: the board's label item, zero-terminated.
 * Returns {100, 30, 60, 0.067} for board type 0x1800C with the part code "51730964" or an empty one, else zeros. A
 * null item has an empty part code, and so has one whose code is longer than 31 characters.
 * Thread-safe.
 */
ORVA_API OrvaCalThreshold ORVA_GetCalThresholdPara(uint32_t boardType, const char *itemLabel);

/*
 * Tells whether a power module needs the airflow check: the modules of one part code made up to the end of 2025.
 * itemLabel: the module's label item, zero-terminated. label: its electronic label, zero-terminated, whose
 * date is taken from the first ORVA_POWER_LABEL_LEN bytes.
 * Returns 1 when the label's manufacturing date has a year of at most 2025 and the item's part code is exactly
 * "47062MZN", else 0, also without a date of three numbers.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsWindCheckPower(const char *itemLabel, const char *label);

/*
 * Tells whether a board's type is read in the ordinary way.
 * boardType, slot: any values.
 * Returns 0 for the pair (1057, -1) only, else 1.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsSpecBrdGetBrdType(int32_t boardType, int32_t slot);

ORVA_END_DECLS

#define ORVA_LAYOUT_POWER_FAN_CFG
#include "orva_layout.h"

#endif
