/*
 * File utilities: plain file-system helpers with path safety rules and exact permissions.
 */
#ifndef ORVA_FILE_H
#define ORVA_FILE_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_ERR_FCHMOD_RESOLVE ORVA_RESULT(0xF8u, ORVA_REASON_OTHER)
#define ORVA_ERR_FCHMOD_OPEN ORVA_RESULT(0x100u, ORVA_REASON_OTHER)
#define ORVA_ERR_FCHMOD_CHANGE ORVA_RESULT(0x108u, ORVA_REASON_OTHER)

/*
 * Changes the permissions of the file that a path resolves to, through a descriptor.
 *
 * path: any path of a file that can be opened for reading, zero-terminated.
 * mode: permission bits, as `fchmod` takes them.
 * Result: ORVA_OK; ORVA_ERR_FCHMOD_RESOLVE when the path cannot be resolved; ORVA_ERR_FCHMOD_OPEN when the file
 * cannot be opened or its descriptor not be tracked; ORVA_ERR_FCHMOD_CHANGE when the change was refused. Each failure
 * is written as a process record and as a diagnostic record. May run on any thread.
 */
ORVA_API uint32_t ORVA_Fchmod(const char *path, uint32_t mode);

ORVA_END_DECLS

#endif
