// What the management process knows of a board.
#ifndef CHASSIS_BOARD_H
#define CHASSIS_BOARD_H

#include "hardware.h"
#include "message_bodies.h"

#include <cstdint>
#include <filesystem>
#include <netinet/in.h>
#include <sys/types.h>
#include <vector>

namespace chassis {

enum class BoardState { kStarting, kOnline, kLost };

struct Measured {
    const Sensor *sensor = nullptr;
    std::int32_t value = 0;
    SensorState state = SensorState::kNormal;
    Source source = Source::kHardware;
    std::int32_t hardware = 0; // what the hardware says, where something overrides it
};

struct Board {
    std::uint32_t slot = 0;
    std::filesystem::path folder;
    pid_t process = 0; // 0: none
    int queue = -1;    // as the kernel numbers it
    BoardState state = BoardState::kStarting;
    sockaddr_in peer{};
    std::uint32_t type = 0;
    std::uint32_t address = 0;
    std::vector<Measured> measured; // of the last round that answered
    std::uint32_t beat = 0;
    std::uint32_t uptime_seconds = 0;
    std::uint32_t answers = 0;
    bool online = true; // as the board says of itself
    bool online_pair = false;
    bool private_mount = false;
    bool warm_start = false;
};

} // namespace chassis

#endif
