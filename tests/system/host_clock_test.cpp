// The stepped clock: real processes, threads, queues, sockets and timers of the kernel in virtual time.
#include "miro_host_clock.h"

#include "orva_comm.h"
#include "system_support.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <semaphore.h>
#include <spawn.h>
#include <string>
#include <sys/epoll.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

// What fortified programs call.
extern "C" {
ssize_t __read_chk(int fd, void *buffer, size_t length, size_t size);
ssize_t __recv_chk(int fd, void *buffer, size_t length, size_t size, int flags);
ssize_t __recvfrom_chk(int fd, void *buffer, size_t length, size_t size, int flags, sockaddr *name,
                       socklen_t *name_length);
int __poll_chk(pollfd *descriptors, nfds_t count, int timeout, size_t size);
int __ppoll_chk(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask, size_t size);
}

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Steady = std::chrono::steady_clock;

std::uint64_t now_ms() {
    MIRO_HOST_CLOCK_STATS stats{};
    MIRO_HostClockStats(&stats);
    return stats.nowNs / 1'000'000;
}

// Starts the clock in the process of each case.
class HostClock : public testing::Test {
protected:
    void SetUp() override {
        const std::uint32_t code = MIRO_HostClockStart(nullptr);
        if (code == MIRO_HOST_ERR_UNSUPPORTED) {
            GTEST_SKIP() << "a sanitizer comes before the stepped clock";
        }
        ASSERT_EQ(code, MIRO_HOST_OK);
        real_start_ = MIRO_HostClockRealNs();
    }

    // Virtual hours pass in no time; a hundredth of them would be too long.
    double real_seconds() const {
        return static_cast<double>(MIRO_HostClockRealNs() - real_start_) / 1e9;
    }

private:
    std::uint64_t real_start_ = 0;
};

TEST_F(HostClock, AnHourOfSleepPassesAtOnce) {
    const auto before = Steady::now();
    const auto wall = std::chrono::system_clock::now();
    std::this_thread::sleep_for(hours(1));
    EXPECT_EQ(Steady::now() - before, hours(1));
    EXPECT_EQ(std::chrono::system_clock::now() - wall, hours(1));
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, TheLibrarysSleepsAndTicksFollow) {
    const std::uint32_t before = ORVA_TickGet();
    ORVA_SafeSleep(1500);
    EXPECT_EQ(ORVA_TickGet() - before, 1'500'000u);
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, SystemTimeStartsAtTheNamedSecond) {
    timeval now{};
    gettimeofday(&now, nullptr);
    EXPECT_EQ(now.tv_sec, MIRO_HOST_CLOCK_START_SECONDS + static_cast<time_t>(now_ms() / 1000));
    MIRO_SYSTIME time{};
    ASSERT_EQ(MIRO_SystimeGet(&time), MIRO_HOST_OK);
    EXPECT_EQ(time.year, 2026);
    const std::uint8_t hour = time.hour;
    ASSERT_EQ(MIRO_HostClockStep(3'600'000), MIRO_HOST_OK);
    ASSERT_EQ(MIRO_SystimeGet(&time), MIRO_HOST_OK);
    EXPECT_EQ(time.hour, (hour + 1) % 24);
}

TEST_F(HostClock, NothingPassesWhileTheTestComputes) {
    const auto before = Steady::now();
    const std::uint64_t real = MIRO_HostClockRealNs();
    while (MIRO_HostClockRealNs() - real < 30'000'000) {
    }
    EXPECT_EQ(Steady::now(), before);
}

std::atomic<int> g_fired{0};
std::uint32_t count_firing() {
    ++g_fired;
    return 0;
}

