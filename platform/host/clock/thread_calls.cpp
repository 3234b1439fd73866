// Threads, locks and conditions on the stepped clock.
#include "next_call.h"
#include "waits.h"

#include <atomic>
#include <memory>
#include <new>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

namespace host_clock {

namespace {

std::atomic<int> g_lock_waiters{0};

Keys key_at(const void *object) {
    Keys keys;
    keys.add(key_for(kAddressKey, object));
    return keys;
}

void touch_object(const void *object) {
    touch(key_for(kAddressKey, object));
}

// Repeats `try_lock` while it says that the lock is taken, until the deadline. An error number.
template <typename Try>
int lock_until(const void *object, std::int64_t deadline, Try try_lock) {
    int result = try_lock();
    if (result != EBUSY) {
        return result;
    }
    ++g_lock_waiters;
    const Keys keys = key_at(object);
    while (result == EBUSY && deadline > now_ns()) {
        block(keys, deadline);
        result = try_lock();
    }
    --g_lock_waiters;
    return result == EBUSY ? ETIMEDOUT : result;
}

void touch_lock(const void *lock) {
    if (joined() && g_lock_waiters.load(std::memory_order_relaxed) != 0) {
        touch_object(lock);
    }
}

// An error-checking mutex says itself that its owner asks for it.
bool asks_own(const pthread_mutex_t *mutex) {
    return (mutex->__data.__kind & 3) == PTHREAD_MUTEX_ERRORCHECK && mutex->__data.__owner == gettid();
}

int lock_mutex(pthread_mutex_t *mutex, std::int64_t deadline) {
    if (asks_own(mutex)) {
        return MIRO_CLOCK_NEXT(pthread_mutex_lock)(mutex);
    }
    return lock_until(mutex, deadline, [mutex] { return MIRO_CLOCK_NEXT(pthread_mutex_trylock)(mutex); });
}

// An error number.
int wait_for_condition(pthread_cond_t *condition, pthread_mutex_t *mutex, std::int64_t deadline) {
    const int error = pthread_mutex_unlock(mutex);
    if (error != 0) {
        return error;
    }
    const Woken woken = block(key_at(condition), deadline);
    const int locked = lock_mutex(mutex, kNever);
    if (locked != 0) {
        return locked;
    }
    return woken == Woken::kDeadline ? ETIMEDOUT : 0;
}

// ---- Threads that have ended, but may still exist in the kernel

constexpr std::size_t kMostEnded = 256;
std::atomic<pthread_t> g_ended[kMostEnded];
std::atomic<std::size_t> g_next_ended{0};

bool forget_ended(pthread_t thread) {
    for (std::atomic<pthread_t> &ended : g_ended) {
        pthread_t expected = thread;
        if (ended.compare_exchange_strong(expected, 0)) {
            return true;
        }
    }
    return false;
}

struct Start {
    void *(*routine)(void *);
    void *argument;
    int place;
};

void *run_thread(void *start) {
    const std::unique_ptr<Start> own(static_cast<Start *>(start));
    const Start copy = *own;
    enter_reserved(copy.place);
    return copy.routine(copy.argument);
}

} // namespace

void note_ended_thread(pthread_t thread) {
    g_ended[g_next_ended++ % kMostEnded] = thread;
}

} // namespace host_clock

using namespace host_clock;

MIRO_CLOCK_EXPORT int pthread_create(pthread_t *__restrict thread, const pthread_attr_t *__restrict attributes,
                                     void *(*routine)(void *), void *__restrict argument) noexcept {
    const int place = follows() ? reserve_thread() : -1;
    if (place < 0) {
        return MIRO_CLOCK_NEXT(pthread_create)(thread, attributes, routine, argument);
    }
    std::unique_ptr<Start> start(new (std::nothrow) Start{routine, argument, place});
    const int error =
        start == nullptr ? EAGAIN : MIRO_CLOCK_NEXT(pthread_create)(thread, attributes, run_thread, start.get());
    if (error != 0) {
        release_reserved(place);
        return error;
    }
    static_cast<void>(start.release()); // the thread's own
    forget_ended(*thread);
    return 0;
}

MIRO_CLOCK_EXPORT int pthread_join(pthread_t thread, void **result) {
    if (!follows()) {
        return MIRO_CLOCK_NEXT(pthread_join)(thread, result);
    }
    Keys keys;
    keys.outside = true;
    keys.add(key_for(kThreadKey, thread));
    for (;;) {
        if (forget_ended(thread)) {
            return MIRO_CLOCK_NEXT(pthread_join)(thread, result);
        }
        const int error = MIRO_CLOCK_NEXT(pthread_tryjoin_np)(thread, result);
        if (error != EBUSY) {
            return error;
        }
        block(keys, kNever);
    }
}

// ---- Mutexes

MIRO_CLOCK_EXPORT int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept {
    return follows() ? lock_mutex(mutex, kNever) : MIRO_CLOCK_NEXT(pthread_mutex_lock)(mutex);
}

MIRO_CLOCK_EXPORT int pthread_mutex_timedlock(pthread_mutex_t *__restrict mutex,
                                              const timespec *__restrict until) noexcept {
    return follows() ? lock_mutex(mutex, instant_of(CLOCK_REALTIME, *until))
                     : MIRO_CLOCK_NEXT(pthread_mutex_timedlock)(mutex, until);
}

