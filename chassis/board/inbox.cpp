#include "board/inbox.h"

#include "board/board_folder.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/msg.h>
#include <unistd.h>
#include <vector>

namespace chassis {

namespace {

constexpr std::uint32_t kReceiverStackBytes = 0x100000;
constexpr std::uint32_t kWakes = 64;

} // namespace

Inbox::Inbox(const Endpoint &endpoint, std::uint32_t slot, std::uint32_t run)
    : endpoint_(endpoint), run_(run), stop_(eventfd(0, EFD_CLOEXEC)) {
    sem_init(&stopped_, 0, 0);
    make_key_file(slot);
    if (ORVA_CreatePipe(pipe_, 2) != 0) {
        throw std::runtime_error("no pipe");
    }
    // The slot is the module number, so that boards whose key files happen to share their inode's low bits do not
    // share a queue.
    if (ORVA_QueueCreate(slot, &queue_) != ORVA_OK) {
        ORVA_DeletePipe(pipe_, 2);
        throw std::runtime_error("no queue");
    }
    std::uint32_t task = 0;
    if (ORVA_CreatThreadNew(receiver_entry, this, "ChassisReceiver", kReceiverStackBytes, &task) != ORVA_OK) {
        ORVA_QueueDelete(static_cast<std::int32_t>(queue_));
        ORVA_DeletePipe(pipe_, 2);
        throw std::runtime_error("no receiver thread");
    }
}

Inbox::~Inbox() {
    eventfd_write(stop_.get(), 1);
    while (sem_wait(&stopped_) != 0) {
    }
    sem_destroy(&stopped_);
    ORVA_QueueDelete(static_cast<std::int32_t>(queue_));
    ORVA_DeletePipe(pipe_, 2);
}

void Inbox::receiver_entry(void *inbox) {
    auto &self = *static_cast<Inbox *>(inbox);
    self.receive();
    sem_post(&self.stopped_);
}

void Inbox::receive() {
    std::vector<std::uint8_t> buffer(kMaxDatagramBytes);
    std::array<pollfd, 2> sources = {{{endpoint_.descriptor(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    while (true) {
        if (poll(sources.data(), sources.size(), -1) < 0) {
            continue;
        }
        if (sources[1].revents != 0) {
            return;
        }
        if (const auto datagram = endpoint_.receive(buffer, nullptr)) {
            hand_on(*datagram);
        }
    }
}

void Inbox::hand_on(std::span<const std::uint8_t> datagram) {
    if (!parse_packet(datagram, run_)) {
        return;
    }
    ++received_;
    if (ORVA_AGENT_WriteQueue(pipe_[1], queue_, datagram.data(), static_cast<std::uint32_t>(datagram.size())) !=
        ORVA_OK) {
        ++refused_;
        note_lost_queue();
    }
}

// A full queue refuses too, so the kernel is asked. The loop is woken, since nothing else will.
void Inbox::note_lost_queue() {
    msqid_ds description{};
    if (msgctl(static_cast<int>(queue_), IPC_STAT, &description) != 0) {
        cut_off_ = true;
        const std::uint8_t wake = 0;
        (void)!write(pipe_[1], &wake, sizeof wake);
    }
}

void Inbox::take_wakes() {
    std::array<std::uint8_t, kWakes> bytes{};
    ORVA_ReadPipe(pipe_[0], bytes.data(), kWakes);
}

std::span<const std::uint8_t> Inbox::read(std::span<std::uint8_t, ORVA_QUEUE_PAYLOAD_MAX> buffer) const {
    return buffer.first(ORVA_QueueAsyRead(queue_, buffer.data(), ORVA_QUEUE_PAYLOAD_MAX, 0));
}

} // namespace chassis
