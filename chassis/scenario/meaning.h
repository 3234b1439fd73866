// What the values of a scenario say of each other, once each of them is sound.
#ifndef CHASSIS_SCENARIO_MEANING_H
#define CHASSIS_SCENARIO_MEANING_H

#include "scenario/checker.h"

#include <vector>

namespace chassis {

std::vector<Mistake> check_meaning(const toml::table &scenario);

} // namespace chassis

#endif
