/**
 * @file
 * Safe-I/O library: bounded copy and format functions, and descriptors with a tracked owner.
 *
 * Declarations only; the process brings an implementation.
 *
 * The copy and fill functions return 0 or an error number. On failure memcpy_s and memset_s leave their destination
 * as it was, and a string destination is left empty where it has room for that. A null pointer is an error also for a
 * count of 0.
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

#define SAFEIO_KERNEL_FD_MASK 0xFFFF /**< The kernel's descriptor in a tracked one. */

/** @cond */
#if defined(__GNUC__)
#define SAFEIO_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#define SAFEIO_SCANF(formatIndex, firstArgument) __attribute__((format(scanf, formatIndex, firstArgument)))
#else
#define SAFEIO_PRINTF(formatIndex, firstArgument)
#define SAFEIO_SCANF(formatIndex, firstArgument)
#endif
/** @endcond */

/**
 * Copies bytes. Thread-safe for distinct objects.
 *
 * @param[out] dst     Destination; unchanged on failure.
 * @param[in]  dstSize Bytes at `dst`.
 * @param[in]  src     Source; must not overlap `dst`.
 * @param[in]  count   Bytes to copy.
 * @retval 0     The bytes are copied.
 * @retval other An error number: a null pointer, or `count` is above `dstSize`.
 */
int memcpy_s(void *dst, size_t dstSize, const void *src, size_t count);

/**
 * Fills bytes. Thread-safe for distinct objects.
 *
 * @param[out] dst     Destination; unchanged on failure.
 * @param[in]  dstSize Bytes at `dst`.
 * @param[in]  value   Value of each byte, low 8 bits.
 * @param[in]  count   Bytes to fill.
 * @retval 0     The bytes are filled.
 * @retval other An error number: a null pointer, or `count` is above `dstSize`.
 */
int memset_s(void *dst, size_t dstSize, int value, size_t count);

/**
 * Copies a text. Thread-safe for distinct objects.
 *
 * @param[out] dst     Destination; empty on failure where it has room for that.
 * @param[in]  dstSize Bytes at `dst`.
 * @param[in]  src     Zero-terminated.
 * @retval 0     The text and its zero are copied.
 * @retval other An error number: a null pointer, or the text does not fit.
 */
int strcpy_s(char *dst, size_t dstSize, const char *src);

/**
 * Copies at most a number of characters of a text. Thread-safe for distinct objects.
 *
 * @param[out] dst     Destination; empty on failure where it has room for that.
 * @param[in]  dstSize Bytes at `dst`.
 * @param[in]  src     Zero-terminated, or at least `count` characters.
 * @param[in]  count   Characters to copy at most.
 * @retval 0     They are copied, with a zero.
 * @retval other An error number: a null pointer, or they do not fit.
 */
int strncpy_s(char *dst, size_t dstSize, const char *src, size_t count);

/**
 * Appends a text. Thread-safe for distinct objects.
 *
 * @param[in,out] dst     Zero-terminated text; empty on failure where it has room for that.
 * @param[in]     dstSize Bytes at `dst`.
 * @param[in]     src     Zero-terminated.
 * @retval 0     The text is appended.
 * @retval other An error number: a null pointer, or the two do not fit.
 */
int strcat_s(char *dst, size_t dstSize, const char *src);

/**
 * Formats a text. Thread-safe for distinct objects.
 *
 * @param[out] dst     Destination; empty on failure.
 * @param[in]  dstSize Bytes at `dst`.
 * @param[in]  format  Format in the manner of printf.
 * @param[in]  ...     Its arguments.
 * @return Number of characters; -1 when the text and its zero do not fit.
 */
SAFEIO_PRINTF(3, 4)
int sprintf_s(char *dst, size_t dstSize, const char *format, ...);

