/*
 * System log sink, imported from the management system's logging library. Declaration only.
 */
#ifndef ORVA_WRITE_LOG_H
#define ORVA_WRITE_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one record of `module` at `level` (2 error, 4 debug). The result is non-zero in practice. */
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
uint32_t
ORVA_WriteLog(uint32_t module, uint32_t level, const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
