// The shared table and the hand-over. Waiting in the kernel is done elsewhere.
#include "shared_clock.h"

#include "next_call.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace host_clock {

namespace {

constexpr std::uint32_t kMagic = 0x4D434C33; // "MCL3": another layout is another magic
constexpr std::uint32_t kMaxThreads = 4096;
constexpr std::uint32_t kMaxProcesses = 1024;
constexpr std::int32_t kNobody = -1;
constexpr std::int64_t kLookNs = 20 * kNsPerMs;
constexpr std::int64_t kJoinPatienceNs = 2 * kNsPerSecond;
constexpr std::int64_t kStopPatienceNs = 2 * kNsPerSecond;
constexpr std::int64_t kDeathPatienceNs = 10 * kNsPerSecond;
constexpr std::int64_t kStallNs = 5 * kNsPerSecond;
constexpr std::uint32_t kIdleCalls = 200;

enum class State : std::uint32_t { kFree, kRunnable, kWaiting, kRunning, kAside };

struct Thread {
    std::atomic<std::uint32_t> granted;
    State state;
    pid_t process;
    std::uint32_t process_place;
    pid_t id;
    std::atomic<pthread_t> handle; // in its own process; 0: not known yet
    std::int64_t deadline_ns;
    std::uint64_t turn; // order among the runnable ones
    bool last;
    bool looks;       // runnable only to look at the world outside
    bool arrives;     // the touch was a datagram, which the kernel may still be carrying
    bool interrupted; // by a signal of another member
    Keys keys;
};

struct Process {
    pid_t id; // 0: free
    bool stopped;
    bool ending;
};

struct Table {
    std::atomic<std::uint32_t> magic;
    std::atomic<std::uint32_t> lock; // thread id of the owner, kContended beside it
    std::atomic<std::int64_t> now_ns;
    std::int64_t start_seconds;
    pid_t creator;
    std::uint64_t turns;
    std::atomic<std::uint64_t> handovers;
    std::uint64_t advances;
    std::uint64_t stall_reported; // the hand-over count for which a stall was reported
    std::int32_t holder;
    std::atomic<std::uint32_t> ending;
    std::atomic<std::uint32_t> room_waits; // may be too many, after a death
    std::atomic<std::uint32_t> joins;      // counts processes that joined; a futex
    std::uint32_t top;                     // places in use are below
    Process processes[kMaxProcesses];
    Thread threads[kMaxThreads];
};

constexpr std::uint32_t kContended = 0x80000000u;

Table *g_table = nullptr;
char g_path[PATH_MAX];
pthread_key_t g_thread_end;
bool g_thread_end_made = false;

thread_local int t_place = kNobody;
thread_local int t_inside = 0;
thread_local bool t_missed = false;
thread_local std::int64_t t_idle_since = 0;
thread_local std::uint32_t t_idle_calls = 0;

// ---- Real time and the kernel

long futex(std::atomic<std::uint32_t> &word, int operation, std::uint32_t value, const timespec *timeout) {
    return syscall(SYS_futex, reinterpret_cast<std::uint32_t *>(&word), operation, value, timeout, nullptr, 0);
}

std::int64_t real_ns() {
    timespec now{};
    MIRO_CLOCK_NEXT(clock_gettime)(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * kNsPerSecond + now.tv_nsec;
}

timespec as_timespec(std::int64_t ns) {
    return {.tv_sec = ns / kNsPerSecond, .tv_nsec = ns % kNsPerSecond};
}

// The letter of the kernel's state of a process or thread, 0 when there is none.
char state_letter(pid_t id) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/stat", id);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    char text[256]{};
    const ssize_t count = MIRO_CLOCK_NEXT(read)(fd, text, sizeof text - 1);
    MIRO_CLOCK_NEXT(close)(fd);
    const char *end = count > 0 ? std::strrchr(text, ')') : nullptr;
    return end != nullptr && end[1] == ' ' ? end[2] : '\0';
}

bool is_dead(pid_t process) {
    const char letter = state_letter(process);
    return letter == 0 || letter == 'Z' || letter == 'X';
}

// True while the process has this library loaded, or cannot be looked at.
bool has_library(pid_t process) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/maps", process);
    FILE *maps = std::fopen(path, "re");
    if (maps == nullptr) {
        return true;
    }
    char line[512];
    bool found = false;
    while (!found && std::fgets(line, sizeof line, maps) != nullptr) {
        found = std::strstr(line, "libmiro_clock.so") != nullptr;
    }
    std::fclose(maps);
    return found;
}

