// The links to the boards: registration, requests and their replies, and what happens to datagrams on their way.
// Knows neither processes nor scenarios.
#ifndef CHASSIS_MANAGER_LINKS_H
#define CHASSIS_MANAGER_LINKS_H

#include "manager/boards.h"
#include "manager/loop.h"
#include "wire/messages.h"
#include "wire/transport.h"

#include "orva_comm.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace chassis {

enum class Direction : std::uint8_t { kToBoard, kFromBoard };

// A datagram that arrives, this much later.
struct Delivery {
    Duration delay{0};
    std::vector<std::uint8_t> datagram;
};

// What becomes of one datagram: usually itself at once; nothing when it is lost.
using Disturbance =
    std::function<std::vector<Delivery>(Direction, const Board &, std::span<const std::uint8_t> datagram)>;

// How long a reply is awaited, and when the request is sent again meanwhile.
struct Patience {
    Duration whole = std::chrono::seconds(5);
    Duration repeat{0};       // 0: sent once
    bool undisturbed = false; // no fault of the link meets the request or its reply
};

class Links {
public:
    // Null: no reply in time, or the board was lost.
    using OnReply = std::function<void(const Frame *reply)>;

    // `run`: the number that the packets of this run carry.
    Links(Loop &loop, EventLog &log, Boards &boards, std::uint32_t run);
    ~Links();
    Links(const Links &) = delete;
    Links &operator=(const Links &) = delete;

    std::uint16_t port() const {
        return endpoint_.port();
    }
    std::uint32_t run() const {
        return run_;
    }

    // A frame from the main board to the board, with the next sequence number.
    Frame request_frame(const Board &board, std::uint8_t net_fn, std::uint16_t command, std::uint32_t word = 0);
    template <typename Body>
    Frame request_frame(const Board &board, std::uint8_t net_fn, std::uint16_t command, Body body) {
        body.header = {ORVA_AGENT_REQUEST, kMainSlot, board.slot, body.header.word_12};
        return make_frame(net_fn, command, next_sequence(), body);
    }
    std::uint16_t next_sequence();

    // Sends the request; `on_reply` is called once, later.
    void ask(Board &board, const Frame &frame, Patience patience, OnReply on_reply);
    // The same, and serves the loop until the reply has come.
    std::optional<Frame> ask_and_wait(Board &board, const Frame &frame, Patience patience = {});

    // The board's process is gone: every request that still waits ends without a reply.
    void give_up(Board &board);

    // Called when a board registers.
    void on_registration(std::function<void(Board &)> call) {
        on_registration_ = std::move(call);
    }
    // Called when a board registers in a slot that is empty; gives the board, or null to refuse it.
    void on_stranger(std::function<Board *(std::uint32_t slot)> call) {
        on_stranger_ = std::move(call);
    }
    void disturb(Disturbance disturbance) {
        disturbance_ = std::move(disturbance);
    }
    // Sends a datagram that is not a request, such as one of a flood.
    void send_datagram(Board &board, std::span<const std::uint8_t> datagram);

private:
    struct Waiting {
        Board *board;
        Frame frame;
        Time sent;
        Time deadline;
        Duration repeat;
        bool undisturbed;
        std::uint32_t attempts;
        Loop::TimerId timer;
        OnReply on_reply;
    };

    void serve_socket();
    std::uint32_t sender_of(std::span<const std::uint8_t> datagram, const sockaddr_in &from);
    void receive(std::span<const std::uint8_t> datagram, const sockaddr_in &from);
    void handle(std::span<const std::uint8_t> datagram, const sockaddr_in &from);
    void register_board(const Frame &frame, const sockaddr_in &from);
    void take_reply(const Frame &frame, const sockaddr_in &from);
    void send(Board &board, const Frame &frame);
    void send_again_or_end(std::uint16_t sequence);
    void set_timer(std::uint16_t sequence, Waiting &waiting);
    void finish(std::uint16_t sequence, const Frame *reply, const char *result);
    Board *board_at(const sockaddr_in &peer);
    bool is_disturbed(std::span<const std::uint8_t> datagram) const;
    void note_packet(std::int32_t slot, const sockaddr_in &peer, Direction direction,
                     std::span<const std::uint8_t> datagram);

    Loop &loop_;
    EventLog &log_;
    Boards &boards_;
    Endpoint endpoint_;
    std::uint32_t run_;
    std::uint16_t sequence_ = 0;
    std::map<std::uint16_t, Waiting> waiting_;
    std::function<void(Board &)> on_registration_;
    std::function<Board *(std::uint32_t)> on_stranger_;
    Disturbance disturbance_;
    std::vector<std::uint8_t> buffer_;
};

// The code of a result, or 0 for another reply or none.
std::uint32_t result_code(const Frame *reply);
bool is_done(const std::optional<Frame> &reply);

} // namespace chassis

#endif
