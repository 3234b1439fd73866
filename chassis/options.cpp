#include "options.h"

#include <CLI/CLI.hpp>
#include <iostream>

namespace chassis {

namespace {

constexpr int kUsageStatus = 2;
constexpr const char *kAgentCommand = "agent";

void add_run_options(CLI::App &app, RunOptions &run) {
    app.add_option("--boards", run.boards, "Number of boards beside the main board")
        ->check(CLI::Range(1U, kMaxBoards))
        ->capture_default_str();
    app.add_option("--seconds", run.seconds, "How long the chassis runs, at least; the steps come first")
        ->check(CLI::Range(0U, 86400U))
        ->capture_default_str();
    app.add_option("--run-dir", run.run_dir,
                   "Folder that holds everything the run writes, absent or empty (default: a fresh temporary one)");
    app.add_flag("--keep", run.keep, "Keep the temporary run folder");
    app.add_option("--kill-agent", run.kill_agent, "Kill the agent in this slot in the middle of the run")
        ->check(CLI::Range(1U, kMaxBoards));
}

CLI::App *add_agent_command(CLI::App &app, AgentOptions &agent) {
    CLI::App *command = app.add_subcommand(kAgentCommand, "Started by the management process")->group("");
    command->add_option("--slot", agent.slot)->required()->check(CLI::Range(1U, kMaxBoards));
    command->add_option("--folder", agent.folder)->required();
    command->add_option("--port", agent.port)->required();
    command->add_option("--run", agent.run)->required();
    command->add_option("--parent", agent.parent)->required();
    return command;
}

ExitNow usage_error(const std::string &message) {
    std::cerr << "orva-chassis: " << message << "\nRun with --help for more information.\n";
    return {kUsageStatus};
}

} // namespace

Options read_options(int argc, char **argv) {
    CLI::App app(
        "A chassis on one machine: a management process asks the agents of its boards and shows the answers.",
        "orva-chassis");
    RunOptions run;
    AgentOptions agent;
    add_run_options(app, run);
    const CLI::App *agent_command = add_agent_command(app, agent);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &help) {
        return ExitNow{app.exit(help)};
    } catch (const CLI::ParseError &error) {
        return usage_error(error.what());
    }
    if (agent_command->parsed()) {
        return agent;
    }
    if (run.kill_agent > run.boards) {
        return usage_error("--kill-agent: there is no board in slot " + std::to_string(run.kill_agent));
    }
    return run;
}

} // namespace chassis
