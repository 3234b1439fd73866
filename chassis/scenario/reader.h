// Reads scenarios: from a file, or one of those that are built in.
#ifndef CHASSIS_SCENARIO_READER_H
#define CHASSIS_SCENARIO_READER_H

#include "scenario/model.h"

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace chassis {

// A scenario that cannot be used; the text has a line for each mistake.
struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct BuiltinScenario {
    const char *name;
    std::string_view text; // TOML
};

// In the order in which they are listed.
std::span<const BuiltinScenario> builtin_scenarios();

// `name`: of a built-in scenario, or of a file. Throws ScenarioError.
Scenario load_scenario(const std::string &name);
Scenario read_scenario(std::string_view text, const std::string &file);

} // namespace chassis

#endif
