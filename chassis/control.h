// The door for testers and operators: a socket named "control" in the run folder. One packet asks, one answers.
#ifndef CHASSIS_CONTROL_H
#define CHASSIS_CONTROL_H

#include "descriptor.h"
#include "manager.h"
#include "operator.h"
#include "options.h"

#include <filesystem>

namespace chassis {

// Serves commands for as long as it lives, whenever the manager waits.
class Control {
public:
    // The process's working folder is one below the run folder.
    explicit Control(Manager &manager);
    Control(const Control &) = delete;
    Control &operator=(const Control &) = delete;

private:
    void serve();

    Operator operator_;
    Descriptor socket_;
};

// The other side: gives a command to a chassis that runs, and prints the answer. The exit status of the program.
int give_command(const CommandOptions &options);

} // namespace chassis

#endif
