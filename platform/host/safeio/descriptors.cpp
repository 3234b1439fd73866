// Descriptors with a tracked owner. The table remembers, per number of the kernel, who owns it now and what was open
// there, so that a number that was reused without its knowledge is told from the registered descriptor.
#include "safeio.h"

#include "fork_guard.h"
#include "reporter.h"
#include "safeio_host.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#define SAFEIO_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr int kKernelNumbers = SAFEIO_KERNEL_FD_MASK + 1;
constexpr int kOwnerShift = 16;
constexpr std::uint32_t kOwnerLimit = 0x8000;

// What the kernel shows of an open descriptor that does not change while it is open. Inode numbers of files are left
// out: a layered file system may change them under an open descriptor.
struct Identity {
    mode_t type = 0; // 0: nothing was open
    dev_t device = 0;
    ino_t socket = 0;
    bool operator==(const Identity &) const = default;
};

struct Tracked {
    std::uint32_t module = 0;
    std::uint32_t owner = 0; // stays when the tracking ends
    Identity identity;
};

// Owner 0 means untracked. Owners are changed under the lock and read without it.
std::array<std::atomic<std::uint16_t>, kKernelNumbers> g_owners{};
std::array<Tracked, kKernelNumbers> g_tracked{};
std::uint32_t g_last_owner = 0;
std::mutex g_lock;

host::Reporter g_reporter("safeio");

[[gnu::constructor]] void keep_locks_usable_after_fork() {
    host::keep_usable_after_fork(g_lock);
    host::keep_usable_after_fork(g_reporter.lock());
}

int refuse(int error) {
    errno = error;
    return -1;
}

Identity identity_of(int kernel_fd) {
    struct stat status {};
    Identity identity;
    if (fstat(kernel_fd, &status) == 0) {
        identity.type = status.st_mode & S_IFMT;
        const bool device = S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
        identity.device = device ? status.st_rdev : 0;
        identity.socket = S_ISSOCK(status.st_mode) ? status.st_ino : 0;
    }
    return identity;
}

// A descriptor as callers pass it: the kernel's number, and the owner or 0 when it is a plain one.
struct Handed {
    int fd;
    std::uint32_t owner;
    explicit Handed(int value)
        : fd(value & SAFEIO_KERNEL_FD_MASK), owner(static_cast<std::uint32_t>(value) >> kOwnerShift) {}
    std::uint16_t tracked_owner() const {
        return g_owners[static_cast<std::size_t>(fd)].load(std::memory_order_acquire);
    }
};

std::uint32_t track(int kernel_fd, std::uint32_t module) {
    const Identity identity = identity_of(kernel_fd);
    const auto at = static_cast<std::size_t>(kernel_fd);
    const std::lock_guard<std::mutex> guard(g_lock);
    do {
        g_last_owner = g_last_owner + 1 < kOwnerLimit ? g_last_owner + 1 : 1;
    } while (g_last_owner == g_tracked[at].owner);
    g_tracked[at] = {module, g_last_owner, identity};
    g_owners[at].store(static_cast<std::uint16_t>(g_last_owner), std::memory_order_release);
    return g_last_owner;
}

// Ends the tracking of (`kernel_fd`, `owner`); false when another thread was first.
bool untrack(int kernel_fd, std::uint32_t owner) {
    const std::lock_guard<std::mutex> guard(g_lock);
    auto &current = g_owners[static_cast<std::size_t>(kernel_fd)];
    if (current.load(std::memory_order_relaxed) != owner) {
        return false;
    }
    current.store(0, std::memory_order_release);
    return true;
}

// The kernel has just given the number out, so its previous owner has closed it, whatever the table says.
void forget(int kernel_fd) {
    const std::lock_guard<std::mutex> guard(g_lock);
    g_owners[static_cast<std::size_t>(kernel_fd)].store(0, std::memory_order_release);
}

Tracked tracked_at(int kernel_fd) {
    const std::lock_guard<std::mutex> guard(g_lock);
    return g_tracked[static_cast<std::size_t>(kernel_fd)];
}

int refuse_owner(const char *call, Handed handed) {
    const std::uint32_t current = handed.tracked_owner();
    if (current == 0) {
        g_reporter.line("%s of descriptor %d by owner %u, who has closed it already or never had it", call, handed.fd,
                        handed.owner);
    } else {
        g_reporter.line("%s of descriptor %d by owner %u: it belongs to owner %u of module 0x%x", call, handed.fd,
                        handed.owner, current, tracked_at(handed.fd).module);
    }
    return refuse(EBADF);
}

bool may_use(const char *call, int fd, Handed handed) {
    if (fd < 0) {
        refuse(EBADF);
        return false;
    }
    if (handed.owner != 0 && handed.owner != handed.tracked_owner()) {
        refuse_owner(call, handed);
        return false;
    }
    return true;
}

