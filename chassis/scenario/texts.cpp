#include "scenario/texts.h"

#include "options.h"
#include "scenario/reader.h"

#include <iostream>

namespace chassis {

namespace {

constexpr const char *kExample = "example";

int printed() {
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "orva-chassis: standard output cannot be written\n";
        return 1;
    }
    return 0;
}

} // namespace

int check_command(const std::string &scenario) {
    try {
        const Scenario read = load_scenario(scenario);
        std::cout << scenario << ": " << read.steps.size() << " steps, " << read.boards.size() << " boards\n";
        return printed();
    } catch (const ScenarioError &error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}

int example_command(bool schema) {
    if (schema) {
        std::cout << scenario_schema();
        return printed();
    }
    for (const BuiltinScenario &each : builtin_scenarios()) {
        if (std::string(kExample) == each.name) {
            std::cout << each.text;
        }
    }
    return printed();
}

int scenarios_command() {
    for (const BuiltinScenario &each : builtin_scenarios()) {
        std::cout << each.name << std::string(24 - std::string(each.name).size(), ' ')
                  << read_scenario(each.text, each.name).text << '\n';
    }
    return printed();
}

} // namespace chassis
