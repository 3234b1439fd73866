#include "manager/supervisor.h"

#include "board/board_folder.h"
#include "manager/processes.h"

#include "orva_comm.h"

#include <array>
#include <csignal>
#include <sys/msg.h>
#include <unistd.h>
#include <utility>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStopPatience{5000};
constexpr milliseconds kRestartAfter{500};

bool queue_exists(int queue) {
    msqid_ds description{};
    return queue >= 0 && msgctl(queue, IPC_STAT, &description) == 0;
}

int queue_of(const Board &board) {
    return board.foreign || board.starts == 0 ? -1 : msgget(queue_key(board.folder, board.slot), 0);
}

// An agent that ended as it should has removed its queue; a killed one has not.
void remove_queue(Board &board) {
    if (board.queue < 0) {
        board.queue = queue_of(board);
    }
    if (board.queue >= 0) {
        ORVA_QueueDelete(board.queue);
    }
}

} // namespace

Supervisor::Supervisor(Loop &loop, EventLog &log, Boards &boards, Links &links, SupervisorOptions options)
    : loop_(loop), log_(log), boards_(boards), links_(links), options_(std::move(options)) {
    loop_.watch_children([this] { note_ended(); });
    links_.on_registration([](Board &board) { board.queue = queue_of(board); });
}

Supervisor::~Supervisor() {
    stop_all();
}

std::vector<Board *> Supervisor::processes() {
    std::vector<Board *> all = {&boards_.backup()};
    for (Board &board : boards_.all()) {
        all.push_back(&board);
    }
    return all;
}

AgentOptions Supervisor::agent_of(const Board &board) const {
    AgentOptions agent;
    agent.backup = board.backup;
    agent.slot = board.slot;
    agent.folder = board.folder.string();
    agent.run_folder = options_.run_folder.string();
    agent.port = options_.port;
    agent.run = links_.run();
    agent.power_on_ns = loop_.clock().power_on().count();
    agent.parent = getpid();
    return agent;
}

void Supervisor::start(Board &board) {
    // The backup is a management process, never a user's agent.
    board.process = start_board(board.backup ? "" : options_.program, agent_of(board));
    ++board.starts;
    board.queue = -1;
    note_process(board, "started", 0);
    boards_.set_state(board, BoardState::kStarting, "its process was started");
}

void Supervisor::start_all() {
    for (Board *board : processes()) {
        if (!board->foreign) {
            start(*board);
        }
    }
}

// False when there is none, or it did not end as it should have.
bool Supervisor::end_process(Board &board) {
    const pid_t process = std::exchange(board.process, 0);
    const int status = process != 0 ? stop_processes(std::array{process}, kStopPatience).front() : 0;
    remove_queue(board);
    if (process != 0) {
        note_process(board, "stopped", status);
    }
    return process != 0 && stopped_as_told(status);
}

void Supervisor::note_process(const Board &board, const char *state, int status) {
    log_.add(EventKind::kProcess, board.number(),
             {text_field("state", state), number_field("status", static_cast<std::uint64_t>(status)),
              number_field("starts", board.starts)});
}

void Supervisor::stop(Board &board) {
    end_process(board);
    links_.give_up(board);
}

bool Supervisor::restart(Board &board) {
    const bool stopped = end_process(board);
    links_.give_up(board);
    start(board);
    return stopped;
}

void Supervisor::kill_process(Board &board) {
    if (board.process != 0) {
        log_.add(EventKind::kProcess, board.number(),
                 {text_field("state", "killed"), number_field("status", 0), number_field("starts", board.starts)});
        kill(board.process, SIGKILL);
    }
}

void Supervisor::suspend(Board &board) {
    if (board.process != 0) {
        kill(board.process, SIGSTOP);
    }
}

void Supervisor::resume(Board &board) {
    if (board.process != 0) {
        kill(board.process, SIGCONT);
    }
}

void Supervisor::free_memory(Board &board) {
    if (board.process != 0) {
        kill(board.process, SIGUSR1);
    }
}

void Supervisor::pull(Board &board) {
    boards_.set_state(board, BoardState::kPulled, "it was pulled");
    stop(board);
}

void Supervisor::plug(Board &board) {
    if (board.process == 0) {
        start(board);
    }
}

void Supervisor::delete_queue(Board &board) {
    if (board.queue >= 0) {
        ORVA_QueueDelete(board.queue);
    }
}

// One SIGCHLD may stand for several children.
void Supervisor::note_ended() {
    for (Board *board : processes()) {
        const auto status = board->process != 0 ? exit_status(board->process) : std::nullopt;
        if (status) {
            note_ended(*board, *status);
        }
    }
}

void Supervisor::note_ended(Board &board, int status) {
    board.process = 0;
    remove_queue(board);
    note_process(board, "ended", status);
    boards_.set_state(board, BoardState::kLost, "its process ended with status " + std::to_string(status));
    links_.give_up(board);
    if (options_.restart && !stopping_) {
        start_again_later(board);
    }
}

// Someone may have started, pulled or stopped it meanwhile.
void Supervisor::start_again_later(Board &board) {
    loop_.after(kRestartAfter, [this, &board] {
        if (board.process == 0 && board.state == BoardState::kLost && !stopping_) {
            start(board);
        }
    });
}

Leftovers Supervisor::stop_all() {
    stopping_ = true;
    std::vector<pid_t> running;
    std::vector<const Board *> stopped;
    for (Board *board : processes()) {
        if (board->process != 0) {
            running.push_back(std::exchange(board->process, 0));
            stopped.push_back(board);
        }
    }
    const auto statuses = stop_processes(running, kStopPatience);
    for (std::size_t i = 0; i < stopped.size(); ++i) {
        note_process(*stopped[i], "stopped", statuses[i]);
    }
    Leftovers left;
    for (Board *board : processes()) {
        remove_queue(*board);
        left.queues += queue_exists(board->queue) ? 1U : 0U;
    }
    for (const pid_t process : running) {
        left.processes += kill(process, 0) == 0 ? 1U : 0U;
    }
    return left;
}

} // namespace chassis
