// Runs one scenario a seed, several at once, and makes a failing one as small as it gets.
#ifndef CHASSIS_EXPLORE_EXPLORER_H
#define CHASSIS_EXPLORE_EXPLORER_H

#include "options.h"

namespace chassis {

// The exit status of the program.
int run_explore(const ExploreOptions &options);

} // namespace chassis

#endif
