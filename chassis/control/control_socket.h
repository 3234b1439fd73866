// The way in for testers and operators: a socket named "control" in the run folder. One packet asks, one answers.
#ifndef CHASSIS_CONTROL_CONTROL_SOCKET_H
#define CHASSIS_CONTROL_CONTROL_SOCKET_H

#include "control/commands.h"
#include "descriptor.h"
#include "options.h"

#include <filesystem>

namespace chassis {

// Serves commands for as long as it lives, whenever the loop is served.
class Control {
public:
    // The process's working folder is one below the run folder.
    explicit Control(Chassis &chassis);
    ~Control();
    Control(const Control &) = delete;
    Control &operator=(const Control &) = delete;

private:
    void serve();

    Chassis &chassis_;
    Descriptor socket_;
};

// The other side: gives a command to a chassis that runs, and prints the answer. The exit status of the program.
int give_command(const CommandOptions &options);

} // namespace chassis

#endif
