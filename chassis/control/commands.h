// The one table of commands. The command line, the control socket, scenarios and the page all read it, so a command
// is added in one place.
#ifndef CHASSIS_CONTROL_COMMANDS_H
#define CHASSIS_CONTROL_COMMANDS_H

#include "manager/chassis.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace chassis {

using Words = std::vector<std::string>;

enum class ArgumentType : std::uint8_t {
    kBoard,   // slot of a board: a number, "first" or "last"
    kSlot,    // slot of a board or of the main board
    kStub,    // name of a stub, or slot_sensor_name
    kValue,   // decimal, or hexadecimal where it holds such a digit
    kNumber,  // decimal, or hexadecimal with 0x in front
    kSeconds, // with a fraction
    kChoice,
    kSensor, // name of a sensor
};

struct Argument {
    const char *name;
    const char *help;
    ArgumentType type;
    bool required = true;
    std::span<const char *const> choices = {};
};

struct CommandResult {
    int status = 0; // exit status for whoever gave the command: 0 done, 1 refused, 2 a bad command line
    std::string text;
};

struct Command {
    const char *name; // one or more words
    const char *help;
    std::span<const Argument> arguments;
    bool changes; // it changes something
    // `words`: the arguments, checked; throws std::runtime_error when it is refused.
    std::string (*run)(Chassis &chassis, const Words &words);
    bool timed = false; // its output has times of the processor, which an event must not
};

// All commands, in the order of the help.
std::span<const Command> commands();

// The command that the words begin with, or null; `used` gets how many words its name has.
const Command *find_command(const Words &words, std::size_t &used);

// What is wrong with a word, or nothing.
std::optional<std::string> argument_error(const Argument &argument, const std::string &word);

// What is wrong with a whole command, or nothing.
std::optional<std::string> command_error(const Words &words);

// Carries the command out; nothing is trusted. Adds an `action` event.
CommandResult execute(Chassis &chassis, const Words &words);

} // namespace chassis

#endif
