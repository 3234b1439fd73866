/*
 * Host log sinks: where the records of this process go. Exists on the host platform only.
 *
 * A process that calls nothing here is configured by its environment at its first record:
 *   ORVA_HOST_LOG_DIR      folder of the log files; unset or empty: no files
 *   ORVA_HOST_LOG_CONSOLE  1: every record also on standard error, 0: not
 *   ORVA_HOST_LOG_SINKS    syslog, journal or both, separated by a comma
 *   ORVA_HOST_LOG_LEVEL    records of a higher level number are left out; unset, empty or 0: none
 *   ORVA_HOST_LOG_SIZE     bytes at which a file is rotated, 1024 to 1073741824
 *   ORVA_HOST_LOG_FILES    older files kept beside each file, 0 to 1000
 * With none of the first three, records go to standard error, after a line that says so.
 *
 * A file that somebody renames or removes is made again at the next record. Files have the mode 0640, that of
 * security records 0600, whatever the mask of the process; a link at the name of a file is an error. The first
 * process in a folder has the plain names; others write their process id into them, and whoever starts removes those
 * of processes that are gone, except for the latest ORVA_HOST_LOG_FILES.
 *
 * A record that a signal handler writes while its own thread writes one is lost and counted. A sink allocates, so a
 * handler that interrupts an allocation of its own thread must not log. Threads are not
 * cancelled inside these functions. The child of a fork opens files of its own.
 */
#ifndef TOVA_HOST_H
#define TOVA_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define TOVA_HOST_API __attribute__((visibility("default")))
#else
#define TOVA_HOST_API
#endif

#define TOVA_HOST_OK 0u
#define TOVA_HOST_INVALID 1u /* a value is out of range */
#define TOVA_HOST_FOLDER 2u  /* the folder cannot be made or written */

/* Bits of TovaHostConfig.sinks. */
#define TOVA_HOST_SINK_SYSLOG 1u  /* syslog(3); security records as LOG_AUTHPRIV, others as LOG_DAEMON */
#define TOVA_HOST_SINK_JOURNAL 2u /* the journal of systemd, by libsystemd.so.0 */

#define TOVA_HOST_DEFAULT_FILE_BYTES (5u * 1024u * 1024u)
#define TOVA_HOST_DEFAULT_OLDER_FILES 5u
#define TOVA_HOST_MIN_FILE_BYTES 1024u
#define TOVA_HOST_MAX_FILE_BYTES (1024u * 1024u * 1024u)
#define TOVA_HOST_MAX_OLDER_FILES 1000u

typedef struct {
    const char *folder;      /* folder of the log files, made if missing; null or "": no files */
    const char *processName; /* name in every record; null or "": the program's own name */
    uint32_t console;        /* not 0: every record also on standard error */
    uint32_t fileBytes;      /* size at which a file is rotated, 1 KiB to 1 GiB; 0: 5 MiB */
    uint32_t olderFiles;     /* older files kept beside each file, 0 to 1000 */
    uint32_t sinks;          /* logs of the machine, TOVA_HOST_SINK_ bits */
    uint32_t maxLevel;       /* records of a higher level number are left out; 0: none */
} TovaHostConfig;

/*
 * Directs the records of this process from now on; may be called again to redirect them.
 *
 * config: read during the call only; null takes the settings from the environment. A relative folder is taken
 *   from the current folder at this moment.
 *
 * TOVA_HOST_OK: in force.
 * TOVA_HOST_INVALID: fileBytes, olderFiles or sinks is out of range; nothing changed.
 * TOVA_HOST_FOLDER: the folder cannot be made or written; nothing changed.
 *
 * Any thread.
 */
TOVA_HOST_API uint32_t TOVA_HostStart(const TovaHostConfig *config);

/* Closes every file and drops the records that follow, until the next TOVA_HostStart. Any thread. */
TOVA_HOST_API void TOVA_HostStop(void);

/* The number of records that this process could not write. Any thread. */
TOVA_HOST_API uint64_t TOVA_HostFailedRecords(void);

/*
 * Copies why the last failed record or start failed, as zero-terminated text truncated to the buffer; empty when
 * nothing has failed yet.
 *
 * buffer: not null. bufferLen: at least 1.
 *
 * TOVA_HOST_OK: copied.
 * TOVA_HOST_INVALID: buffer is null or bufferLen is 0.
 *
 * Any thread.
 */
TOVA_HOST_API uint32_t TOVA_HostLastError(char *buffer, uint32_t bufferLen);

#ifdef __cplusplus
}
#endif

#endif