TEST_F(HostClock, PlatformTimersFireExactlyWhenStepped) {
    std::uint32_t module = 0;
    MIRO_HandleInitialize("clock test", &module);
    MIRO_TIMER_ID timer = 0;
    ASSERT_EQ(MIRO_ReltmrCbkStart(&timer, module, 250, 0, nullptr, MIRO_TIMER_PERIODIC, count_firing), MIRO_HOST_OK);
    ASSERT_EQ(MIRO_HostClockStep(249), MIRO_HOST_OK);
    EXPECT_EQ(g_fired, 0);
    ASSERT_EQ(MIRO_HostClockStep(1), MIRO_HOST_OK);
    EXPECT_EQ(g_fired, 1);
    ASSERT_EQ(MIRO_HostClockStep(250 * 1000), MIRO_HOST_OK);
    EXPECT_EQ(g_fired, 1001);
    ASSERT_EQ(MIRO_HostTimerStop(timer), MIRO_HOST_OK);
    ASSERT_EQ(MIRO_HostClockStep(10'000), MIRO_HOST_OK);
    EXPECT_EQ(g_fired, 1001);
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, TasksSleepBesideEachOther) {
    std::vector<std::string> order;
    const auto sleeper = [&order](const char *name, int first, int period) {
        std::this_thread::sleep_for(milliseconds(first));
        for (int i = 0; i < 3; ++i) {
            order.push_back(name + std::to_string(now_ms() % 1000));
            std::this_thread::sleep_for(milliseconds(period));
        }
    };
    MIRO_HostClockStep(1000 - now_ms() % 1000);
    std::thread slow([&] { sleeper("slow ", 5, 200); });
    std::thread fast([&] { sleeper("fast ", 10, 100); });
    slow.join();
    fast.join();
    const std::vector<std::string> expected{"slow 5", "fast 10", "fast 110", "slow 205", "fast 210", "slow 405"};
    EXPECT_EQ(order, expected);
}

TEST_F(HostClock, ConditionsTimeOutInVirtualTimeAndWakeAtOnce) {
    std::mutex mutex;
    std::condition_variable condition;
    bool ready = false;
    auto before = Steady::now();
    {
        std::unique_lock lock(mutex);
        EXPECT_FALSE(condition.wait_for(lock, seconds(30), [&] { return ready; }));
        EXPECT_EQ(Steady::now() - before, seconds(30));
        EXPECT_EQ(condition.wait_until(lock, std::chrono::system_clock::now() + seconds(5)), std::cv_status::timeout);
        EXPECT_EQ(Steady::now() - before, seconds(35));
    }
    before = Steady::now();
    std::thread waker([&] {
        std::this_thread::sleep_for(seconds(3));
        const std::lock_guard lock(mutex);
        ready = true;
        condition.notify_one();
    });
    std::unique_lock lock(mutex);
    EXPECT_TRUE(condition.wait_for(lock, hours(1), [&] { return ready; }));
    lock.unlock();
    EXPECT_EQ(Steady::now() - before, seconds(3));
    waker.join();
}

TEST_F(HostClock, AMutexHeldDuringASleepIsWaitedFor) {
    std::mutex mutex;
    std::uint64_t locked_ms = 0;
    const std::uint64_t start = now_ms();
    mutex.lock();
    std::thread other([&] {
        const std::lock_guard lock(mutex);
        locked_ms = now_ms();
    });
    std::this_thread::sleep_for(seconds(2));
    mutex.unlock();
    other.join();
    EXPECT_EQ(locked_ms - start, 2000u);
}

TEST_F(HostClock, TimerDescriptorsCountWhatWasMissed) {
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    ASSERT_GE(timer, 0);
    const itimerspec setting{.it_interval = {.tv_sec = 1, .tv_nsec = 0}, .it_value = {.tv_sec = 1, .tv_nsec = 0}};
    ASSERT_EQ(timerfd_settime(timer, 0, &setting, nullptr), 0);
    const std::uint64_t start = now_ms();
    pollfd wait{.fd = timer, .events = POLLIN, .revents = 0};
    std::uint64_t count = 0;
    EXPECT_EQ(read(timer, &count, sizeof count), -1);
    ASSERT_EQ(poll(&wait, 1, -1), 1);
    EXPECT_EQ(now_ms() - start, 1000u);
    ASSERT_EQ(read(timer, &count, sizeof count), 8);
    EXPECT_EQ(count, 1u);
    std::this_thread::sleep_for(milliseconds(2500));
    ASSERT_EQ(read(timer, &count, sizeof count), 8);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(poll(&wait, 1, 100), 0);
    itimerspec left{};
    ASSERT_EQ(timerfd_gettime(timer, &left), 0);
    EXPECT_EQ(left.it_value.tv_nsec, 400'000'000);
    EXPECT_EQ(close(timer), 0);
}

// ---- Several processes

class Queue {
public:
    Queue() : id_(msgget(IPC_PRIVATE, IPC_CREAT | 0600)) {}
    ~Queue() {
        msgctl(id_, IPC_RMID, nullptr);
    }
    Queue(const Queue &) = delete;
    Queue &operator=(const Queue &) = delete;

    struct Message {
        long type;
        std::uint64_t at_ms;
        int from;
    };

    void send(long type, int from) const {
        const Message message{type, now_ms(), from};
        msgsnd(id_, &message, sizeof message - sizeof(long), 0);
    }

    Message receive(long type) const {
        Message message{};
        if (msgrcv(id_, &message, sizeof message - sizeof(long), type, 0) < 0) {
            message.from = -errno;
        }
        return message;
    }

    int id() const {
        return id_;
    }

private:
    int id_;
};

pid_t start_child(const std::function<void()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(0);
    }
    return child;
}

int status_of(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child ? status : -1;
}

TEST_F(HostClock, AForkedProcessSharesTheTime) {
    const Queue queue;
    const std::uint64_t start = now_ms();
    const pid_t child = start_child([&] {
        std::this_thread::sleep_for(hours(1));
        queue.send(1, 7);
    });
    const Queue::Message message = queue.receive(1);
    EXPECT_EQ(message.from, 7);
    EXPECT_EQ(message.at_ms - start, 3'600'000u);
    EXPECT_EQ(now_ms() - start, 3'600'000u);
    EXPECT_EQ(status_of(child), 0);
    EXPECT_LT(real_seconds(), 30.0);
}

// Questions and answers between a parent and children that work for different lengths of time.
std::vector<std::pair<int, std::uint64_t>> a_round(int children, int rounds) {
    const Queue queue;
    std::vector<pid_t> processes;
    for (int i = 0; i < children; ++i) {
        processes.push_back(start_child([&queue, i, rounds] {
            for (int round = 0; round < rounds; ++round) {
                queue.receive(10 + i);
                // Every third works equally long, so the times alone do not give their order.
                std::this_thread::sleep_for(milliseconds(i % 3));
                queue.send(1, i);
            }
        }));
    }
    std::vector<std::pair<int, std::uint64_t>> answers;
    const std::uint64_t start = now_ms();
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < children; ++i) {
            queue.send(10 + i, -1);
        }
        for (int i = 0; i < children; ++i) {
            const int from = queue.receive(1).from;
            answers.emplace_back(from, now_ms() - start);
        }
        std::this_thread::sleep_for(seconds(1));
    }
    for (const pid_t process : processes) {
        EXPECT_EQ(status_of(process), 0);
    }
    return answers;
}

