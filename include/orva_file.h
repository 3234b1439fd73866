/**
 * @file
 * File utilities and log files: path safety, tests, directories, permissions, whole-buffer writes; the fan log, hex
 * text and the black box of power supplies.
 *
 * The failures of ORVA_Unzip, ORVA_MkDir and ORVA_Fchmod are written twice with the same text: to the process log and
 * as a diagnostic record.
 */
#ifndef ORVA_FILE_H
#define ORVA_FILE_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_MKDIR_PATH_LIMIT 128u     /**< Paths of ORVA_MkDir are shorter. */
#define ORVA_FILE_NAME_BUFFER_MAX 256u /**< Largest buffer of ORVA_GetFileName. */
#define ORVA_FAN_LOG_TEXT 0u           /**< ORVA_FAN_WriteLog writes a text line. */
#define ORVA_FAN_LOG_HEX 1u            /**< ORVA_FAN_WriteLog writes a hex dump. */

#define ORVA_ERR_WRITE_FILE_NULL ORVA_RESULT(0x67u, ORVA_REASON_NULL)    /**< Null path or buffer. */
#define ORVA_ERR_WRITE_FILE_OPEN ORVA_RESULT(0x6Cu, ORVA_REASON_FILE)    /**< The open failed. */
#define ORVA_ERR_WRITE_FILE_SHORT ORVA_RESULT(0x71u, ORVA_REASON_WRITE)  /**< Fewer bytes were taken. */
#define ORVA_ERR_UNZIP_FILE_NULL ORVA_RESULT(0xA6u, ORVA_REASON_NULL)    /**< Null archive name. */
#define ORVA_ERR_UNZIP_PATH_NULL ORVA_RESULT(0xA7u, ORVA_REASON_NULL)    /**< Null destination. */
#define ORVA_ERR_MKDIR_NULL ORVA_RESULT(0xBAu, ORVA_REASON_CHECK)        /**< Null path. */
#define ORVA_ERR_MKDIR_TOO_LONG ORVA_RESULT(0xC2u, ORVA_REASON_CHECK)    /**< Path too long. */
#define ORVA_ERR_MKDIR_RELATIVE ORVA_RESULT(0xC8u, ORVA_REASON_CHECK)    /**< Not a full path. */
#define ORVA_ERR_MKDIR_COPY ORVA_RESULT(0xCFu, ORVA_REASON_CHECK)        /**< The path could not be copied. */
#define ORVA_ERR_MKDIR_CREATE ORVA_RESULT(0xE8u, ORVA_REASON_FILE)       /**< A directory could not be made. */
#define ORVA_ERR_FCHMOD_RESOLVE ORVA_RESULT(0xF8u, ORVA_REASON_OTHER)    /**< The path does not resolve. */
#define ORVA_ERR_FCHMOD_OPEN ORVA_RESULT(0x100u, ORVA_REASON_OTHER)      /**< Open or registration failed. */
#define ORVA_ERR_FCHMOD_CHANGE ORVA_RESULT(0x108u, ORVA_REASON_OTHER)    /**< The change is refused. */
#define ORVA_ERR_FILE_NAME_NULL ORVA_RESULT(0x11Au, ORVA_REASON_NULL)    /**< Null buffer. */
#define ORVA_ERR_FILE_NAME_PATH ORVA_RESULT(0x121u, ORVA_REASON_COPY)    /**< Path too long. */
#define ORVA_ERR_FILE_NAME_COPY ORVA_RESULT(0x12Bu, ORVA_REASON_OTHER)   /**< The name does not fit. */
#define ORVA_ERR_HEX_ARGUMENT ORVA_RESULT(0x166u, ORVA_REASON_ARGUMENT)  /**< Zero or null argument. */
#define ORVA_ERR_HEX_TOO_SMALL ORVA_RESULT(0x169u, ORVA_REASON_ARGUMENT) /**< Output too small. */
#define ORVA_ERR_HEX_APPEND ORVA_RESULT(0x176u, ORVA_REASON_NO_MEMORY)   /**< An append failed. */

/**
 * Tells whether a text holds a character that is unsafe on a shell's command line. Thread-safe.
 *
 * Unsafe are the characters |;&$<>()[]`\"'~?*! and the newline.
 *
 * @param[in] text Zero-terminated, or null.
 * @retval 1 It holds one.
 * @retval 0 It holds none, is empty, or is null.
 */
ORVA_API uint32_t ORVA_IsCmdStrParaHasInvalidChar(const char *text);

/**
 * Tells whether a path is safe to use: it has no shell-unsafe character, exists, and is not a symbolic link.
 * Thread-safe.
 *
 * Links in the directories before the last component are followed. What the path names may change after the call.
 *
 * @param[in] path Zero-terminated, or null.
 * @retval 1 It is safe.
 * @retval 0 It is not, or it is null.
 */
