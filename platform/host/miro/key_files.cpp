// Key files of message queues: the C library's look-up, which fails silently; this one names the file once.
#include "host_internal.h"
#include "uncancelled.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <exception>
#include <mutex>
#include <set>
#include <string>
#include <sys/ipc.h>

namespace {

std::mutex g_lock;

// Never destroyed: queues are made until the process is gone.
std::set<std::string> &reported() {
    static std::set<std::string> &paths = *new std::set<std::string>;
    return paths;
}

[[gnu::constructor]] void prepare_fork() {
    reported();
    host::keep_usable_after_fork(g_lock);
}

void report_once(const char *path, int error) {
    const host::Uncancelled uncancelled;
    try {
        {
            const std::lock_guard<std::mutex> guard(g_lock);
            if (!reported().insert(path).second) {
                return;
            }
        }
        host::g_reporter.line("the key file \"%s\" of a message queue cannot be used: %s", path,
                              std::strerror(error));
    } catch (const std::exception &) {
        // No memory to remember it: the result still says that there is no key.
    }
}

} // namespace

MIRO_EXPORT key_t ftok(const char *path, int project) noexcept {
    static const auto next = reinterpret_cast<key_t (*)(const char *, int)>(dlsym(RTLD_NEXT, "ftok"));
    const key_t key = next != nullptr ? next(path, project) : -1;
    if (key == -1) {
        const int error = errno;
        report_once(path, error);
        errno = error;
    }
    return key;
}
