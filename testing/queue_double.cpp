#include "queue_double.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>

#include "libc_double.h"

namespace orva_test {

namespace {

int refuse(int error) {
    errno = error;
    return -1;
}

// The message that msgrcv takes for `type`: the first, the first of the type, or the first of the lowest type.
std::deque<QueueMessage>::iterator choose(std::deque<QueueMessage> &queue, long type) {
    if (type == 0) {
        return queue.begin();
    }
    if (type > 0) {
        return std::find_if(queue.begin(), queue.end(), [&](const QueueMessage &one) { return one.type == type; });
    }
    const auto lowest = std::min_element(
        queue.begin(), queue.end(), [](const QueueMessage &a, const QueueMessage &b) { return a.type < b.type; });
    return lowest != queue.end() && lowest->type <= -type ? lowest : queue.end();
}

} // namespace

void Queues::install() {
    libc().ftok = [](const char *path, int project) {
        return static_cast<key_t>((std::hash<std::string>{}(path)&0xFFFFFF) |
                                  (static_cast<unsigned>(project & 0x7F) << 24));
    };
    libc().msgget = [this](key_t key, int flags) { return get(key, flags); };
    libc().msgsnd = [this](int id, const void *message, size_t size, int) { return send(id, message, size); };
    libc().msgrcv = [this](int id, void *message, size_t size, long type, int flags) {
        return receive(id, message, size, type, flags);
    };
    libc().msgctl = [this](int id, int command, msqid_ds *descriptor) { return control(id, command, descriptor); };
}

int Queues::get(key_t key, int flags) {
    const auto known = key == IPC_PRIVATE ? ids_.end() : ids_.find(key);
    if (known != ids_.end()) {
        return (flags & IPC_CREAT) != 0 && (flags & IPC_EXCL) != 0 ? refuse(EEXIST) : known->second;
    }
    if (key != IPC_PRIVATE && (flags & IPC_CREAT) == 0) {
        return refuse(ENOENT);
    }
    const int id = next_++;
    waiting[id];
    if (key != IPC_PRIVATE) {
        ids_[key] = id;
    }
    return id;
}

int Queues::send(int id, const void *message, std::size_t size) {
    const auto queue = waiting.find(id);
    if (queue == waiting.end()) {
        return refuse(EINVAL);
    }
    QueueMessage kept{0, std::string(static_cast<const char *>(message) + sizeof(long), size)};
    std::memcpy(&kept.type, message, sizeof kept.type);
    if (kept.type < 1) {
        return refuse(EINVAL);
    }
    queue->second.push_back(std::move(kept));
    return 0;
}

ssize_t Queues::receive(int id, void *message, std::size_t size, long type, int flags) {
    const auto queue = waiting.find(id);
    if (queue == waiting.end()) {
        return refuse(EINVAL);
    }
    const auto chosen = choose(queue->second, type);
    if (chosen == queue->second.end()) {
        return refuse(ENOMSG);
    }
    if (chosen->payload.size() > size && (flags & MSG_NOERROR) == 0) {
        return refuse(E2BIG);
    }
    const std::size_t length = std::min(size, chosen->payload.size());
    std::memcpy(message, &chosen->type, sizeof chosen->type);
    std::memcpy(static_cast<char *>(message) + sizeof chosen->type, chosen->payload.data(), length);
    queue->second.erase(chosen);
    return static_cast<ssize_t>(length);
}

int Queues::control(int id, int command, msqid_ds *descriptor) {
    const auto queue = waiting.find(id);
    if (queue == waiting.end()) {
        return refuse(EINVAL);
    }
    if (command == IPC_RMID) {
        waiting.erase(queue);
        const auto key =
            std::find_if(ids_.begin(), ids_.end(), [&](const auto &entry) { return entry.second == id; });
        if (key != ids_.end()) {
            ids_.erase(key);
        }
    } else if (command == IPC_STAT) {
        *descriptor = {};
        descriptor->msg_qnum = queue->second.size();
    }
    return 0;
}

} // namespace orva_test
