// The management process: its agents, and the exchange of messages with them. Knows no scenario.
#ifndef CHASSIS_MANAGER_H
#define CHASSIS_MANAGER_H

#include "board.h"
#include "descriptor.h"
#include "messages.h"
#include "transport.h"

#include "orva_comm.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <poll.h>
#include <span>
#include <string>
#include <vector>

namespace chassis {

using Clock = std::chrono::steady_clock;

// Thrown out of whatever waits when the process is told to stop.
struct Interrupted {
    int signal = 0;
};

struct Request {
    Board *board = nullptr;
    Frame frame;
    std::optional<Frame> reply;
};

// What is left after the end: both empty when all went well.
struct Leftovers {
    std::uint32_t processes = 0;
    std::uint32_t queues = 0;
    bool none() const {
        return processes == 0 && queues == 0;
    }
};

class Manager {
public:
    Manager(std::filesystem::path run_folder, std::uint32_t boards, const Descriptor &signals);
    ~Manager();
    Manager(const Manager &) = delete;
    Manager &operator=(const Manager &) = delete;

    void start_agents();

    // Stops the board's process, starts it again and waits until it has registered.
    void restart(Board &board, Clock::time_point deadline);

    // Stops every agent and removes what a killed one left; a second call finds nothing to do.
    Leftovers stop();

    std::vector<Board> &boards() {
        return boards_;
    }
    Board &backup() {
        return backup_;
    }
    // The board in a slot, or null.
    Board *board(std::uint32_t slot);
    const std::filesystem::path &run_folder() const {
        return run_folder_;
    }
    bool any_starting() const;
    std::uint32_t count(BoardState state) const;

    // Calls `serve` whenever the descriptor is readable, except while one of these calls is under way.
    void watch(int descriptor, std::function<void()> serve);

    // Serves whatever arrives until `done` or the deadline.
    void wait(Clock::time_point deadline, const std::function<bool()> &done);

    // A frame from the main board to the board, with the next sequence number.
    Frame request_frame(const Board &board, std::uint8_t net_fn, std::uint16_t command, std::uint32_t word = 0);

    template <typename Body>
    Frame request_frame(const Board &board, std::uint8_t net_fn, std::uint16_t command, Body body) {
        body.header = {ORVA_AGENT_REQUEST, kMainSlot, board.slot, body.header.word};
        return make_frame(net_fn, command, ++sequence_, body);
    }
    std::uint16_t next_sequence() {
        return ++sequence_;
    }

    // Sends the requests and waits for their replies. A request whose board is lost, or that is not answered in time,
    // stays without one. `repeat`: sent again while there is no reply.
    void exchange(std::vector<Request> &requests, std::chrono::milliseconds patience, bool repeat);

    // One request, sent once.
    std::optional<Frame> exchange(Board &board, const Frame &frame, std::chrono::milliseconds patience);

    // Runs this program with these arguments, and gives its exit status.
    int run_command(const std::vector<std::string> &arguments);

    // Asks every board that is online for everything; one that answers nothing is lost.
    void poll_boards();

private:
    void serve_socket();
    void serve_signals();
    void serve_watched(std::span<const pollfd> sources);
    void note_ended_agents();
    std::vector<Board *> processes();
    void start(Board &board);
    void lose(Board &board);
    void register_board(const Frame &frame, const sockaddr_in &from);
    void take_reply(const Frame &frame, const sockaddr_in &from);
    void handle(std::span<const std::uint8_t> datagram, const sockaddr_in &from);
    void send(const Board &board, const Frame &frame) const;

    std::filesystem::path run_folder_;
    const Descriptor &signals_;
    Endpoint endpoint_;
    std::uint32_t run_;
    std::uint16_t sequence_ = 0;
    std::vector<Board> boards_;
    Board backup_; // the backup management process: not a board of the table
    std::vector<Request *> waiting_;
    struct Watched {
        int descriptor;
        std::function<void()> serve;
    };
    std::vector<Watched> watched_;
    bool serving_ = false;
    std::vector<std::uint8_t> buffer_;
};

} // namespace chassis

#endif
