// The processes of a chassis: started from this very program, never outliving the management process, and leaving no
// queue behind.
#ifndef CHASSIS_PROCESSES_H
#define CHASSIS_PROCESSES_H

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

namespace chassis {

// Starts this program again with these arguments. The process is told to stop when this one ends, however it ends.
pid_t start_process(const std::vector<std::string> &arguments);

// The exit status of a child that has ended, 128 plus the number of the signal that ended it. It is then reaped and
// must not be named again.
std::optional<int> exit_status(pid_t child);

// Tells the children to stop, kills those that do not within `patience`, and reaps them all. True when each stopped
// because it was told to.
bool stop_processes(std::span<const pid_t> children, std::chrono::milliseconds patience);

} // namespace chassis

#endif
