/**
 * @file
 * What every public header shares: the export marker, format checking, and how result codes are built.
 */
#ifndef ORVA_TYPES_H
#define ORVA_TYPES_H

#include <stddef.h>
#include <stdint.h>

/** @cond */
#if defined(__GNUC__)
#define ORVA_API __attribute__((visibility("default")))
#define ORVA_PRINTF(formatIndex) __attribute__((format(printf, formatIndex, formatIndex + 1)))
#else
#define ORVA_API
#define ORVA_PRINTF(formatIndex)
#endif

#ifdef __cplusplus
#define ORVA_BEGIN_DECLS extern "C" {
#define ORVA_END_DECLS }
#define ORVA_STATIC_ASSERT static_assert
#else
#define ORVA_BEGIN_DECLS
#define ORVA_END_DECLS
#define ORVA_STATIC_ASSERT _Static_assert
#endif

#ifdef __cplusplus
constexpr uint32_t orva_result(uint32_t site, uint32_t reason) {
    return (site << 16) | reason;
}
#define ORVA_RESULT(site, reason) orva_result((site), (reason))
#else
/** @endcond */
/** A failure code: the site number is fixed per failure site, the reason names the kind. */
#define ORVA_RESULT(site, reason) (((uint32_t)(site) << 16) | (uint32_t)(reason))
/** @cond */
#endif
/** @endcond */

#define ORVA_OK 0u     /**< Success. */
#define ORVA_FAILED 1u /**< Plain failure, without a site. */

#define ORVA_REASON_OTHER 0x01u         /**< Other failure, or lock failed. */
#define ORVA_REASON_CHECK 0x06u         /**< Invalid header, or check failed. */
#define ORVA_REASON_NOT_FOUND 0x08u     /**< No such entry. */
#define ORVA_REASON_NULL 0x0Bu          /**< Null argument; in some areas no memory. */
#define ORVA_REASON_NO_ADDRESS 0x20u    /**< The interface has no address. */
#define ORVA_REASON_NO_MEMORY 0x41u     /**< Out of memory. */
#define ORVA_REASON_BUFFER_MEMORY 0x5Cu /**< Memory of a mutex or a buffer unavailable. */
#define ORVA_REASON_ARGUMENT 0x5Du      /**< Invalid argument. */
#define ORVA_REASON_SYSTEM 0x5Eu        /**< System call failed. */
#define ORVA_REASON_CHECKSUM 0x72u      /**< Checksum mismatch. */
#define ORVA_REASON_COPY 0x7Du          /**< Copy, seek or size failure. */
#define ORVA_REASON_READ 0x7Eu          /**< Short read. */
#define ORVA_REASON_OPEN 0x84u          /**< File cannot be opened for reading. */
#define ORVA_REASON_LENGTH 0xC6u        /**< Invalid packet length. */
#define ORVA_REASON_FILE 0xE4u          /**< File or directory cannot be opened or made. */
#define ORVA_REASON_WRITE 0xE5u         /**< Short write. */
#define ORVA_REASON_EMPTY 0xF4u         /**< Empty input. */
#define ORVA_REASON_ABSENT 0xF5u        /**< Key absent. */

#endif
