/**
 * @file
 * Completion for shells, made from the definition of a command line. Knows no program.
 */
#ifndef COMMAND_LINE_COMPLETION_H
#define COMMAND_LINE_COMPLETION_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace command_line {

// Words that an argument takes, where its definition does not say them. `command` is the words before it, empty for
// the program itself; `argument` is an option with its dashes, or the name of a positional argument.
struct Hint {
    std::string command;
    std::string argument;
    std::function<std::vector<std::string>()> words; // asked for when a completion is printed
};

// Adds the option --completion, which prints the completion for a shell: everything that is defined when it is given.
// Choices come from the definition. An argument takes files when its type or its help says so. What is in no group is
// hidden here too.
void add_completion(CLI::App &app, std::vector<Hint> hints = {});

} // namespace command_line

#endif
