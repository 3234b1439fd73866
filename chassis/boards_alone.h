// The command `boards`: boards without a management process, for one of the user's own.
#ifndef CHASSIS_BOARDS_ALONE_H
#define CHASSIS_BOARDS_ALONE_H

#include "options.h"

namespace chassis {

// Runs until a signal ends it; the exit status of the program.
int run_boards(const BoardsOptions &options);

} // namespace chassis

#endif
