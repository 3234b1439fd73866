// Calls of the C library that wait for descriptors, or make others' descriptors ready.
#include "next_call.h"
#include "waits.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

namespace host_clock {

void touch_address(const sockaddr *name, socklen_t length);

namespace {

// For calls with a timeout of 0, which only ask what is ready: a loop of such calls waits for time to pass.
int asked(int result) {
    if (result == 0) {
        note_idle_call();
    }
    return result;
}

struct Sets {
    fd_set read, write, except;
};

struct SetPointers {
    fd_set *read, *write, *except;
};

Sets copy_of(const SetPointers &from) {
    Sets sets{};
    sets.read = from.read != nullptr ? *from.read : sets.read;
    sets.write = from.write != nullptr ? *from.write : sets.write;
    sets.except = from.except != nullptr ? *from.except : sets.except;
    return sets;
}

void copy_to(const SetPointers &to, const Sets &sets) {
    if (to.read != nullptr) {
        *to.read = sets.read;
    }
    if (to.write != nullptr) {
        *to.write = sets.write;
    }
    if (to.except != nullptr) {
        *to.except = sets.except;
    }
}

int select_now(int count, const SetPointers &to) {
    Sets sets = copy_of(to);
    timeval none{};
    const auto given = [](fd_set *asked_for, fd_set &copy) { return asked_for != nullptr ? &copy : nullptr; };
    const int result = MIRO_CLOCK_NEXT(select)(count, given(to.read, sets.read), given(to.write, sets.write),
                                               given(to.except, sets.except), &none);
    if (result >= 0) {
        copy_to(to, result == 0 ? Sets{} : sets);
    }
    return result;
}

// The earliest of `instant` and the timers among the descriptors; their keys on the way.
std::int64_t prepare_select(int count, const Sets &sets, std::int64_t instant, Keys *keys) {
    for (int fd = 0; fd < count; ++fd) {
        if (FD_ISSET(fd, &sets.read) || FD_ISSET(fd, &sets.write) || FD_ISSET(fd, &sets.except)) {
            instant = std::min(instant, timer_instant(fd));
            if (keys != nullptr) {
                add_descriptor(*keys, fd, FD_ISSET(fd, &sets.write));
            }
        }
    }
    return instant;
}

int select_until(int count, const SetPointers &pointers, std::int64_t instant) {
    const Sets wanted = copy_of(pointers);
    Keys keys;
    prepare_select(count, wanted, instant, &keys);
    for (;;) {
        copy_to(pointers, wanted);
        fire_timers();
        const int result = select_now(count, pointers);
        if (result != 0 || instant <= now_ns()) {
            return result;
        }
        if (block(keys, prepare_select(count, wanted, instant, nullptr)) == Woken::kInterrupted) {
            errno = EINTR;
            return -1;
        }
    }
}

} // namespace

} // namespace host_clock

using namespace host_clock;

// ---- Waiting for several

MIRO_CLOCK_EXPORT int poll(pollfd *descriptors, nfds_t count, int timeout) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(poll)(descriptors, count, timeout);
    }
    if (timeout == 0) {
        fire_timers();
        return asked(MIRO_CLOCK_NEXT(poll)(descriptors, count, 0));
    }
    return poll_until(descriptors, count, timeout < 0 ? kNever : now_ns() + timeout * kNsPerMs);
}

MIRO_CLOCK_EXPORT int ppoll(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(ppoll)(descriptors, count, timeout, mask);
    }
    sigset_t before;
    if (mask != nullptr) {
        pthread_sigmask(SIG_SETMASK, mask, &before);
    }
    const int result = poll_until(descriptors, count, timeout == nullptr ? kNever : instant_after(*timeout));
    if (mask != nullptr) {
        const ErrnoKeeper keeper;
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    return result;
}

MIRO_CLOCK_EXPORT int select(int count, fd_set *__restrict reads, fd_set *__restrict writes,
                             fd_set *__restrict excepts, timeval *__restrict timeout) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(select)(count, reads, writes, excepts, timeout);
    }
    std::int64_t instant = kNever;
    if (timeout != nullptr) {
        if (timeout->tv_sec < 0 || timeout->tv_usec < 0) {
            errno = EINVAL;
            return -1;
        }
        instant = instant_after({.tv_sec = timeout->tv_sec, .tv_nsec = timeout->tv_usec * 1000});
    }
    const bool at_once = instant <= now_ns();
    const int result = select_until(count, {reads, writes, excepts}, instant);
    if (timeout != nullptr) {
        const timespec left = as_timespec(std::max<std::int64_t>(instant - now_ns(), 0));
        *timeout = {.tv_sec = left.tv_sec, .tv_usec = left.tv_nsec / 1000};
    }
    return at_once ? asked(result) : result;
}

