#include "board/sensors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>

namespace chassis {

namespace {

using std::chrono::milliseconds;

struct DefaultSensor {
    SensorKind kind;
    std::uint8_t number;
    const char *name;
    const char *stub;
    std::int32_t value;
    std::int32_t swing;
    std::int32_t low;
    std::int32_t high;
};

constexpr std::array kDefaults = {
    DefaultSensor{SensorKind::kTemperature, 1, "inlet", "i2cAirTemp", 245, 8, 0, 450},
    DefaultSensor{SensorKind::kTemperature, 2, "outlet", "caseTemp", 382, 15, 0, 650},
    DefaultSensor{SensorKind::kTemperature, 3, "processor", "pmTempValue", 561, 30, 0, 900},
    DefaultSensor{SensorKind::kVoltage, 1, "12V", "pmOutputVolt", 12000, 60, 11400, 12600},
    DefaultSensor{SensorKind::kVoltage, 2, "3V3", "voltValue", 3300, 20, 3135, 3465},
    DefaultSensor{SensorKind::kVoltage, 3, "1V0", "pwrOutVolt", 1000, 6, 950, 1050},
};

// Curves change once a second, so that two readings of one second agree.
std::int64_t whole_seconds_ms(Time time) {
    return std::chrono::floor<std::chrono::seconds>(time).count() * 1000;
}

std::int32_t triangle(const Curve &curve, std::int64_t ms) {
    const std::int64_t half = curve.period_ms / 2;
    const std::int64_t step = ((ms % curve.period_ms) + curve.period_ms) % curve.period_ms;
    return curve.value + static_cast<std::int32_t>(curve.swing * (2 * std::abs(step - half) - half) / half);
}

std::int32_t sine(const Curve &curve, std::int64_t ms) {
    const double angle = 2 * std::numbers::pi * static_cast<double>(ms) / static_cast<double>(curve.period_ms);
    return curve.value + static_cast<std::int32_t>(std::lround(curve.swing * std::sin(angle)));
}

std::int32_t between(std::int32_t from, std::int32_t to, std::int64_t part, std::int64_t whole) {
    return from + static_cast<std::int32_t>((static_cast<std::int64_t>(to) - from) * part / whole);
}

std::int32_t ramp(const Curve &curve, std::int64_t ms) {
    return between(curve.value, curve.to, std::clamp<std::int64_t>(ms, 0, curve.period_ms), curve.period_ms);
}

std::int32_t table(const Curve &curve, std::int64_t ms) {
    const auto after = std::ranges::find_if(curve.points, [=](const CurvePoint &point) { return point.ms > ms; });
    if (after == curve.points.begin() || after == curve.points.end()) {
        return after == curve.points.begin() ? after->value : curve.points.back().value;
    }
    const auto before = after - 1;
    return between(before->value, after->value, ms - before->ms, after->ms - before->ms);
}

// The same numbers for the same arguments, without a state (splitmix64).
std::uint64_t scattered(std::uint64_t number) {
    number += 0x9E3779B97F4A7C15;
    number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9;
    number = (number ^ (number >> 27)) * 0x94D049BB133111EB;
    return number ^ (number >> 31);
}

std::int32_t noise(std::int32_t swing, const Sensor &sensor, std::int64_t ms, std::uint32_t seed) {
    const auto second = static_cast<std::uint64_t>(ms / 1000);
    const std::uint64_t sensor_key = static_cast<std::uint64_t>(sensor.kind) << 8 | sensor.number;
    const std::uint64_t draw = scattered(scattered(seed ^ sensor_key << 32) ^ second);
    const auto width = static_cast<std::uint64_t>(2 * static_cast<std::int64_t>(std::abs(swing)) + 1);
    return static_cast<std::int32_t>(draw % width) - std::abs(swing);
}

std::int32_t curve_value(const Sensor &sensor, std::int64_t ms, std::uint32_t seed) {
    const Curve &curve = sensor.curve;
    const std::int64_t at = ms - curve.shift_ms;
    switch (curve.kind) {
    case CurveKind::kConstant:
        return curve.value;
    case CurveKind::kRamp:
        return ramp(curve, at);
    case CurveKind::kSine:
        return sine(curve, at);
    case CurveKind::kTriangle:
        return triangle(curve, at);
    case CurveKind::kNoise:
        return curve.value + noise(curve.swing, sensor, ms, seed);
    case CurveKind::kTable:
        return table(curve, at);
    }
    return curve.value;
}

} // namespace

// A triangle around the middle, shifted from board to board.
std::vector<Sensor> default_sensors(std::uint32_t slot) {
    std::vector<Sensor> sensors;
    for (const DefaultSensor &row : kDefaults) {
        Curve curve;
        curve.kind = CurveKind::kTriangle;
        curve.value = row.value;
        curve.swing = row.swing;
        curve.shift_ms = -1000 * static_cast<std::int64_t>(slot * 5 + row.number * 3U);
        sensors.push_back({row.kind, row.number, row.name, row.stub, row.low, row.high, curve});
    }
    return sensors;
}

const Sensor *find_sensor(std::span<const Sensor> sensors, SensorKind kind, std::uint8_t number) {
    const auto found = std::ranges::find_if(
        sensors, [=](const Sensor &sensor) { return sensor.kind == kind && sensor.number == number; });
    return found != sensors.end() ? &*found : nullptr;
}

const Sensor *find_sensor(std::span<const Sensor> sensors, std::string_view name) {
    const auto found = std::ranges::find(sensors, name, &Sensor::name);
    return found != sensors.end() ? &*found : nullptr;
}

std::int32_t read_sensor(const Sensor &sensor, const SensorFault &fault, Time time, std::uint32_t seed) {
    const std::int64_t ms = whole_seconds_ms(fault.kind == SensorFaultKind::kStuck ? fault.since : time);
    const std::int32_t value = curve_value(sensor, ms, seed);
    if (fault.kind == SensorFaultKind::kNoise) {
        return value + noise(fault.value, sensor, ms, ~seed);
    }
    if (fault.kind == SensorFaultKind::kDrift) {
        const std::int64_t passed = std::chrono::floor<std::chrono::seconds>(time - fault.since).count();
        return value + static_cast<std::int32_t>(fault.value * passed / 60);
    }
    return value;
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
