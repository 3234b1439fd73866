// The stepped clock's calls of the C library, one by one: each tells the virtual time or waits in it.
#include "miro_host_clock.h"

#include "system_support.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <functional>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <spawn.h>
#include <string>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// What checked calls of read() and its like become.
extern "C" {
ssize_t __read_chk(int fd, void *buffer, size_t length, size_t size);
ssize_t __recv_chk(int fd, void *buffer, size_t length, size_t size, int flags);
ssize_t __recvfrom_chk(int fd, void *buffer, size_t length, size_t size, int flags, sockaddr *name,
                       socklen_t *nameLength);
int __poll_chk(pollfd *descriptors, nfds_t count, int timeout, size_t size);
int __ppoll_chk(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask, size_t size);
}

namespace {

using std::chrono::milliseconds;
using Steady = std::chrono::steady_clock;

class HostClockCalls : public testing::Test {
protected:
    void SetUp() override {
        const std::uint32_t code = MIRO_HostClockStart(nullptr);
        if (code == MIRO_HOST_ERR_UNSUPPORTED) {
            GTEST_SKIP() << "a sanitizer comes before the stepped clock";
        }
        ASSERT_EQ(code, MIRO_HOST_OK);
        sigemptyset(&none_);
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0);
        poll_ = epoll_create1(EPOLL_CLOEXEC);
        epoll_event event{};
        event.events = EPOLLIN;
        ASSERT_EQ(epoll_ctl(poll_, EPOLL_CTL_ADD, ends_[0], &event), 0);
    }
    void TearDown() override {
        close(ends_[0]);
        close(ends_[1]);
        close(poll_);
    }

    int ends_[2] = {-1, -1}; // a pair of sockets; the first is watched and read
    int poll_ = -1;
    sigset_t none_{};
};

timespec instant(clockid_t clock, milliseconds later) {
    timespec time{};
    clock_gettime(clock, &time);
    const std::int64_t ns = time.tv_nsec + std::chrono::nanoseconds(later).count();
    return {.tv_sec = time.tv_sec + ns / 1'000'000'000, .tv_nsec = ns % 1'000'000'000};
}

struct Call {
    const char *name;
    std::function<long()> run;
    long result;
    int error; // in errno; 0: not looked at
};

// Runs a call, which must take exactly `length`.
void expect_to_take(const Call &call, milliseconds length) {
    SCOPED_TRACE(call.name);
    const auto before = Steady::now();
    errno = 0;
    const long result = call.run();
    const int error = errno;
    EXPECT_EQ(result, call.result);
    EXPECT_EQ(Steady::now() - before, length);
    if (call.error != 0) {
        EXPECT_EQ(error, call.error);
    }
}

TEST_F(HostClockCalls, EachTellsTheSameTime) {
    const auto expect_seconds = [](time_t expected) {
        timespec clock{};
        timespec standard{};
        timeval day{};
        time_t stored = 0;
        ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &clock), 0);
        ASSERT_EQ(timespec_get(&standard, TIME_UTC), TIME_UTC);
        ASSERT_EQ(gettimeofday(&day, nullptr), 0);
        EXPECT_EQ(clock.tv_sec, expected);
        EXPECT_EQ(standard.tv_sec, expected);
        EXPECT_EQ(standard.tv_nsec, clock.tv_nsec);
        EXPECT_EQ(day.tv_sec, expected);
        EXPECT_EQ(time(&stored), expected);
        EXPECT_EQ(stored, expected);
        EXPECT_EQ(time(nullptr), expected);
    };
    const time_t start = time(nullptr);
    expect_seconds(start);
    ASSERT_EQ(MIRO_HostClockStep(3'600'000), MIRO_HOST_OK);
    expect_seconds(start + 3600);
}