// The kernel has given the number up also when it reports an interruption.
int close_kernel(int kernel_fd) {
    const int result = close(kernel_fd);
    return result != 0 && errno == EINTR ? 0 : result;
}

int close_tracked(Handed handed) {
    if (handed.owner != handed.tracked_owner()) {
        return refuse_owner("close", handed);
    }
    const Identity registered = tracked_at(handed.fd).identity;
    const Identity present = identity_of(handed.fd);
    if (!untrack(handed.fd, handed.owner)) {
        return refuse_owner("close", handed);
    }
    if (present.type == 0 || (registered.type != 0 && registered != present)) {
        g_reporter.line("close of descriptor %d by owner %u: it was closed without the tracking%s", handed.fd,
                        handed.owner, present.type != 0 ? " and its number is in use by someone else" : "");
        return refuse(EBADF);
    }
    return close_kernel(handed.fd);
}

// By its plain number anyone may close a descriptor. Two cases are reported: they are mistakes more often than not.
int close_plain(Handed handed) {
    const std::uint32_t owner = handed.tracked_owner();
    if (owner == 0) {
        const int result = close_kernel(handed.fd);
        if (result != 0 && errno == EBADF) {
            g_reporter.line("close of descriptor %d by its plain number: nothing is open there; closed twice?",
                            handed.fd);
            errno = EBADF;
        }
        return result;
    }
    const Tracked tracked = tracked_at(handed.fd);
    const Identity present = identity_of(handed.fd);
    const bool is_the_tracked_one = present.type != 0 && (tracked.identity.type == 0 || tracked.identity == present);
    if (untrack(handed.fd, owner) && is_the_tracked_one) {
        g_reporter.line("close of descriptor %d by its plain number: it belonged to owner %u of module 0x%x",
                        handed.fd, owner, tracked.module);
    }
    return close_kernel(handed.fd);
}

} // namespace

SAFEIO_EXPORT int pipe_s(int fds[2]) {
    if (fds == nullptr) {
        return refuse(EINVAL);
    }
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    if (ends[0] >= kKernelNumbers || ends[1] >= kKernelNumbers) {
        close(ends[0]);
        close(ends[1]);
        return refuse(EMFILE);
    }
    for (int i = 0; i < 2; ++i) {
        forget(ends[i]);
        fds[i] = ends[i];
    }
    return 0;
}

SAFEIO_EXPORT int socket_s(int domain, int type, int protocol) {
    const int fd = socket(domain, type, protocol);
    if (fd < 0) {
        return -1;
    }
    if (fd >= kKernelNumbers) {
        close(fd);
        return refuse(EMFILE);
    }
    return safeio_fd_owner_assemble(fd, track(fd, 0));
}

SAFEIO_EXPORT ssize_t read_s(int fd, void *buffer, size_t length) {
    const Handed handed(fd);
    return may_use("read", fd, handed) ? read(handed.fd, buffer, length) : -1;
}

SAFEIO_EXPORT ssize_t write_s(int fd, const void *buffer, size_t length) {
    const Handed handed(fd);
    return may_use("write", fd, handed) ? write(handed.fd, buffer, length) : -1;
}

SAFEIO_EXPORT int fchmod_s(int fd, mode_t mode) {
    const Handed handed(fd);
    return may_use("fchmod", fd, handed) ? fchmod(handed.fd, mode) : -1;
}

SAFEIO_EXPORT int close_s(int fd) {
    if (fd < 0) {
        return refuse(EBADF);
    }
    const Handed handed(fd);
    return handed.owner != 0 ? close_tracked(handed) : close_plain(handed);
}

SAFEIO_EXPORT int SetFdOwner(int fd, uint32_t module, uint32_t *owner) {
    if (fd < 0 || fd >= kKernelNumbers) {
        return refuse(EBADF);
    }
    if (owner == nullptr) {
        return refuse(EINVAL);
    }
    *owner = track(fd, module);
    return 0;
}

SAFEIO_EXPORT int safeio_fd_owner_assemble(int fd, uint32_t owner) {
    if (fd < 0 || fd >= kKernelNumbers) {
        return refuse(EBADF);
    }
    if (owner >= kOwnerLimit) {
        return refuse(EINVAL);
    }
    return fd | static_cast<int>(owner << kOwnerShift);
}

SAFEIO_EXPORT void SAFEIO_HostSetReporter(SAFEIO_HOST_REPORTER reporter, void *context) {
    g_reporter.set(reporter, context);
}

SAFEIO_EXPORT uint32_t SAFEIO_HostWalkTracked(SAFEIO_HOST_VISITOR visitor, void *context) {
    uint32_t count = 0;
    for (int fd = 0; fd < kKernelNumbers; ++fd) {
        const std::uint16_t owner = g_owners[static_cast<std::size_t>(fd)].load(std::memory_order_acquire);
        if (owner == 0) {
            continue;
        }
        ++count;
        if (visitor != nullptr) {
            visitor(fd, owner, tracked_at(fd).module, context);
        }
    }
    return count;
}
