/* Sizes and offsets as a C compiler sees them, in the order of the rows. */
#include "every_header.h"

extern const size_t g_layout_as_c[];
extern const size_t g_layout_rows;

const size_t g_layout_as_c[] = {
#define SIZE(record, bytes) sizeof(record),
#define AT(record, field, offset) offsetof(record, field),
#include "layout_rows.inc"
#undef SIZE
#undef AT
};

const size_t g_layout_rows = sizeof g_layout_as_c / sizeof g_layout_as_c[0];