TEST_F(HostClock, ManyProcessesRunInTheSameOrderEachTime) {
    const auto first = a_round(12, 20);
    ASSERT_EQ(first.size(), 240u);
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(a_round(12, 20), first);
    }
    EXPECT_LT(real_seconds(), 60.0);
}

void compute_for_real(std::uint64_t microseconds) {
    const std::uint64_t start = MIRO_HostClockRealNs();
    while (MIRO_HostClockRealNs() - start < microseconds * 1000) {
    }
}

// Those that wait look around from time to time by the real clock, here at different times. That must not change who
// comes first of those that are woken together.
TEST_F(HostClock, RealTimeDoesNotDecideWhoComesFirst) {
    constexpr int kChildren = 12;
    constexpr int kRounds = 20;
    const Queue queue;
    for (int i = 0; i < kChildren; ++i) {
        start_child([&queue, i] {
            for (int round = 0; round < kRounds; ++round) {
                compute_for_real(1500);
                queue.receive(10 + i);
                queue.send(1, i);
            }
        });
    }
    for (int round = 0; round < kRounds; ++round) {
        std::this_thread::sleep_for(seconds(1));
        compute_for_real(10'000);
        for (int i = 0; i < kChildren; ++i) {
            queue.send(10 + i, -1);
        }
        for (int i = 0; i < kChildren; ++i) {
            EXPECT_EQ(queue.receive(1).from, i) << "round " << round;
        }
    }
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = port;
    return address;
}

class Datagrams {
public:
    Datagrams() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_in any = loopback(0);
        bind(fd_, reinterpret_cast<const sockaddr *>(&any), sizeof any);
    }
    ~Datagrams() {
        close(fd_);
    }
    Datagrams(const Datagrams &) = delete;
    Datagrams &operator=(const Datagrams &) = delete;
    std::uint16_t port() const {
        sockaddr_in own{};
        socklen_t length = sizeof own;
        getsockname(fd_, reinterpret_cast<sockaddr *>(&own), &length);
        return own.sin_port;
    }
    int descriptor() const {
        return fd_;
    }
    void send(std::uint16_t port, int value) const {
        const sockaddr_in to = loopback(port);
        sendto(fd_, &value, sizeof value, 0, reinterpret_cast<const sockaddr *>(&to), sizeof to);
    }
    // The value, or -1 when none came in time.
    int receive(int timeout_ms) const {
        pollfd wait{.fd = fd_, .events = POLLIN, .revents = 0};
        int value = -1;
        return poll(&wait, 1, timeout_ms) == 1 && recv(fd_, &value, sizeof value, 0) == sizeof value ? value : -1;
    }

private:
    int fd_;
};

