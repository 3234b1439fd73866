// Tasks as POSIX threads, and the threads of the platform itself.
#include "miro_host.h"

#include "host_internal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <unistd.h>

namespace {

// The host's log sinks run on the stack of the task that writes a record, so a task gets room for them.
constexpr std::size_t kHostRoomBytes = 256 * 1024;
constexpr std::size_t kMaxStackBytes = std::size_t{1} << 32;
constexpr std::size_t kKernelNameBytes = 16;

struct Start {
    MIRO_TASK_ENTRY entry;
    void *argument;
    char name[kKernelNameBytes];
};

std::atomic<std::uint32_t> g_last_task{0};

void *run_task(void *start) {
    const Start task = *std::unique_ptr<Start>(static_cast<Start *>(start));
    if (task.name[0] != '\0') {
        pthread_setname_np(pthread_self(), task.name);
    }
    task.entry(task.argument);
    return nullptr;
}

std::size_t raised_stack_size(std::size_t asked) {
    const auto minimum = static_cast<std::size_t>(std::max(sysconf(_SC_THREAD_STACK_MIN), 0L));
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t floor = minimum + kHostRoomBytes;
    return (std::max(asked, floor) + page - 1) / page * page;
}

// `stack_size` 0 takes the system's default. Returns an error number.
int create_detached(std::size_t stack_size, Start *start) {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0) {
        return error;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stack_size != 0) {
        error = pthread_attr_setstacksize(&attributes, stack_size);
    }
    pthread_t thread;
    if (error == 0) {
        error = pthread_create(&thread, &attributes, run_task, start);
    }
    pthread_attr_destroy(&attributes);
    return error;
}

// Thread-local variables of the process may need more than the minimum that the system names: then more is asked for.
int create_with_stack(std::size_t stack_size, Start *start) {
    int error = create_detached(stack_size, start);
    while (error == EINVAL && stack_size != 0 && stack_size < kMaxStackBytes) {
        stack_size *= 2;
        error = create_detached(stack_size, start);
    }
    return error;
}

// 0 is taken by no task, also after four billion of them.
std::uint32_t next_task_id() {
    std::uint32_t id = 0;
    while (id == 0) {
        id = ++g_last_task;
    }
    return id;
}

} // namespace

namespace host {

bool start_service_thread(const char *name, void (*body)(void *unused)) {
    std::unique_ptr<Start> start(new (std::nothrow) Start{body, nullptr, {}});
    if (!start) {
        errno = ENOMEM;
        return false;
    }
    std::strncpy(start->name, name, kKernelNameBytes - 1);
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const int error = create_with_stack(0, start.get());
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (error != 0) {
        errno = error;
        return false;
    }
    static_cast<void>(start.release());
    return true;
}

std::int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

} // namespace host

MIRO_EXPORT uint32_t MIRO_TaskCreate(const char *name, uint32_t *taskId, MIRO_TASK_ENTRY entry, uint32_t /*priority*/,
                                     uint32_t stackSize, uint32_t options, void *argument) {
    if (taskId == nullptr || entry == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (options != 0) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    std::unique_ptr<Start> start(new (std::nothrow) Start{entry, argument, {}});
    if (!start) {
        return MIRO_HOST_ERR_NO_MEMORY;
    }
    if (name != nullptr) {
        std::strncpy(start->name, name, kKernelNameBytes - 1);
    }
    const std::uint32_t id = next_task_id();
    // Stored before the task runs, for an entry that reads its own identifier there.
    const std::uint32_t previous = *taskId;
    *taskId = id;
    const int error = create_with_stack(stackSize == 0 ? 0 : raised_stack_size(stackSize), start.get());
    if (error != 0) {
        *taskId = previous;
        errno = error;
        return MIRO_HOST_ERR_SYSTEM;
    }
    static_cast<void>(start.release());
    return MIRO_HOST_OK;
}
