/*
 * Host safe-I/O: where misuse of descriptors is reported, and which descriptors are tracked. Exists on the host
 * platform only.
 */
#ifndef SAFEIO_HOST_H
#define SAFEIO_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define SAFEIO_HOST_API __attribute__((visibility("default")))
#else
#define SAFEIO_HOST_API
#endif

/* Receives one line of text without a line end; control characters are escaped. The text lives during the call. */
typedef void (*SAFEIO_HOST_REPORTER)(const char *line, void *context);

/*
 * Sets who hears of a descriptor that is used or closed by the wrong owner, twice, or without the tracking.
 *
 * reporter: called on the thread that misused the descriptor, with no lock held, so that it may use this library;
 *   null gives the line to standard error again. It must be callable until it is replaced, and for a call that is
 *   under way at that moment.
 * context: passed to the reporter unchanged.
 *
 * Any thread.
 */
SAFEIO_HOST_API void SAFEIO_HostSetReporter(SAFEIO_HOST_REPORTER reporter, void *context);

/* Receives the kernel's number of a tracked descriptor, its owner, and the module that registered it. */
typedef void (*SAFEIO_HOST_VISITOR)(int fd, uint32_t owner, uint32_t module, void *context);

/*
 * Visits every tracked descriptor in ascending order and returns how many there are.
 *
 * visitor: called with no lock held; null only counts.
 * context: passed to the visitor unchanged.
 *
 * Any thread; what other threads open or close meanwhile may or may not be seen.
 */
SAFEIO_HOST_API uint32_t SAFEIO_HostWalkTracked(SAFEIO_HOST_VISITOR visitor, void *context);

#ifdef __cplusplus
}
#endif

#endif