// True when the process is gone, or at least a zombie, within the patience.
bool wait_for_death(pid_t process) {
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (fd < 0) {
        return is_dead(process);
    }
    pollfd gone{.fd = fd, .events = POLLIN, .revents = 0};
    const int count = MIRO_CLOCK_NEXT(poll)(&gone, 1, static_cast<int>(kDeathPatienceNs / kNsPerMs));
    MIRO_CLOCK_NEXT(close)(fd);
    return count == 1;
}

bool stands_still(pid_t thread) {
    const char letter = state_letter(thread);
    return letter != 'R' && letter != 'S' && letter != 'D';
}

// Waits, after SIGSTOP was sent, until each thread of the process stands still, ends or has used up the patience.
void wait_for_stop(pid_t process) {
    const std::int64_t until = real_ns() + kStopPatienceNs;
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/task", process);
    DIR *threads = opendir(path);
    if (threads == nullptr) {
        return;
    }
    while (const dirent *entry = readdir(threads)) {
        const auto thread = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        while (thread > 0 && !stands_still(thread) && real_ns() < until) {
            const timespec pause = as_timespec(kNsPerMs / 10);
            MIRO_CLOCK_NEXT(nanosleep)(&pause, nullptr);
        }
    }
    closedir(threads);
}

// ---- The lock of the table

void take_lock() {
    std::atomic<std::uint32_t> &lock = g_table->lock;
    const auto self = static_cast<std::uint32_t>(gettid());
    std::uint32_t seen = 0;
    if (lock.compare_exchange_strong(seen, self, std::memory_order_acquire)) {
        return;
    }
    for (;;) {
        seen = lock.load(std::memory_order_relaxed);
        if (seen == 0) {
            // Others may sleep, so the mark stays.
            if (lock.compare_exchange_weak(seen, self | kContended, std::memory_order_acquire)) {
                return;
            }
            continue;
        }
        if ((seen & kContended) == 0 && !lock.compare_exchange_weak(seen, seen | kContended)) {
            continue;
        }
        const timespec pause = as_timespec(50 * kNsPerMs);
        if (futex(lock, FUTEX_WAIT, seen | kContended, &pause) != 0 && errno == ETIMEDOUT &&
            is_dead(static_cast<pid_t>(seen & ~kContended))) {
            // Its owner was killed while it held the lock. After each single store the table is safe to read.
            seen |= kContended;
            lock.compare_exchange_strong(seen, 0);
        }
    }
}

void drop_lock() {
    if ((g_table->lock.exchange(0, std::memory_order_release) & kContended) != 0) {
        futex(g_table->lock, FUTEX_WAKE, 1, nullptr);
    }
}

void touch_locked(std::uint32_t key, bool arrives = false);
void let_somebody_run();

// Holds the lock. Calls of this library by a signal handler meanwhile do not take it; they are done afterwards.
class Inside {
public:
    Inside() {
        ++t_inside;
        take_lock();
    }
    ~Inside() {
        if (t_missed) {
            t_missed = false;
            touch_locked(kAnyKey);
        }
        drop_lock();
        --t_inside;
    }
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;

private:
    ErrnoKeeper errno_keeper_;
};

// ---- Who is next

Process *find_process(pid_t id) {
    for (Process &process : g_table->processes) {
        if (process.id == id) {
            return &process;
        }
    }
    return nullptr;
}

bool is_stopped(const Thread &thread) {
    return g_table->processes[thread.process_place].stopped;
}

