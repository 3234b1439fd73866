// What the command line asks for. Knows the program's words, nothing of what they do.
#ifndef CHASSIS_OPTIONS_H
#define CHASSIS_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace chassis {

inline constexpr std::uint32_t kMaxBoards = 30;

struct RunOptions {
    std::uint32_t boards = 4;
    std::uint32_t seconds = 10;
    std::string run_dir; // empty: a fresh folder below the system's temporary folder
    bool keep = false;
    std::uint32_t kill_agent = 0; // 0: none
};

// What a management process hands to an agent, or to its backup, that it starts.
struct AgentOptions {
    bool backup = false;
    std::uint32_t slot = 0;
    std::string run_folder;
    std::string folder;
    std::uint16_t port = 0; // of the management process, on loopback
    std::uint32_t run = 0;
    pid_t parent = 0;
};

// A tester's or an operator's command to a chassis that runs.
struct CommandOptions {
    std::string run_dir; // empty: the one that runs
    std::vector<std::string> words;
};

// The program ends at once with this status, after what it had to say was said.
struct ExitNow {
    int status = 0;
};

using Options = std::variant<RunOptions, AgentOptions, CommandOptions, ExitNow>;

Options read_options(int argc, char **argv);

} // namespace chassis

#endif
