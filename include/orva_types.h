/*
 * What every public header shares: the export marker, format checking, and how result codes are built.
 */
#ifndef ORVA_TYPES_H
#define ORVA_TYPES_H

#include <stddef.h>
#include <stdint.h>

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

/* A failure code is (site << 16) | reason: the site number is fixed per failure site, the reason names the kind. */
#ifdef __cplusplus
constexpr uint32_t orva_result(uint32_t site, uint32_t reason) {
    return (site << 16) | reason;
}
#define ORVA_RESULT(site, reason) orva_result((site), (reason))
#else
#define ORVA_RESULT(site, reason) (((uint32_t)(site) << 16) | (uint32_t)(reason))
#endif

#define ORVA_OK 0u     /* success */
#define ORVA_FAILED 1u /* plain failure, without a site */

/* Reasons. */
#define ORVA_REASON_OTHER 0x01u         /* other failure, or lock failed */
#define ORVA_REASON_CHECK 0x06u         /* invalid header, or check failed */
#define ORVA_REASON_NOT_FOUND 0x08u     /* no such entry */
#define ORVA_REASON_NULL 0x0Bu          /* null argument; in some areas no memory */
#define ORVA_REASON_NO_ADDRESS 0x20u    /* the interface has no address */
#define ORVA_REASON_NO_MEMORY 0x41u     /* out of memory */
#define ORVA_REASON_BUFFER_MEMORY 0x5Cu /* memory of a mutex or a buffer unavailable */
#define ORVA_REASON_ARGUMENT 0x5Du      /* invalid argument */
#define ORVA_REASON_SYSTEM 0x5Eu        /* system call failed */
#define ORVA_REASON_CHECKSUM 0x72u      /* checksum mismatch */
#define ORVA_REASON_COPY 0x7Du          /* copy, seek or size failure */
#define ORVA_REASON_READ 0x7Eu          /* short read */
#define ORVA_REASON_OPEN 0x84u          /* file cannot be opened for reading */
#define ORVA_REASON_LENGTH 0xC6u        /* invalid packet length */
#define ORVA_REASON_FILE 0xE4u          /* file or directory cannot be opened or made */
#define ORVA_REASON_WRITE 0xE5u         /* short write */
#define ORVA_REASON_EMPTY 0xF4u         /* empty input */
#define ORVA_REASON_ABSENT 0xF5u        /* key absent */

#endif