void make_runnable(Thread &thread, bool looks = false, bool arrives = false) {
    thread.state = State::kRunnable;
    thread.looks = looks;
    thread.arrives = arrives;
    thread.turn = ++g_table->turns;
}

// Also one that is about to look around: real time decides when it does, and must not decide about the order of those
// that are touched together.
bool can_be_touched(const Thread &thread) {
    const Table &table = *g_table;
    const bool is_next = table.holder != kNobody && &table.threads[table.holder] == &thread;
    return thread.state == State::kWaiting || (thread.state == State::kRunnable && thread.looks && !is_next);
}

void touch_locked(std::uint32_t key, bool arrives) {
    Table &table = *g_table;
    for (std::uint32_t place = 0; place < table.top; ++place) {
        Thread &thread = table.threads[place];
        if (!can_be_touched(thread)) {
            continue;
        }
        const Keys &keys = thread.keys;
        const auto *const end = keys.list + keys.count;
        if (keys.any || (key == kAnyKey ? keys.count != 0 || keys.outside : std::find(keys.list, end, key) != end)) {
            make_runnable(thread, false, arrives);
        }
    }
    let_somebody_run();
}

void free_threads(pid_t process) {
    Table &table = *g_table;
    for (std::uint32_t place = 0; place < table.top; ++place) {
        Thread &thread = table.threads[place];
        if (thread.state != State::kFree && thread.process == process) {
            thread.state = State::kFree;
            if (table.holder == static_cast<std::int32_t>(place)) {
                table.holder = kNobody;
            }
        }
    }
}

void forget_process(pid_t id) {
    free_threads(id);
    if (Process *process = find_process(id); process != nullptr) {
        if (process->ending) {
            --g_table->ending;
        }
        *process = {};
    }
}

// Waits until threads and processes that announced their end are gone, so that others see it before time moves on.
void see_endings_through() {
    bool ended = false;
    for (Process &process : g_table->processes) {
        if (process.ending && process.id != getpid()) {
            wait_for_death(process.id);
            forget_process(process.id);
            ended = true;
        }
    }
    if (ended) {
        touch_locked(kAnyKey);
    }
}

bool is_before(const Thread &a, const Thread &b) {
    if (a.deadline_ns != b.deadline_ns) {
        return a.deadline_ns < b.deadline_ns;
    }
    return !a.last && b.last;
}

// The first of the runnable threads, else the one with the nearest deadline. Below 0: all wait for ever.
std::int32_t choose() {
    Table &table = *g_table;
    std::int32_t runnable = kNobody;
    std::int32_t due = kNobody;
    for (std::uint32_t place = 0; place < table.top; ++place) {
        const Thread &thread = table.threads[place];
        const auto index = static_cast<std::int32_t>(place);
        if (thread.state == State::kRunnable) {
            if ((runnable == kNobody || thread.turn < table.threads[runnable].turn) && !is_stopped(thread)) {
                runnable = index;
            }
        } else if (thread.state == State::kWaiting && thread.deadline_ns != kNever) {
            if ((due == kNobody || is_before(thread, table.threads[due])) && !is_stopped(thread)) {
                due = index;
            }
        }
    }
    return runnable != kNobody ? runnable : due;
}

// Gives the turn to the next thread. When that one waits for a deadline, the time moves on to it.
void let_somebody_run() {
    Table &table = *g_table;
    if (table.holder != kNobody) {
        return;
    }
    const std::int32_t next = choose();
    if (next == kNobody) {
        return;
    }
    Thread &thread = table.threads[next];
    if (thread.state == State::kWaiting && thread.deadline_ns > table.now_ns.load(std::memory_order_relaxed)) {
        table.now_ns.store(thread.deadline_ns, std::memory_order_relaxed);
        ++table.advances;
    }
    table.holder = next;
    table.handovers.fetch_add(1, std::memory_order_relaxed);
    // The state stays unchanged: block() reads from it why it was woken.
    thread.granted.store(1, std::memory_order_release);
    if (next != t_place) {
        futex(thread.granted, FUTEX_WAKE, 1, nullptr);
    }
}

