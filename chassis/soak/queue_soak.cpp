#include "soak/queue_soak.h"

#include "board/board_folder.h"
#include "manager/processes.h"
#include "soak/worker.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kDisturbEvery{100};
constexpr std::chrono::seconds kLookAtWorkersEvery{2};
constexpr std::chrono::seconds kStartPatience{60};
constexpr std::chrono::seconds kDrainPatience{60};
constexpr std::array<const char *, 4> kDisturbances = {"killed", "stopped", "queues deleted", "partitions full"};

Ledger *shared_ledger() {
    void *memory =
        mmap(nullptr, sizeof(Ledger), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "the ledger's memory");
    }
    return static_cast<Ledger *>(memory); // zeros, which every count begins with
}

std::uint64_t messages_in(int queue) {
    msqid_ds description{};
    return msgctl(queue, IPC_STAT, &description) == 0 ? description.msg_qnum : 0;
}

// Of the parent's, nothing is left but the ledger.
[[noreturn]] void become_worker(Ledger &ledger, std::uint32_t worker, const std::filesystem::path &folder,
                                std::uint32_t seed, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGINT, SIG_IGN); // a terminal's, which the parent decides about
    close_range(STDERR_FILENO + 1, ~0U, 0);
    const int status = run_worker(ledger, worker, folder, seed);
    std::exit(status);
}

} // namespace

QueueSoak::QueueSoak(Loop &loop, const std::filesystem::path &folder, std::uint32_t seed)
    : loop_(loop), folder_(folder), seed_(seed), random_(seed), ledger_(shared_ledger()) {
    for (Seat &seat : ledger_->seats) {
        seat.address.store(address_of(0, ORVA_QUEUE_NONE));
    }
}

QueueSoak::~QueueSoak() {
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        if (workers_[worker].process != 0) {
            kill(workers_[worker].process, SIGKILL);
            waitpid(workers_[worker].process, nullptr, 0);
        }
        remove_queue(worker);
    }
    munmap(ledger_, sizeof *ledger_);
}

void QueueSoak::mistake(const std::string &text) {
    if (mistakes_.size() < 10) {
        mistakes_.push_back(text);
    }
}

void QueueSoak::start() {
    const std::array<SlotType, 1> own = {{{0, default_type(0)}}};
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        make_board_folder(folder_ / ("worker" + std::to_string(worker)), own.front(), own);
        start(worker);
    }
    const Time begun_by = loop_.now() + kStartPatience;
    while (loop_.now() < begun_by && !all_have_queues()) {
        loop_.wait_for(milliseconds(20));
    }
    loop_.after(kDisturbEvery, [this] { disturb(); });
    loop_.after(kLookAtWorkersEvery, [this] { look(); });
}

void QueueSoak::start(std::uint32_t worker) {
    Worker &own = workers_[worker];
    own = {0, false, own.starts + 1, {}};
    const auto folder = folder_ / ("worker" + std::to_string(worker));
    const pid_t parent = getpid();
    own.process = fork();
    if (own.process < 0) {
        own.process = 0;
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (own.process == 0) {
        become_worker(*ledger_, worker, folder, seed_ + worker + kWorkers * own.starts, parent);
    }
}

void QueueSoak::disturb() {
    if (finishing_) {
        return;
    }
    using Disturb = void (QueueSoak::*)(std::uint32_t);
    constexpr std::array<Disturb, 4> kKinds = {&QueueSoak::kill_one, &QueueSoak::stop_one, &QueueSoak::delete_one,
                                               &QueueSoak::exhaust_one};
    const std::size_t kind = random_() % kKinds.size();
    const auto worker = static_cast<std::uint32_t>(random_() % kWorkers);
    ++disturbances_[kind];
    (this->*kKinds[kind])(worker);
    loop_.after(kDisturbEvery, [this] { disturb(); });
}

void QueueSoak::look() {
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        Worker &own = workers_[worker];
        const auto grown = own.process != 0 ? own.watch.look(own.process) : std::nullopt;
        if (grown) {
            mistake("worker " + std::to_string(worker) + ": " + *grown);
        }
    }
    if (!finishing_) {
        loop_.after(kLookAtWorkersEvery, [this] { look(); });
    }
}

// True once the process does nothing any more.
bool QueueSoak::stand_still(std::uint32_t worker) {
    Worker &own = workers_[worker];
    if (own.process == 0 || own.stopped) {
        return own.process != 0;
    }
    kill(own.process, SIGSTOP);
    int status = 0;
    if (waitpid(own.process, &status, WUNTRACED) == own.process && WIFSTOPPED(status)) {
        return true;
    }
    mistake("worker " + std::to_string(worker) + " ended with the kernel's status " + std::to_string(status));
    own.process = 0;
    return false;
}

// While no worker is between a message and its count, except where the ledger says so.
template <typename Work>
void QueueSoak::while_all_stand(Work work) {
    std::array<bool, kWorkers> stood{};
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        stood[worker] = stand_still(worker);
    }
    work();
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        if (stood[worker] && !workers_[worker].stopped && workers_[worker].process != 0) {
            kill(workers_[worker].process, SIGCONT);
        }
    }
}

// What was in it is counted. Its worker makes another one.
void QueueSoak::remove_queue(std::uint32_t worker) {
    Seat &seat = ledger_->seats[worker];
    const std::uint64_t address = seat.address.load();
    const std::uint32_t generation = generation_in(address);
    const auto folder = folder_ / ("worker" + std::to_string(worker));
    const int queue = queue_in(address) != ORVA_QUEUE_NONE ? static_cast<int>(queue_in(address))
                                                           : msgget(queue_key(folder, module_of(worker)), 0);
    if (queue >= 0) {
        deleted_[{worker, generation}] += messages_in(queue);
        ORVA_QueueDelete(queue);
    }
    if (queue_in(address) != ORVA_QUEUE_NONE && generation + 1 < kGenerations) {
        seat.address.store(address_of(generation + 1, ORVA_QUEUE_NONE));
    }
}

