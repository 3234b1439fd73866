// The tables of a scenario's sensors as values; the tables were checked before.
#ifndef CHASSIS_BOARD_SENSOR_TOML_H
#define CHASSIS_BOARD_SENSOR_TOML_H

#include "board/sensors.h"

#include <toml++/toml.h>

namespace chassis {

// `sensors`: the array of [[sensor]] tables. Numbers are given out in order within a kind.
std::vector<Sensor> sensors_from(const toml::array &sensors);

} // namespace chassis

#endif
