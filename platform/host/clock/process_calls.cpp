// Processes and signals on the stepped clock.
#include "next_call.h"
#include "waits.h"

#include "miro_host_clock.h"

#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace host_clock;

namespace {

// Runs an unknown call in real time, while the other threads have their turn.
template <typename Call>
auto aside(Call call) -> decltype(call()) {
    if (!follows()) {
        return call();
    }
    step_aside();
    const auto result = call();
    const ErrnoKeeper keeper;
    come_back();
    return result;
}

bool names_clock(char *const *environment) {
    constexpr char kName[] = MIRO_HOST_CLOCK_VARIABLE "=";
    for (; environment != nullptr && *environment != nullptr; ++environment) {
        if (std::strncmp(*environment, kName, sizeof kName - 1) == 0) {
            return true;
        }
    }
    return false;
}

// ---- Signals

struct SignalSets {
    bool known = false;
    std::uint64_t pending = 0;
    std::uint64_t blocked = 0;
    std::uint64_t ignored = 0;
    std::uint64_t caught = 0;
};

std::uint64_t set_after(const char *text, const char *field) {
    const char *found = std::strstr(text, field);
    return found != nullptr ? std::strtoull(found + std::strlen(field), nullptr, 16) : 0;
}

SignalSets signal_sets(pid_t process, pid_t thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/task/%d/status", process, thread);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return {};
    }
    char text[4096]{};
    const ssize_t count = MIRO_CLOCK_NEXT(read)(fd, text, sizeof text - 1);
    MIRO_CLOCK_NEXT(close)(fd);
    return {.known = count > 0,
            .pending = set_after(text, "SigPnd:") | set_after(text, "ShdPnd:"),
            .blocked = set_after(text, "SigBlk:"),
            .ignored = set_after(text, "SigIgn:"),
            .caught = set_after(text, "SigCgt:")};
}

bool has(std::uint64_t set, int signal) {
    return signal > 0 && signal <= 64 && (set >> (signal - 1) & 1) != 0;
}

// True when the signal ends the process: it neither catches, blocks nor ignores it.
bool is_fatal_for(pid_t process, int signal) {
    switch (signal) {
    case SIGCHLD:
    case SIGCONT:
    case SIGURG:
    case SIGWINCH:
    case SIGSTOP:
    case SIGTSTP:
    case SIGTTIN:
    case SIGTTOU:
        return false;
    case SIGKILL:
        return true;
    default:
        break;
    }
    const SignalSets sets = signal_sets(process, process);
    return sets.known && !has(sets.blocked | sets.ignored | sets.caught, signal);
}

bool takes_signal(pid_t process, pid_t thread, int signal) {
    const SignalSets sets = signal_sets(process, thread);
    return sets.known && has(sets.caught, signal) && !has(sets.blocked, signal);
}

// A caught signal interrupts a wait. Waits until its handler has started, so that it does not interrupt a later wait.
// `thread`: 0 when the signal was sent to the whole process.
void see_caught_signal_taken(pid_t process, pid_t thread, int signal) {
    constexpr int kLooks = 100;
    const timespec pause{.tv_sec = 0, .tv_nsec = 200'000};
    if (!interrupt_thread(process, thread, takes_signal, signal)) {
        return;
    }
    const pid_t taker = thread != 0 ? thread : process;
    for (int look = 0; look < kLooks && has(signal_sets(process, taker).pending, signal); ++look) {
        MIRO_CLOCK_NEXT(nanosleep)(&pause, nullptr);
    }
}

// 0 is a group that was made outside of the process's namespace.
constexpr pid_t kNoGroup = -1;

struct Sent {
    pid_t group; // kNoGroup: to one process
    pid_t process;
    int signal;
    bool fatal;
};

bool is_meant(pid_t process, const Sent &sent) {
    return sent.group != kNoGroup ? getpgid(process) == sent.group : process == sent.process;
}

void see_signal_through(pid_t process, void *context) {
    const Sent &sent = *static_cast<const Sent *>(context);
    if (process == getpid() || !is_meant(process, sent)) {
        return;
    }
    if (sent.signal == SIGCONT) {
        let_process_go_on(process);
    }
    if (sent.fatal) {
        bury_when_dead(process);
    } else {
        see_caught_signal_taken(process, 0, sent.signal);
        touch_process(process);
    }
}

int send_signal(pid_t process, int signal) {
    const auto call = [&] { return MIRO_CLOCK_NEXT(kill)(process, signal); };
    if (!joined() || signal == 0) {
        return call();
    }
    Sent sent{.group = process == 0   ? getpgrp()
                       : process < -1 ? -process
                                      : kNoGroup,
              .process = process,
              .signal = signal,
              .fatal = false};
    const bool own = process == getpid() || sent.group == getpgrp();
    if (signal == SIGSTOP && !own && process != -1) {
        const int result = stop_process(process);
        touch(key_for(kAnonymousKey, 0));
        return result;
    }
    // A stopped process dies of nothing but SIGKILL before it goes on.
    sent.fatal = signal == SIGKILL || (process > 0 && !own && is_member(process) && is_fatal_for(process, signal) &&
                                       !is_stopped_process(process));
    const int result = call();
    if (result == 0) {
        const ErrnoKeeper keeper;
        each_process(see_signal_through, &sent);
        touch(key_for(kAnonymousKey, 0));
    }
    return result;
}

// ---- Children

// A started program joins before its parent goes on, so that the order of the processes is always the same.
void await_started(pid_t child, char *const *environment) {
    if (names_clock(environment)) {
        await_join(child);
    }
}

template <typename Probe>
pid_t wait_for_child(Probe probe) {
    Keys keys;
    keys.any = true;
    keys.outside = true;
    pid_t result = -1;
    const Woken woken = wait_until(keys, kNever, [&] {
        result = probe();
        return result != 0;
    });
    if (woken == Woken::kInterrupted) {
        errno = EINTR;
        return -1;
    }
    return result;
}

} // namespace

