// What a process of the chassis sets up before it uses the library: the host platform, and the library's own state.
#ifndef CHASSIS_RUNTIME_H
#define CHASSIS_RUNTIME_H

#include "descriptor.h"

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>

namespace chassis {

// Blocks the signals, for every thread to come, and gives a descriptor that reads them.
Descriptor take_signals(std::initializer_list<int> signals);

// The next waiting signal, or 0.
int next_signal(const Descriptor &signals);

// Loads the libraries that are opened at run time by their bare names, so that they are found whatever is mounted
// later. One that is missing is left to the library, which goes on without it.
void load_optional_libraries();

// Moves into the board's folder and makes it this process's board. Once per process, before it has other threads.
void start_runtime(const std::filesystem::path &folder, const std::string &process_name);

// The same for a management process, in its own folder below the run's.
void start_manager(const std::filesystem::path &run_folder);

} // namespace chassis

#endif
