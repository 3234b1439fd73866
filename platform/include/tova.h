/**
 * @file
 * Base logging library of the platform: process, diagnostic, security and life-cycle records.
 *
 * Declarations only; the process brings an implementation. Formats are those of printf.
 */
#ifndef TOVA_H
#define TOVA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TOVA_PLOG_INFO 1u  /**< logType of an ordinary process record. */
#define TOVA_PLOG_ERROR 3u /**< logType of an error record. */

/** @cond */
#if defined(__GNUC__)
#define TOVA_PRINTF(formatIndex) __attribute__((format(printf, formatIndex, (formatIndex) + 1)))
#else
#define TOVA_PRINTF(formatIndex)
#endif
/** @endcond */

/**
 * Writes a process record under the name of a process. Thread-safe.
 *
 * @param[in] logType  TOVA_PLOG_INFO or TOVA_PLOG_ERROR; the library also passes 2.
 * @param[in] procName Name of the process.
 * @param[in] module   Module bits of the record.
 * @param[in] level    The caller's code for the record.
 * @param[in] format   Format in the manner of printf.
 * @param[in] ...      Its arguments.
 * @return 0 on success. The library ignores it, except in ORVA_DeleteCap.
 */
TOVA_PRINTF(5)
uint32_t TOVA_PLogByProcName(uint32_t logType, const char *procName, uint32_t module, uint32_t level,
                             const char *format, ...);

/**
 * Writes a diagnostic record of five words and a text. Thread-safe.
 *
 * @param[in] a1     First word; a driver's code or 0.
 * @param[in] a2     Second word; the info id.
 * @param[in] a3     Third word; the level.
 * @param[in] a4     Fourth word; module bits or 0.
 * @param[in] a5     Fifth word; 0.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 * @retval 0     The record is written.
 * @retval other It is not.
 */
TOVA_PRINTF(6)
uint32_t TOVA_DLog(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format, ...);

/**
 * Writes a security record. Thread-safe.
 *
 * @param[in] a1     First word; 0.
 * @param[in] infoId The info id.
 * @param[in] word3  The caller's third word.
 * @param[in] a4     Fourth word; 0.
 * @param[in] a5     Fifth word; 0.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 * @retval 0     The record is written.
 * @retval other It is not.
 */
TOVA_PRINTF(6)
uint32_t TOVA_SecurityEventLog(uint32_t a1, uint32_t infoId, uint32_t word3, uint32_t a4, uint32_t a5,
                               const char *format, ...);

/**
 * Writes a life-cycle record. Thread-safe.
 *
 * @param[in] a1     First word; 0.
 * @param[in] infoId The info id.
 * @param[in] word3  The caller's third word.
 * @param[in] a4     Fourth word; 0.
 * @param[in] a5     Fifth word; 0.
 * @param[in] format Format in the manner of printf.
 * @param[in] ...    Its arguments.
 * @retval 0     The record is written.
 * @retval other It is not.
 */
TOVA_PRINTF(6)
uint32_t TOVA_LifeCycleLog(uint32_t a1, uint32_t infoId, uint32_t word3, uint32_t a4, uint32_t a5, const char *format,
                           ...);

#ifdef __cplusplus
}
#endif

#endif
