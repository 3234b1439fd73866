/*
 * Safe-I/O library: bounded copy and format functions, and descriptors with a tracked owner.
 * Declarations only; the process brings an implementation.
 *
 * The copy and fill functions return 0 or a non-zero error number. On failure memcpy_s and memset_s leave their
 * destination as it was, and a string destination is left empty where it has room for that. A null pointer is an
 * error also for a count of 0.
 *
 * A tracked descriptor carries its owner above bit 15; the kernel's descriptor is the low 16 bits. socket_s returns a
 * tracked descriptor, pipe_s plain ones; read_s, write_s, close_s and fchmod_s take either.
 */
#ifndef SAFEIO_H
#define SAFEIO_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SAFEIO_KERNEL_FD_MASK 0xFFFF /* the kernel's descriptor in a tracked one */

#if defined(__GNUC__)
#define SAFEIO_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#define SAFEIO_SCANF(formatIndex, firstArgument) __attribute__((format(scanf, formatIndex, firstArgument)))
#else
#define SAFEIO_PRINTF(formatIndex, firstArgument)
#define SAFEIO_SCANF(formatIndex, firstArgument)
#endif

int memcpy_s(void *dst, size_t dstSize, const void *src, size_t count);
int memset_s(void *dst, size_t dstSize, int value, size_t count);
int strcpy_s(char *dst, size_t dstSize, const char *src);
int strncpy_s(char *dst, size_t dstSize, const char *src, size_t count);
int strcat_s(char *dst, size_t dstSize, const char *src);

/* The number of characters written; -1 and an empty text when the text and its zero do not fit. */
SAFEIO_PRINTF(3, 4)
int sprintf_s(char *dst, size_t dstSize, const char *format, ...);

/* At most `count` characters and a zero (`count` < `dstSize`). A text cut at `count` is no failure: the result is the
 * number of characters written. -1 on a bad argument, and when `count` >= `dstSize` and the text does not fit. */
SAFEIO_PRINTF(4, 5)
int snprintf_s(char *dst, size_t dstSize, size_t count, const char *format, ...);
SAFEIO_PRINTF(4, 0)
int vsnprintf_s(char *dst, size_t dstSize, size_t count, const char *format, va_list args);

/* Reads numbers as sscanf does, with the same result. */
SAFEIO_SCANF(2, 3)
int sscanf_s(const char *text, const char *format, ...);

int pipe_s(int fds[2]);
int socket_s(int domain, int type, int protocol);
ssize_t read_s(int fd, void *buffer, size_t length);
ssize_t write_s(int fd, const void *buffer, size_t length);
int close_s(int fd);
int fchmod_s(int fd, mode_t mode);

/* Stores an owner below 0x8000 for a plain descriptor and returns 0, or returns -1 for a negative descriptor. */
int SetFdOwner(int fd, uint32_t module, uint32_t *owner);

/* The tracked descriptor of (`fd`, `owner`), negative on failure. */
int safeio_fd_owner_assemble(int fd, uint32_t owner);

#ifdef __cplusplus
}
#endif

#endif
