// The path of a packet into an agent: a receiver thread takes datagrams from the socket and puts them into the
// board's queue; the agent's loop wakes from poll on the pipe and reads the queue.
#ifndef CHASSIS_BOARD_INBOX_H
#define CHASSIS_BOARD_INBOX_H

#include "descriptor.h"
#include "wire/transport.h"

#include "orva_comm.h"

#include <atomic>
#include <cstdint>
#include <semaphore.h>
#include <span>

namespace chassis {

class Inbox {
public:
    // Makes the key file, the queue and the pipe, and starts the receiver. `endpoint` outlives the inbox.
    Inbox(const Endpoint &endpoint, std::uint32_t slot, std::uint32_t run);
    // Stops the receiver and removes the queue.
    ~Inbox();
    Inbox(const Inbox &) = delete;
    Inbox &operator=(const Inbox &) = delete;

    // Readable when the queue may hold packets.
    int wake_descriptor() const {
        return pipe_[0];
    }

    // Takes what woke the loop out of the pipe; blocks when nothing did.
    void take_wakes();

    // The next packet that waits, in `buffer`; empty when there is none.
    std::span<const std::uint8_t> read(std::span<std::uint8_t, ORVA_QUEUE_PAYLOAD_MAX> buffer) const;

    std::uint32_t queue() const {
        return queue_;
    }
    // True when the queue was deleted under its reader: nothing will ever be read from it.
    bool is_cut_off() const {
        return cut_off_;
    }

    std::uint32_t received() const {
        return received_;
    }
    std::uint32_t refused() const {
        return refused_;
    }

private:
    static void receiver_entry(void *inbox);
    void receive();
    void note_lost_queue();
    void hand_on(std::span<const std::uint8_t> datagram);

    const Endpoint &endpoint_;
    std::uint32_t run_;
    std::uint32_t queue_ = ORVA_QUEUE_NONE;
    std::int32_t pipe_[2] = {-1, -1};
    Descriptor stop_;
    sem_t stopped_{}; // of the C library, which follows virtual time
    std::atomic<std::uint32_t> received_ = 0;
    std::atomic<std::uint32_t> refused_ = 0;
    std::atomic<bool> cut_off_ = false;
};

} // namespace chassis

#endif
