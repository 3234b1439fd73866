// The scenarios that the chassis brings with it, for cases that try each of them.
#ifndef ORVA_BUILTIN_SCENARIOS_H
#define ORVA_BUILTIN_SCENARIOS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace orva_test {

// All but the demonstration.
constexpr const char *kBuiltinScenarios[] = {"example",   "backup", "bad-packets", "exhausted",
                                             "flood",     "killed", "links",       "lost-board",
                                             "overrides", "pulled", "sensors",     "stopped"};

// The case's name.
inline std::string scenario_case(const ::testing::TestParamInfo<const char *> &scenario) {
    std::string name = scenario.param;
    std::ranges::replace(name, '-', '_');
    return name;
}

} // namespace orva_test

#endif