void give_turn_away() {
    Table &table = *g_table;
    if (table.holder == t_place) {
        table.holder = kNobody;
    }
    if (table.ending != 0) {
        see_endings_through();
    }
    let_somebody_run();
}

// ---- Waiting for one's turn

void report_stall(const Thread &holder, std::int64_t stalled_ns) {
    char line[160];
    const int length =
        std::snprintf(line, sizeof line, "miro_clock[%d]: thread %d of process %d has the clock for %lld s\n",
                      getpid(), holder.id, holder.process, static_cast<long long>(stalled_ns / kNsPerSecond));
    [[maybe_unused]] const ssize_t count =
        MIRO_CLOCK_NEXT(write)(STDERR_FILENO, line, static_cast<std::size_t>(length));
}

struct Patience {
    std::uint64_t handovers = 0;
    std::int64_t since_ns = 0;
};

// From time to time, in real time, while a thread waits: looks at the world outside, and checks that the clock goes
// on.
void look_around(Thread &self, Patience &patience) {
    Table &table = *g_table;
    const std::uint64_t handovers = table.handovers.load(std::memory_order_relaxed);
    const std::int64_t now = real_ns();
    const bool stands = handovers == patience.handovers;
    if (!stands) {
        patience = {handovers, now};
    }
    const Inside inside;
    if (self.state == State::kWaiting && self.keys.outside && table.holder != t_place) {
        make_runnable(self, true);
        let_somebody_run();
    }
    if (!stands || table.holder == kNobody || handovers != table.handovers.load()) {
        return;
    }
    const Thread &holder = table.threads[table.holder];
    // A program that became another one without the library never hands over.
    const bool has_left = now - patience.since_ns >= kJoinPatienceNs && !has_library(holder.process);
    if (is_dead(holder.process) || has_left) {
        forget_process(holder.process);
        touch_locked(kAnyKey);
    } else if (now - patience.since_ns >= kStallNs && table.stall_reported != handovers) {
        table.stall_reported = handovers;
        report_stall(holder, now - patience.since_ns);
    }
}

// The process is ending and has released its places: its other threads wait here for the end.
void stop_when_place_is_gone(const Thread &self) {
    while (self.process != getpid() || self.state == State::kFree) {
        MIRO_CLOCK_NEXT(pause)();
    }
}

// Returns true when a signal interrupted the wait.
bool sleep_until_granted(Thread &self) {
    bool interrupted = false;
    Patience patience;
    while (self.granted.load(std::memory_order_acquire) == 0) {
        const timespec look = as_timespec(kLookNs);
        const bool woken = futex(self.granted, FUTEX_WAIT, 0, &look) == 0 || errno == EAGAIN;
        const int error = errno;
        stop_when_place_is_gone(self);
        if (woken) {
            continue;
        }
        if (error == EINTR) {
            interrupted = true;
            const Inside inside;
            if (self.state == State::kWaiting && g_table->holder != t_place) {
                make_runnable(self);
                let_somebody_run();
            }
        } else {
            look_around(self, patience);
        }
    }
    self.granted.store(0, std::memory_order_relaxed);
    return interrupted;
}

void set_running(Thread &self) {
    const Inside inside;
    self.state = State::kRunning;
    if (g_table->ending != 0) {
        see_endings_through();
    }
}

// A runnable thread waits for its turn.
void take_turn() {
    const ErrnoKeeper keeper;
    Thread &self = g_table->threads[t_place];
    self.handle = pthread_self();
    sleep_until_granted(self);
    set_running(self);
}

std::int32_t add_thread(const Process &process, pid_t id) {
    Table &table = *g_table;
    for (std::uint32_t place = 0; place < kMaxThreads; ++place) {
        Thread &thread = table.threads[place];
        if (thread.state != State::kFree) {
            continue;
        }
        thread.granted.store(0);
        thread.process = process.id;
        thread.process_place = static_cast<std::uint32_t>(&process - table.processes);
        thread.id = id;
        thread.handle = 0;
        thread.deadline_ns = kNever;
        thread.last = false;
        thread.keys = {};
        make_runnable(thread);
        table.top = std::max(table.top, place + 1);
        return static_cast<std::int32_t>(place);
    }
    return kNobody;
}