ORVA_API uint32_t ORVA_IsValidDirFile(const char *path);

/**
 * Tells whether a path exists; a symbolic link is followed. Thread-safe.
 *
 * @param[in] path Zero-terminated, or null.
 * @retval 1 It exists.
 * @retval 0 It does not, or it is null.
 */
ORVA_API uint32_t ORVA_IsFileExist(const char *path);

/**
 * Tells whether a path is an existing directory; a symbolic link is followed. Thread-safe.
 *
 * @param[in] path Zero-terminated, or null.
 * @retval 1 It is.
 * @retval 0 It is not, or it is null.
 */
ORVA_API uint32_t ORVA_IsDirExist(const char *path);

/**
 * Reads the size of a file. Thread-safe for distinct objects.
 *
 * @param[in]  path Zero-terminated, or null.
 * @param[out] size Receives the size in bytes modulo 2^32, on success only.
 * @retval ORVA_OK     `size` is written. For a file of 4 GiB or more it holds the low 32 bits.
 * @retval ORVA_FAILED An argument is null, or the file cannot be queried.
 */
ORVA_API uint32_t ORVA_GetFileSize(const char *path, uint32_t *size);

/**
 * Writes a buffer to a file. Thread-safe for distinct objects.
 *
 * The bytes are written through a stream, and the result of closing it is not looked at: bytes that the system
 * refuses only then (a full disk, a broken mount) are lost although the result is ORVA_OK.
 *
 * @param[in] path   Zero-terminated.
 * @param[in] buffer The bytes.
 * @param[in] length Number of bytes; 0 only opens the file.
 * @param[in] mode   Mode of `fopen`, such as "w" or "a".
 * @retval ORVA_OK                   The stream took all bytes.
 * @retval ORVA_ERR_WRITE_FILE_NULL  `path` or `buffer` is null.
 * @retval ORVA_ERR_WRITE_FILE_OPEN  The file cannot be opened, or `mode` is null.
 * @retval ORVA_ERR_WRITE_FILE_SHORT The stream took fewer bytes.
 */
ORVA_API uint32_t ORVA_WriteBufToFile(const char *path, const void *buffer, uint32_t length, const char *mode);

/**
 * Removes a file or an empty directory. Thread-safe.
 *
 * A symbolic link to nothing counts as absent and stays.
 *
 * @param[in] path Zero-terminated, or null.
 * @retval 0  It is removed, or does not exist.
 * @retval 1  `path` is null.
 * @retval -1 `remove` failed; `errno` says why.
 */
ORVA_API int32_t ORVA_DeleFile(const char *path);

/**
 * Unpacks an archive through the platform. Thread-safe.
 *
 * @param[in] zipFile Path of the archive, zero-terminated.
 * @param[in] dstPath Directory to unpack into, zero-terminated.
 * @retval ORVA_OK                  The archive is unpacked.
 * @retval ORVA_ERR_UNZIP_FILE_NULL `zipFile` is null; an error record says so.
 * @retval ORVA_ERR_UNZIP_PATH_NULL `dstPath` is null; an error record says so.
 * @retval other                    The platform's code, reported twice.
 */
ORVA_API uint32_t ORVA_Unzip(const char *zipFile, const char *dstPath);

/**
 * Creates every missing directory along a full path. Thread-safe. Directories that exist are no error.
 *
 * All failures except a null path are reported twice. Directories made before a failure stay.
 *
 * @param[in] path Zero-terminated, starts with '/', shorter than ORVA_MKDIR_PATH_LIMIT.
 * @param[in] mode Permission bits, restricted by the umask of the process.
 * @retval ORVA_OK                 The directories exist.
 * @retval ORVA_ERR_MKDIR_NULL     `path` is null.
 * @retval ORVA_ERR_MKDIR_TOO_LONG `path` has ORVA_MKDIR_PATH_LIMIT characters or more.
 * @retval ORVA_ERR_MKDIR_RELATIVE `path` does not start with '/'.
 * @retval ORVA_ERR_MKDIR_COPY     The path could not be copied.
 * @retval ORVA_ERR_MKDIR_CREATE   A directory could not be made.
 */
ORVA_API uint32_t ORVA_MkDir(const char *path, uint32_t mode);

/**
 * Sets the permissions of a file through a descriptor, so that the file changed is the file opened. Thread-safe.
 *
 * All failures are reported twice.
 *
 * @param[in] path Zero-terminated; symbolic links are resolved first.
 * @param[in] mode Permission bits.
 * @retval ORVA_OK                 The permissions are set.
 * @retval ORVA_ERR_FCHMOD_RESOLVE The path does not resolve.
 * @retval ORVA_ERR_FCHMOD_OPEN    The file cannot be opened for reading, or its descriptor not be registered.
 * @retval ORVA_ERR_FCHMOD_CHANGE  The change is refused.
 */
