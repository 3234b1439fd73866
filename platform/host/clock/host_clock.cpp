// The interface of the stepped clock, and how a process comes to follow one.
#include "miro_host_clock.h"

#include "next_call.h"
#include "waits.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

using namespace host_clock;

namespace {

// Changes the array that main() gets, too: some shells read that one, and have a setenv() of their own.
bool set_variable(const char *name, const std::string &value) {
    const std::string entry = std::string(name) + "=" + value;
    char *copy = strdup(entry.c_str());
    if (copy == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(name) + 1;
    for (char **at = environ; at != nullptr && *at != nullptr; ++at) {
        if (std::strncmp(*at, copy, length) == 0) {
            *at = copy; // not freed: programs keep what they read
            return true;
        }
    }
    std::free(copy);
    return setenv(name, value.c_str(), 1) == 0; // before threads
}

// Puts an element in front of a list of paths, unless the list has it.
bool put_first(const char *name, const std::string &element) {
    const char *before = std::getenv(name);
    if (before == nullptr || *before == '\0') {
        return set_variable(name, element);
    }
    return std::strstr(before, element.c_str()) != nullptr || set_variable(name, element + ":" + before);
}

// The library's own file, for the processes that this one starts.
bool preload_for_children() {
    Dl_info about{};
    char path[PATH_MAX];
    if (dladdr(reinterpret_cast<const void *>(&MIRO_HostClockStart), &about) == 0 ||
        realpath(about.dli_fname, path) == nullptr) {
        return false;
    }
    // The list is split at blanks: a path with one is given as a bare name and a folder to search.
    const char *name = std::strchr(path, ' ') == nullptr ? path : std::strrchr(path, '/') + 1;
    const std::string folder(path, static_cast<std::size_t>(name - path));
    return put_first("LD_PRELOAD", name) && (folder.empty() || put_first("LD_LIBRARY_PATH", folder));
}

// Whether this program's own calls come here: then its time is the stepped one.
bool calls_come_here() {
    const auto ask = reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_DEFAULT, "clock_gettime"));
    timespec shown{};
    const timespec expected = reading(CLOCK_MONOTONIC, now_ns());
    return ask(CLOCK_MONOTONIC, &shown) == 0 && shown.tv_sec == expected.tv_sec && shown.tv_nsec == expected.tv_nsec;
}

// Members of a clock join it here, before their main function.
[[gnu::constructor]] void join_at_start() {
    const char *file = secure_getenv(MIRO_HOST_CLOCK_VARIABLE);
    if (file == nullptr || *file == '\0') {
        return;
    }
    const bool done = std::strcmp(file, "new") == 0 ? MIRO_HostClockStart(nullptr) == MIRO_HOST_OK : join_file(file);
    if (!done) {
        std::fprintf(stderr, "miro_clock[%d]: no clock \"%s\" to follow: real time\n", getpid(), file);
    }
}

[[gnu::destructor]] void leave_at_end() {
    leave_process(Leaving::kEnds);
}

} // namespace

MIRO_CLOCK_EXPORT uint32_t MIRO_HostClockStart(const MIRO_HOST_CLOCK_CONFIG *config) {
    if (joined()) {
        return MIRO_HOST_OK;
    }
    // The thread sanitizer creates threads in a way that this library would disturb.
    if (dlsym(RTLD_DEFAULT, "__tsan_init") != nullptr) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    char path[PATH_MAX];
    if (config != nullptr && config->file != nullptr) {
        std::snprintf(path, sizeof path, "%s", config->file);
    } else {
        timespec now{};
        MIRO_CLOCK_NEXT(clock_gettime)(CLOCK_MONOTONIC, &now);
        std::snprintf(path, sizeof path, "/dev/shm/miro-clock-%d-%lld%09ld", getpid(),
                      static_cast<long long>(now.tv_sec), now.tv_nsec);
    }
    const int64_t seconds =
        config != nullptr && config->startSeconds != 0 ? config->startSeconds : MIRO_HOST_CLOCK_START_SECONDS;
    if (!start(path, seconds)) {
        return MIRO_HOST_ERR_SYSTEM;
    }
    if (!calls_come_here()) {
        leave_process(Leaving::kGoesOn);
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    return preload_for_children() && set_variable(MIRO_HOST_CLOCK_VARIABLE, path) ? MIRO_HOST_OK
                                                                                  : MIRO_HOST_ERR_SYSTEM;
}

MIRO_CLOCK_EXPORT uint32_t MIRO_HostClockIsStepped(void) {
    return follows() ? 1 : 0;
}

MIRO_CLOCK_EXPORT uint32_t MIRO_HostClockStep(uint64_t milliseconds) {
    if (!follows()) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    const std::int64_t length =
        milliseconds > UINT64_MAX / 4 / kNsPerMs ? kNever : static_cast<std::int64_t>(milliseconds) * kNsPerMs;
    const std::int64_t until = now_ns() + length;
    do {
        block({}, until, true);
    } while (now_ns() < until);
    return MIRO_HOST_OK;
}

MIRO_CLOCK_EXPORT void MIRO_HostClockLeave(void) {
    if (follows()) {
        leave_thread();
    }
}

MIRO_CLOCK_EXPORT uint32_t MIRO_HostClockJoin(void) {
    return join_thread() ? MIRO_HOST_OK : MIRO_HOST_ERR_UNSUPPORTED;
}

MIRO_CLOCK_EXPORT uint64_t MIRO_HostClockRealNs(void) {
    timespec now{};
    MIRO_CLOCK_NEXT(clock_gettime)(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(as_ns(now));
}

MIRO_CLOCK_EXPORT uint32_t MIRO_HostClockStats(MIRO_HOST_CLOCK_STATS *stats) {
    if (stats == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (!joined()) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    const Figures now = figures();
    *stats = {.nowNs = static_cast<uint64_t>(now.now_ns),
              .handovers = now.handovers,
              .advances = now.advances,
              .processes = now.processes,
              .threads = now.threads};
    return MIRO_HOST_OK;
}
