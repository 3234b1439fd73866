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
inline constexpr int kUsageStatus = 2;
inline constexpr int kSignalStatus = 128;

struct RunOptions {
    std::string scenario = "demo"; // name of a built-in one, or a file
    std::optional<std::uint32_t> boards;
    std::optional<std::uint32_t> seed;
    std::optional<std::uint32_t> seconds;
    bool virtual_time = false;
    bool no_restart = false;
    bool hold = false;  // after the last step, for commands
    std::string events; // files, absolute; empty: none
    std::string record;
    std::string report;
    std::optional<std::string> web; // address and port of the page
    std::string run_dir;            // empty: a fresh folder below the system's temporary folder
    std::string agent;              // program of the boards' processes; empty: this one
    bool keep = false;
};

struct ReplayOptions {
    std::string file;
    std::string agent;
    std::string run_dir;
    bool keep = false;
};

struct BoardsOptions {
    std::uint32_t boards = 4;
    std::uint16_t port = 0; // of the user's management process, on loopback
    std::uint32_t run = 1;  // the number that every packet carries
    std::uint32_t seed = 1;
    std::string agent;
    std::string run_dir;
};

struct ExploreOptions {
    std::uint32_t seeds = 20;
    std::uint32_t first_seed = 1;
    std::uint32_t jobs = 0; // at once; 0: as many as there are processors
    std::string agent;
};

struct SoakOptions {
    double minutes = 2;
    std::uint32_t boards = 30;
    std::uint32_t seed = 1;
    std::string agent;
};

struct CheckOptions {
    std::string scenario;
};

struct ExampleOptions {
    bool schema = false;
};

struct ScenariosOptions {};

// What a management process passes to an agent, or to its backup, that it starts.
struct AgentOptions {
    bool backup = false;
    std::uint32_t slot = 0;
    std::string run_folder;
    std::string folder;
    std::uint16_t port = 0; // of the management process, on loopback
    std::uint32_t run = 0;
    std::int64_t power_on_ns = 0; // as the monotonic clock counts
    pid_t parent = 0;
};
// The same as arguments of the program.
std::vector<std::string> agent_words(const AgentOptions &agent);

// A tester's or an operator's command to a chassis that runs.
struct CommandOptions {
    std::string run_dir; // empty: the one that runs
    std::vector<std::string> words;
};

// The program ends at once with this status, after what it had to say was said.
struct ExitNow {
    int status = 0;
};

using Options = std::variant<RunOptions, ReplayOptions, BoardsOptions, ExploreOptions, SoakOptions, CheckOptions,
                             ExampleOptions, ScenariosOptions, AgentOptions, CommandOptions, ExitNow>;

Options read_options(int argc, char **argv);

} // namespace chassis

#endif
