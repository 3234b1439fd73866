// The processes of a chassis: they never outlive the management process.
#ifndef CHASSIS_MANAGER_PROCESSES_H
#define CHASSIS_MANAGER_PROCESSES_H

#include "options.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

namespace chassis {

// This very program, which is the agent as well.
inline constexpr const char *kOwnProgram = "/proc/self/exe";

// Starts a program with these arguments. The process is told to stop when this one ends, however it ends.
// `folder`: where it begins; `output`: the file that takes both its outputs; empty: as this process has them.
pid_t start_process(const std::string &program, const std::vector<std::string> &arguments,
                    const std::string &folder = "", const std::string &output = "");

// Starts a board's process: this program, or one of the user's own, which gets PORT RUN SLOT and begins in the
// board's folder. `program` is empty for this one.
pid_t start_board(const std::string &program, const AgentOptions &agent);

// The exit status of a child that has ended, 128 plus the number of the signal that ended it. It is then reaped and
// must not be named again.
std::optional<int> exit_status(pid_t child);

// Tells the children to stop, kills those that do not within `patience`, and reaps them all. Their exit statuses.
std::vector<int> stop_processes(std::span<const pid_t> children, std::chrono::milliseconds patience);

// The status of a process that stopped because it was told to. One of the user's own need not catch the signal.
constexpr bool stopped_as_told(int status) {
    return status == 0 || status == kSignalStatus + SIGTERM;
}

} // namespace chassis

#endif
