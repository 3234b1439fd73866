// Steps through a scenario on a chassis: commands, faults, expectations. What comes out is in the log.
#ifndef CHASSIS_SCENARIO_PLAYER_H
#define CHASSIS_SCENARIO_PLAYER_H

#include "scenario/model.h"
#include "scenario/watch.h"

#include <list>
#include <set>
#include <vector>

namespace chassis {

class Player {
public:
    // Subscribes to the chassis's log.
    Player(Chassis &chassis, const Scenario &scenario);
    ~Player();
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;

    // Powers the chassis on and takes every step. Throws Interrupted.
    void play();

private:
    void power_on();
    void play(const Step &step);
    bool skipped(const Step &step);
    void begin_faults(const Step &step, Time begin);
    void begin_fault(const PlannedFault &fault, Time begin);
    void end_faults();
    void start_fault(const FaultSetting &setting);
    void end_fault(const FaultSetting &setting);
    void run_commands(const Step &step);
    void wait_for_expectations(const Step &step);
    void check_expectations();
    std::uint32_t resolved(const std::string &slot) const;

    Chassis &chassis_;
    const Scenario &scenario_;
    std::list<Watch> watches_;
    std::vector<FaultSetting> open_faults_; // that end with the step
    std::vector<Loop::TimerId> timers_;
    int subscription_;
    bool powered_ = false;
};

} // namespace chassis

#endif
