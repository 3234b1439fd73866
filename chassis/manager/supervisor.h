// The processes of the boards: started, stopped, killed, and started again when they end by themselves.
#ifndef CHASSIS_MANAGER_SUPERVISOR_H
#define CHASSIS_MANAGER_SUPERVISOR_H

#include "manager/boards.h"
#include "manager/links.h"
#include "manager/loop.h"
#include "options.h"

#include <filesystem>
#include <string>
#include <vector>

namespace chassis {

// What is left after the end: both empty when all went well.
struct Leftovers {
    std::uint32_t processes = 0;
    std::uint32_t queues = 0;
    bool none() const {
        return processes == 0 && queues == 0;
    }
};

struct SupervisorOptions {
    std::filesystem::path run_folder;
    std::string program;    // of the boards; empty: this one
    bool restart = true;    // a process that ended by itself is started again
    std::uint16_t port = 0; // of the management process
};

class Supervisor {
public:
    Supervisor(Loop &loop, EventLog &log, Boards &boards, Links &links, SupervisorOptions options);
    ~Supervisor();
    Supervisor(const Supervisor &) = delete;
    Supervisor &operator=(const Supervisor &) = delete;

    void start_all();
    // Stops the board's process, if there is one.
    void stop(Board &board);
    // Stops it and starts it again. False when it did not end as it should have.
    bool restart(Board &board);
    // The process ends by itself, as far as anyone can see.
    void kill_process(Board &board);
    // Stopped processes take no packet; they go on where they were.
    void suspend(Board &board);
    void resume(Board &board);
    // Tells a process of ours that its memory is free again: it takes no packet without memory.
    void free_memory(Board &board);
    void pull(Board &board);
    void plug(Board &board);
    // Removes the board's queue under its process.
    void delete_queue(Board &board);

    // Stops every process and removes what a killed one left; a second call finds nothing to do.
    Leftovers stop_all();

private:
    void start(Board &board);
    bool end_process(Board &board);
    void note_process(const Board &board, const char *state, int status);
    void note_ended();
    void note_ended(Board &board, int status);
    void start_again_later(Board &board);
    std::vector<Board *> processes();
    AgentOptions agent_of(const Board &board) const;

    Loop &loop_;
    EventLog &log_;
    Boards &boards_;
    Links &links_;
    SupervisorOptions options_;
    bool stopping_ = false;
};

} // namespace chassis

#endif
