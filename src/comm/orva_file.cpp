// File utilities: path rules, whole-file helpers and permissions. A failure that an operator must see is written
// twice, as a process record and as a diagnostic record. Keeps no state.
#include "orva_file.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

#include "log_record.h"
#include "orva_diag.h"
#include "safeio.h"
#include "tova.h"

namespace {

constexpr std::uint32_t kTrackedModule = 1; // module under which descriptors are tracked
constexpr std::uint32_t kDiagLevel = 3;

// One text, written as a process record and as a diagnostic record.
#define REPORT_TWICE(text, ...)                                                                                      \
    do {                                                                                                             \
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kLogModule, 0, text, __VA_ARGS__);                                   \
        ORVA_DIAGLOG(0, orva::kDiagCode, kDiagLevel, orva::kLogModule, 0, text, __VA_ARGS__);                        \
    } while (false)

// A tracked descriptor of the file for reading, or negative with errno set and nothing open.
int open_tracked(const char *path) {
    const int fd = open(path, O_RDONLY);
    if (fd < 0) {
        return fd;
    }
    std::uint32_t owner = 0;
    const bool owned = SetFdOwner(fd, kTrackedModule, &owner) == 0;
    const int tracked = owned ? safeio_fd_owner_assemble(fd, owner) : -1;
    if (tracked < 0) {
        const int error = errno;
        close_s(fd);
        errno = error;
    }
    return tracked;
}

} // namespace

uint32_t ORVA_Fchmod(const char *path, uint32_t mode) {
    char *const resolved = realpath(path, nullptr);
    if (resolved == nullptr) {
        const int error = errno;
        REPORT_TWICE("Get abolute path(%s) unsuccessfully, errno: %s.", path, std::strerror(error));
        return ORVA_ERR_FCHMOD_RESOLVE;
    }
    const int fd = open_tracked(resolved);
    if (fd < 0) {
        const int error = errno;
        REPORT_TWICE("Open file %s unsuccessfully. errno: %s", path, std::strerror(error));
        std::free(resolved);
        return ORVA_ERR_FCHMOD_OPEN;
    }
    std::free(resolved);
    if (fchmod_s(fd, static_cast<mode_t>(mode)) != 0) {
        const int error = errno;
        REPORT_TWICE("fchmod file %s unsuccessfully. errno: %s", path, std::strerror(error));
        close_s(fd);
        return ORVA_ERR_FCHMOD_CHANGE;
    }
    close_s(fd);
    return ORVA_OK;
}