TEST_F(HostClockCalls, EachWaitThatNobodyEndsTakesItsTime) {
    const timespec length{.tv_sec = 2, .tv_nsec = 0};
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    sigset_t user;
    sigemptyset(&user);
    sigaddset(&user, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &user, nullptr);
    pollfd watched{.fd = ends_[0], .events = POLLIN, .revents = 0};
    epoll_event event{};
    fd_set set;
    const auto only_watched = [&set, this] {
        FD_ZERO(&set);
        FD_SET(ends_[0], &set);
        return &set;
    };
    const Call calls[] = {
        {"sleep", [] { return static_cast<long>(sleep(2)); }, 0, 0},
        {"usleep", [] { return usleep(2'000'000); }, 0, 0},
        {"nanosleep", [&] { return nanosleep(&length, nullptr); }, 0, 0},
        {"clock_nanosleep", [&] { return clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr); }, 0, 0},
        {"clock_nanosleep until",
         [&] {
             const timespec until = instant(CLOCK_REALTIME, milliseconds(2000));
             return clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &until, nullptr);
         },
         0, 0},
        {"poll", [&] { return poll(&watched, 1, 2000); }, 0, 0},
        {"__poll_chk", [&] { return __poll_chk(&watched, 1, 2000, sizeof watched); }, 0, 0},
        {"ppoll", [&] { return ppoll(&watched, 1, &length, &none_); }, 0, 0},
        {"__ppoll_chk", [&] { return __ppoll_chk(&watched, 1, &length, nullptr, sizeof watched); }, 0, 0},
        {"select",
         [&] {
             timeval limit{.tv_sec = 2, .tv_usec = 0};
             return select(ends_[0] + 1, only_watched(), nullptr, nullptr, &limit);
         },
         0, 0},
        {"pselect", [&] { return pselect(ends_[0] + 1, only_watched(), nullptr, nullptr, &length, &none_); }, 0, 0},
        {"epoll_wait", [&] { return epoll_wait(poll_, &event, 1, 2000); }, 0, 0},
        {"epoll_pwait", [&] { return epoll_pwait(poll_, &event, 1, 2000, &none_); }, 0, 0},
        {"sem_timedwait",
         [&] {
             const timespec until = instant(CLOCK_REALTIME, milliseconds(2000));
             return sem_timedwait(&semaphore, &until);
         },
         -1, ETIMEDOUT},
        {"sem_clockwait",
         [&] {
             const timespec until = instant(CLOCK_MONOTONIC, milliseconds(2000));
             return sem_clockwait(&semaphore, CLOCK_MONOTONIC, &until);
         },
         -1, ETIMEDOUT},
        {"pthread_mutex_timedlock",
         [&] {
             const timespec until = instant(CLOCK_REALTIME, milliseconds(2000));
             return pthread_mutex_timedlock(&mutex, &until);
         },
         ETIMEDOUT, 0},
        {"pthread_mutex_clocklock",
         [&] {
             const timespec until = instant(CLOCK_MONOTONIC, milliseconds(2000));
             return pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &until);
         },
         ETIMEDOUT, 0},
        {"pthread_cond_timedwait",
         [&] {
             const timespec until = instant(CLOCK_REALTIME, milliseconds(2000));
             return pthread_cond_timedwait(&condition, &mutex, &until);
         },
         ETIMEDOUT, 0},
        {"sigtimedwait", [&] { return sigtimedwait(&user, nullptr, &length); }, -1, EAGAIN},
    };
    for (const Call &call : calls) {
        expect_to_take(call, milliseconds(2000));
    }
    EXPECT_FALSE(FD_ISSET(ends_[0], &set));
    timeval wrong{.tv_sec = 0, .tv_usec = -1};
    EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &wrong), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(HostClockCalls, EachWaitEndsAtTheInstantOfTheData) {
    char byte = 0;
    iovec part{.iov_base = &byte, .iov_len = 1};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    pollfd watched{.fd = ends_[0], .events = POLLIN, .revents = 0};
    epoll_event event{};
    const int fd = ends_[0];
    const auto then_read = [&](long result) {
        EXPECT_EQ(read(fd, &byte, 1), 1);
        return result;
    };
    const auto select_and_read = [&](bool masked) {
        fd_set reads;
        FD_ZERO(&reads);
        FD_SET(fd, &reads);
        const long found = masked ? pselect(fd + 1, &reads, nullptr, nullptr, nullptr, &none_)
                                  : select(fd + 1, &reads, nullptr, nullptr, nullptr);
        EXPECT_TRUE(FD_ISSET(fd, &reads));
        return then_read(found);
    };
    const Call calls[] = {
        {"select", [&] { return select_and_read(false); }, 1, 0},
        {"pselect", [&] { return select_and_read(true); }, 1, 0},
        {"poll", [&] { return then_read(poll(&watched, 1, -1)); }, 1, 0},
        {"ppoll", [&] { return then_read(ppoll(&watched, 1, nullptr, nullptr)); }, 1, 0},
        {"epoll_wait", [&] { return then_read(epoll_wait(poll_, &event, 1, -1)); }, 1, 0},
        {"epoll_pwait", [&] { return then_read(epoll_pwait(poll_, &event, 1, -1, nullptr)); }, 1, 0},
        {"readv", [&] { return readv(fd, &part, 1); }, 1, 0},
        {"recvmsg", [&] { return recvmsg(fd, &message, 0); }, 1, 0},
        {"__read_chk", [&] { return __read_chk(fd, &byte, 1, 1); }, 1, 0},
        {"__recv_chk", [&] { return __recv_chk(fd, &byte, 1, 1, 0); }, 1, 0},
        {"__recvfrom_chk", [&] { return __recvfrom_chk(fd, &byte, 1, 1, 0, nullptr, nullptr); }, 1, 0},
    };
    char sent = 'a';
    for (const Call &call : calls) {
        std::thread writer([&] {
            std::this_thread::sleep_for(milliseconds(700));
            EXPECT_EQ(write(ends_[1], &sent, 1), 1);
        });
        expect_to_take(call, milliseconds(700));
        EXPECT_EQ(byte, sent) << call.name;
        ++sent;
        writer.join();
    }
}

