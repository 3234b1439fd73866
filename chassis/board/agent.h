// A board's process: answers the management process's requests until it is told to stop.
#ifndef CHASSIS_BOARD_AGENT_H
#define CHASSIS_BOARD_AGENT_H

#include "options.h"

namespace chassis {

// The exit status of the process.
int run_agent(const AgentOptions &options);

} // namespace chassis

#endif
