// The command `run`: a chassis, a scenario, and what watches them.
#ifndef CHASSIS_RUN_H
#define CHASSIS_RUN_H

#include "options.h"

namespace chassis {

// The exit status of the program: 0 all was as expected, 1 something was not, 2 it could not begin, 128 plus the
// number of the signal that ended it.
int run_chassis(const RunOptions &options);

} // namespace chassis

#endif