MIRO_CLOCK_EXPORT int kill(pid_t process, int signal) noexcept {
    return send_signal(process, signal);
}

MIRO_CLOCK_EXPORT int killpg(pid_t group, int signal) noexcept {
    return group < 0 ? MIRO_CLOCK_NEXT(killpg)(group, signal) : send_signal(group == 0 ? 0 : -group, signal);
}

MIRO_CLOCK_EXPORT int pthread_kill(pthread_t thread, int signal) noexcept {
    const int error = MIRO_CLOCK_NEXT(pthread_kill)(thread, signal);
    if (joined() && error == 0 && signal != 0) {
        const ErrnoKeeper keeper;
        const pid_t id = id_of_thread(thread);
        if (id != 0 && id != gettid()) {
            see_caught_signal_taken(getpid(), id, signal);
        }
        touch_process(getpid());
    }
    return error;
}

MIRO_CLOCK_EXPORT pid_t fork() noexcept {
    const pid_t child = MIRO_CLOCK_NEXT(fork)();
    if (child == 0 && joined()) {
        join_forked_child();
    } else if (child > 0 && follows()) {
        await_join(child);
    }
    return child;
}

// The child of a real vfork shares this process's memory and would release its parent's place in the clock.
MIRO_CLOCK_EXPORT pid_t vfork() noexcept {
    return fork();
}

MIRO_CLOCK_EXPORT int posix_spawn(pid_t *__restrict child, const char *__restrict path,
                                  const posix_spawn_file_actions_t *__restrict actions,
                                  const posix_spawnattr_t *__restrict attributes, char *const arguments[],
                                  char *const environment[]) {
    pid_t started = 0;
    const int error = MIRO_CLOCK_NEXT(posix_spawn)(&started, path, actions, attributes, arguments, environment);
    if (error == 0) {
        if (child != nullptr) {
            *child = started;
        }
        if (follows()) {
            await_started(started, environment);
        }
    }
    return error;
}

MIRO_CLOCK_EXPORT int posix_spawnp(pid_t *__restrict child, const char *__restrict file,
                                   const posix_spawn_file_actions_t *__restrict actions,
                                   const posix_spawnattr_t *__restrict attributes, char *const arguments[],
                                   char *const environment[]) {
    pid_t started = 0;
    const int error = MIRO_CLOCK_NEXT(posix_spawnp)(&started, file, actions, attributes, arguments, environment);
    if (error == 0) {
        if (child != nullptr) {
            *child = started;
        }
        if (follows()) {
            await_started(started, environment);
        }
    }
    return error;
}

MIRO_CLOCK_EXPORT int execve(const char *path, char *const arguments[], char *const environment[]) noexcept {
    if (follows() && !names_clock(environment)) {
        leave_process(Leaving::kGoesOn);
    }
    return MIRO_CLOCK_NEXT(execve)(path, arguments, environment);
}

