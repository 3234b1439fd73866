// Waiting for descriptors, and what a write to one touches.
#include "next_call.h"
#include "waits.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

namespace host_clock {

namespace {

// Datagrams over IP may still be on their way when the call that sent them has returned.
constexpr int kCarryMs = 5;

struct InodeName {
    dev_t device;
    ino_t number;
};

// A socket's name as a key. IP sockets that take every address are found by their port alone.
struct SocketName {
    std::uint32_t family;
    std::uint32_t port;
    unsigned char address[16];
};

union Address {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
    sockaddr_un local;
    sockaddr_storage storage;
};

bool is_ip(const Address &address) {
    return address.any.sa_family == AF_INET || address.any.sa_family == AF_INET6;
}

std::uint32_t port_key(std::uint32_t family, in_port_t port) {
    return key_for(kSocketKey, SocketName{family, port, {}});
}

// The keys of a named socket; none for a kind that nothing is known of.
void add_name(Keys &keys, const Address &address, socklen_t length) {
    SocketName name{address.any.sa_family, 0, {}};
    if (address.any.sa_family == AF_INET) {
        name.port = address.v4.sin_port;
        std::memcpy(name.address, &address.v4.sin_addr, sizeof address.v4.sin_addr);
    } else if (address.any.sa_family == AF_INET6) {
        name.port = address.v6.sin6_port;
        std::memcpy(name.address, &address.v6.sin6_addr, sizeof name.address);
    } else if (address.any.sa_family == AF_UNIX) {
        keys.add(hash(kSocketKey, &address.local, std::min<std::size_t>(length, sizeof address.local)));
        return;
    } else {
        keys.any = true;
        return;
    }
    keys.add(key_for(kSocketKey, name));
}

void add_own_name(Keys &keys, int fd) {
    Address address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, &address.any, &length) != 0) {
        keys.any = true;
        return;
    }
    add_name(keys, address, length);
}

template <typename Visit>
void with_inode(const struct stat &about, Visit visit) {
    if (S_ISFIFO(about.st_mode)) {
        visit(key_for(kPipeKey, InodeName{about.st_dev, about.st_ino}));
    } else if ((about.st_mode & S_IFMT) == 0) {
        // eventfd, signalfd, pidfd and their like have one inode for all.
        visit(key_for(kAnonymousKey, 0));
    }
}

void touch_name(const Address &address, socklen_t length) {
    Keys keys;
    add_name(keys, address, length);
    for (std::uint32_t i = 0; i < keys.count; ++i) {
        touch(keys.list[i], is_ip(address));
    }
    if (address.any.sa_family == AF_INET) {
        touch(port_key(AF_INET, address.v4.sin_port), true);
    } else if (address.any.sa_family == AF_INET6) {
        touch(port_key(AF_INET6, address.v6.sin6_port), true);
    }
}

} // namespace

void touch_address(const sockaddr *name, socklen_t length) {
    Address address{};
    std::memcpy(&address, name, std::min<std::size_t>(length, sizeof address));
    touch_name(address, length);
}

void add_descriptor(Keys &keys, int fd, bool for_room) {
    struct stat about {};
    if (fd < 0 || add_timer(keys, fd) || fstat(fd, &about) != 0) {
        return;
    }
    keys.room = keys.room || for_room;
    keys.outside = true;
    if (S_ISSOCK(about.st_mode)) {
        add_own_name(keys, fd);
    } else {
        with_inode(about, [&](std::uint32_t key) { keys.add(key); });
    }
}

void touch_peer(int fd) {
    const ErrnoKeeper keeper;
    struct stat about {};
    if (fstat(fd, &about) != 0) {
        return;
    }
    if (!S_ISSOCK(about.st_mode)) {
        with_inode(about, [](std::uint32_t key) { touch(key); });
        return;
    }
    Address address{};
    socklen_t length = sizeof address;
    if (getpeername(fd, &address.any, &length) == 0) {
        touch_name(address, length);
    }
}

void touch_writers(int fd) {
    if (room_is_wanted()) {
        touch_peer(fd);
    }
}

int poll_until(pollfd *descriptors, nfds_t count, std::int64_t instant) {
    Keys keys;
    std::int64_t until = instant;
    Woken woken = Woken::kTouched;
    for (bool first = true;; first = false) {
        fire_timers();
        const int result = MIRO_CLOCK_NEXT(poll)(descriptors, count, woken == Woken::kArrives ? kCarryMs : 0);
        if (result != 0 || instant <= now_ns()) {
            return result;
        }
        if (first) {
            for (nfds_t i = 0; i < count; ++i) {
                add_descriptor(keys, descriptors[i].fd, (descriptors[i].events & POLLOUT) != 0);
            }
        }
        until = instant;
        for (nfds_t i = 0; i < count; ++i) {
            until = std::min(until, timer_instant(descriptors[i].fd));
        }
        woken = block(keys, until);
        if (woken == Woken::kInterrupted) {
            errno = EINTR;
            return -1;
        }
    }
}

// The time limit of a socket's own calls.
std::int64_t socket_limit(int fd, short events) {
    timeval limit{};
    socklen_t length = sizeof limit;
    const int option = events == POLLIN ? SO_RCVTIMEO : SO_SNDTIMEO;
    if (getsockopt(fd, SOL_SOCKET, option, &limit, &length) != 0 || (limit.tv_sec == 0 && limit.tv_usec == 0)) {
        return kNever;
    }
    return instant_after({.tv_sec = limit.tv_sec, .tv_nsec = limit.tv_usec * 1000});
}

bool wait_ready(int fd, short events) {
    pollfd one{.fd = fd, .events = events, .revents = 0};
    fire_timers();
    if (MIRO_CLOCK_NEXT(poll)(&one, 1, 0) != 0) {
        return true;
    }
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || (flags & O_NONBLOCK) != 0) {
        return true;
    }
    const int ready = poll_until(&one, 1, socket_limit(fd, events));
    if (ready == 0) {
        errno = EAGAIN;
    }
    return ready > 0;
}

} // namespace host_clock
