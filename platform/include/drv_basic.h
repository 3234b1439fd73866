/*
 * Driver layer ("libdrv_basic.so"): boot environment, slot, board, backplane, electronic label.
 * Declarations only; the process brings an implementation. Every result is 0 on success.
 *
 * `DRV_GetBoardProductType` is not declared: it is only looked up by name, and its presence marks a matrix board.
 */
#ifndef DRV_BASIC_H
#define DRV_BASIC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define DRV_SELF_BOARD 0xFFFFFFFFu /* slot argument that stands for the own board */
#define DRV_NO_SLOT 0x01A4u        /* low half of the slot query's code: the board has no slot number */

/* Copies the boot-environment value of `key` as zero-terminated text. */
uint32_t drv_env_get(const char *key, char *buffer, uint32_t bufferLen);

/* Stores the own logical slot. */
uint32_t drv_board_get_self_logic_slotid(uint32_t *slot);

/* Stores the board type of a slot. */
uint32_t drv_board_get_type(uint32_t slot, uint32_t *boardType);

/* Stores the backplane (chassis) type. */
uint32_t drv_backplane_get_type(uint32_t *type);

/* Reads electronic label `index` of the board in `slot` as lines of the form key=value. */
uint32_t drv_elabel_read(uint32_t slot, uint32_t index, char *buffer, uint32_t bufferLen);

#ifdef __cplusplus
}
#endif

#endif