MIRO_CLOCK_EXPORT int pthread_mutex_clocklock(pthread_mutex_t *__restrict mutex, clockid_t clock,
                                              const timespec *__restrict until) noexcept {
    return follows() ? lock_mutex(mutex, instant_of(clock, *until))
                     : MIRO_CLOCK_NEXT(pthread_mutex_clocklock)(mutex, clock, until);
}

MIRO_CLOCK_EXPORT int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept {
    const int error = MIRO_CLOCK_NEXT(pthread_mutex_unlock)(mutex);
    touch_lock(mutex);
    return error;
}

MIRO_CLOCK_EXPORT int pthread_rwlock_rdlock(pthread_rwlock_t *lock) noexcept {
    return follows() ? lock_until(lock, kNever, [lock] { return MIRO_CLOCK_NEXT(pthread_rwlock_tryrdlock)(lock); })
                     : MIRO_CLOCK_NEXT(pthread_rwlock_rdlock)(lock);
}

MIRO_CLOCK_EXPORT int pthread_rwlock_wrlock(pthread_rwlock_t *lock) noexcept {
    return follows() ? lock_until(lock, kNever, [lock] { return MIRO_CLOCK_NEXT(pthread_rwlock_trywrlock)(lock); })
                     : MIRO_CLOCK_NEXT(pthread_rwlock_wrlock)(lock);
}

MIRO_CLOCK_EXPORT int pthread_rwlock_unlock(pthread_rwlock_t *lock) noexcept {
    const int error = MIRO_CLOCK_NEXT(pthread_rwlock_unlock)(lock);
    touch_lock(lock);
    return error;
}

// ---- Conditions. A signal wakes all that wait, which the standard allows.

MIRO_CLOCK_EXPORT int pthread_cond_wait(pthread_cond_t *__restrict condition, pthread_mutex_t *__restrict mutex) {
    return follows() ? wait_for_condition(condition, mutex, kNever)
                     : MIRO_CLOCK_NEXT(pthread_cond_wait)(condition, mutex);
}

// The condition cannot be asked for its clock; the size of the time shows which one it is.
MIRO_CLOCK_EXPORT int pthread_cond_timedwait(pthread_cond_t *__restrict condition, pthread_mutex_t *__restrict mutex,
                                             const timespec *__restrict until) {
    return follows() ? wait_for_condition(condition, mutex, instant_of(likely_clock(*until), *until))
                     : MIRO_CLOCK_NEXT(pthread_cond_timedwait)(condition, mutex, until);
}

MIRO_CLOCK_EXPORT int pthread_cond_clockwait(pthread_cond_t *__restrict condition, pthread_mutex_t *__restrict mutex,
                                             clockid_t clock, const timespec *__restrict until) {
    return follows() ? wait_for_condition(condition, mutex, instant_of(clock, *until))
                     : MIRO_CLOCK_NEXT(pthread_cond_clockwait)(condition, mutex, clock, until);
}

MIRO_CLOCK_EXPORT int pthread_cond_signal(pthread_cond_t *condition) noexcept {
    const int error = MIRO_CLOCK_NEXT(pthread_cond_signal)(condition);
    if (joined()) {
        touch_object(condition);
    }
    return error;
}

MIRO_CLOCK_EXPORT int pthread_cond_broadcast(pthread_cond_t *condition) noexcept {
    const int error = MIRO_CLOCK_NEXT(pthread_cond_broadcast)(condition);
    if (joined()) {
        touch_object(condition);
    }
    return error;
}

// ---- Semaphores

namespace {

int wait_for_semaphore(sem_t *semaphore, std::int64_t deadline) {
    Keys keys = key_at(semaphore);
    keys.outside = true; // other processes may share it at another address
    const Woken woken =
        wait_until(keys, deadline, [semaphore] { return MIRO_CLOCK_NEXT(sem_trywait)(semaphore) == 0; });
    if (woken == Woken::kDeadline || woken == Woken::kInterrupted) {
        errno = woken == Woken::kDeadline ? ETIMEDOUT : EINTR;
        return -1;
    }
    return 0;
}

} // namespace

MIRO_CLOCK_EXPORT int sem_wait(sem_t *semaphore) {
    return follows() ? wait_for_semaphore(semaphore, kNever) : MIRO_CLOCK_NEXT(sem_wait)(semaphore);
}

MIRO_CLOCK_EXPORT int sem_timedwait(sem_t *__restrict semaphore, const timespec *__restrict until) {
    return follows() ? wait_for_semaphore(semaphore, instant_of(CLOCK_REALTIME, *until))
                     : MIRO_CLOCK_NEXT(sem_timedwait)(semaphore, until);
}

MIRO_CLOCK_EXPORT int sem_clockwait(sem_t *__restrict semaphore, clockid_t clock, const timespec *__restrict until) {
    return follows() ? wait_for_semaphore(semaphore, instant_of(clock, *until))
                     : MIRO_CLOCK_NEXT(sem_clockwait)(semaphore, clock, until);
}

MIRO_CLOCK_EXPORT int sem_post(sem_t *semaphore) noexcept {
    const int result = MIRO_CLOCK_NEXT(sem_post)(semaphore);
    if (joined()) {
        touch_object(semaphore);
    }
    return result;
}
