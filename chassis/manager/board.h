// What the management process knows of a board.
#ifndef CHASSIS_MANAGER_BOARD_H
#define CHASSIS_MANAGER_BOARD_H

#include "board/sensors.h"
#include "wire/message_bodies.h"

#include <cstdint>
#include <filesystem>
#include <netinet/in.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace chassis {

enum class BoardState { kStarting, kOnline, kLost, kPulled };

const char *state_name(BoardState state);

struct Measured {
    const Sensor *sensor = nullptr;
    std::int32_t value = 0;
    SensorState state = SensorState::kNormal;
    Source source = Source::kHardware;
    std::int32_t hardware = 0; // what the hardware says, where something overrides it

    bool operator==(const Measured &) const = default;
};

struct Figures {
    std::uint32_t passed = 0;
    std::uint32_t dropped = 0;
    std::uint32_t queue_messages = 0;
    std::uint32_t queue_bytes = 0;
    std::uint32_t memory_bytes = 0;
    std::uint32_t memory_blocks = 0;
    std::uint32_t memory_failures = 0;
    std::uint32_t descriptors = 0;
};

struct Board {
    std::uint32_t slot = 0;
    bool backup = false; // the backup management process, which has the main board's slot
    std::filesystem::path folder;
    std::vector<Sensor> sensors;

    // The supervisor's.
    pid_t process = 0; // 0: none
    std::uint32_t starts = 0;
    bool foreign = false; // someone else's process that joined; nobody here starts or stops it

    // The links'.
    int queue = -1; // as the kernel numbers it
    BoardState state = BoardState::kStarting;
    sockaddr_in peer{};
    std::uint32_t type = 0;
    std::uint32_t address = 0;

    // The poller's, of the last round that answered.
    std::vector<Measured> measured;
    std::uint32_t answers = 0;
    std::uint32_t beat = 0;
    std::uint32_t uptime_seconds = 0;
    bool online = true; // as the board says of itself
    bool online_pair = false;
    bool private_mount = false;
    bool warm_start = false;
    Figures figures;

    std::int32_t number() const {
        return static_cast<std::int32_t>(slot);
    }
};

} // namespace chassis

#endif
