// Miscellaneous helpers: whole-file read, capability drop, trimming, rounding, calibration line, random value. They
// know nothing of boards, messages or sensors.
#include "orva_util.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/capability.h>
#include <unistd.h>

#include "log_record.h"
#include "orva_comm.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tracked_descriptor.h"

// The C library exports both without a header.
extern "C" {
int capget(cap_user_header_t header, cap_user_data_t data);
int capset(cap_user_header_t header, cap_user_data_t data);
}

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_util");

// ---- Whole-file read

constexpr std::size_t kResolvedPathSize = 4097;
static_assert(kResolvedPathSize > PATH_MAX);

#define ORVA_UTIL_LOG_CONTENT(text, ...)                                                                             \
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kLogModule, orva::kCodeError, text __VA_OPT__(, ) __VA_ARGS__)

// The outcome of one read: a result code, and the content on success or the errno of the failed call.
struct FileContent {
    std::uint32_t code;
    int error;
    orva::PartitionPtr<char> content;
    std::uint32_t length;
};

FileContent content_failure(std::uint32_t code, int error) {
    return {code, error, {nullptr, orva::PartitionDeleter{&kArea, 0}}, 0};
}

// Reads exactly `length` bytes; errno belongs to the failed step, 0 when the file merely ended early.
std::uint32_t read_from_start(FILE *file, char *content, std::uint32_t length) {
    if (std::fseek(file, 0, SEEK_SET) != 0) {
        return ORVA_ERR_FILE_CONTENT_SEEK_BEGIN;
    }
    errno = 0;
    return std::fread(content, 1, length, file) < length ? ORVA_ERR_FILE_CONTENT_READ : ORVA_OK;
}

FileContent read_content(FILE *file) {
    if (std::fseek(file, 0, SEEK_END) != 0) {
        return content_failure(ORVA_ERR_FILE_CONTENT_SEEK_END, errno);
    }
    const long size = std::ftell(file);
    if (size < 1) {
        return content_failure(ORVA_ERR_FILE_CONTENT_EMPTY, 0);
    }
    if (size >= static_cast<long>(UINT32_MAX)) { // the length would not fit; a folder reports such a size
        return content_failure(ORVA_ERR_FILE_CONTENT_MEMORY, 0);
    }
    const auto length = static_cast<std::uint32_t>(size);
    auto content = orva::make_partition_buffer(kArea, std::size_t{length} + 1);
    if (content == nullptr) {
        return content_failure(ORVA_ERR_FILE_CONTENT_MEMORY, 0);
    }
    const std::uint32_t code = read_from_start(file, content.get(), length);
    if (code != ORVA_OK) {
        const int error = errno;
        orva::release_block(content);
        return content_failure(code, error);
    }
    return {ORVA_OK, 0, std::move(content), length};
}

void log_content_failure(const FileContent &read) {
    const char *reason = std::strerror(read.error);
    switch (read.code) {
    case ORVA_ERR_FILE_CONTENT_SEEK_END:
        ORVA_UTIL_LOG_CONTENT("[GetFileContent]Seek to File End Fail, err: %s.", reason);
        break;
    case ORVA_ERR_FILE_CONTENT_MEMORY:
        ORVA_UTIL_LOG_CONTENT("[GetFileContent]Malloc File Content Fail");
        break;
    case ORVA_ERR_FILE_CONTENT_SEEK_BEGIN:
        ORVA_UTIL_LOG_CONTENT("[GetFileContent]Seek to File Begin Fail, err: %s.", reason);
        break;
    case ORVA_ERR_FILE_CONTENT_READ:
        ORVA_UTIL_LOG_CONTENT("[GetFileContent]Read File Buffer Fail, err: %s.", reason);
        break;
    default: // an empty file is not logged
        break;
    }
}

// Reads the file that `path` resolves to, with `resolved` as the work space. The outputs are written on success only.
std::uint32_t content_of_file(const char *path, char *resolved, char **content, std::uint32_t *length) {
    if (realpath(path, resolved) == nullptr) {
        return ORVA_ERR_FILE_CONTENT_RESOLVE;
    }
    FILE *file = std::fopen(resolved, "rb");
    if (file == nullptr) {
        ORVA_UTIL_LOG_CONTENT("[GetFileContent]Open File Fail, err: %s.", std::strerror(errno));
        return ORVA_ERR_FILE_CONTENT_OPEN;
    }
    FileContent read = read_content(file);
    ORVA_FileClose(file);
    if (read.code != ORVA_OK) {
        log_content_failure(read);
        return read.code;
    }
    *content = read.content.release();
    *length = read.length;
    return ORVA_OK;
}

std::uint32_t check_content_arguments(const char *path, char **content, const std::uint32_t *length) {
    if (path == nullptr) {
        return ORVA_ERR_FILE_CONTENT_PATH_NULL;
    }
    if (content == nullptr) {
        return ORVA_ERR_FILE_CONTENT_CONTENT_NULL;
    }
    return length == nullptr ? ORVA_ERR_FILE_CONTENT_LENGTH_NULL : ORVA_OK;
}

// ---- Capability drop

constexpr std::uint32_t kCapabilityMask = 31;

// ---- Calibration line

