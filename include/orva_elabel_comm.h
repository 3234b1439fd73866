/*
 * Electronic labels: values of key=value lines, substring test, item base.
 */
#ifndef ORVA_ELABEL_COMM_H
#define ORVA_ELABEL_COMM_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_ELABEL_LABEL_NULL ORVA_RESULT(0x4Eu, ORVA_REASON_NULL)
#define ORVA_ERR_ELABEL_KEY_NULL ORVA_RESULT(0x4Fu, ORVA_REASON_NULL)
#define ORVA_ERR_ELABEL_VALUE_NULL ORVA_RESULT(0x50u, ORVA_REASON_NULL)
#define ORVA_ERR_ELABEL_EMPTY ORVA_RESULT(0x53u, ORVA_REASON_EMPTY)
#define ORVA_ERR_ELABEL_KEY_ABSENT ORVA_RESULT(0x58u, ORVA_REASON_ABSENT)

/* Copies the value that follows a key in a label, up to the end of its line.
 * label: zero-terminated text of lines that end in a line feed or in a carriage return and a line feed.
 * labelLen: bytes of the label that a value may reach, counted from its start.
 * key: zero-terminated and with its "=", for example "Item="; the first occurrence counts, also inside a longer key.
 * value: buffer of valueLen bytes; an over-long value is cut to valueLen - 1 characters; always zero-terminated.
 * Returns ORVA_OK; ORVA_ERR_ELABEL_LABEL_NULL, ORVA_ERR_ELABEL_KEY_NULL or ORVA_ERR_ELABEL_VALUE_NULL, checked in
 * this order and recorded in the system log; ORVA_ERR_ELABEL_EMPTY for an empty label; ORVA_ERR_ELABEL_KEY_ABSENT
 * without a record, value untouched; ORVA_FAILED for a failed copy (a valueLen of 0), recorded.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_GetElabelElement(const char *label, uint32_t labelLen, const char *key, char *value,
                                        uint32_t valueLen);

/* Whether a text occurs anywhere in a label: 1 or 0.
 * label, text: zero-terminated and not null; nothing is checked.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_CheckElabelString(const char *label, const char *text);

/* Copies an item code up to, not including, its first '-'; the whole code when it has none.
 * item: zero-terminated, or null, which does nothing. out: buffer of outLen bytes, zero-terminated on success.
 * Returns ORVA_OK, also for a null item; after a failed copy (null out, outLen too small) the result of the system
 * log's sink, which is non-zero in practice.
 * Thread safety: any thread. */
ORVA_API uint32_t ORVA_VER_TransformItemLabel(const char *item, char *out, uint32_t outLen);

ORVA_END_DECLS

#endif
