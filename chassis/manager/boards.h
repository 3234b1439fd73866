// The boards of a chassis, the backup management process among them, and their states.
#ifndef CHASSIS_MANAGER_BOARDS_H
#define CHASSIS_MANAGER_BOARDS_H

#include "events/log.h"
#include "manager/board.h"

#include <deque>
#include <string>

namespace chassis {

class Boards {
public:
    explicit Boards(EventLog &log) : log_(log) {}
    Boards(const Boards &) = delete;
    Boards &operator=(const Boards &) = delete;

    // In the order of their slots. A board stays where it is for as long as the chassis lives.
    std::deque<Board> &all() {
        return boards_;
    }
    const std::deque<Board> &all() const {
        return boards_;
    }
    Board &backup() {
        return backup_;
    }
    // The board in a slot, or null.
    Board *find(std::uint32_t slot);
    Board &add(std::uint32_t slot);

    std::uint32_t count(BoardState state) const;
    bool any_starting() const;

    // Does nothing when the board is in that state already.
    void set_state(Board &board, BoardState state, const std::string &reason);

private:
    EventLog &log_;
    std::deque<Board> boards_;
    Board backup_;
};

} // namespace chassis

#endif
