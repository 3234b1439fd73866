// File utilities and log files: paths and files of the system. Knows no format but hex text, and keeps no descriptor
// open between calls.

#include "orva_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "log_record.h"
#include "miro.h"
#include "orva_comm.h"
#include "orva_diag.h"
#include "safeio.h"
#include "tracked_descriptor.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_file");

// Searched with its terminating zero.
constexpr char kShellUnsafe[] = "|;&$<>()[]`\\\"'~?*!\n";
static_assert(sizeof kShellUnsafe == 20);

constexpr char kFanLogFolder[] = "/opt/keldv8/tmp/CmuLogzip";
constexpr mode_t kFanLogFolderMode = S_IRWXU | S_IRWXG;
constexpr std::uint32_t kFanBytesPerLine = 16;

constexpr std::uint32_t kBlackBoxChunk = 128;
constexpr std::uint32_t kHexPerByte = 3;

// A failure, written to the process log and as a diagnostic record.
#define ORVA_FILE_REPORT(text, ...)                                                                                  \
    do {                                                                                                             \
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kLogModule, 0, text, __VA_ARGS__);                                   \
        ORVA_DIAGLOG(0, orva::kDiagCode, orva::kDiagWord3Report, orva::kLogModule, 0, text, __VA_ARGS__);            \
    } while (false)

struct FreeResolved {
    void operator()(char *path) const {
        std::free(path);
    }
};

// Makes each directory along `path`, whose separators are replaced by zeros and restored one after the other.
std::uint32_t make_each_directory(char *path, std::size_t length, mode_t mode, const char *wholePath) {
    for (std::size_t i = 1; i <= length; ++i) {
        const char separator = path[i];
        if (separator != '/' && separator != '\0') {
            continue;
        }
        path[i] = '\0';
        const int result = mkdir(path, mode);
        const int error = errno;
        path[i] = separator;
        if (result != 0 && error != EEXIST) {
            ORVA_FILE_REPORT("Create %s directory no success, errno = %d. ", wholePath, error);
            return ORVA_ERR_MKDIR_CREATE;
        }
    }
    return ORVA_OK;
}

// False when the fan log directory is not there and cannot be made.
bool prepare_fan_log_folder() {
    if (access(kFanLogFolder, F_OK) != 0) {
        const mode_t mask = umask(0);
        const int result = mkdir(kFanLogFolder, kFanLogFolderMode);
        const int error = errno;
        umask(mask);
        if (result != 0) {
            ORVA_LOG_FAN_DEBUG("[SEL SaveFile]Failed to mkdir, err: %s.", std::strerror(error));
            return false;
        }
    }
    if (access(kFanLogFolder, F_OK) != 0) {
        // Compat: texts that others parse. "acess" is spelled so.
        ORVA_LOG_FAN_DEBUG("[SEL SaveFile]Failed to acess dir, err: %s.", std::strerror(errno));
        return false;
    }
    // Another process may have made it under another umask.
    (void)chmod(kFanLogFolder, kFanLogFolderMode);
    return true;
}

void write_fan_hex(std::FILE *file, const std::uint8_t *data, std::uint32_t length) {
    for (std::uint32_t i = 0; i < length; ++i) {
        // Compat: texts that others parse. A line ends in a carriage return, a line feed and one blank.
        const bool lineEnd = i % kFanBytesPerLine == kFanBytesPerLine - 1 || i == length - 1;
        std::fprintf(file, lineEnd ? "%02x\r\n " : "%02x ", unsigned{data[i]});
    }
}

} // namespace

uint32_t ORVA_IsCmdStrParaHasInvalidChar(const char *text) {
    if (text == nullptr) {
        return 0;
    }
    for (; *text != '\0'; ++text) {
        if (std::memchr(kShellUnsafe, *text, sizeof kShellUnsafe) != nullptr) {
            return 1;
        }
    }
    return 0;
}

uint32_t ORVA_IsValidDirFile(const char *path) {
    if (path == nullptr || ORVA_IsCmdStrParaHasInvalidChar(path) != 0) {
        return 0;
    }
    struct stat status = {};
    return lstat(path, &status) == 0 && !S_ISLNK(status.st_mode) ? 1 : 0;
}

