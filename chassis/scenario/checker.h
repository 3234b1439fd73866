// Checks a scenario's text against the table of keys. Every mistake is found, each with its place.
#ifndef CHASSIS_SCENARIO_CHECKER_H
#define CHASSIS_SCENARIO_CHECKER_H

#include <cstdint>
#include <string>
#include <toml++/toml.h>
#include <vector>

namespace chassis {

struct Mistake {
    std::uint32_t line = 0;
    std::uint32_t column = 0;
    std::string key;  // full name, "step[2].fault[0].kind"; empty where there is none
    std::string text; // what was expected
};

// "file:12:3: step[2].at: expected ...".
std::string mistake_text(const std::string &file, const Mistake &mistake);

std::vector<Mistake> check_scenario(const toml::table &table);

} // namespace chassis

#endif
