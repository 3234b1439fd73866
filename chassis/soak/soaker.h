// Load for as long as one likes: processes over queues and boards over the chassis at once, while they are disturbed.
#ifndef CHASSIS_SOAK_SOAKER_H
#define CHASSIS_SOAK_SOAKER_H

#include "options.h"

namespace chassis {

// The exit status of the program.
int run_soak(const SoakOptions &options);

} // namespace chassis

#endif
