/**
 * @file
 * Driver layer ("libdrv_basic.so"): boot environment, slot, board, backplane, electronic label.
 *
 * Declarations only; the process brings an implementation. Every result is 0 on success; what other values mean is
 * the driver's. `DRV_GetBoardProductType` is not declared: the library only looks its name up, and its presence marks
 * a matrix board.
 */
#ifndef DRV_BASIC_H
#define DRV_BASIC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define DRV_SELF_BOARD 0xFFFFFFFFu /**< Slot argument that means the own board. */
#define DRV_NO_SLOT 0x01A4u        /**< Low half of the slot query's code: the board has no slot number. */

/**
 * Copies a value of the boot environment. Thread-safe for distinct objects.
 *
 * @param[in]  key       Key, zero-terminated.
 * @param[out] buffer    Receives the value, zero-terminated, on success only.
 * @param[in]  bufferLen Bytes at `buffer`.
 * @retval 0     The value is copied.
 * @retval other The key is missing, or the value does not fit.
 */
uint32_t drv_env_get(const char *key, char *buffer, uint32_t bufferLen);

/**
 * Own logical slot. Thread-safe for distinct objects.
 *
 * @param[out] slot Receives the slot.
 * @retval 0     `slot` is written.
 * @retval other A code whose low half is DRV_NO_SLOT: the board has no slot number. Any other code: not known.
 */
uint32_t drv_board_get_self_logic_slotid(uint32_t *slot);

/**
 * Type of a board. Thread-safe for distinct objects.
 *
 * @param[in]  slot      Slot of the board, or DRV_SELF_BOARD.
 * @param[out] boardType Receives the type.
 * @retval 0     `boardType` is written.
 * @retval other There is no such board.
 */
uint32_t drv_board_get_type(uint32_t slot, uint32_t *boardType);

/**
 * Backplane (chassis) type. Thread-safe for distinct objects.
 *
 * @param[out] type Receives the type.
 * @retval 0     `type` is written.
 * @retval other It is not known.
 */
uint32_t drv_backplane_get_type(uint32_t *type);

/**
 * Reads an electronic label as lines of the form key=value. Thread-safe for distinct objects.
 *
 * @param[in]  slot      Slot of the board, or DRV_SELF_BOARD.
 * @param[in]  index     Number of the label, 0 for the board's own.
 * @param[out] buffer    Receives the label, zero-terminated.
 * @param[in]  bufferLen Bytes at `buffer`.
 * @retval 0     The label is read.
 * @retval other There is none, or it does not fit.
 */
uint32_t drv_elabel_read(uint32_t slot, uint32_t index, char *buffer, uint32_t bufferLen);

#ifdef __cplusplus
}
#endif

#endif
