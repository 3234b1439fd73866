// Virtual time for a whole chassis: its management process and every process that it starts.
#ifndef CHASSIS_VIRTUAL_TIME_H
#define CHASSIS_VIRTUAL_TIME_H

#include "clock.h"

#include <string>

namespace chassis {

// Brings the host platform's stepped clock into force. Before other threads start; throws std::runtime_error, which
// begins with `who`, where it cannot be.
void start_virtual_time(const std::string &who);

// The clock then.
Clock virtual_clock();

} // namespace chassis

#endif
