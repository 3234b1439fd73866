// A queue write and the read of the same message against msgsnd and msgrcv, by payload size: once with the two
// message buffers taken from the partition and cleared as the library does it, once with one buffer that is used
// again. The library checks its arguments and copies the payload in and out besides; neither peer does.
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include "host_partition.h"
#include "orva_comm.h"
#include "ratio_report.h"
#include "safeio.h"

namespace {

using orva_bench::give_up;

constexpr char kCaller[] = "bench/queue_bench";
constexpr double kGoal = 1.10;
constexpr std::uint32_t kSizes[] = {16, 256, ORVA_QUEUE_PAYLOAD_MAX};

using Payload = std::array<std::uint8_t, ORVA_QUEUE_PAYLOAD_MAX>;

std::uint32_t g_queue = ORVA_QUEUE_NONE;

void remove_queue() {
    ORVA_QueueDelete(static_cast<std::int32_t>(g_queue));
}

// Queues outlive their process, so the queue goes also when the run is stopped.
void make_queue() {
    if (ORVA_QueueCreateTry(IPC_PRIVATE, &g_queue) != ORVA_OK) {
        give_up("ORVA_QueueCreateTry");
    }
    std::atexit(remove_queue);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, [](int) {
            remove_queue();
            _exit(1);
        });
    }
}

void ours(std::uint32_t size, const Payload &sent, Payload &received) {
    if (ORVA_QueueWrite(g_queue, sent.data(), size, 0) != ORVA_OK) {
        give_up("ORVA_QueueWrite");
    }
    if (ORVA_QueueRead(g_queue, received.data(), ORVA_QUEUE_PAYLOAD_MAX, 0, 0) != size) {
        give_up("ORVA_QueueRead");
    }
}

void send(OrvaQueueMessage &message, std::uint32_t size) {
    message.type = ORVA_QUEUE_MESSAGE_TYPE;
    if (msgsnd(static_cast<int>(g_queue), &message, size, 0) != 0) {
        give_up("msgsnd");
    }
}

void receive(OrvaQueueMessage &message, std::uint32_t size) {
    if (msgrcv(static_cast<int>(g_queue), &message, sizeof message.payload, 0, 0) != static_cast<ssize_t>(size)) {
        give_up("msgrcv");
    }
}

OrvaQueueMessage *make_message(std::uint32_t line = __builtin_LINE()) {
    void *const block = orva_bench::allocate(sizeof(OrvaQueueMessage), kCaller, line);
    memset_s(block, sizeof(OrvaQueueMessage), 0, sizeof(OrvaQueueMessage));
    return static_cast<OrvaQueueMessage *>(block);
}

void raw_with_buffers(std::uint32_t size) {
    OrvaQueueMessage *const sent = make_message();
    send(*sent, size);
    orva_bench::release(sent, kCaller);
    OrvaQueueMessage *const received = make_message();
    receive(*received, size);
    orva_bench::release(received, kCaller);
}

bool arrives(std::uint32_t size) {
    Payload sent{}, received{};
    for (std::size_t i = 0; i < size; ++i) {
        sent[i] = static_cast<std::uint8_t>(i * 37 + 1);
    }
    ours(size, sent, received);
    return sent == received;
}

void add_size(orva_bench::RatioReport &report, std::uint32_t size) {
    const std::string name = "queue write + read, " + std::to_string(size) + " bytes";
    const orva_bench::Work work = [size, sent = Payload{}, received = Payload{}](std::uint64_t times) mutable {
        for (; times > 0; --times) {
            ours(size, sent, received);
            benchmark::ClobberMemory();
        }
    };
    report.add(
        name, "raw, buffers", work,
        [size](std::uint64_t times) {
            for (; times > 0; --times) {
                raw_with_buffers(size);
            }
        },
        orva_bench::Goal::kAtMostTime, kGoal);
    report.add(name, "raw", work, [size, message = OrvaQueueMessage{}](std::uint64_t times) mutable {
        for (; times > 0; --times) {
            send(message, size);
            receive(message, size);
        }
    });
}

} // namespace

int main(int argc, char **argv) {
    orva_bench::start_partition();
    make_queue();
    orva_bench::RatioReport report;
    for (const std::uint32_t size : kSizes) {
        if (!arrives(size)) {
            give_up("the round trip of a message");
        }
        add_size(report, size);
    }
    return report.run(argc, argv);
}
