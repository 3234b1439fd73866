// Makes a failing plan smaller: fewer phases, faults, boards and seconds, as long as it fails.
#ifndef CHASSIS_EXPLORE_SHRINK_H
#define CHASSIS_EXPLORE_SHRINK_H

#include "explore/plan.h"

#include <cstdint>
#include <functional>

namespace chassis {

// `fails`: tries a plan. It is called at most `most` times.
Plan shrink(const Plan &plan, std::uint32_t most, const std::function<bool(const Plan &)> &fails);

} // namespace chassis

#endif