// A message that a killed process was about to send or to count is in its hands: it counts as sent.
void QueueSoak::note_hands(std::uint32_t worker) {
    Seat &seat = ledger_->seats[worker];
    if (const std::uint64_t place = seat.sending.exchange(0); place != 0) {
        const auto pair = static_cast<std::uint32_t>(place - 1);
        ledger_->pairs[pair].sent.fetch_add(1);
        ++in_hands_[{pair / kWorkers % kWorkers, pair / kWorkers / kWorkers}];
    }
    if (seat.reading.exchange(false)) {
        ++in_hands_[{worker, generation_in(seat.address.load())}];
    }
    seat.exhausted.store(false);
}

void QueueSoak::kill_one(std::uint32_t worker) {
    Worker &own = workers_[worker];
    if (own.process == 0) {
        return;
    }
    kill(own.process, SIGKILL);
    waitpid(own.process, nullptr, 0);
    own.process = 0;
    while_all_stand([&] {
        note_hands(worker);
        remove_queue(worker);
    });
    start(worker);
}

void QueueSoak::stop_one(std::uint32_t worker) {
    Worker &own = workers_[worker];
    if (own.stopped || !stand_still(worker)) {
        return;
    }
    own.stopped = true;
    const auto length = milliseconds(50 + random_() % 450);
    loop_.after(length, [this, worker, process = own.process] {
        if (workers_[worker].process == process) {
            workers_[worker].stopped = false;
            kill(process, SIGCONT);
        }
    });
}

void QueueSoak::delete_one(std::uint32_t worker) {
    if (generation_in(ledger_->seats[worker].address.load()) + 1 < kGenerations) {
        while_all_stand([&] { remove_queue(worker); });
    }
}

void QueueSoak::exhaust_one(std::uint32_t worker) {
    ledger_->seats[worker].exhausted.store(true);
    loop_.after(milliseconds(50 + random_() % 450),
                [this, worker] { ledger_->seats[worker].exhausted.store(false); });
}

void QueueSoak::note_ended() {
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        Worker &own = workers_[worker];
        const auto status = own.process != 0 ? exit_status(own.process) : std::nullopt;
        if (status) {
            own.process = 0;
            if (!finishing_ || *status != 0) {
                mistake("worker " + std::to_string(worker) + " ended with status " + std::to_string(*status));
            }
        }
    }
}

bool QueueSoak::all_have_queues() const {
    return std::ranges::all_of(ledger_->seats,
                               [](const Seat &seat) { return queue_in(seat.address.load()) != ORVA_QUEUE_NONE; });
}

bool QueueSoak::all_empty() const {
    return std::ranges::all_of(ledger_->seats, [](const Seat &seat) {
        const std::uint32_t queue = queue_in(seat.address.load());
        return queue != ORVA_QUEUE_NONE && messages_in(static_cast<int>(queue)) == 0;
    });
}

void QueueSoak::finish() {
    finishing_ = true;
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        ledger_->seats[worker].exhausted.store(false);
        if (std::exchange(workers_[worker].stopped, false)) {
            kill(workers_[worker].process, SIGCONT);
        }
    }
    ledger_->state.store(SoakState::kDrains);
    const Time drained_by = loop_.now() + kDrainPatience;
    while (loop_.now() < drained_by && !all_empty()) {
        loop_.wait_for(milliseconds(20));
    }
    ledger_->state.store(SoakState::kEnds);
    // Those that wait in the kernel for a message are woken by its end.
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        remove_queue(worker);
    }
    const auto gone = [this] {
        return std::ranges::all_of(workers_, [](const Worker &each) { return each.process == 0; });
    };
    loop_.wait(loop_.now() + kDrainPatience, gone);
    if (!gone()) {
        mistake("not every worker ends");
    }
}

MessageCount QueueSoak::counted() {
    MessageCount all;
    for (std::uint32_t worker = 0; worker < kWorkers; ++worker) {
        for (std::uint32_t generation = 0; generation <= generation_in(ledger_->seats[worker].address);
             ++generation) {
            MessageCount own;
            for (std::uint32_t sender = 0; sender < kWorkers; ++sender) {
                own.sent += ledger_->pair(generation, worker, sender).sent.load();
                own.received += ledger_->pair(generation, worker, sender).received.load();
            }
            own.deleted = deleted_[{worker, generation}];
            const std::uint64_t found = own.received + own.deleted;
            own.in_hands = own.sent - found;
            if (found > own.sent || own.in_hands > in_hands_[{worker, generation}]) {
                mistake("queue " + std::to_string(generation) + " of worker " + std::to_string(worker) + ": " +
                        std::to_string(own.sent) + " messages were sent, " + std::to_string(own.received) +
                        " received, " + std::to_string(own.deleted) + " were in it at its end, at most " +
                        std::to_string(in_hands_[{worker, generation}]) + " in the hands of killed processes");
            }
            all.sent += own.sent;
            all.received += own.received;
            all.deleted += own.deleted;
            all.in_hands += own.in_hands;
        }
    }
    if (ledger_->wrong.load()) {
        mistake(ledger_->wrong_text);
    }
    return all;
}

std::string QueueSoak::disturbances() const {
    std::string text;
    for (std::size_t i = 0; i < kDisturbances.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(disturbances_[i]) + " " + kDisturbances[i];
    }
    return text;
}

} // namespace chassis
