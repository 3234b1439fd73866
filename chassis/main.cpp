// orva-chassis: a chassis on one machine.
#include "board/agent.h"
#include "boards_alone.h"
#include "control/control_socket.h"
#include "explore/explorer.h"
#include "options.h"
#include "record/replay_command.h"
#include "run.h"
#include "scenario/texts.h"
#include "soak/soaker.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

using namespace chassis;

int run_program(int argc, char **argv) {
    const Options options = read_options(argc, argv);
    if (const auto *exit_now = std::get_if<ExitNow>(&options)) {
        return exit_now->status;
    }
    if (const auto *agent = std::get_if<AgentOptions>(&options)) {
        return run_agent(*agent);
    }
    if (const auto *replay = std::get_if<ReplayOptions>(&options)) {
        return run_replay(*replay);
    }
    if (const auto *boards = std::get_if<BoardsOptions>(&options)) {
        return run_boards(*boards);
    }
    if (const auto *explore = std::get_if<ExploreOptions>(&options)) {
        return run_explore(*explore);
    }
    if (const auto *soak = std::get_if<SoakOptions>(&options)) {
        return run_soak(*soak);
    }
    if (const auto *command = std::get_if<CommandOptions>(&options)) {
        return give_command(*command);
    }
    if (const auto *check = std::get_if<CheckOptions>(&options)) {
        return check_command(check->scenario);
    }
    if (const auto *example = std::get_if<ExampleOptions>(&options)) {
        return example_command(example->schema);
    }
    if (std::holds_alternative<ScenariosOptions>(options)) {
        return scenarios_command();
    }
    return run_chassis(std::get<RunOptions>(options));
}

// The message is written without a stream, which may be what failed.
int end_with(const char *what) {
    std::fprintf(stderr, "orva-chassis: %s\n", what);
    return EXIT_FAILURE;
}

// Where an exception cannot go any further, as from a destructor that found no memory, the process ends in good
// order.
[[noreturn]] void end_of_exception() {
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::exception &error) {
        std::_Exit(end_with(error.what()));
    } catch (...) {
        std::abort();
    }
}

} // namespace

int main(int argc, char **argv) {
    std::set_terminate([] {
        if (std::current_exception() == nullptr) {
            std::abort();
        }
        end_of_exception();
    });
    try {
        return run_program(argc, argv);
    } catch (const std::exception &error) {
        return end_with(error.what());
    }
}
