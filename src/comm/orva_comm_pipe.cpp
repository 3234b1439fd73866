// Wake-up pipes, and the closing of sockets and streams. The write end of a pipe never blocks: a full pipe has woken
// its reader already.
#include "orva_comm.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>

#include "log_record.h"
#include "partition_memory.h"
#include "safeio.h"
#include "tova.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

bool make_nonblocking(int fd) {
    const int flags = fcntl(fd, F_GETFL, 0);
    return flags != -1 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) != -1;
}

} // namespace

int32_t ORVA_CreatePipe(int32_t *fds, uint64_t count) {
    int ends[2] = {-1, -1};
    int result = pipe_s(ends);
    if (result < 0) {
        return result;
    }
    if (!make_nonblocking(ends[1])) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, orva::kCodeError,
                         "Failed to change pipe mode to nonblock type. ErrorNo = %d.", errno);
    }
    // Compat: callers' code. With fewer than two entries the pipe is created, stays open, and `fds` is unchanged.
    result = memcpy_s(fds, count * sizeof *fds, ends, sizeof ends);
    if (result != 0) {
        orva::log_mem_copy_error(kArea, result);
        return ORVA_FAILED;
    }
    return 0;
}

void ORVA_DeletePipe(int32_t *fds, uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i) {
        if (fds[i] != -1) {
            close_s(fds[i]);
        }
    }
}

int64_t ORVA_WritePipe(int32_t fd) {
    const char wake = 0;
    return write_s(fd, &wake, sizeof wake);
}

int64_t ORVA_ReadPipe(int32_t fd, void *buffer, uint32_t length) {
    return read_s(fd, buffer, length);
}

int32_t ORVA_CloseSock(int32_t fd) {
    return close_s(fd);
}

int32_t ORVA_FileClose(FILE *file) {
    return file == nullptr ? EOF : fclose(file);
}
