// The clock that processes share: who follows it, who may run, and what the time is. One thread of all processes runs
// at a time; a thread that waits hands over to the next one, and the time moves on when nobody has anything to do.
#ifndef HOST_SHARED_CLOCK_H
#define HOST_SHARED_CLOCK_H

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <sys/types.h>

namespace host_clock {

inline constexpr std::int64_t kNever = INT64_MAX;
inline constexpr std::int64_t kNsPerMs = 1'000'000;
inline constexpr std::int64_t kNsPerSecond = 1'000'000'000;

// What a thread waits for, as hashes: descriptors, queues, locks. A touch of one of them gives the thread a look.
struct Keys {
    static constexpr std::uint32_t kMost = 14;

    std::uint32_t count = 0;
    bool any = false;     // every touch is meant
    bool outside = false; // something outside the clock may end the wait: look from time to time
    bool room = false;    // waits for room to write as well
    std::uint32_t list[kMost]{};

    void add(std::uint32_t key) {
        if (count == kMost) {
            any = true;
        } else {
            list[count++] = key;
        }
    }
};

enum class Woken { kTouched, kArrives, kLook, kDeadline, kInterrupted };

// ---- This process

// Makes the file of a clock and joins it. False, with errno set, on failure.
bool start(const char *path, std::int64_t start_seconds);

// Joins the clock of that file. False when there is none.
bool join_file(const char *path);

// False also while this thread is inside the table, for a signal handler's calls.
bool joined();

// In a forked child: it follows the clock as a process of its own, with the calling thread.
void join_forked_child();

// The process is about to end, or to become a program that does not follow the clock. The one that made the file, or
// else the last one, removes it.
enum class Leaving { kEnds, kGoesOn };
void leave_process(Leaving how);

// Waits, in real time, until the started process has joined or is gone.
void await_join(pid_t process);

// A process that is gone for certain, or soon will be, by what this process did.
void bury_when_dead(pid_t process);

bool is_member(pid_t process);
bool is_stopped_process(pid_t process);

// Sends SIGSTOP to a member, or below 0 to the members of a group that the caller is not in. Returns the result of
// kill(). None of them stands still while it holds the table, which would hold up all others.
int stop_process(pid_t process);
void let_process_go_on(pid_t process);

// Calls `visit` for each joined process.
void each_process(void (*visit)(pid_t process, void *context), void *context);

// ---- This thread

// True while the calling thread follows the clock.
bool follows();

// Takes the calling thread in or out.
bool join_thread();
void leave_thread();

// A place for a thread that is about to be made, in the order of making. Below 0: there is none.
int reserve_thread();
void release_reserved(int place);
void enter_reserved(int place);

// For whoever joins the thread: it needs nothing but the kernel to end.
void note_ended_thread(pthread_t thread);

// The calling thread leaves the clock for a call that this library does not know, and comes back.
void step_aside();
void come_back();

// Nanoseconds since the clock's start.
std::int64_t now_ns();
std::int64_t start_seconds();

// Hands over until one of the keys is touched or the deadline has come. `last`: after all others of that time.
Woken block(const Keys &keys, std::int64_t deadline_ns, bool last = false);

// Waits until `probe` is true; `probe` runs only while this thread may run.
template <typename Probe>
Woken wait_until(const Keys &keys, std::int64_t deadline_ns, Probe probe) {
    for (;;) {
        if (probe()) {
            return Woken::kTouched;
        }
        if (deadline_ns <= now_ns()) {
            return Woken::kDeadline;
        }
        if (block(keys, deadline_ns) == Woken::kInterrupted) {
            return Woken::kInterrupted;
        }
    }
}

// True while a thread waits for room to write.
bool room_is_wanted();

// A call that returned at once without a result: lets time pass when a thread does nothing else.
void note_idle_call();

// ---- Touches: those that wait for it look again. Any thread of a joined process. errno is kept.

// `arrives`: what was sent may take the kernel another moment.
void touch(std::uint32_t key, bool arrives = false);
void touch_process(pid_t process);

// Interrupts the wait of the thread that the kernel gives a caught signal to: the one that was named; without a name,
// 0, the first one if it takes it, else another. False when none of the joined threads takes it.
bool interrupt_thread(pid_t process, pid_t only, bool (*takes_signal)(pid_t process, pid_t thread, int signal),
                      int signal);

// The kernel's number of a joined thread of this process; 0: it is none.
pid_t id_of_thread(pthread_t handle);

inline constexpr std::uint32_t kAnyKey = 0xFFFFFFFFu;

std::uint32_t hash(std::uint32_t kind, const void *bytes, std::size_t length);

template <typename Value>
std::uint32_t key_for(std::uint32_t kind, const Value &value) {
    return hash(kind, &value, sizeof value);
}

enum KeyKind : std::uint32_t {
    kAddressKey = 1,
    kSocketKey,
    kPipeKey,
    kAnonymousKey,
    kTimerKey,
    kQueueKey,
    kThreadKey
};

struct Figures {
    std::int64_t now_ns;
    std::uint64_t handovers;
    std::uint64_t advances;
    std::uint32_t processes;
    std::uint32_t threads;
};

Figures figures();

struct ErrnoKeeper {
    int value = errno;
    ErrnoKeeper() = default;
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;
    ~ErrnoKeeper() {
        errno = value;
    }
};

} // namespace host_clock

#endif
