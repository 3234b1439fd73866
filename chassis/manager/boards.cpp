#include "manager/boards.h"

#include "text.h"

#include <algorithm>

namespace chassis {

const char *state_name(BoardState state) {
    switch (state) {
    case BoardState::kStarting:
        return "starting";
    case BoardState::kOnline:
        return "online";
    case BoardState::kLost:
        return "lost";
    case BoardState::kPulled:
        return "pulled";
    }
    return "unknown";
}

Board *Boards::find(std::uint32_t slot) {
    const auto found = std::ranges::find(boards_, slot, &Board::slot);
    return found != boards_.end() ? &*found : nullptr;
}

Board &Boards::add(std::uint32_t slot) {
    Board &board = boards_.emplace_back();
    board.slot = slot;
    return board;
}

std::uint32_t Boards::count(BoardState state) const {
    return static_cast<std::uint32_t>(std::ranges::count(boards_, state, &Board::state));
}

bool Boards::any_starting() const {
    return count(BoardState::kStarting) != 0 || backup_.state == BoardState::kStarting;
}

void Boards::set_state(Board &board, BoardState state, const std::string &reason) {
    if (board.state == state) {
        return;
    }
    board.state = state;
    log_.add(EventKind::kBoard, board.number(),
             {text_field("state", state_name(state)), text_field("reason", reason), number_field("type", board.type),
              text_field("address", address_text(board.address))});
}

} // namespace chassis
