// A program that watches chassis which are processes of their own.
#ifndef CHASSIS_MANAGER_WATCH_RUNS_H
#define CHASSIS_MANAGER_WATCH_RUNS_H

#include "descriptor.h"

#include <filesystem>
#include <functional>

namespace chassis {

// Does `work` in a temporary folder that only its user reads. The exit status: 0 when it gives true, 1 when it gives
// false; what it throws, and a signal, are reported.
int watch_runs(const std::function<bool(const std::filesystem::path &folder, const Descriptor &signals)> &work);

} // namespace chassis

#endif
