// Message queues in memory, for tests that do not ask the kernel.
#ifndef ORVA_QUEUE_DOUBLE_H
#define ORVA_QUEUE_DOUBLE_H

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <sys/msg.h>

namespace orva_test {

struct QueueMessage {
    long type;
    std::string payload;
};

// The owner keeps it alive until the next reset. One thread at a time.
struct Queues {
    std::map<int, std::deque<QueueMessage>> waiting; // by queue id, oldest first

    // Answers msgget, msgsnd, msgrcv, msgctl and ftok until the next reset. Key files need not exist. A read of an
    // empty queue fails with ENOMSG even where it would wait: in one thread nobody could fill the queue meanwhile.
    void install();

private:
    int get(key_t key, int flags);
    int send(int id, const void *message, std::size_t size);
    ssize_t receive(int id, void *message, std::size_t size, long type, int flags);
    int control(int id, int command, msqid_ds *descriptor);

    std::map<key_t, int> ids_;
    int next_ = 1;
};

} // namespace orva_test

#endif