/**
 * Formats at most a number of characters. Thread-safe for distinct objects. A text truncated at `count` is a success.
 *
 * @param[out] dst     Destination; empty on failure.
 * @param[in]  dstSize Bytes at `dst`.
 * @param[in]  count   Characters to write at most, below `dstSize`.
 * @param[in]  format  Format in the manner of printf.
 * @param[in]  ...     Its arguments.
 * @return Number of characters written; -1 on a bad argument, and when `count` is not below `dstSize` and the text
 *         does not fit.
 */
SAFEIO_PRINTF(4, 5)
int snprintf_s(char *dst, size_t dstSize, size_t count, const char *format, ...);

/**
 * Formats at most a number of characters, as snprintf_s. Thread-safe for distinct objects.
 *
 * @param[out] dst     As for snprintf_s.
 * @param[in]  dstSize As for snprintf_s.
 * @param[in]  count   As for snprintf_s.
 * @param[in]  format  As for snprintf_s.
 * @param[in]  args    Arguments of the format.
 * @return As snprintf_s.
 */
SAFEIO_PRINTF(4, 0)
int vsnprintf_s(char *dst, size_t dstSize, size_t count, const char *format, va_list args);

/**
 * Reads numbers as `sscanf` does. Thread-safe for distinct objects.
 *
 * @param[in] text   Zero-terminated.
 * @param[in] format Format in the manner of scanf.
 * @param[in] ...    Where to store the numbers.
 * @return The result of `sscanf`: conversions made, or EOF.
 */
SAFEIO_SCANF(2, 3)
int sscanf_s(const char *text, const char *format, ...);

/**
 * Creates a pipe. Thread-safe.
 *
 * @param[out] fds Receives the read end, then the write end; plain descriptors.
 * @return 0, or -1 with `errno`.
 */
int pipe_s(int fds[2]);

/**
 * Creates a socket. Thread-safe.
 *
 * @param[in] domain   As for `socket`.
 * @param[in] type     As for `socket`.
 * @param[in] protocol As for `socket`.
 * @return A tracked descriptor, whose low 16 bits are the kernel's; negative on failure.
 */
int socket_s(int domain, int type, int protocol);

/**
 * Reads from a descriptor. Thread-safe.
 *
 * @param[in]  fd     Tracked or plain descriptor.
 * @param[out] buffer Receives the bytes.
 * @param[in]  length Bytes at `buffer`.
 * @return The result of `read`.
 */
ssize_t read_s(int fd, void *buffer, size_t length);

/**
 * Writes to a descriptor. Thread-safe.
 *
 * @param[in] fd     Tracked or plain descriptor.
 * @param[in] buffer The bytes.
 * @param[in] length Number of bytes.
 * @return The result of `write`.
 */
ssize_t write_s(int fd, const void *buffer, size_t length);

/**
 * Closes a descriptor. Thread-safe.
 *
 * @param[in] fd Tracked or plain descriptor.
 * @return 0, or -1 with `errno`; a tracked descriptor whose owner is not current is refused.
 */
int close_s(int fd);

/**
 * Changes the permissions of an open file. Thread-safe.
 *
 * @param[in] fd   Tracked or plain descriptor.
 * @param[in] mode Permission bits.
 * @return The result of `fchmod`.
 */
int fchmod_s(int fd, mode_t mode);

/**
 * Registers an owner for a plain descriptor. Thread-safe.
 *
 * @param[in]  fd     Plain descriptor.
 * @param[in]  module The caller's module.
 * @param[out] owner  Receives the owner, below 0x8000, on success only.
 * @return 0; -1 for a negative descriptor.
 */
int SetFdOwner(int fd, uint32_t module, uint32_t *owner);

/**
 * Makes the tracked descriptor of a plain one and its owner. Thread-safe.
 *
 * @param[in] fd    Plain descriptor.
 * @param[in] owner Owner of SetFdOwner.
 * @return The tracked descriptor; negative on failure.
 */
int safeio_fd_owner_assemble(int fd, uint32_t owner);

#ifdef __cplusplus
}
#endif

#endif
