/*
 * File utilities and log files: path safety, tests, directories, permissions, whole-buffer writes; the fan log, hex
 * text and the black box of power supplies. No shared state: every function is safe to call from any thread.
 *
 * The failures of ORVA_Unzip, ORVA_MkDir and ORVA_Fchmod are written twice with the same text: to the process log and
 * as a diagnostic record.
 */
#ifndef ORVA_FILE_H
#define ORVA_FILE_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_MKDIR_PATH_LIMIT 128u     /* paths of ORVA_MkDir are shorter */
#define ORVA_FILE_NAME_BUFFER_MAX 256u /* largest buffer of ORVA_GetFileName */
#define ORVA_FAN_LOG_TEXT 0u           /* ORVA_FAN_WriteLog writes a text line */
#define ORVA_FAN_LOG_HEX 1u            /* ORVA_FAN_WriteLog writes a hex dump */

#define ORVA_ERR_WRITE_FILE_NULL ORVA_RESULT(0x67u, ORVA_REASON_NULL)
#define ORVA_ERR_WRITE_FILE_OPEN ORVA_RESULT(0x6Cu, ORVA_REASON_FILE)
#define ORVA_ERR_WRITE_FILE_SHORT ORVA_RESULT(0x71u, ORVA_REASON_WRITE)
#define ORVA_ERR_UNZIP_FILE_NULL ORVA_RESULT(0xA6u, ORVA_REASON_NULL)
#define ORVA_ERR_UNZIP_PATH_NULL ORVA_RESULT(0xA7u, ORVA_REASON_NULL)
#define ORVA_ERR_MKDIR_NULL ORVA_RESULT(0xBAu, ORVA_REASON_CHECK)
#define ORVA_ERR_MKDIR_TOO_LONG ORVA_RESULT(0xC2u, ORVA_REASON_CHECK)
#define ORVA_ERR_MKDIR_RELATIVE ORVA_RESULT(0xC8u, ORVA_REASON_CHECK)
#define ORVA_ERR_MKDIR_COPY ORVA_RESULT(0xCFu, ORVA_REASON_CHECK)
#define ORVA_ERR_MKDIR_CREATE ORVA_RESULT(0xE8u, ORVA_REASON_FILE)
#define ORVA_ERR_FCHMOD_RESOLVE ORVA_RESULT(0xF8u, ORVA_REASON_OTHER)
#define ORVA_ERR_FCHMOD_OPEN ORVA_RESULT(0x100u, ORVA_REASON_OTHER)
#define ORVA_ERR_FCHMOD_CHANGE ORVA_RESULT(0x108u, ORVA_REASON_OTHER)
#define ORVA_ERR_FILE_NAME_NULL ORVA_RESULT(0x11Au, ORVA_REASON_NULL)
#define ORVA_ERR_FILE_NAME_PATH ORVA_RESULT(0x121u, ORVA_REASON_COPY)
#define ORVA_ERR_FILE_NAME_COPY ORVA_RESULT(0x12Bu, ORVA_REASON_OTHER)
#define ORVA_ERR_HEX_ARGUMENT ORVA_RESULT(0x166u, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_HEX_TOO_SMALL ORVA_RESULT(0x169u, ORVA_REASON_ARGUMENT)
#define ORVA_ERR_HEX_APPEND ORVA_RESULT(0x176u, ORVA_REASON_NO_MEMORY)

/*
 * Tells whether a text holds a character that is unsafe on a shell's command line: one of |;&$<>()[]`\"'~?*! or a
 * newline.
 * text: zero-terminated, or null.
 * Returns 1 when it does, else 0, also for a null or empty text.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsCmdStrParaHasInvalidChar(const char *text);

/*
 * Tells whether a path is safe to use: it has no shell-unsafe character, exists and is not a symbolic link.
 * path: zero-terminated, or null.
 * Returns 1 or 0, 0 for null.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsValidDirFile(const char *path);

/*
 * Tells whether a path exists; a symbolic link is followed.
 * path: zero-terminated, or null.
 * Returns 1 or 0, 0 for null.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsFileExist(const char *path);

/*
 * Tells whether a path is an existing directory; a symbolic link is followed.
 * path: zero-terminated, or null.
 * Returns 1 or 0, 0 for null.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_IsDirExist(const char *path);

/*
 * The size of a file.
 * path: zero-terminated. size: out, bytes, the low 32 bits of the size.
 * Returns ORVA_OK; ORVA_FAILED for a null argument and when the file cannot be queried, `size` is untouched then.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_GetFileSize(const char *path, uint32_t *size);

/*
 * Writes a buffer to a file in one go.
 * path: zero-terminated. buffer, length: the bytes; a length of 0 only opens the file. mode: of fopen, such as "w".
 * Returns ORVA_OK; ORVA_ERR_WRITE_FILE_NULL for a null path or buffer; ORVA_ERR_WRITE_FILE_OPEN when the file cannot
 * be opened; ORVA_ERR_WRITE_FILE_SHORT when fewer bytes were written.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_WriteBufToFile(const char *path, const void *buffer, uint32_t length, const char *mode);

/*
 * Removes a file or an empty directory.
 * path: zero-terminated.
 * Returns 1 for null, 0 when the path does not exist, else the result of remove.
 * Thread-safe.
 */