TEST_F(HostClock, DatagramsArriveAtTheInstantThatSentThem) {
    const Datagrams here;
    const std::uint16_t port = here.port();
    const pid_t child = start_child([port] {
        const Datagrams own;
        for (int i = 0; i < 500; ++i) {
            std::this_thread::sleep_for(milliseconds(10));
            own.send(port, i);
        }
    });
    const std::uint64_t start = now_ms();
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(here.receive(11), i);
        ASSERT_EQ(now_ms() - start, 10u * static_cast<unsigned>(i + 1));
    }
    EXPECT_EQ(here.receive(60'000), -1);
    EXPECT_EQ(status_of(child), 0);
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, ASocketsTimeLimitPassesInVirtualTime) {
    const Datagrams here;
    const timeval limit = {.tv_sec = 2, .tv_usec = 500'000};
    ASSERT_EQ(setsockopt(here.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
    const std::uint64_t start = now_ms();
    int value = 0;
    EXPECT_EQ(recv(here.descriptor(), &value, sizeof value, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(now_ms() - start, 2500u);
    here.send(here.port(), 7);
    EXPECT_EQ(recv(here.descriptor(), &value, sizeof value, 0), ssize_t{sizeof value});
    EXPECT_EQ(value, 7);
    EXPECT_EQ(now_ms() - start, 2500u);
}

TEST_F(HostClock, AKilledProcessHoldsNobodyUp) {
    const pid_t child = start_child([] {
        for (;;) {
            std::this_thread::sleep_for(milliseconds(1));
        }
    });
    std::this_thread::sleep_for(seconds(1));
    const std::uint64_t start = now_ms();
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, WNOHANG), child); // it is dead when kill() returns
    EXPECT_TRUE(WIFSIGNALED(status));
    std::this_thread::sleep_for(hours(1));
    EXPECT_EQ(now_ms() - start, 3'600'000u);
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, AProcessThatCrashesHoldsNobodyUp) {
    const pid_t child = start_child([] {
        std::this_thread::sleep_for(seconds(1));
        signal(SIGABRT, SIG_DFL);
        abort();
    });
    const std::uint64_t start = now_ms();
    std::this_thread::sleep_for(seconds(10));
    EXPECT_EQ(now_ms() - start, 10'000u);
    const int status = status_of(child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, AStoppedProcessMissesTheTimeAndGoesOn) {
    const Queue queue;
    const pid_t child = start_child([&queue] {
        for (int i = 0; i < 10; ++i) {
            std::this_thread::sleep_for(seconds(1));
            queue.send(1, i);
        }
    });
    const std::uint64_t start = now_ms();
    EXPECT_EQ(queue.receive(1).from, 0);
    ASSERT_EQ(kill(child, SIGSTOP), 0);
    std::this_thread::sleep_for(seconds(100));
    msqid_ds about{};
    ASSERT_EQ(msgctl(queue.id(), IPC_STAT, &about), 0);
    EXPECT_EQ(about.msg_qnum, 0u);
    ASSERT_EQ(kill(child, SIGCONT), 0);
    EXPECT_EQ(queue.receive(1).from, 1);
    EXPECT_EQ(now_ms() - start, 101'000u);
    EXPECT_EQ(queue.receive(1).from, 2);
    EXPECT_EQ(now_ms() - start, 102'000u);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_NE(status_of(child), -1);
}

// The group of the first process there comes from outside, and has no number inside.
TEST(HostClockNamespace, AStoppedProcessMissesTheTimeWhereTheGroupHasNoNumber) {
    const auto result = orva_test::run_program({"unshare", "--pid", "--fork", "--mount-proc", "--kill-child",
                                                std::filesystem::read_symlink("/proc/self/exe").string(),
                                                "--gtest_filter=HostClock.AStoppedProcessMissesTheTimeAndGoesOn"});
    if (result.output.starts_with("unshare: ")) {
        GTEST_SKIP() << result.output;
    }
    EXPECT_EQ(result.status, 0) << result.output;
}

// A process that stood still while it looks at the clock's table would hold up everybody.
TEST_F(HostClock, AProcessStoppedWhileItReadsTheClockHoldsNobodyUp) {
    const pid_t child = start_child([] {
        std::vector<std::thread> readers;
        for (int i = 0; i < 4; ++i) {
            readers.emplace_back([] {
                MIRO_HostClockLeave();
                for (;;) {
                    now_ms();
                }
            });
        }
        std::this_thread::sleep_for(hours(1000));
    });
    std::this_thread::sleep_for(seconds(1));
    const std::uint64_t start = now_ms();
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t from = MIRO_HostClockRealNs();
        while (MIRO_HostClockRealNs() - from < 2'000'000) {
        }
        ASSERT_EQ(kill(child, SIGSTOP), 0);
        std::this_thread::sleep_for(seconds(1));
        ASSERT_EQ(kill(child, SIGCONT), 0);
        std::this_thread::sleep_for(seconds(1));
    }
    EXPECT_EQ(now_ms() - start, 600'000u);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_NE(status_of(child), -1);
}

TEST_F(HostClock, AnEndedChildIsSeenAtTheInstantOfItsEnd) {
    const pid_t child = start_child([] { std::this_thread::sleep_for(milliseconds(698)); });
    const std::uint64_t start = now_ms();
    int status = -1;
    int looks = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        std::this_thread::sleep_for(milliseconds(5));
        ++looks;
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(looks, 140);
    EXPECT_EQ(now_ms() - start, 700u);
}

TEST_F(HostClock, ADeletedQueueEndsItsReadersWait) {
    const int queue = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
    std::uint64_t woken_ms = 0;
    int error = 0;
    const std::uint64_t start = now_ms();
    std::thread reader([&] {
        Queue::Message message{};
        error = msgrcv(queue, &message, sizeof message - sizeof(long), 0, 0) < 0 ? errno : 0;
        woken_ms = now_ms();
    });
    std::this_thread::sleep_for(seconds(4));
    msgctl(queue, IPC_RMID, nullptr);
    reader.join();
    EXPECT_EQ(error, EIDRM);
    EXPECT_EQ(woken_ms - start, 4000u);
}

TEST_F(HostClock, AQueueThatWasDeletedBeforeIsNoQueue) {
    const int queue = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
    msgctl(queue, IPC_RMID, nullptr);
    Queue::Message message{};
    EXPECT_EQ(msgrcv(queue, &message, sizeof message - sizeof(long), 0, 0), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(HostClock, AFullQueueHoldsItsWriterUntilSomebodyReads) {
    const Queue queue;
    msqid_ds about{};
    ASSERT_EQ(msgctl(queue.id(), IPC_STAT, &about), 0);
    about.msg_qbytes = 64;
    ASSERT_EQ(msgctl(queue.id(), IPC_SET, &about), 0);
    const std::uint64_t start = now_ms();
    std::thread reader([&] {
        for (int i = 0; i < 20; ++i) {
            std::this_thread::sleep_for(seconds(1));
            EXPECT_EQ(queue.receive(1).from, i);
        }
    });
    for (int i = 0; i < 20; ++i) {
        queue.send(1, i);
    }
    EXPECT_EQ(now_ms() - start, 16'000u); // four fit
    reader.join();
}

TEST_F(HostClock, AThreadThatLeftRunsInRealTime) {
    std::atomic<bool> done{false};
    std::thread outside([&] {
        MIRO_HostClockLeave();
        EXPECT_EQ(MIRO_HostClockIsStepped(), 0u);
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        EXPECT_NEAR(static_cast<double>(now.tv_sec) * 1e9, static_cast<double>(MIRO_HostClockRealNs()), 2e9);
        done = true;
        EXPECT_EQ(MIRO_HostClockJoin(), MIRO_HOST_OK);
        EXPECT_EQ(MIRO_HostClockIsStepped(), 1u);
    });
    outside.join();
    EXPECT_TRUE(done);
}

TEST_F(HostClock, ALoopThatOnlyAsksLetsTimePass) {
    const auto until = Steady::now() + milliseconds(50);
    while (Steady::now() < until) {
        poll(nullptr, 0, 0);
    }
    const auto later = Steady::now() + milliseconds(50);
    while (Steady::now() < later) {
        std::this_thread::yield();
    }
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, ASignalInterruptsASleep) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    const pid_t parent = getpid();
    const pid_t child = start_child([parent] {
        std::this_thread::sleep_for(seconds(2));
        kill(parent, SIGUSR1);
    });
    const timespec length{.tv_sec = 10, .tv_nsec = 0};
    timespec left{};
    EXPECT_EQ(nanosleep(&length, &left), -1);
    EXPECT_EQ(left.tv_sec, 8);
    EXPECT_EQ(status_of(child), 0);
}

// Ends with the status of the program.
int run_program(std::vector<std::string> words) {
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
        return -1;
    }
    return status_of(child);
}

TEST_F(HostClock, StartedProgramsFollowToo) {
    const std::uint64_t start = now_ms();
    EXPECT_EQ(run_program({"sleep", "3600"}), 0);
    EXPECT_EQ(now_ms() - start, 3'600'000u);
    EXPECT_EQ(run_program({"sh", "-c", "sleep 60 & sleep 100; test $(date +%Y) = 2026"}), 0);
    EXPECT_EQ(now_ms() - start, 3'700'000u);
    EXPECT_EQ(std::system("sleep 10"), 0);
    EXPECT_EQ(now_ms() - start, 3'710'000u);
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, AProgramThatDropsTheVariableLivesInRealTime) {
    const std::uint64_t start = now_ms();
    EXPECT_EQ(run_program({"env", "-u", "MIRO_CLOCK", "-u", "LD_PRELOAD", "sleep", "0.05"}), 0);
    EXPECT_EQ(now_ms(), start);
    std::this_thread::sleep_for(seconds(1));
    EXPECT_EQ(now_ms() - start, 1000u);
    EXPECT_LT(real_seconds(), 30.0);
}

TEST_F(HostClock, AProgramWithTheVariableNewStartsAClockOfItsOwn) {
    ASSERT_EQ(unsetenv(MIRO_HOST_CLOCK_VARIABLE), 0);
    const std::uint64_t start = now_ms();
    const std::string script = "test $(date +%s) -ge " + std::to_string(MIRO_HOST_CLOCK_START_SECONDS + 7200);
    for (const char *shell : {"sh", "bash"}) {
        EXPECT_EQ(run_program({"env", "MIRO_CLOCK=new", shell, "-c", "sleep 7200; " + script}), 0) << shell;
    }
    EXPECT_EQ(now_ms(), start);
}

TEST_F(HostClock, FiguresCountMembers) {
    MIRO_HOST_CLOCK_STATS stats{};
    ASSERT_EQ(MIRO_HostClockStats(&stats), MIRO_HOST_OK);
    EXPECT_EQ(stats.processes, 1u);
    const std::uint32_t threads = stats.threads;
    EXPECT_GE(threads, 1u);
    const pid_t child = start_child([] { std::this_thread::sleep_for(seconds(1)); });
    ASSERT_EQ(MIRO_HostClockStats(&stats), MIRO_HOST_OK);
    EXPECT_EQ(stats.processes, 2u);
    EXPECT_EQ(stats.threads, threads + 1);
    EXPECT_EQ(status_of(child), 0);
    ASSERT_EQ(MIRO_HostClockStats(&stats), MIRO_HOST_OK);
    EXPECT_EQ(stats.processes, 1u);
    EXPECT_EQ(stats.threads, threads);
    EXPECT_EQ(MIRO_HostClockStats(nullptr), MIRO_HOST_ERR_ARGUMENT);
}

TEST_F(HostClock, SelectWaitsForDescriptor0Too) {
    const Datagrams here;
    const std::uint16_t port = here.port();
    const pid_t child = start_child([port] {
        std::this_thread::sleep_for(seconds(3));
        Datagrams().send(port, 7);
        std::this_thread::sleep_for(seconds(60));
    });
    const int saved = dup(STDIN_FILENO);
    ASSERT_EQ(dup2(here.descriptor(), STDIN_FILENO), STDIN_FILENO);
    const std::uint64_t start = now_ms();
    fd_set reads;
    FD_ZERO(&reads);
    FD_SET(STDIN_FILENO, &reads);
    timeval limit{.tv_sec = 100, .tv_usec = 0};
    EXPECT_EQ(select(1, &reads, nullptr, nullptr, &limit), 1);
    EXPECT_EQ(now_ms() - start, 3000u);
    EXPECT_EQ(limit.tv_sec, 97);
    dup2(saved, STDIN_FILENO);
    close(saved);
    EXPECT_EQ(status_of(child), 0);
}

TEST_F(HostClock, SemaphoresTimeOutInVirtualTimeAndWakeAtOnce) {
    sem_t semaphore;
    ASSERT_EQ(sem_init(&semaphore, 0, 0), 0);
    const std::uint64_t start = now_ms();
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 5;
    EXPECT_EQ(sem_timedwait(&semaphore, &until), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(now_ms() - start, 5000u);
    std::thread poster([&semaphore] {
        std::this_thread::sleep_for(seconds(2));
        sem_post(&semaphore);
    });
    EXPECT_EQ(sem_wait(&semaphore), 0);
    EXPECT_EQ(now_ms() - start, 7000u);
    poster.join();
    EXPECT_EQ(sem_trywait(&semaphore), -1);
    EXPECT_EQ(sem_destroy(&semaphore), 0);
}

TEST_F(HostClock, ATimerThatIsSetWakesWhoWaitsForItsDescriptor) {
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    ASSERT_GE(timer, 0);
    std::uint64_t woken_ms = 0;
    const std::uint64_t start = now_ms();
    std::thread waiting([&] {
        pollfd wait{.fd = timer, .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&wait, 1, -1), 1);
        woken_ms = now_ms();
    });
    std::this_thread::sleep_for(seconds(1));
    const itimerspec setting{.it_interval = {}, .it_value = {.tv_sec = 2, .tv_nsec = 0}};
    ASSERT_EQ(timerfd_settime(timer, 0, &setting, nullptr), 0);
    std::this_thread::sleep_for(seconds(60));
    waiting.join();
    EXPECT_EQ(woken_ms - start, 3000u);
    EXPECT_EQ(close(timer), 0);
}

TEST_F(HostClock, AMaskHoldsForTheWaitOnly) {
    sigset_t own;
    sigset_t waiting;
    sigset_t after;
    sigemptyset(&own);
    sigaddset(&own, SIGUSR2);
    sigemptyset(&waiting);
    sigaddset(&waiting, SIGUSR1);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &own, nullptr), 0);
    const timespec second{.tv_sec = 1, .tv_nsec = 0};
    const int unused = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    const std::uint64_t start = now_ms();
    EXPECT_EQ(ppoll(nullptr, 0, &second, &waiting), 0);
    EXPECT_EQ(pselect(0, nullptr, nullptr, nullptr, &second, &waiting), 0);
    EXPECT_EQ(epoll_pwait(unused, &event, 1, 1000, &waiting), 0);
    EXPECT_EQ(now_ms() - start, 3000u);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &after), 0);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1);
    EXPECT_EQ(sigismember(&after, SIGUSR1), 0);

    // A signal that only the wait lets through is taken in it.
    static volatile sig_atomic_t taken = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { taken = taken + 1; };
    ASSERT_EQ(sigaction(SIGUSR2, &action, nullptr), 0);
    sigemptyset(&waiting);
    for (const int call : {0, 1, 2}) {
        raise(SIGUSR2);
        EXPECT_EQ(taken, call);
        switch (call) {
        case 0:
            ppoll(nullptr, 0, &second, &waiting);
            break;
        case 1:
            pselect(0, nullptr, nullptr, nullptr, &second, &waiting);
            break;
        default:
            epoll_pwait(unused, &event, 1, 1000, &waiting);
            break;
        }
        EXPECT_EQ(taken, call + 1);
    }
    close(unused);
}

TEST_F(HostClock, CheckedCallsEndAProgramWhoseBufferIsTooSmall) {
    char buffer[8] = {};
    pollfd none{.fd = -1, .events = 0, .revents = 0};
    const std::vector<std::function<void()>> calls = {
        [&] { __read_chk(-1, buffer, 9, sizeof buffer); },
        [&] { __recv_chk(-1, buffer, 9, sizeof buffer, 0); },
        [&] { __recvfrom_chk(-1, buffer, 9, sizeof buffer, 0, nullptr, nullptr); },
        [&] { __poll_chk(&none, 2, 0, sizeof none); },
        [&] { __ppoll_chk(&none, 2, nullptr, nullptr, sizeof none); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) {
        const pid_t child = start_child([&] {
            close(STDERR_FILENO);
            calls[i]();
        });
        const int status = status_of(child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << "call " << i << ", status " << status;
    }
    EXPECT_EQ(__read_chk(-1, buffer, 8, sizeof buffer), -1);
    EXPECT_EQ(__recv_chk(-1, buffer, 8, sizeof buffer, 0), -1);
    EXPECT_EQ(__poll_chk(&none, 1, 0, sizeof none), 0);
}

TEST_F(HostClock, SleepsOfMicrosecondsAreExact) {
    const auto before = Steady::now();
    EXPECT_EQ(usleep(500'001), 0);
    EXPECT_EQ(Steady::now() - before, std::chrono::microseconds(500'001));
}

TEST_F(HostClock, FiguresCountTheStepsOfTime) {
    MIRO_HOST_CLOCK_STATS before{};
    MIRO_HOST_CLOCK_STATS after{};
    ASSERT_EQ(MIRO_HostClockStats(&before), MIRO_HOST_OK);
    for (int i = 0; i < 5; ++i) {
        std::this_thread::sleep_for(seconds(1));
    }
    ASSERT_EQ(MIRO_HostClockStats(&after), MIRO_HOST_OK);
    EXPECT_EQ(after.advances - before.advances, 5u);
}

TEST_F(HostClock, EpollWaitsForATimersInstant) {
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const int group = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{.events = EPOLLIN, .data = {.fd = timer}};
    ASSERT_EQ(epoll_ctl(group, EPOLL_CTL_ADD, timer, &event), 0);
    const itimerspec setting{.it_interval = {}, .it_value = {.tv_sec = 2, .tv_nsec = 0}};
    ASSERT_EQ(timerfd_settime(timer, 0, &setting, nullptr), 0);
    const std::uint64_t start = now_ms();
    EXPECT_EQ(epoll_wait(group, &event, 1, 100'000), 1);
    EXPECT_EQ(now_ms() - start, 2000u);
    EXPECT_EQ(epoll_wait(group, &event, 1, -1), 1); // still to be read
    EXPECT_EQ(now_ms() - start, 2000u);
    close(group);
    close(timer);
}

TEST_F(HostClock, ASignalFromOutsideInterruptsAWait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    const pid_t waiting = gettid();
    std::atomic<bool> done{false};
    std::thread outside([&] {
        MIRO_HostClockLeave();
        while (!done) {
            std::this_thread::sleep_for(milliseconds(20));
            syscall(SYS_tgkill, getpid(), waiting, SIGUSR1);
        }
        MIRO_HostClockJoin();
    });
    EXPECT_EQ(poll(nullptr, 0, -1), -1);
    EXPECT_EQ(errno, EINTR);
    done = true;
    outside.join();
}

} // namespace