TEST_F(HostClockCalls, AMessageToANameArrivesAtItsInstant) {
    const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof name;
    ASSERT_EQ(bind(receiver, reinterpret_cast<const sockaddr *>(&name), sizeof name), 0);
    ASSERT_EQ(getsockname(receiver, reinterpret_cast<sockaddr *>(&name), &length), 0);
    std::thread sender([&] {
        std::this_thread::sleep_for(milliseconds(300));
        const int fd = socket(AF_INET, SOCK_DGRAM, 0);
        char text[] = "now";
        iovec part{.iov_base = text, .iov_len = 3};
        msghdr message{};
        message.msg_name = &name;
        message.msg_namelen = sizeof name;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        EXPECT_EQ(sendmsg(fd, &message, 0), 3);
        close(fd);
    });
    char buffer[8] = {};
    expect_to_take({"recv", [&] { return recv(receiver, buffer, sizeof buffer, 0); }, 3, 0}, milliseconds(300));
    EXPECT_STREQ(buffer, "now");
    sender.join();
    close(receiver);
}

std::atomic<int> g_signals{0};

TEST_F(HostClockCalls, ASignalEndsEachWaitAtItsInstant) {
    struct sigaction action {};
    action.sa_handler = [](int) { ++g_signals; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    const timespec length{.tv_sec = 5, .tv_nsec = 0};
    epoll_event event{};
    const Call calls[] = {
        {"ppoll", [&] { return ppoll(nullptr, 0, &length, &none_); }, -1, EINTR},
        {"pselect", [&] { return pselect(0, nullptr, nullptr, nullptr, &length, &none_); }, -1, EINTR},
        {"epoll_pwait", [&] { return epoll_pwait(poll_, &event, 1, 5000, &none_); }, -1, EINTR},
        {"usleep", [&] { return usleep(5'000'000); }, -1, EINTR},
        {"sleep", [&] { return static_cast<long>(sleep(5)); }, 5, 0}, // 4.8 seconds are left
    };
    const pthread_t waiter = pthread_self();
    int expected = 0;
    for (const Call &call : calls) {
        std::thread sender([waiter] {
            std::this_thread::sleep_for(milliseconds(200));
            EXPECT_EQ(pthread_kill(waiter, SIGUSR1), 0);
        });
        expect_to_take(call, milliseconds(200));
        sender.join();
        EXPECT_EQ(g_signals, ++expected) << call.name;
    }
}

TEST_F(HostClockCalls, WaitsForSignalsReturnThem) {
    sigset_t user;
    sigemptyset(&user);
    sigaddset(&user, SIGUSR2);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR2, &action, nullptr), 0);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &user, nullptr), 0);
    const pthread_t waiter = pthread_self();
    siginfo_t about{};
    int received = 0;
    const timespec length{.tv_sec = 5, .tv_nsec = 0};
    const Call calls[] = {
        {"sigwait", [&] { return sigwait(&user, &received) + received; }, SIGUSR2, 0},
        {"sigwaitinfo", [&] { return sigwaitinfo(&user, &about); }, SIGUSR2, 0},
        {"sigtimedwait", [&] { return sigtimedwait(&user, &about, &length); }, SIGUSR2, 0},
        {"sigsuspend", [&] { return sigsuspend(&none_); }, -1, EINTR},
    };
    for (const Call &call : calls) {
        SCOPED_TRACE(call.name);
        std::thread sender([waiter] {
            std::this_thread::sleep_for(milliseconds(200));
            EXPECT_EQ(pthread_kill(waiter, SIGUSR2), 0);
        });
        errno = 0;
        EXPECT_EQ(call.run(), call.result);
        EXPECT_TRUE(call.error == 0 || errno == call.error);
        sender.join();
    }
}

