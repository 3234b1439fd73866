#include "hardware.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace chassis {

namespace {

constexpr std::array kTemperatures = {
    Sensor{SensorKind::kTemperature, 1, "inlet", "i2cAirTemp", 245, 8, 0, 450},
    Sensor{SensorKind::kTemperature, 2, "outlet", "caseTemp", 382, 15, 0, 650},
    Sensor{SensorKind::kTemperature, 3, "processor", "pmTempValue", 561, 30, 0, 900},
};
constexpr std::array kVoltages = {
    Sensor{SensorKind::kVoltage, 1, "12V", "pmOutputVolt", 12000, 60, 11400, 12600},
    Sensor{SensorKind::kVoltage, 2, "3V3", "voltValue", 3300, 20, 3135, 3465},
    Sensor{SensorKind::kVoltage, 3, "1V0", "pwrOutVolt", 1000, 6, 950, 1050},
};

} // namespace

std::span<const Sensor> sensors_of(SensorKind kind) {
    return kind == SensorKind::kTemperature ? std::span<const Sensor>(kTemperatures) : kVoltages;
}

const Sensor *find_sensor(SensorKind kind, std::uint8_t number) {
    const auto sensors = sensors_of(kind);
    const auto found = std::ranges::find(sensors, number, &Sensor::number);
    return found != sensors.end() ? &*found : nullptr;
}

// A triangle around the nominal value, shifted from board to board.
std::int32_t read_sensor(const Sensor &sensor, std::uint32_t slot, std::uint32_t seconds) {
    constexpr std::uint32_t kPeriod = 16;
    const auto step = static_cast<std::int32_t>((seconds + slot * 5 + sensor.number * 3U) % kPeriod);
    const std::int32_t half = kPeriod / 2;
    return sensor.nominal + sensor.swing * (2 * std::abs(step - half) - half) / half;
}

SensorState judge(const Sensor &sensor, std::int32_t value) {
    if (value < sensor.low) {
        return SensorState::kLow;
    }
    return value > sensor.high ? SensorState::kHigh : SensorState::kNormal;
}

const char *state_name(SensorState state) {
    switch (state) {
    case SensorState::kNormal:
        return "normal";
    case SensorState::kLow:
        return "low";
    case SensorState::kHigh:
        return "high";
    }
    return "unknown";
}

std::string value_text(SensorKind kind, std::int32_t value) {
    std::array<char, 32> text{};
    if (kind == SensorKind::kTemperature) {
        std::snprintf(text.data(), text.size(), "%.1f C", value / 10.0);
    } else {
        std::snprintf(text.data(), text.size(), "%.3f V", value / 1000.0);
    }
    return text.data();
}

} // namespace chassis