MIRO_CLOCK_EXPORT int execvpe(const char *file, char *const arguments[], char *const environment[]) noexcept {
    if (follows() && !names_clock(environment)) {
        leave_process(Leaving::kGoesOn);
    }
    return MIRO_CLOCK_NEXT(execvpe)(file, arguments, environment);
}

MIRO_CLOCK_EXPORT int execv(const char *path, char *const arguments[]) noexcept {
    return execve(path, arguments, environ);
}

MIRO_CLOCK_EXPORT int execvp(const char *file, char *const arguments[]) noexcept {
    return execvpe(file, arguments, environ);
}

MIRO_CLOCK_EXPORT pid_t wait4(pid_t child, int *status, int options, rusage *usage) {
    const auto call = [&](int more) { return MIRO_CLOCK_NEXT(wait4)(child, status, options | more, usage); };
    if (!follows() || (options & WNOHANG) != 0) {
        return call(0);
    }
    return wait_for_child([&] { return call(WNOHANG); });
}

MIRO_CLOCK_EXPORT pid_t waitpid(pid_t child, int *status, int options) {
    return wait4(child, status, options, nullptr);
}

MIRO_CLOCK_EXPORT pid_t wait3(int *status, int options, rusage *usage) noexcept {
    return wait4(-1, status, options, usage);
}

MIRO_CLOCK_EXPORT pid_t wait(int *status) {
    return wait4(-1, status, 0, nullptr);
}

MIRO_CLOCK_EXPORT int waitid(idtype_t type, id_t id, siginfo_t *about, int options) {
    if (!follows() || (options & WNOHANG) != 0) {
        return MIRO_CLOCK_NEXT(waitid)(type, id, about, options);
    }
    siginfo_t found{};
    const pid_t result = wait_for_child([&]() -> pid_t {
        found = {};
        const int error = MIRO_CLOCK_NEXT(waitid)(type, id, &found, options | WNOHANG);
        return error != 0 ? -1 : found.si_pid;
    });
    if (result > 0 && about != nullptr) {
        *about = found;
    }
    return result > 0 ? 0 : -1;
}

// ---- Waits that others may have to end while they run

MIRO_CLOCK_EXPORT int system(const char *command) {
    return aside([&] { return MIRO_CLOCK_NEXT(system)(command); });
}

MIRO_CLOCK_EXPORT int pclose(FILE *stream) {
    return aside([&] { return MIRO_CLOCK_NEXT(pclose)(stream); });
}

MIRO_CLOCK_EXPORT int flock(int fd, int operation) noexcept {
    if ((operation & LOCK_NB) != 0) {
        return MIRO_CLOCK_NEXT(flock)(fd, operation);
    }
    return aside([&] { return MIRO_CLOCK_NEXT(flock)(fd, operation); });
}

MIRO_CLOCK_EXPORT int pause() {
    return aside([] { return MIRO_CLOCK_NEXT(pause)(); });
}

MIRO_CLOCK_EXPORT int sigsuspend(const sigset_t *mask) {
    return aside([&] { return MIRO_CLOCK_NEXT(sigsuspend)(mask); });
}

MIRO_CLOCK_EXPORT int sigwait(const sigset_t *__restrict set, int *__restrict signal) {
    return aside([&] { return MIRO_CLOCK_NEXT(sigwait)(set, signal); });
}

MIRO_CLOCK_EXPORT int sigwaitinfo(const sigset_t *__restrict set, siginfo_t *__restrict about) {
    return aside([&] { return MIRO_CLOCK_NEXT(sigwaitinfo)(set, about); });
}

MIRO_CLOCK_EXPORT int sigtimedwait(const sigset_t *__restrict set, siginfo_t *__restrict about,
                                   const timespec *__restrict timeout) {
    if (!follows() || timeout == nullptr) {
        return aside([&] { return MIRO_CLOCK_NEXT(sigtimedwait)(set, about, timeout); });
    }
    Keys keys;
    keys.outside = true;
    keys.add(key_for(kAnonymousKey, 0));
    int result = -1;
    const timespec none{};
    wait_until(keys, instant_after(*timeout), [&] {
        result = MIRO_CLOCK_NEXT(sigtimedwait)(set, about, &none);
        return result >= 0;
    });
    if (result < 0) {
        errno = EAGAIN;
    }
    return result;
}

// ---- The end

MIRO_CLOCK_EXPORT void _exit(int status) {
    leave_process(Leaving::kEnds);
    const auto next = MIRO_CLOCK_NEXT(_exit);
    for (;;) {
        next(status);
    }
}

MIRO_CLOCK_EXPORT void _Exit(int status) noexcept {
    _exit(status);
}
