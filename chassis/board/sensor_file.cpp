#include "board/sensor_file.h"

#include "board/sensor_toml.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace chassis {

namespace {

struct CurveName {
    CurveKind kind;
    const char *name;
};

constexpr std::array kCurveNames = {
    CurveName{CurveKind::kConstant, "constant"}, CurveName{CurveKind::kRamp, "ramp"},
    CurveName{CurveKind::kSine, "sine"},         CurveName{CurveKind::kTriangle, "triangle"},
    CurveName{CurveKind::kNoise, "noise"},       CurveName{CurveKind::kTable, "table"},
};

CurveKind curve_named(const std::string &name) {
    const auto found = std::ranges::find_if(kCurveNames, [&](const CurveName &row) { return name == row.name; });
    if (found == kCurveNames.end()) {
        throw std::runtime_error("there is no curve named " + name);
    }
    return found->kind;
}

std::int64_t ms_of(const toml::table &table, const char *key, std::int64_t fallback) {
    const auto seconds = table[key].value<double>();
    return seconds ? std::llround(*seconds * 1000) : fallback;
}

std::int32_t number_of(const toml::table &table, const char *key, std::int32_t fallback) {
    return static_cast<std::int32_t>(table[key].value_or<std::int64_t>(fallback));
}

std::vector<CurvePoint> points_of(const toml::table &table) {
    std::vector<CurvePoint> points;
    if (const toml::array *pairs = table["points"].as_array()) {
        for (const toml::node &pair : *pairs) {
            const auto &row = *pair.as_array();
            points.push_back({std::llround(row[0].value_or(0.0) * 1000),
                              static_cast<std::int32_t>(row[1].value_or<std::int64_t>(0))});
        }
    }
    return points;
}

Curve curve_from(const toml::table &table) {
    Curve curve;
    curve.kind = curve_named(table["curve"].value_or<std::string>("constant"));
    curve.value = number_of(table, "value", 0);
    curve.swing = number_of(table, "swing", 0);
    curve.to = number_of(table, "to", curve.value);
    curve.period_ms = ms_of(table, "period", curve.period_ms);
    curve.shift_ms = ms_of(table, "shift", 0);
    curve.points = points_of(table);
    return curve;
}

Sensor sensor_from(const toml::table &table) {
    Sensor sensor;
    const bool volts = table["kind"].value_or<std::string>("") == "voltage";
    sensor.kind = volts ? SensorKind::kVoltage : SensorKind::kTemperature;
    sensor.name = table["name"].value_or<std::string>("");
    sensor.stub = table["stub"].value_or<std::string>("");
    sensor.low = number_of(table, "low", volts ? 0 : -400);
    sensor.high = number_of(table, "high", volts ? 60000 : 1250);
    sensor.curve = curve_from(table);
    return sensor;
}

std::string seconds_text(std::int64_t ms) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", static_cast<double>(ms) / 1000);
    return text;
}

std::string points_text(const std::vector<CurvePoint> &points) {
    std::string text;
    for (const CurvePoint &point : points) {
        text += text.empty() ? "[" : ", [";
        text += seconds_text(point.ms) + ", " + std::to_string(point.value) + "]";
    }
    text.insert(0, 1, '[');
    return text + ']';
}

} // namespace

std::vector<Sensor> sensors_from(const toml::array &sensors) {
    std::vector<Sensor> all;
    for (const toml::node &node : sensors) {
        Sensor sensor = sensor_from(*node.as_table());
        sensor.number = static_cast<std::uint8_t>(1 + std::ranges::count(all, sensor.kind, &Sensor::kind));
        all.push_back(std::move(sensor));
    }
    return all;
}

const char *curve_name(CurveKind kind) {
    return std::ranges::find(kCurveNames, kind, &CurveName::kind)->name;
}

std::string sensor_text(const Sensor &sensor, const std::string &table) {
    const Curve &curve = sensor.curve;
    std::string text = "[[" + table + "]]\nname = \"" + sensor.name + "\"\nkind = \"" +
                       (sensor.kind == SensorKind::kVoltage ? "voltage" : "temperature") + "\"\n";
    if (!sensor.stub.empty()) {
        text += "stub = \"" + sensor.stub + "\"\n";
    }
    text += "low = " + std::to_string(sensor.low) + "\nhigh = " + std::to_string(sensor.high) + "\ncurve = \"" +
            curve_name(curve.kind) + "\"\nvalue = " + std::to_string(curve.value) + "\n";
    if (curve.kind == CurveKind::kTable) {
        return text + "points = " + points_text(curve.points) + "\n";
    }
    return text + "swing = " + std::to_string(curve.swing) + "\nto = " + std::to_string(curve.to) +
           "\nperiod = " + seconds_text(curve.period_ms) + "\nshift = " + seconds_text(curve.shift_ms) + "\n";
}

void write_hardware(const std::filesystem::path &file, std::span<const Sensor> sensors, std::uint32_t seed) {
    std::ofstream stream(file);
    stream << "# Written by orva-chassis: the simulated hardware of this board.\n\nseed = " << seed << '\n';
    for (const Sensor &sensor : sensors) {
        stream << '\n' << sensor_text(sensor);
    }
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

Hardware read_hardware(const std::filesystem::path &file) {
    try {
        const toml::table table = toml::parse_file(file.string());
        Hardware hardware;
        hardware.seed = static_cast<std::uint32_t>(table["seed"].value_or<std::int64_t>(0));
        if (const toml::array *sensors = table["sensor"].as_array()) {
            hardware.sensors = sensors_from(*sensors);
        }
        return hardware;
    } catch (const toml::parse_error &error) {
        throw std::runtime_error(file.string() + ": " + std::string(error.description()));
    }
}

} // namespace chassis
