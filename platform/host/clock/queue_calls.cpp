// Message queues on the stepped clock.
#include "next_call.h"
#include "waits.h"

#include <sys/ipc.h>
#include <sys/msg.h>

using namespace host_clock;

namespace {

Keys keys_of(int queue, bool for_room) {
    Keys keys;
    keys.room = for_room;
    keys.outside = true;
    keys.add(key_for(kQueueKey, queue));
    return keys;
}

// Repeats a call that does not wait while it fails with `not_now`.
template <typename Call>
auto repeat(int queue, int not_now, Call call) -> decltype(call()) {
    decltype(call()) result = -1;
    bool waited = false;
    const Woken woken = wait_until(keys_of(queue, not_now == EAGAIN), kNever, [&] {
        result = call();
        if (result < 0 && errno == EINVAL && waited) {
            errno = EIDRM; // deleted during the wait
        }
        waited = true;
        return result >= 0 || errno != not_now;
    });
    if (woken == Woken::kInterrupted) {
        errno = EINTR;
        return -1;
    }
    return result;
}

void touch_queue(int queue) {
    if (joined()) {
        touch(key_for(kQueueKey, queue));
    }
}

} // namespace

MIRO_CLOCK_EXPORT ssize_t msgrcv(int queue, void *message, size_t size, long type, int flags) {
    const bool waits = follows() && (flags & IPC_NOWAIT) == 0;
    const auto call = [&] {
        return MIRO_CLOCK_NEXT(msgrcv)(queue, message, size, type, flags | (waits ? IPC_NOWAIT : 0));
    };
    const ssize_t count = waits ? repeat(queue, ENOMSG, call) : call();
    if (count >= 0) {
        if (joined() && room_is_wanted()) {
            touch_queue(queue);
        }
    } else if (!waits && follows() && errno == ENOMSG) {
        note_idle_call();
        errno = ENOMSG;
    }
    return count;
}

MIRO_CLOCK_EXPORT int msgsnd(int queue, const void *message, size_t size, int flags) {
    const bool waits = follows() && (flags & IPC_NOWAIT) == 0;
    const auto call = [&] { return MIRO_CLOCK_NEXT(msgsnd)(queue, message, size, flags | (waits ? IPC_NOWAIT : 0)); };
    const int result = waits ? repeat(queue, EAGAIN, call) : call();
    if (result == 0) {
        touch_queue(queue);
    }
    return result;
}

MIRO_CLOCK_EXPORT int msgctl(int queue, int command, msqid_ds *data) noexcept {
    const int result = MIRO_CLOCK_NEXT(msgctl)(queue, command, data);
    if (command == IPC_RMID || command == IPC_SET) {
        touch_queue(queue);
    }
    return result;
}
