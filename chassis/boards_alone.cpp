#include "boards_alone.h"

#include "board/board_folder.h"
#include "board/sensor_file.h"
#include "clock.h"
#include "manager/processes.h"
#include "run_folder.h"
#include "runtime.h"

#include "orva_comm.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <poll.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace chassis {

namespace {

constexpr std::chrono::milliseconds kStopPatience{5000};

class BoardsAlone {
public:
    BoardsAlone(const BoardsOptions &options, const std::filesystem::path &folder)
        : options_(options), folder_(folder) {
        std::vector<SlotType> types;
        for (std::uint32_t slot = 0; slot <= options.boards; ++slot) {
            types.push_back({slot, default_type(slot)});
        }
        for (std::uint32_t slot = 1; slot <= options.boards; ++slot) {
            make_board_folder(board_folder(folder, slot), types[slot], types);
            write_hardware(hardware_file(board_folder(folder, slot)), default_sensors(slot), options.seed + slot);
            processes_.push_back(start(slot));
        }
    }
    ~BoardsAlone() {
        std::vector<pid_t> running = processes_;
        std::erase(running, 0);
        stop_processes(running, kStopPatience);
        for (std::uint32_t slot = 1; slot <= options_.boards; ++slot) {
            remove_queue(slot);
        }
    }
    BoardsAlone(const BoardsAlone &) = delete;
    BoardsAlone &operator=(const BoardsAlone &) = delete;

    // The signal that ends it.
    int wait(const Descriptor &signals) {
        pollfd source = {signals.get(), POLLIN, 0};
        while (true) {
            poll(&source, 1, -1);
            while (const int number = next_signal(signals)) {
                if (number != SIGCHLD) {
                    return number;
                }
                note_ended();
            }
        }
    }

private:
    pid_t start(std::uint32_t slot) const {
        AgentOptions agent;
        agent.slot = slot;
        agent.folder = board_folder(folder_, slot).string();
        agent.run_folder = folder_.string();
        agent.port = options_.port;
        agent.run = options_.run;
        agent.power_on_ns = clock_.power_on().count();
        agent.parent = getpid();
        return start_board(options_.agent, agent);
    }

    void note_ended() {
        for (std::size_t i = 0; i < processes_.size(); ++i) {
            const auto status = processes_[i] != 0 ? exit_status(processes_[i]) : std::nullopt;
            if (status) {
                processes_[i] = 0;
                std::cout << "slot " << i + 1 << " ended with status " << *status << std::endl;
            }
        }
    }

    // A killed process has left its queue.
    void remove_queue(std::uint32_t slot) const {
        const int queue = msgget(queue_key(board_folder(folder_, slot), slot), 0);
        if (queue >= 0) {
            ORVA_QueueDelete(queue);
        }
    }

    const BoardsOptions &options_;
    std::filesystem::path folder_;
    Clock clock_;
    std::vector<pid_t> processes_;
};

} // namespace

int run_boards(const BoardsOptions &options) {
    umask(077);
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const Descriptor signals = take_signals({SIGINT, SIGTERM, SIGHUP, SIGCHLD});
        const RunFolder folder(options.run_dir);
        BoardsAlone boards(options, folder.path());
        std::cout << "boards: " << options.boards << ", they register at port " << options.port << std::endl;
        return kSignalStatus + boards.wait(signals);
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
        return kUsageStatus;
    }
}

} // namespace chassis
