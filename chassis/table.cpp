#include "table.h"

#include "text.h"

#include <array>
#include <cstdio>

namespace chassis {

namespace {

constexpr const char *kRule = "   ----  ----------  ----------  ----------------  -------\n";

struct Row {
    std::string slot;
    std::string type;
    std::string sensor;
    std::string value;
    std::string state;
};

void append(std::string &text, const Row &row) {
    std::array<char, 160> line{};
    const int length = std::snprintf(line.data(), line.size(), "   %4s  %-10s  %-10s  %16s  %s\n", row.slot.c_str(),
                                     row.type.c_str(), row.sensor.c_str(), row.value.c_str(), row.state.c_str());
    text.append(line.data(), static_cast<std::size_t>(length));
}

// An override is marked, with what the hardware says beside it.
std::string state_text(const Measured &measured) {
    const std::string state = state_name(measured.state);
    if (measured.source == Source::kHardware) {
        return state;
    }
    return state + (measured.source == Source::kStub ? "  * stub" : "  * simulated") + ", hardware says " +
           value_text(measured.sensor->kind, measured.hardware);
}

std::string heart_beat_state(const Board &board) {
    if (board.answers == 0) {
        return "none";
    }
    return std::string(board.online ? "normal" : "offline") + (board.warm_start ? ", warm start" : "") +
           (board.online_pair ? "  * online pair, hardware says online" : "");
}

std::string type_text(std::uint32_t type) {
    return type != 0 ? hex_text(type, 5) : "-";
}

void append_board(std::string &text, const Board &board) {
    const std::string slot = std::to_string(board.slot);
    const std::string type = type_text(board.type);
    if (board.state != BoardState::kOnline) {
        append(text, {slot, type, "-", "-", state_name(board.state)});
        return;
    }
    for (const Measured &measured : board.measured) {
        append(text, {slot, type, measured.sensor->name, value_text(measured.sensor->kind, measured.value),
                      state_text(measured)});
    }
    append(text, {slot, type, "heartbeat",
                  "beat " + std::to_string(board.beat) + ", up " + std::to_string(board.uptime_seconds) + " s",
                  heart_beat_state(board)});
}

} // namespace

std::string table_text(const std::deque<Board> &boards) {
    std::string text;
    append(text, {"slot", "board type", "sensor", "value", "state"});
    text += kRule;
    for (const Board &board : boards) {
        append_board(text, board);
    }
    return text;
}

} // namespace chassis