ORVA_API uint32_t ORVA_Fchmod(const char *path, uint32_t mode);

/**
 * Turns a path into its last component, in place. Thread-safe for distinct objects.
 *
 * A path that ends in '/' gives an empty name.
 *
 * @param[in,out] pathBuffer Zero-terminated path of at most 255 bytes, of which the name remains. It is empty after
 *                           ORVA_ERR_FILE_NAME_COPY and unchanged after every other failure.
 * @param[in]     bufferSize Bytes at `pathBuffer`, 1 to ORVA_FILE_NAME_BUFFER_MAX.
 * @retval ORVA_OK                 `pathBuffer` holds the name; a path without '/' is unchanged.
 * @retval ORVA_FAILED             `bufferSize` is above ORVA_FILE_NAME_BUFFER_MAX.
 * @retval ORVA_ERR_FILE_NAME_NULL `pathBuffer` is null; an error record says so.
 * @retval ORVA_ERR_FILE_NAME_PATH The path is longer than 255 bytes.
 * @retval ORVA_ERR_FILE_NAME_COPY The name does not fit `bufferSize`; an error record says so.
 */
ORVA_API uint32_t ORVA_GetFileName(char *pathBuffer, uint32_t bufferSize);

/**
 * Appends to a log file after making sure that the fan log directory "/opt/keldv8/tmp/CmuLogzip" exists. Thread-safe.
 * While it makes the directory, the umask of the whole process is 0: files that other threads create meanwhile get
 * the permissions that they ask for.
 *
 * A line ends in a carriage return, a line feed and one blank. The directory gets the permissions octal 770 on every
 * call. Failures are silent, or debug records of the fan module (0x400).
 *
 * @param[in] path   The file, normally inside the directory; null does nothing.
 * @param[in] data   Zero-terminated text for ORVA_FAN_LOG_TEXT, `length` bytes for ORVA_FAN_LOG_HEX; null does
 *                   nothing.
 * @param[in] length Number of bytes for ORVA_FAN_LOG_HEX.
 * @param[in] mode   ORVA_FAN_LOG_TEXT or ORVA_FAN_LOG_HEX. With another value the file is opened, and created when it
 *                   is missing, but nothing is written.
 */
ORVA_API void ORVA_FAN_WriteLog(const char *path, const uint8_t *data, uint32_t length, uint8_t mode);

/**
 * Appends the hex text of bytes to a text. Thread-safe for distinct objects.
 *
 * Each byte is two digits and a blank. The last byte of each line and the last byte of all end in a carriage return
 * and a line feed instead of the blank.
 *
 * The check of the size counts dataLen / bytesPerLine + 3 * dataLen bytes. The text needs more: three bytes for each
 * byte, one more for each line, a shorter last one included, and the zero. An `outLen` between the two fails with
 * ORVA_ERR_HEX_APPEND.
 *
 * @param[in]     data         The bytes.
 * @param[in]     dataLen      Number of bytes, at least 1.
 * @param[in]     bytesPerLine Bytes of a line, at least 1.
 * @param[in,out] out          Zero-terminated text, normally empty. After ORVA_ERR_HEX_APPEND it is empty, the
 *                             caller's own text included; after the other failures it is unchanged.
 * @param[in]     outLen       Bytes at `out`: the length of its text + 3 * dataLen + the number of lines + 1.
 * @retval ORVA_OK                The text is appended.
 * @retval ORVA_ERR_HEX_ARGUMENT  An argument is 0 or null.
 * @retval ORVA_ERR_HEX_TOO_SMALL The check of the size failed.
 * @retval ORVA_ERR_HEX_APPEND    An append failed; a diagnostic record says so.
 */
ORVA_API uint32_t ORVA_HexToString(const uint8_t *data, uint32_t dataLen, uint32_t bytesPerLine, char *out,
                                   uint32_t outLen);

/**
 * Writes a power supply's black-box record (PMBus) to the diagnostic log, one record for each 128 bytes. Thread-safe.
 *
 * @param[in] slot    Slot; its low 8 bits are printed.
 * @param[in] fru     FRU number; its low 8 bits are printed.
 * @param[in] data    The record; null writes nothing.
 * @param[in] dataLen Bytes of the record, printed as the total; 0 writes nothing.
 * @param[in] maxLen  Bytes that are written at most; 0 writes nothing.
 */
ORVA_API void ORVA_PmbusBBoxHexToStringAndDlog(uint32_t slot, uint32_t fru, const uint8_t *data, uint32_t dataLen,
                                               uint32_t maxLen);

ORVA_END_DECLS

#endif