MIRO_CLOCK_EXPORT int pselect(int count, fd_set *__restrict reads, fd_set *__restrict writes,
                              fd_set *__restrict excepts, const timespec *__restrict timeout,
                              const sigset_t *__restrict mask) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(pselect)(count, reads, writes, excepts, timeout, mask);
    }
    sigset_t before;
    if (mask != nullptr) {
        pthread_sigmask(SIG_SETMASK, mask, &before);
    }
    const int result =
        select_until(count, {reads, writes, excepts}, timeout == nullptr ? kNever : instant_after(*timeout));
    if (mask != nullptr) {
        const ErrnoKeeper keeper;
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    return result;
}

MIRO_CLOCK_EXPORT int epoll_wait(int fd, epoll_event *events, int most, int timeout) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(epoll_wait)(fd, events, most, timeout);
    }
    const std::int64_t instant = timeout < 0 ? kNever : now_ns() + timeout * kNsPerMs;
    Keys keys;
    keys.any = true;
    keys.outside = true;
    for (;;) {
        fire_timers();
        const int result = MIRO_CLOCK_NEXT(epoll_wait)(fd, events, most, 0);
        if (timeout == 0) {
            return asked(result);
        }
        if (result != 0 || instant <= now_ns()) {
            return result;
        }
        if (block(keys, std::min(instant, earliest_timer())) == Woken::kInterrupted) {
            errno = EINTR;
            return -1;
        }
    }
}

MIRO_CLOCK_EXPORT int epoll_pwait(int fd, epoll_event *events, int most, int timeout, const sigset_t *mask) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(epoll_pwait)(fd, events, most, timeout, mask);
    }
    sigset_t before;
    if (mask != nullptr) {
        pthread_sigmask(SIG_SETMASK, mask, &before);
    }
    const int result = epoll_wait(fd, events, most, timeout);
    if (mask != nullptr) {
        const ErrnoKeeper keeper;
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    return result;
}

// ---- Reading. What was read made room for those that write.

namespace {

template <typename Call>
auto read_from(int fd, int flags, Call call) -> decltype(call()) {
    if (follows() && (flags & MSG_DONTWAIT) == 0 && !wait_ready(fd, POLLIN)) {
        return -1;
    }
    const auto result = call();
    if (joined() && result >= 0) {
        touch_writers(fd);
    }
    return result;
}

template <typename Call>
auto write_to(int fd, int flags, Call call) -> decltype(call()) {
    if (follows() && (flags & MSG_DONTWAIT) == 0 && !wait_ready(fd, POLLOUT)) {
        return -1;
    }
    const auto result = call();
    if (joined() && result >= 0) {
        touch_peer(fd);
    }
    return result;
}

} // namespace

MIRO_CLOCK_EXPORT ssize_t read(int fd, void *buffer, size_t length) {
    return read_from(fd, 0, [&] { return MIRO_CLOCK_NEXT(read)(fd, buffer, length); });
}

MIRO_CLOCK_EXPORT ssize_t readv(int fd, const iovec *parts, int count) {
    return read_from(fd, 0, [&] { return MIRO_CLOCK_NEXT(readv)(fd, parts, count); });
}

MIRO_CLOCK_EXPORT ssize_t recv(int fd, void *buffer, size_t length, int flags) {
    return read_from(fd, flags, [&] { return MIRO_CLOCK_NEXT(recv)(fd, buffer, length, flags); });
}

MIRO_CLOCK_EXPORT ssize_t recvfrom(int fd, void *__restrict buffer, size_t length, int flags,
                                   sockaddr *__restrict name, socklen_t *__restrict name_length) {
    return read_from(fd, flags,
                     [&] { return MIRO_CLOCK_NEXT(recvfrom)(fd, buffer, length, flags, name, name_length); });
}

MIRO_CLOCK_EXPORT ssize_t recvmsg(int fd, msghdr *message, int flags) {
    return read_from(fd, flags, [&] { return MIRO_CLOCK_NEXT(recvmsg)(fd, message, flags); });
}

MIRO_CLOCK_EXPORT int accept(int fd, sockaddr *__restrict name, socklen_t *__restrict length) {
    return read_from(fd, 0, [&] { return MIRO_CLOCK_NEXT(accept)(fd, name, length); });
}