uint32_t ORVA_IsFileExist(const char *path) {
    struct stat status = {};
    return path != nullptr && stat(path, &status) == 0 ? 1 : 0;
}

uint32_t ORVA_IsDirExist(const char *path) {
    struct stat status = {};
    return path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

uint32_t ORVA_GetFileSize(const char *path, uint32_t *size) {
    struct stat status = {};
    if (path == nullptr || size == nullptr || stat(path, &status) != 0) {
        return ORVA_FAILED;
    }
    *size = static_cast<std::uint32_t>(status.st_size);
    return ORVA_OK;
}

uint32_t ORVA_WriteBufToFile(const char *path, const void *buffer, uint32_t length, const char *mode) {
    if (path == nullptr || buffer == nullptr) {
        return ORVA_ERR_WRITE_FILE_NULL;
    }
    std::FILE *const file = mode == nullptr ? nullptr : std::fopen(path, mode);
    if (file == nullptr) {
        return ORVA_ERR_WRITE_FILE_OPEN;
    }
    const std::size_t written = std::fwrite(buffer, 1, length, file);
    ORVA_FileClose(file);
    return written < length ? ORVA_ERR_WRITE_FILE_SHORT : ORVA_OK;
}

int32_t ORVA_DeleFile(const char *path) {
    if (path == nullptr) {
        return 1;
    }
    return ORVA_IsFileExist(path) != 0 ? std::remove(path) : 0;
}

uint32_t ORVA_Unzip(const char *zipFile, const char *dstPath) {
    if (zipFile == nullptr) {
        orva::log_check_ptr_error();
        return ORVA_ERR_UNZIP_FILE_NULL;
    }
    if (dstPath == nullptr) {
        orva::log_check_ptr_error();
        return ORVA_ERR_UNZIP_PATH_NULL;
    }
    const std::uint32_t result = MIRO_Unzip(zipFile, dstPath, 0);
    if (result != 0) {
        ORVA_FILE_REPORT("Unzip file is not success.(uiRet=0x%x, ZipFileName=%s, DstPath=%s)", result, zipFile,
                         dstPath);
    }
    return result;
}

uint32_t ORVA_MkDir(const char *path, uint32_t mode) {
    if (path == nullptr) {
        return ORVA_ERR_MKDIR_NULL;
    }
    const std::size_t length = std::strlen(path);
    if (length >= ORVA_MKDIR_PATH_LIMIT) {
        ORVA_FILE_REPORT("The path name length of %s is %u and is invalid. ", path,
                         static_cast<std::uint32_t>(length));
        return ORVA_ERR_MKDIR_TOO_LONG;
    }
    if (path[0] != '/') {
        ORVA_FILE_REPORT("The path name %s is invalid,it should be full path. ", path);
        return ORVA_ERR_MKDIR_RELATIVE;
    }
    char work[ORVA_MKDIR_PATH_LIMIT] = {};
    if (snprintf_s(work, sizeof work, sizeof work - 1, "%s", path) < 0) {
        ORVA_FILE_REPORT("Print pcPathname failed.pcPathname=%s ", path);
        return ORVA_ERR_MKDIR_COPY;
    }
    return make_each_directory(work, length, mode, path);
}

uint32_t ORVA_Fchmod(const char *path, uint32_t mode) {
    const std::unique_ptr<char, FreeResolved> resolved(realpath(path, nullptr));
    if (resolved == nullptr) {
        const int error = errno;
        // Compat: texts that others parse. "abolute" is spelled so.
        ORVA_FILE_REPORT("Get abolute path(%s) unsuccessfully, errno: %s.", path == nullptr ? "" : path,
                         std::strerror(error));
        return ORVA_ERR_FCHMOD_RESOLVE;
    }
    const int fd = orva::open_tracked(resolved.get(), O_RDONLY, orva::OwnerResult::kIgnored);
    if (fd < 0) {
        const int error = errno;
        ORVA_FILE_REPORT("Open file %s unsuccessfully. errno: %s", path, std::strerror(error));
        return ORVA_ERR_FCHMOD_OPEN;
    }
    if (fchmod_s(fd, mode) != 0) {
        const int error = errno;
        ORVA_FILE_REPORT("fchmod file %s unsuccessfully. errno: %s", path, std::strerror(error));
        close_s(fd);
        return ORVA_ERR_FCHMOD_CHANGE;
    }
    close_s(fd);
    return ORVA_OK;
}

uint32_t ORVA_GetFileName(char *pathBuffer, uint32_t bufferSize) {
    if (pathBuffer == nullptr) {
        orva::log_check_ptr_error();
        return ORVA_ERR_FILE_NAME_NULL;
    }
    if (bufferSize > ORVA_FILE_NAME_BUFFER_MAX) {
        return ORVA_FAILED;
    }
    char work[ORVA_FILE_NAME_BUFFER_MAX] = {};
    if (strcpy_s(work, sizeof work, pathBuffer) != 0) {
        return ORVA_ERR_FILE_NAME_PATH;
    }
    const char *const lastSeparator = std::strrchr(work, '/');
    if (lastSeparator == nullptr) {
        return ORVA_OK;
    }
    const int result = strcpy_s(pathBuffer, bufferSize, lastSeparator + 1);
    if (result != 0) {
        orva::log_check_ret_error(static_cast<std::uint32_t>(result));
        return ORVA_ERR_FILE_NAME_COPY;
    }
    return ORVA_OK;
}

void ORVA_FAN_WriteLog(const char *path, const uint8_t *data, uint32_t length, uint8_t mode) {
    if (path == nullptr || data == nullptr || !prepare_fan_log_folder()) {
        return;
    }
    std::FILE *const file = std::fopen(path, "a");
    if (file == nullptr) {
        return;
    }
    if (mode == ORVA_FAN_LOG_TEXT) {
        std::fprintf(file, "%s\r\n ", reinterpret_cast<const char *>(data));
    } else if (mode == ORVA_FAN_LOG_HEX) {
        write_fan_hex(file, data, length);
    }
    ORVA_FileClose(file);
}

uint32_t ORVA_HexToString(const uint8_t *data, uint32_t dataLen, uint32_t bytesPerLine, char *out, uint32_t outLen) {
    if (bytesPerLine == 0 || outLen == 0 || dataLen == 0 || data == nullptr || out == nullptr) {
        return ORVA_ERR_HEX_ARGUMENT;
    }
    const std::uint64_t needed = dataLen / bytesPerLine + std::uint64_t{kHexPerByte} * dataLen;
    if (needed > outLen) {
        return ORVA_ERR_HEX_TOO_SMALL;
    }
    for (std::uint32_t i = 0; i < dataLen; ++i) {
        const bool lineEnd = i % bytesPerLine == bytesPerLine - 1 || i == dataLen - 1;
        char scratch[8] = {};
        sprintf_s(scratch, sizeof scratch, lineEnd ? "%02x\r\n" : "%02x ", unsigned{data[i]});
        const int result = strcat_s(out, outLen, scratch);
        if (result != 0) {
            ORVA_DIAGLOG(0, orva::kDiagCode, orva::kDiagWord3Event, 0, 0,
                         "orva hex to string operation unsuccess ret=%d.", result);
            return ORVA_ERR_HEX_APPEND;
        }
    }
    return ORVA_OK;
}

void ORVA_PmbusBBoxHexToStringAndDlog(uint32_t slot, uint32_t fru, const uint8_t *data, uint32_t dataLen,
                                      uint32_t maxLen) {
    if (data == nullptr || dataLen == 0 || maxLen == 0) {
        return;
    }
    const std::uint32_t count = std::min(dataLen, maxLen);
    for (std::uint32_t first = 0; first < count;) {
        char line[kBlackBoxChunk * kHexPerByte + 1] = {};
        const std::uint32_t chunk = std::min(kBlackBoxChunk, count - first);
        for (std::uint32_t i = 0; i < chunk; ++i) {
            const std::size_t at = std::size_t{i} * kHexPerByte;
            const int result = sprintf_s(line + at, sizeof line - at, "%02x ", unsigned{data[first + i]});
            if (result < 0) {
                orva::log_sprintf_error(kArea, result);
                return;
            }
        }
        ORVA_DIAGLOG(0, orva::kDiagCode, orva::kDiagWord3Event, 0, 0,
                     "PMBUS-BLACK-BOX[slot=%u fru=%u]: log[%u/%u] = %s", slot & 0xFF, fru & 0xFF, first, dataLen,
                     line);
        first += chunk;
    }
}

#undef ORVA_FILE_REPORT
