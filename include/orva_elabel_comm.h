/**
 * @file
 * Electronic labels: values of key=value lines, substring test, part code of an item.
 */
#ifndef ORVA_ELABEL_COMM_H
#define ORVA_ELABEL_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_ELABEL_LABEL_NULL ORVA_RESULT(0x4Eu, ORVA_REASON_NULL)   /**< Null label. */
#define ORVA_ERR_ELABEL_KEY_NULL ORVA_RESULT(0x4Fu, ORVA_REASON_NULL)     /**< Null key. */
#define ORVA_ERR_ELABEL_VALUE_NULL ORVA_RESULT(0x50u, ORVA_REASON_NULL)   /**< Null value buffer. */
#define ORVA_ERR_ELABEL_EMPTY ORVA_RESULT(0x53u, ORVA_REASON_EMPTY)       /**< Empty label. */
#define ORVA_ERR_ELABEL_KEY_ABSENT ORVA_RESULT(0x58u, ORVA_REASON_ABSENT) /**< The label lacks the key. */

/**
 * Copies the value that follows a key in a label, up to the end of its line. Thread-safe for distinct objects.
 *
 * The three null pointers are checked in the order of the list and recorded in the system log.
 *
 * @param[in]  label    Zero-terminated text of lines that end in a line feed or in a carriage return and a line feed.
 * @param[in]  labelLen Bytes of the label that a value may reach, counted from its start.
 * @param[in]  key      Zero-terminated, with its "=", for example "Item=". Its first occurrence counts, also inside a
 *                      longer key.
 * @param[out] value    Receives the value, zero-terminated; a longer value is truncated to `valueLen` - 1 characters.
 * @param[in]  valueLen Bytes at `value`, at least 1.
 * @retval ORVA_OK                    The value is copied.
 * @retval ORVA_ERR_ELABEL_LABEL_NULL `label` is null.
 * @retval ORVA_ERR_ELABEL_KEY_NULL   `key` is null.
 * @retval ORVA_ERR_ELABEL_VALUE_NULL `value` is null.
 * @retval ORVA_ERR_ELABEL_EMPTY      The label is empty.
 * @retval ORVA_ERR_ELABEL_KEY_ABSENT The label lacks the key. `value` is unchanged and nothing is recorded.
 * @retval ORVA_FAILED                The copy failed (`valueLen` is 0), which is recorded.
 */
ORVA_API uint32_t ORVA_GetElabelElement(const char *label, uint32_t labelLen, const char *key, char *value,
                                        uint32_t valueLen);

/**
 * Tells whether a text occurs anywhere in a label. Thread-safe.
 *
 * @param[in] label Zero-terminated; not checked for null.
 * @param[in] text  Zero-terminated; not checked for null.
 * @retval 1 It occurs.
 * @retval 0 It does not.
 */
ORVA_API uint32_t ORVA_CheckElabelString(const char *label, const char *text);

/**
 * Copies an item up to, not including, its first '-' (the part code); the whole item when it has none. Thread-safe
 * for distinct objects.
 *
 * @param[in]  item   Zero-terminated, or null, which does nothing.
 * @param[out] out    Receives the part code, zero-terminated.
 * @param[in]  outLen Bytes at `out`.
 * @retval ORVA_OK The part code is copied, or `item` is null.
 * @retval other   The copy failed (`out` is null or `outLen` too small): the result of the system log's sink, not 0
 *                 in practice.
 */
ORVA_API uint32_t ORVA_VER_TransformItemLabel(const char *item, char *out, uint32_t outLen);

ORVA_END_DECLS

#endif
