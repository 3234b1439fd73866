// A chassis: its log, its loop, its boards, and the pieces that work on them.
#ifndef CHASSIS_MANAGER_CHASSIS_H
#define CHASSIS_MANAGER_CHASSIS_H

#include "clock.h"
#include "events/log.h"
#include "manager/boards.h"
#include "manager/faults.h"
#include "manager/links.h"
#include "manager/log_follower.h"
#include "manager/loop.h"
#include "manager/poller.h"
#include "manager/supervisor.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace chassis {

struct BoardPlan {
    std::uint32_t slot = 0;
    std::uint32_t type = 0;
    std::vector<Sensor> sensors;
};

struct ChassisPlan {
    std::filesystem::path run_folder;
    std::vector<BoardPlan> boards; // in the order of their slots
    std::string agent;             // program of the boards' processes; empty: this one
    std::uint32_t seed = 1;
    bool restart = true;
};

class Chassis {
public:
    // Makes the boards' folders. `clock`, `log` and `signals` outlive the chassis.
    Chassis(const ChassisPlan &plan, const Clock &clock, EventLog &log, const Descriptor &signals);
    Chassis(const Chassis &) = delete;
    Chassis &operator=(const Chassis &) = delete;

    // Starts every process. Boards register while the loop is served.
    void power_on();
    // Stops every process; a second call finds nothing to do.
    Leftovers power_off();

    EventLog &log;
    Loop loop;
    Boards boards;
    Links links;
    Supervisor supervisor;
    Poller poller;
    LogFollower logs;
    Faults faults;
    const std::filesystem::path run_folder;
    const std::uint32_t seed;
    bool told_to_end = false;

private:
    Board *take_stranger(std::uint32_t slot);
};

} // namespace chassis

#endif
