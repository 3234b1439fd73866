// The command `replay`.
#ifndef CHASSIS_RECORD_REPLAY_COMMAND_H
#define CHASSIS_RECORD_REPLAY_COMMAND_H

#include "options.h"

namespace chassis {

// The exit status of the program: 0 every answer is as it was, 1 one is not, 2 it could not begin, 128 plus the
// number of the signal that ended it.
int run_replay(const ReplayOptions &options);

} // namespace chassis

#endif
