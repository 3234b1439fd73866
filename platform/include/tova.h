/*
 * Base logging library of the platform: process, diagnostic, security and life-cycle records.
 * Declarations only; the process brings an implementation. Formats are those of printf.
 */
#ifndef TOVA_H
#define TOVA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TOVA_PLOG_INFO 1u  /* logType of an ordinary process record */
#define TOVA_PLOG_ERROR 3u /* logType of an error record */

#if defined(__GNUC__)
#define TOVA_PRINTF(formatIndex) __attribute__((format(printf, formatIndex, formatIndex + 1)))
#else
#define TOVA_PRINTF(formatIndex)
#endif

/* Process record under the name of a process; `level` is the caller's code for the record. */
TOVA_PRINTF(5)
uint32_t TOVA_PLogByProcName(uint32_t logType, const char *procName, uint32_t module, uint32_t level,
                             const char *format, ...);

/* Diagnostic record of five words and a text. 0 on success. */
TOVA_PRINTF(6)
uint32_t TOVA_DLog(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format, ...);

/* Security record. 0 on success. */
TOVA_PRINTF(6)
uint32_t TOVA_SecurityEventLog(uint32_t a1, uint32_t infoId, uint32_t word3, uint32_t a4, uint32_t a5,
                               const char *format, ...);

/* Life-cycle record. 0 on success. */
TOVA_PRINTF(6)
uint32_t TOVA_LifeCycleLog(uint32_t a1, uint32_t infoId, uint32_t word3, uint32_t a4, uint32_t a5, const char *format,
                           ...);

#ifdef __cplusplus
}
#endif

#endif
