// Tracked descriptors: opens a file and registers its descriptor with the owner tracking of the safe-I/O layer.
#ifndef ORVA_TRACKED_DESCRIPTOR_H
#define ORVA_TRACKED_DESCRIPTOR_H

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

#include "safeio.h"

namespace orva {

inline constexpr std::uint32_t kDescriptorOwner = 1; // the module that the library registers descriptors for

enum class OwnerResult { kIgnored, kNeeded }; // whether a failed SetFdOwner fails the registration

// The tracked descriptor of a plain one, which stays open; negative, with errno of the failed step, on failure.
[[nodiscard]] inline int register_descriptor(int fd, OwnerResult need) {
    std::uint32_t owner = 0;
    const bool isOwned = SetFdOwner(fd, kDescriptorOwner, &owner) == 0;
    return isOwned || need == OwnerResult::kIgnored ? safeio_fd_owner_assemble(fd, owner) : -1;
}

// A file's tracked descriptor; negative, with errno of the failed step and nothing left open, on failure.
[[nodiscard]] inline int open_tracked(const char *path, int flags, OwnerResult need) {
    const int fd = open(path, flags);
    if (fd < 0) {
        return fd;
    }
    const int tracked = register_descriptor(fd, need);
    if (tracked < 0) {
        const int error = errno;
        close(fd); // not close_s: a large plain number looks like a tracked one and could be someone else's
        errno = error;
    }
    return tracked;
}

} // namespace orva

#endif
