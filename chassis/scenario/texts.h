// The commands that only print: check, example, scenarios.
#ifndef CHASSIS_SCENARIO_TEXTS_H
#define CHASSIS_SCENARIO_TEXTS_H

#include <string>

namespace chassis {

// Each gives the exit status of the program.
int check_command(const std::string &scenario);
int example_command(bool schema);
int scenarios_command();

// The JSON Schema of scenarios.
std::string scenario_schema();

} // namespace chassis

#endif