ORVA_API int32_t ORVA_DeleFile(const char *path);

/*
 * Unpacks an archive through the platform.
 * zipFile, dstPath: zero-terminated.
 * Returns ORVA_OK; ORVA_ERR_UNZIP_FILE_NULL or ORVA_ERR_UNZIP_PATH_NULL, with an error record, for a null argument;
 * else the platform's code, reported twice.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_Unzip(const char *zipFile, const char *dstPath);

/*
 * Creates every missing directory along a full path. Existing ones are no error.
 * path: zero-terminated, starts with '/', shorter than ORVA_MKDIR_PATH_LIMIT. mode: permission bits, which the
 * process's umask cuts.
 * Returns ORVA_OK; ORVA_ERR_MKDIR_NULL for null; and, reported twice, ORVA_ERR_MKDIR_TOO_LONG,
 * ORVA_ERR_MKDIR_RELATIVE, ORVA_ERR_MKDIR_COPY when the path cannot be copied, ORVA_ERR_MKDIR_CREATE when a directory
 * cannot be made: the ones made before stay.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_MkDir(const char *path, uint32_t mode);

/*
 * Sets the permissions of a file through a descriptor, so that the file changed is the file resolved.
 * path: zero-terminated; links are resolved. mode: permission bits.
 * Returns ORVA_OK; and, reported twice, ORVA_ERR_FCHMOD_RESOLVE when the path does not resolve, ORVA_ERR_FCHMOD_OPEN
 * when the file cannot be opened for reading or its descriptor not be registered, ORVA_ERR_FCHMOD_CHANGE when the
 * change is refused.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_Fchmod(const char *path, uint32_t mode);

/*
 * Turns a path into its last component, in place. A path that ends in '/' yields an empty name.
 * pathBuffer: in and out, zero-terminated, at most 255 bytes of path. bufferSize: its size, at most
 * ORVA_FILE_NAME_BUFFER_MAX.
 * Returns ORVA_OK, also with the buffer unchanged for a path without '/'; ORVA_FAILED for a larger size;
 * ORVA_ERR_FILE_NAME_NULL, with an error record, for null; ORVA_ERR_FILE_NAME_PATH for a longer path;
 * ORVA_ERR_FILE_NAME_COPY, with an error record, when the name does not fit into the buffer.
 * Thread-safe.
 */
ORVA_API uint32_t ORVA_GetFileName(char *pathBuffer, uint32_t bufferSize);

/*
 * Appends to a log file after making sure that the fan log directory "/opt/keldv8/tmp/CmuLogzip" exists. Failures are
 * silent or debug records of the fan module (0x400).
 * path: the file, normally inside the directory. data: zero-terminated text for ORVA_FAN_LOG_TEXT, `length` bytes for
 * ORVA_FAN_LOG_HEX. mode: one of the two; another value writes nothing. A null path or data does nothing.
 * Kept: a line ends in a carriage return, a line feed and one blank.
 * Thread-safe; the umask of the process is changed for a moment while the directory is made.
 */
ORVA_API void ORVA_FAN_WriteLog(const char *path, const uint8_t *data, uint32_t length, uint8_t mode);

/*
 * Appends the hex text of bytes to a text: two digits a byte, a blank between bytes, a carriage return and a line
 * feed after each `bytesPerLine` bytes and after the last. data, dataLen: the bytes, at least one. bytesPerLine: at
 * least 1. out: in and out, zero-terminated text, normally empty. outLen: its size, which takes 3 bytes a byte and
 * one more a line; the terminating zero is not counted. Returns ORVA_OK; ORVA_ERR_HEX_ARGUMENT for a zero or null
 * argument; ORVA_ERR_HEX_TOO_SMALL; ORVA_ERR_HEX_APPEND, with a diagnostic record, when an append fails. Thread-safe.
 */
ORVA_API uint32_t ORVA_HexToString(const uint8_t *data, uint32_t dataLen, uint32_t bytesPerLine, char *out,
                                   uint32_t outLen);

/*
 * Writes a power supply's black-box record (PMBus) to the diagnostic log, one record for each 128 bytes.
 * slot, fru: of which the low 8 bits are printed. data, dataLen: the record; dataLen is printed as the total.
 * maxLen: at most so many bytes are written. A null data and lengths of 0 write nothing.
 * Thread-safe.
 */
ORVA_API void ORVA_PmbusBBoxHexToStringAndDlog(uint32_t slot, uint32_t fru, const uint8_t *data, uint32_t dataLen,
                                               uint32_t maxLen);

ORVA_END_DECLS

#endif
