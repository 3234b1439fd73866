// orva-chassis: a chassis on one machine.
#include "board/agent.h"
#include "boards_alone.h"
#include "control/control_socket.h"
#include "options.h"
#include "run.h"
#include "scenario/texts.h"

int main(int argc, char **argv) {
    using namespace chassis;
    const Options options = read_options(argc, argv);
    if (const auto *exit_now = std::get_if<ExitNow>(&options)) {
        return exit_now->status;
    }
    if (const auto *agent = std::get_if<AgentOptions>(&options)) {
        return run_agent(*agent);
    }
    if (const auto *boards = std::get_if<BoardsOptions>(&options)) {
        return run_boards(*boards);
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