pid_t start_child(int status) {
    const pid_t child = fork();
    if (child == 0) {
        usleep(400'000);
        _Exit(status);
    }
    return child;
}

TEST_F(HostClockCalls, EachCallSeesAChildsEndAtItsInstant) {
    int status = 0;
    siginfo_t about{};
    pid_t child = -1;
    const auto ended = [&status](pid_t found) { return found > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1L; };
    const Call calls[] = {
        {"wait", [&] { return ended(wait(&status)); }, 7, 0},
        {"wait3", [&] { return ended(wait3(&status, 0, nullptr)); }, 7, 0},
        {"wait4", [&] { return ended(wait4(child, &status, 0, nullptr)); }, 7, 0},
        {"waitid", [&] { return waitid(P_PID, static_cast<id_t>(child), &about, WEXITED); }, 0, 0},
    };
    for (const Call &call : calls) {
        child = start_child(7);
        ASSERT_GT(child, 0);
        expect_to_take(call, milliseconds(400));
    }
    EXPECT_EQ(about.si_pid, child);
    EXPECT_EQ(about.si_code, CLD_EXITED);
    EXPECT_EQ(about.si_status, 7);
    EXPECT_EQ(waitid(P_ALL, 0, &about, WEXITED | WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(HostClockCalls, EachWayToStartAProgramStartsIt) {
    const std::string shell = "/bin/sh";
    const std::string option = "-c";
    const std::string command = "sleep 0; exit 4";
    char *const arguments[] = {const_cast<char *>(shell.c_str()), const_cast<char *>(option.c_str()),
                               const_cast<char *>(command.c_str()), nullptr};
    const auto status_of = [](pid_t child) {
        int status = -1;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    pid_t child = -1;
    ASSERT_EQ(posix_spawn(&child, shell.c_str(), nullptr, nullptr, arguments, environ), 0);
    EXPECT_EQ(status_of(child), 4);
    EXPECT_EQ(posix_spawn(&child, "/no/such/program", nullptr, nullptr, arguments, environ), ENOENT);

    child = vfork();
    if (child == 0) {
        _exit(5);
    }
    EXPECT_EQ(status_of(child), 5);

    const std::function<void()> starts[] = {
        [&] { execv(shell.c_str(), arguments); },
        [&] { execvp("sh", arguments); },
        [&] { execve(shell.c_str(), arguments, environ); },
        [&] { execvpe("sh", arguments, environ); },
        [&] {
            char *const empty[] = {nullptr};
            execve(shell.c_str(), arguments, empty); // leaves the clock
        },
    };
    for (const auto &start : starts) {
        child = fork();
        if (child == 0) {
            start();
            _exit(126);
        }
        EXPECT_EQ(status_of(child), 4);
    }

    FILE *stream = popen("exit 6", "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(WEXITSTATUS(pclose(stream)), 6);
}

TEST_F(HostClockCalls, KillpgEndsAGroupThatSleeps) {
    const pid_t child = fork();
    if (child == 0) {
        setpgid(0, 0);
        for (;;) {
            sleep(3600);
        }
    }
    ASSERT_GT(child, 0);
    setpgid(child, child);
    sleep(1);
    EXPECT_EQ(killpg(child, SIGTERM), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(killpg(child, SIGTERM), -1);
    EXPECT_EQ(errno, ESRCH);
}

} // namespace
