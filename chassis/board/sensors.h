// The sensors of a board and what its simulated hardware says: a curve over chassis time for each, and the faults
// that are on. Knows no library and no transport.
#ifndef CHASSIS_BOARD_SENSORS_H
#define CHASSIS_BOARD_SENSORS_H

#include "clock.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace chassis {

enum class SensorKind : std::uint8_t { kTemperature = 1, kVoltage = 2 };

enum class SensorState : std::uint8_t { kNormal, kLow, kHigh };

enum class CurveKind : std::uint8_t { kConstant, kRamp, kSine, kTriangle, kNoise, kTable };

struct CurvePoint {
    std::int64_t ms = 0;
    std::int32_t value = 0;
};

struct Curve {
    CurveKind kind = CurveKind::kConstant;
    std::int32_t value = 0;         // the middle; where a ramp starts
    std::int32_t swing = 0;         // to either side, of sine, triangle and noise
    std::int32_t to = 0;            // where a ramp ends and stays
    std::int64_t period_ms = 16000; // of sine and triangle; length of a ramp
    std::int64_t shift_ms = 0;      // later start
    std::vector<CurvePoint> points; // of a table, times ascending; straight lines between them
};

struct Sensor {
    SensorKind kind = SensorKind::kTemperature;
    std::uint8_t number = 0;
    std::string name;
    std::string stub;      // name of the stub that overrides it, empty: none
    std::int32_t low = 0;  // outside of these two: no longer normal
    std::int32_t high = 0; // tenths of a degree Celsius, or millivolts
    Curve curve;
};

// What the boards have that say nothing of their sensors.
std::vector<Sensor> default_sensors(std::uint32_t slot);

// The sensor of that kind and number, or of that name, or null.
const Sensor *find_sensor(std::span<const Sensor> sensors, SensorKind kind, std::uint8_t number);
const Sensor *find_sensor(std::span<const Sensor> sensors, std::string_view name);

enum class SensorFaultKind : std::uint8_t { kNone, kStuck, kNoise, kDrift };

struct SensorFault {
    SensorFaultKind kind = SensorFaultKind::kNone;
    std::int32_t value = 0; // noise: to either side; drift: in a minute
    Time since{0};
};

// What the sensor says at a time. `seed` decides noise, nothing else does.
std::int32_t read_sensor(const Sensor &sensor, const SensorFault &fault, Time time, std::uint32_t seed);

SensorState judge(const Sensor &sensor, std::int32_t value);

const char *state_name(SensorState state);

// "24.5 C", "12.034 V".
std::string value_text(SensorKind kind, std::int32_t value);

} // namespace chassis

#endif