MIRO_CLOCK_EXPORT int accept4(int fd, sockaddr *__restrict name, socklen_t *__restrict length, int flags) {
    return read_from(fd, 0, [&] { return MIRO_CLOCK_NEXT(accept4)(fd, name, length, flags); });
}

MIRO_CLOCK_EXPORT int eventfd_read(int fd, eventfd_t *value) {
    return read(fd, value, sizeof *value) == sizeof *value ? 0 : -1;
}

// What fortified programs call in the place of these.
extern "C" [[noreturn]] void __chk_fail();

MIRO_CLOCK_EXPORT ssize_t __read_chk(int fd, void *buffer, size_t length, size_t size) {
    if (length > size) {
        __chk_fail();
    }
    return read(fd, buffer, length);
}

MIRO_CLOCK_EXPORT ssize_t __recv_chk(int fd, void *buffer, size_t length, size_t size, int flags) {
    if (length > size) {
        __chk_fail();
    }
    return recv(fd, buffer, length, flags);
}

MIRO_CLOCK_EXPORT ssize_t __recvfrom_chk(int fd, void *__restrict buffer, size_t length, size_t size, int flags,
                                         sockaddr *__restrict name, socklen_t *__restrict name_length) {
    if (length > size) {
        __chk_fail();
    }
    return recvfrom(fd, buffer, length, flags, name, name_length);
}

MIRO_CLOCK_EXPORT int __poll_chk(pollfd *descriptors, nfds_t count, int timeout, size_t size) {
    if (size / sizeof *descriptors < count) {
        __chk_fail();
    }
    return poll(descriptors, count, timeout);
}

MIRO_CLOCK_EXPORT int __ppoll_chk(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask,
                                  size_t size) {
    if (size / sizeof *descriptors < count) {
        __chk_fail();
    }
    return ppoll(descriptors, count, timeout, mask);
}

// ---- Writing

MIRO_CLOCK_EXPORT ssize_t write(int fd, const void *bytes, size_t length) {
    return write_to(fd, 0, [&] { return MIRO_CLOCK_NEXT(write)(fd, bytes, length); });
}

MIRO_CLOCK_EXPORT ssize_t writev(int fd, const iovec *parts, int count) {
    return write_to(fd, 0, [&] { return MIRO_CLOCK_NEXT(writev)(fd, parts, count); });
}

MIRO_CLOCK_EXPORT ssize_t send(int fd, const void *bytes, size_t length, int flags) {
    return write_to(fd, flags, [&] { return MIRO_CLOCK_NEXT(send)(fd, bytes, length, flags); });
}

MIRO_CLOCK_EXPORT ssize_t sendto(int fd, const void *bytes, size_t length, int flags, const sockaddr *name,
                                 socklen_t name_length) {
    const ssize_t count =
        write_to(fd, flags, [&] { return MIRO_CLOCK_NEXT(sendto)(fd, bytes, length, flags, name, name_length); });
    if (joined() && count >= 0 && name != nullptr) {
        const ErrnoKeeper keeper;
        touch_address(name, name_length);
    }
    return count;
}

MIRO_CLOCK_EXPORT ssize_t sendmsg(int fd, const msghdr *message, int flags) {
    const ssize_t count = write_to(fd, flags, [&] { return MIRO_CLOCK_NEXT(sendmsg)(fd, message, flags); });
    if (joined() && count >= 0 && message->msg_name != nullptr) {
        const ErrnoKeeper keeper;
        touch_address(static_cast<const sockaddr *>(message->msg_name), message->msg_namelen);
    }
    return count;
}

MIRO_CLOCK_EXPORT int eventfd_write(int fd, eventfd_t value) {
    return write(fd, &value, sizeof value) == sizeof value ? 0 : -1;
}

MIRO_CLOCK_EXPORT int connect(int fd, const sockaddr *name, socklen_t length) {
    const int result = MIRO_CLOCK_NEXT(connect)(fd, name, length);
    if (joined()) {
        const ErrnoKeeper keeper;
        touch_address(name, length);
    }
    return result;
}

MIRO_CLOCK_EXPORT int shutdown(int fd, int how) noexcept {
    const int result = MIRO_CLOCK_NEXT(shutdown)(fd, how);
    if (joined()) {
        touch_peer(fd);
    }
    return result;
}

MIRO_CLOCK_EXPORT int close(int fd) {
    if (joined()) {
        // The key comes from the descriptor, so the touch comes before the close. Nobody looks before this thread
        // waits.
        touch_peer(fd);
        forget_timer(fd);
    }
    return MIRO_CLOCK_NEXT(close)(fd);
}