bool line_is_valid(std::int32_t x1, std::int32_t y1, std::int32_t x2, std::int32_t y2) {
    const bool firstAbsent = x1 == ORVA_LINE_POINT_ABSENT;
    const bool secondAbsent = x2 == ORVA_LINE_POINT_ABSENT;
    if (firstAbsent || secondAbsent) {
        return firstAbsent != secondAbsent;
    }
    return x1 <= x2 && y1 <= y2;
}

// 32-bit arithmetic that wraps.
std::int32_t wrapped_difference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

std::int32_t wrapped_product(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

std::int32_t wrapped_sum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// Truncates toward zero and saturates; NaN gives 0.
std::int32_t saturated(double value) {
    if (value >= static_cast<double>(INT32_MAX)) {
        return INT32_MAX;
    }
    if (value <= static_cast<double>(INT32_MIN)) {
        return INT32_MIN;
    }
    return value != value ? 0 : static_cast<std::int32_t>(value);
}

} // namespace

uint32_t ORVA_FUNC_GetFileContent(const char *path, char **content, uint32_t *length) {
    const std::uint32_t checked = check_content_arguments(path, content, length);
    if (checked != ORVA_OK) {
        return checked;
    }
    auto resolved = orva::make_partition_buffer(kArea, kResolvedPathSize);
    if (resolved == nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kPathMemoryLogModule, orva::kCodeError,
                         "[Func] malloc elabel memory failed.");
        return ORVA_ERR_FILE_CONTENT_PATH_MEMORY;
    }
    const std::uint32_t result = content_of_file(path, resolved.get(), content, length);
    orva::release_block(resolved);
    return result;
}

uint32_t ORVA_DeleteCap(uint32_t ofThisProcess, uint32_t capability) {
    if (capability > ORVA_CAPABILITY_MAX) {
        return ofThisProcess;
    }
    __user_cap_header_struct header = {
        .version = _LINUX_CAPABILITY_VERSION_1,
        .pid = ofThisProcess != 0 ? getpid() : 0,
    };
    __user_cap_data_struct sets[2] = {}; // the first format fills one
    int ret = capget(&header, sets);
    if (ret != 0) {
        return ORVA_LOG_PROCESS(orva::kCapabilityLogType, orva::kLogModule, orva::kCodeState,
                                "[ChangeCap] capget unsuccessfully, return %u strerr: %s.",
                                static_cast<unsigned>(ret), std::strerror(errno));
    }
    // Compat: callers' code. The sets have 32 bits, so capabilities 32 to 40 clear bits 0 to 8.
    const std::uint32_t others = ~(1u << (capability & kCapabilityMask));
    sets[0].effective &= others;
    sets[0].permitted &= others;
    sets[0].inheritable &= others;
    ret = capset(&header, sets);
    if (ret != 0) {
        // Compat: texts that others parse. The text has two blanks after the comma.
        return ORVA_LOG_PROCESS(orva::kCapabilityLogType, orva::kLogModule, orva::kCodeState,
                                "capset unsuccessfully,  return %u, strerr: %s", static_cast<unsigned>(ret),
                                std::strerror(errno));
    }
    return ORVA_OK;
}

char *ORVA_StrTrim(char *str, uint32_t size) {
    if (str == nullptr || size == 0) {
        return nullptr;
    }
    str[size - 1] = '\0';
    const char *start = str + std::strspn(str, " ");
    std::size_t length = std::strlen(start);
    while (length > 0 && start[length - 1] == ' ') {
        --length;
    }
    std::memmove(str, start, length);
    str[length] = '\0';
    return str;
}

double ORVA_Rounding(double value) {
    const std::int32_t tenths = saturated(value * 10.0);
    const std::int32_t whole = tenths / 10;
    // Compat: callers' code. Negative values are not rounded but truncated toward zero.
    return tenths - whole * 10 > 4 ? whole + 1 : whole;
}

uint32_t ORVA_CheckLineAdjPara(int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    return line_is_valid(x1, y1, x2, y2) ? ORVA_OK : ORVA_FAILED;
}

uint32_t ORVA_CalValueByLineAdj(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t x, int32_t *y) {
    if (y == nullptr || !line_is_valid(x1, y1, x2, y2)) {
        return ORVA_FAILED;
    }
    if (x1 == ORVA_LINE_POINT_ABSENT) {
        *y = y2;
        return ORVA_OK;
    }
    if (x2 == ORVA_LINE_POINT_ABSENT || x2 == x1 || y2 == y1) {
        *y = y1;
        return ORVA_OK;
    }
    const std::int32_t run = wrapped_difference(x2, x1); // never 0; never -1, since x2 is not ORVA_LINE_POINT_ABSENT
    const std::int32_t product = wrapped_product(wrapped_difference(x, x1), wrapped_difference(y2, y1));
    // Compat: callers' code. A division with a remainder adds 1, below zero too.
    const std::int32_t rest = product % run != 0 ? 1 : 0;
    *y = wrapped_sum(y1, wrapped_sum(product / run, rest));
    return ORVA_OK;
}

uint32_t ORVA_GetRandValue(void) {
    const int fd = open("/dev/urandom", O_RDONLY);
    if (fd < 0) {
        return 0;
    }
    const int tracked = orva::register_descriptor(fd, orva::OwnerResult::kIgnored);
    if (tracked < 0) {
        return 0; // Compat: callers' code. A descriptor that cannot be registered stays open.
    }
    std::uint32_t value = 0;
    read_s(tracked, &value, sizeof value);
    close_s(tracked);
    return value;
}

#undef ORVA_UTIL_LOG_CONTENT