std::int32_t add_own_thread(pid_t id) {
    const Process *process = find_process(getpid());
    return process != nullptr ? add_thread(*process, id) : kNobody;
}

// The process and its first thread. A process that becomes another program goes on in its turn.
bool enter_process() {
    bool had_turn = false;
    {
        const Inside inside;
        Table &table = *g_table;
        const pid_t id = getpid();
        Process *process = find_process(id);
        if (process != nullptr) {
            had_turn = table.holder != kNobody && table.threads[table.holder].process == id;
            free_threads(id);
        } else {
            process = find_process(0);
        }
        if (process == nullptr) {
            return false;
        }
        *process = {.id = id, .stopped = false, .ending = false};
        t_place = add_thread(*process, gettid());
        if (t_place == kNobody) {
            *process = {};
            return false;
        }
        ++table.joins;
        futex(table.joins, FUTEX_WAKE, INT_MAX, nullptr);
        if (had_turn && table.holder == kNobody) {
            table.holder = t_place;
            table.threads[t_place].granted.store(1);
        }
        let_somebody_run();
    }
    take_turn();
    return true;
}

void give_place_up() {
    const Inside inside;
    g_table->threads[t_place].state = State::kFree;
    give_turn_away();
    t_place = kNobody;
}

bool is_last_process() {
    return std::none_of(std::begin(g_table->processes), std::end(g_table->processes),
                        [](const Process &process) { return process.id != 0 && !process.ending; });
}

void end_thread(void * /*unused*/) {
    if (t_place != kNobody) {
        const pthread_t self = pthread_self();
        note_ended_thread(self);
        touch(key_for(kThreadKey, self));
        give_place_up();
    }
}

bool map_table(int fd) {
    void *memory = mmap(nullptr, sizeof(Table), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    g_table = static_cast<Table *>(memory);
    if (!g_thread_end_made) {
        g_thread_end_made = pthread_key_create(&g_thread_end, end_thread) == 0;
    }
    return true;
}

void unmap_table() {
    munmap(g_table, sizeof(Table));
    g_table = nullptr;
}

void watch_thread_end() {
    pthread_setspecific(g_thread_end, g_table);
}

bool takes_part() {
    return t_place != kNobody && t_inside == 0;
}

} // namespace

// ---- This process

bool start(const char *path, std::int64_t start_seconds) {
    const int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return false;
    }
    const bool made = ftruncate(fd, sizeof(Table)) == 0 && map_table(fd);
    const int error = errno;
    MIRO_CLOCK_NEXT(close)(fd);
    if (made) {
        g_table->start_seconds = start_seconds;
        g_table->creator = getpid();
        g_table->holder = kNobody;
        g_table->magic.store(kMagic);
        std::snprintf(g_path, sizeof g_path, "%s", path);
        if (enter_process()) {
            watch_thread_end();
            return true;
        }
        unmap_table();
    }
    unlink(path);
    errno = made ? ENOSPC : error;
    return false;
}

