// An agent's simulation root: what a tester put in place of the hardware.
#ifndef CHASSIS_BOARD_SIMULATION_H
#define CHASSIS_BOARD_SIMULATION_H

#include "board/sensors.h"
#include "wire/message_bodies.h"

#include "orva_simulate_comm.h"

#include <cstdint>
#include <optional>

namespace chassis {

struct Override {
    Source source = Source::kHardware;
    std::int32_t value = 0;
};

// One per process: the library keeps a pointer to its root.
class Simulation {
public:
    Simulation();
    ~Simulation();
    Simulation(const Simulation &) = delete;
    Simulation &operator=(const Simulation &) = delete;

    void set_stubs(const OrvaWireSimulate &list);
    OrvaWireSimulate stubs() const;

    void set_sensor(const OrvaSimulateSensorReq &request, std::int32_t value);
    // False when there is none.
    bool remove_sensor(const OrvaSimulateSensorReq &request);
    SensorListBody sensors() const;

    void set_pairs(const OnlineBody &list);
    OnlineBody pairs() const;

    // What overrides the sensor of the board in `slot`; a stub goes before a simulated sensor.
    std::optional<Override> find(const Sensor &sensor, std::uint32_t slot);
    // What an online pair says of the board, if there is one.
    std::optional<bool> online(std::uint32_t slot) const;

private:
    OrvaSimulateSensorItem *item(const OrvaSimulateSensorReq &request);

    OrvaSimulateRoot root_{};
};

} // namespace chassis

#endif
