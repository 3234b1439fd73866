// The sensors of a board and what they read: the hardware that the chassis does not have.
#ifndef CHASSIS_HARDWARE_H
#define CHASSIS_HARDWARE_H

#include <cstdint>
#include <span>
#include <string>

namespace chassis {

enum class SensorKind : std::uint8_t { kTemperature = 1, kVoltage = 2 };

enum class SensorState : std::uint8_t { kNormal, kLow, kHigh };

struct Sensor {
    SensorKind kind;
    std::uint8_t number;
    const char *name;
    const char *stub;     // name of the stub that overrides it
    std::int32_t nominal; // tenths of a degree Celsius, or millivolts
    std::int32_t swing;   // how far a reading goes to either side of it
    std::int32_t low;     // outside of these two: no longer normal
    std::int32_t high;
};

// Every board has the same sensors.
std::span<const Sensor> sensors_of(SensorKind kind);

// The sensor of that number, or null.
const Sensor *find_sensor(SensorKind kind, std::uint8_t number);

// What the sensor reads on the board in `slot`, `seconds` after power-on.
std::int32_t read_sensor(const Sensor &sensor, std::uint32_t slot, std::uint32_t seconds);

SensorState judge(const Sensor &sensor, std::int32_t value);

const char *state_name(SensorState state);

// "24.5 C", "12.034 V".
std::string value_text(SensorKind kind, std::int32_t value);

} // namespace chassis

#endif