bool join_file(const char *path) {
    const int fd = open(path, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct stat about {};
    const bool mapped = fstat(fd, &about) == 0 && about.st_size == off_t{sizeof(Table)} && map_table(fd);
    MIRO_CLOCK_NEXT(close)(fd);
    if (!mapped) {
        return false;
    }
    if (g_table->magic.load() != kMagic || !enter_process()) {
        unmap_table();
        return false;
    }
    std::snprintf(g_path, sizeof g_path, "%s", path);
    watch_thread_end();
    return true;
}

bool joined() {
    return g_table != nullptr && t_inside == 0;
}

void join_forked_child() {
    const bool follows = t_place != kNobody;
    t_place = kNobody;
    t_inside = 0;
    if (follows && !enter_process()) {
        unmap_table();
    }
}

void leave_process(Leaving how) {
    if (g_table == nullptr || t_inside != 0) {
        return;
    }
    const Inside inside;
    const pid_t id = getpid();
    free_threads(id);
    Process *process = find_process(id);
    if (process != nullptr && how == Leaving::kGoesOn) {
        *process = {};
    } else if (process != nullptr && !process->ending) {
        process->ending = true;
        ++g_table->ending;
    }
    let_somebody_run();
    t_place = kNobody;
    if (g_table->creator == id || is_last_process()) {
        unlink(g_path);
    }
}

void await_join(pid_t process) {
    const ErrnoKeeper keeper;
    const std::int64_t until = real_ns() + kJoinPatienceNs;
    while (real_ns() < until) {
        const std::uint32_t joins = g_table->joins.load();
        if (is_member(process) || is_dead(process)) {
            return;
        }
        const timespec pause = as_timespec(kNsPerMs);
        futex(g_table->joins, FUTEX_WAIT, joins, &pause);
    }
}

void bury_when_dead(pid_t process) {
    const ErrnoKeeper keeper;
    wait_for_death(process);
    const Inside inside;
    forget_process(process);
    touch_locked(kAnyKey);
}

bool is_member(pid_t process) {
    const Inside inside;
    return process > 0 && find_process(process) != nullptr;
}

bool is_stopped_process(pid_t process) {
    const Inside inside;
    const Process *found = find_process(process);
    return found != nullptr && found->stopped;
}

int stop_process(pid_t process) {
    int error = 0;
    {
        const Inside inside;
        if (MIRO_CLOCK_NEXT(kill)(process, SIGSTOP) == 0) {
            for (Process &each : g_table->processes) {
                if (each.id != 0 && (process > 0 ? each.id == process : getpgid(each.id) == -process)) {
                    wait_for_stop(each.id);
                    each.stopped = true;
                }
            }
        } else {
            error = errno;
        }
    }
    if (error != 0) {
        errno = error;
    }
    return error != 0 ? -1 : 0;
}

void let_process_go_on(pid_t process) {
    const Inside inside;
    if (Process *found = find_process(process); found != nullptr) {
        found->stopped = false;
        let_somebody_run();
    }
}

void each_process(void (*visit)(pid_t process, void *context), void *context) {
    for (const Process &process : g_table->processes) {
        if (process.id != 0) {
            visit(process.id, context);
        }
    }
}

// ---- This thread

bool follows() {
    return takes_part();
}

bool join_thread() {
    if (g_table == nullptr) {
        return false;
    }
    if (t_place != kNobody) {
        return true;
    }
    {
        const Inside inside;
        t_place = add_own_thread(gettid());
        if (t_place == kNobody) {
            return false;
        }
        let_somebody_run();
    }
    watch_thread_end();
    take_turn();
    return true;
}

void leave_thread() {
    if (t_place != kNobody) {
        give_place_up();
    }
}

int reserve_thread() {
    const Inside inside;
    return add_own_thread(0);
}

void release_reserved(int place) {
    const Inside inside;
    g_table->threads[place].state = State::kFree;
}

void enter_reserved(int place) {
    t_place = place;
    g_table->threads[place].id = gettid();
    watch_thread_end();
    take_turn();
}

void step_aside() {
    const Inside inside;
    Thread &self = g_table->threads[t_place];
    self.state = State::kAside;
    give_turn_away();
}

void come_back() {
    {
        const Inside inside;
        make_runnable(g_table->threads[t_place]);
        let_somebody_run();
    }
    take_turn();
}

std::int64_t now_ns() {
    return g_table->now_ns.load(std::memory_order_relaxed);
}

std::int64_t start_seconds() {
    return g_table->start_seconds;
}

Woken block(const Keys &keys, std::int64_t deadline_ns, bool last) {
    const ErrnoKeeper keeper;
    Thread &self = g_table->threads[t_place];
    if (deadline_ns > now_ns()) {
        t_idle_calls = 0;
    }
    {
        const Inside inside;
        self.state = State::kWaiting;
        self.keys = keys;
        self.deadline_ns = deadline_ns;
        self.last = last;
        self.looks = false;
        self.interrupted = false;
        g_table->room_waits += keys.room ? 1u : 0u;
        give_turn_away();
    }
    const bool interrupted = sleep_until_granted(self);
    g_table->room_waits -= keys.room ? 1u : 0u;
    const State state = self.state;
    set_running(self);
    if (interrupted || self.interrupted) {
        return Woken::kInterrupted;
    }
    if (state == State::kRunnable) {
        return self.looks ? Woken::kLook : self.arrives ? Woken::kArrives : Woken::kTouched;
    }
    return Woken::kDeadline;
}

bool room_is_wanted() {
    return g_table->room_waits.load(std::memory_order_relaxed) != 0;
}

void note_idle_call() {
    if (t_idle_since != now_ns()) {
        t_idle_since = now_ns();
        t_idle_calls = 0;
    }
    if (++t_idle_calls >= kIdleCalls) {
        block({}, now_ns() + kNsPerMs);
    }
}

// ---- Touches

void touch(std::uint32_t key, bool arrives) {
    if (g_table == nullptr) {
        return;
    }
    if (t_inside != 0) {
        t_missed = true;
        return;
    }
    const Inside inside;
    touch_locked(key, arrives);
}

void touch_process(pid_t process) {
    const Inside inside;
    Table &table = *g_table;
    for (std::uint32_t place = 0; place < table.top; ++place) {
        Thread &thread = table.threads[place];
        if (thread.process == process && can_be_touched(thread)) {
            make_runnable(thread);
        }
    }
    let_somebody_run();
}

pid_t id_of_thread(pthread_t handle) {
    const Inside inside;
    const Table &table = *g_table;
    const pid_t own = getpid();
    for (std::uint32_t place = 0; place < table.top; ++place) {
        const Thread &thread = table.threads[place];
        if (thread.state != State::kFree && thread.process == own && thread.handle == handle) {
            return thread.id;
        }
    }
    return 0;
}

bool interrupt_thread(pid_t process, pid_t only, bool (*takes_signal)(pid_t process, pid_t thread, int signal),
                      int signal) {
    Thread *taker = nullptr;
    const Inside inside;
    Table &table = *g_table;
    for (std::uint32_t place = 0; place < table.top; ++place) {
        Thread &thread = table.threads[place];
        const bool is_main = thread.id == process;
        if (thread.state != State::kFree && thread.process == process && (only == 0 || only == thread.id) &&
            (taker == nullptr || is_main) && takes_signal(process, thread.id, signal)) {
            taker = &thread;
        }
    }
    if (taker != nullptr && can_be_touched(*taker)) {
        make_runnable(*taker);
    }
    if (taker != nullptr) {
        taker->interrupted = true;
    }
    let_somebody_run();
    return taker != nullptr;
}

// FNV-1a; never the key that means all.
std::uint32_t hash(std::uint32_t kind, const void *bytes, std::size_t length) {
    std::uint32_t value = (2166136261u ^ kind) * 16777619u;
    for (std::size_t i = 0; i < length; ++i) {
        value = (value ^ static_cast<const unsigned char *>(bytes)[i]) * 16777619u;
    }
    return value == kAnyKey ? 0 : value;
}

Figures figures() {
    const Inside inside;
    const Table &table = *g_table;
    Figures now{.now_ns = table.now_ns.load(),
                .handovers = table.handovers.load(),
                .advances = table.advances,
                .processes = 0,
                .threads = 0};
    for (const Process &process : table.processes) {
        now.processes += process.id != 0 && !process.ending ? 1u : 0u;
    }
    for (std::uint32_t place = 0; place < table.top; ++place) {
        now.threads += table.threads[place].state != State::kFree ? 1u : 0u;
    }
    return now;
}

} // namespace host_clock
