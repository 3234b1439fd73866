/**
 * @file
 * System log sink, imported from the management system's logging library. Declaration only.
 */
#ifndef ORVA_WRITE_LOG_H
#define ORVA_WRITE_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes one record to the system log. Thread-safe.
 *
 * @param[in] module Module bits of the record.
 * @param[in] level  2 error, 4 debug.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 * @return Not 0 in practice; the host platform returns the number of bytes that it wrote. Some functions of the
 *         library pass it on as their failure code.
 */
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
uint32_t
ORVA_WriteLog(uint32_t module, uint32_t level, const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
