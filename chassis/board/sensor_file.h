// Sensors as TOML tables: in a scenario, and in the file that tells a board's process what its hardware is.
#ifndef CHASSIS_BOARD_SENSOR_FILE_H
#define CHASSIS_BOARD_SENSOR_FILE_H

#include "board/sensors.h"

#include <filesystem>
#include <string>

namespace chassis {

const char *curve_name(CurveKind kind);

// One [[sensor]] table, as text; `table` is its full name.
std::string sensor_text(const Sensor &sensor, const std::string &table = "sensor");

// Writes the hardware of the board: its seed and its sensors.
void write_hardware(const std::filesystem::path &file, std::span<const Sensor> sensors, std::uint32_t seed);

struct Hardware {
    std::vector<Sensor> sensors;
    std::uint32_t seed = 0;
};

// Throws std::runtime_error when the file cannot be used.
Hardware read_hardware(const std::filesystem::path &file);

} // namespace chassis

#endif
