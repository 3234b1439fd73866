#include "options.h"

#include "completion.h"
#include "control/commands.h"
#include "scenario/reader.h"
#include "text.h"
#include "web/guard.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace chassis {

namespace {

constexpr const char *kVersion = ORVA_CHASSIS_VERSION;

constexpr const char *kWebDefault = "127.0.0.1:0";

std::string web_error(const std::string &word) {
    return web_address(word) ? "" : word + " is not ADDRESS:PORT (a scenario goes before --web)";
}

CLI::App *add_run_command(CLI::App &app, RunOptions &run, std::string &time) {
    CLI::App *command = app.add_subcommand("run", "Run a scenario");
    command->add_option("scenario", run.scenario, "A file, or the name of a built-in scenario")
        ->capture_default_str();
    command->add_option("--boards", run.boards, "Number of boards beside the main board")
        ->check(CLI::Range(1U, kMaxBoards));
    command->add_option("--seed", run.seed, "What every random number comes from");
    command->add_option("--seconds", run.seconds, "How long the last rounds of requests go on")
        ->check(CLI::Range(0U, 86400U));
    command->add_option("--time", time, "real or virtual")->check(CLI::IsMember({"real", "virtual"}));
    command->add_option("--events", run.events, "Write every event to this file, a JSON object a line");
    command->add_option("--record", run.record,
                        "Write every datagram to this file, a capture for tcpdump and Wireshark");
    command->add_option("--report", run.report, "Write a report of the run to this file, one HTML page");
    command
        ->add_option("--web", run.web,
                     "Serve a page of the run, at ADDRESS:PORT (default: 127.0.0.1, a free port), until Ctrl-C")
        ->expected(0, 1)
        ->default_str(kWebDefault)
        ->check(web_error);
    command->add_option("--agent", run.agent, "Program that runs as the boards' agent")->check(CLI::ExistingFile);
    command->add_option("--run-dir", run.run_dir, "Folder of the run, absent or empty (default: a temporary one)");
    command->add_flag("--keep", run.keep, "Keep the temporary run folder");
    command->add_flag("--hold", run.hold, "Take commands after the last step, until the command end");
    command->add_flag("--no-restart", run.no_restart, "Leave a board lost when its process ends");
    return command;
}

CLI::App *add_replay_command(CLI::App &app, ReplayOptions &replay) {
    CLI::App *command =
        app.add_subcommand("replay", "Send a capture's requests to fresh boards, compare the answers");
    command->add_option("file", replay.file, "A capture, written by run --record")->required();
    command->add_option("--agent", replay.agent, "Program that runs as the boards' agent")->check(CLI::ExistingFile);
    command->add_option("--run-dir", replay.run_dir, "Folder of the run, absent or empty (default: a temporary one)");
    command->add_flag("--keep", replay.keep, "Keep the temporary run folder");
    return command;
}

CLI::App *add_boards_command(CLI::App &app, BoardsOptions &boards) {
    CLI::App *command = app.add_subcommand("boards", "Run boards alone, for a management process of your own");
    command->add_option("--port", boards.port, "UDP port of the management process, on loopback")->required();
    command->add_option("--boards", boards.boards, "Number of boards")
        ->check(CLI::Range(1U, kMaxBoards))
        ->capture_default_str();
    command->add_option("--run", boards.run, "Number of the run, in every packet")->capture_default_str();
    command->add_option("--seed", boards.seed, "What every random number comes from")->capture_default_str();
    command->add_option("--agent", boards.agent, "Program that runs as the boards' agent")->check(CLI::ExistingFile);
    command->add_option("--run-dir", boards.run_dir, "Folder of the run, absent or empty (default: a temporary one)");
    return command;
}

CLI::App *add_explore_command(CLI::App &app, ExploreOptions &explore) {
    CLI::App *command = app.add_subcommand("explore", "Draw scenarios, and hold what must hold in every chassis");
    command->add_option("--seeds", explore.seeds, "How many")->check(CLI::Range(1U, 1000000U))->capture_default_str();
    command->add_option("--first-seed", explore.first_seed, "The first of them")
        ->check(CLI::Range(0U, 4000000000U))
        ->capture_default_str();
    command->add_option("--jobs", explore.jobs, "How many at once (default: one for each processor)")
        ->check(CLI::Range(1U, 1000U));
    command->add_option("--agent", explore.agent, "Program that runs as the boards' agent")->check(CLI::ExistingFile);
    return command;
}

CLI::App *add_soak_command(CLI::App &app, SoakOptions &soak) {
    CLI::App *command = app.add_subcommand("soak", "Run queues and boards at full speed while they are disturbed");
    command->add_option("--minutes", soak.minutes, "How long, a fraction too")
        ->check(CLI::Range(0.02, 1440.0))
        ->capture_default_str();
    command->add_option("--boards", soak.boards, "Number of boards beside the main board")
        ->check(CLI::Range(1U, kMaxBoards))
        ->capture_default_str();
    command->add_option("--seed", soak.seed, "What every random number comes from")->capture_default_str();
    command->add_option("--agent", soak.agent, "Program that runs as the boards' agent")->check(CLI::ExistingFile);
    return command;
}

CLI::App *add_agent_command(CLI::App &app, AgentOptions &agent) {
    CLI::App *command = app.add_subcommand("agent", "Started by the management process")->group("");
    command->add_flag("--backup", agent.backup);
    command->add_option("--slot", agent.slot)->required()->check(CLI::Range(0U, kMaxBoards));
    command->add_option("--folder", agent.folder)->required();
    command->add_option("--run-folder", agent.run_folder)->required();
    command->add_option("--port", agent.port)->required();
    command->add_option("--run", agent.run)->required();
    command->add_option("--power-on", agent.power_on_ns)->required();
    command->add_option("--parent", agent.parent)->required();
    return command;
}

// "{udp,ipmb}", for help and completion; empty where any word may be right.
std::string choices_text(const Argument &argument) {
    std::string text;
    for (const char *const choice : argument.choices) {
        text += (text.empty() ? "{" : ",") + std::string(choice);
    }
    return text.empty() ? text : text + '}';
}

std::vector<std::string> scenario_names() {
    std::vector<std::string> names;
    for (const BuiltinScenario &each : builtin_scenarios()) {
        names.emplace_back(each.name);
    }
    return names;
}

// The commands to a running chassis, as the one table has them: a name of several words is a command in a family.
class ChassisCommands {
public:
    explicit ChassisCommands(CLI::App &app) : app_(app) {
        for (const Command &command : commands()) {
            add(command);
        }
    }

    // The command that was given, with its words.
    std::optional<CommandOptions> given() const {
        for (const auto &[app, command, values] : entries_) {
            if (app->parsed()) {
                return CommandOptions{run_dir_, words(*command, *values)};
            }
        }
        return std::nullopt;
    }

private:
    using Values = std::vector<std::unique_ptr<std::string>>;
    struct Entry {
        const CLI::App *app;
        const Command *command;
        std::unique_ptr<Values> values;
    };

    void add(const Command &command) {
        const Words name = words_of(command.name);
        CLI::App *app = &app_;
        for (std::size_t i = 0; i + 1 < name.size(); ++i) {
            app = family(*app, name[i]);
        }
        app = app->add_subcommand(name.back(), command.help)->group("Commands to a running chassis");
        app->add_option("--run-dir", run_dir_, "Folder of the chassis that it is for (default: the one that runs)");
        auto values = std::make_unique<Values>();
        for (const Argument &argument : command.arguments) {
            values->push_back(std::make_unique<std::string>());
            app->add_option(argument.name, *values->back(), argument.help)
                ->required(argument.required)
                ->check(CLI::Validator(
                    [&argument](const std::string &word) { return argument_error(argument, word).value_or(""); },
                    choices_text(argument)));
        }
        entries_.push_back({app, &command, std::move(values)});
    }

    CLI::App *family(CLI::App &parent, const std::string &name) {
        const auto all = parent.get_subcommands([&](const CLI::App *each) { return each->get_name() == name; });
        CLI::App *found = all.empty() ? nullptr : all.front();
        if (found == nullptr) {
            found = parent.add_subcommand(name, "Commands about " + name)->group("Commands to a running chassis");
            found->require_subcommand(1);
            found->add_option("--run-dir", run_dir_)->group("");
        }
        return found;
    }

    static Words words(const Command &command, const Values &values) {
        Words all = words_of(command.name);
        for (const auto &value : values) {
            if (!value->empty()) {
                all.push_back(*value);
            }
        }
        return all;
    }

    CLI::App &app_;
    std::string run_dir_;
    std::vector<Entry> entries_;
};

// Names of files are meant from here; the run goes to a folder of its own.
std::string from_here(const std::string &file) {
    return file.empty() ? file : std::filesystem::absolute(file).string();
}

ExitNow usage_error(const std::string &message) {
    std::cerr << "orva-chassis: " << message << "\nRun with --help for more information.\n";
    return {kUsageStatus};
}

} // namespace

std::vector<std::string> agent_words(const AgentOptions &agent) {
    std::vector<std::string> words = {"agent",
                                      "--slot",
                                      std::to_string(agent.slot),
                                      "--folder",
                                      agent.folder,
                                      "--run-folder",
                                      agent.run_folder,
                                      "--port",
                                      std::to_string(agent.port),
                                      "--run",
                                      std::to_string(agent.run),
                                      "--power-on",
                                      std::to_string(agent.power_on_ns),
                                      "--parent",
                                      std::to_string(agent.parent)};
    if (agent.backup) {
        words.push_back("--backup");
    }
    return words;
}

Options read_options(int argc, char **argv) {
    CLI::App app("A chassis on one machine: a management process and the agents of its boards.", "orva-chassis");
    app.set_version_flag("--version", std::string("orva-chassis ") + kVersion);
    app.require_subcommand(0, 1);
    RunOptions run;
    ReplayOptions replay;
    BoardsOptions boards;
    ExploreOptions explore;
    SoakOptions soak;
    CheckOptions check;
    ExampleOptions example;
    AgentOptions agent;
    std::string time = "real";
    const CLI::App *run_command = add_run_command(app, run, time);
    const CLI::App *replay_command = add_replay_command(app, replay);
    const CLI::App *boards_command = add_boards_command(app, boards);
    const CLI::App *explore_command = add_explore_command(app, explore);
    const CLI::App *soak_command = add_soak_command(app, soak);
    CLI::App *check_command = app.add_subcommand("check", "Check a scenario");
    check_command->add_option("scenario", check.scenario, "A file, or the name of a built-in scenario")->required();
    CLI::App *example_command = app.add_subcommand("example", "Print a scenario to start from");
    example_command->add_flag("--schema", example.schema, "Print the JSON Schema of scenarios instead");
    const CLI::App *scenarios_command = app.add_subcommand("scenarios", "List the built-in scenarios");
    const CLI::App *agent_command = add_agent_command(app, agent);
    const ChassisCommands chassis_commands(app);
    command_line::add_completion(app, {{"run", "scenario", scenario_names}, {"check", "scenario", scenario_names}});
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        return ExitNow{app.exit(success)};
    } catch (const CLI::ParseError &error) {
        return usage_error(error.what());
    }
    run.virtual_time = time == "virtual";
    if (run_command->parsed()) {
        run.events = from_here(run.events);
        run.record = from_here(run.record);
        run.report = from_here(run.report);
        run.agent = from_here(run.agent);
        return run;
    }
    if (replay_command->parsed()) {
        replay.agent = from_here(replay.agent);
        return replay;
    }
    if (boards_command->parsed()) {
        boards.agent = from_here(boards.agent);
        return boards;
    }
    if (explore_command->parsed()) {
        explore.agent = from_here(explore.agent);
        return explore;
    }
    if (soak_command->parsed()) {
        soak.agent = from_here(soak.agent);
        return soak;
    }
    if (check_command->parsed()) {
        return check;
    }
    if (example_command->parsed()) {
        return example;
    }
    if (scenarios_command->parsed()) {
        return ScenariosOptions{};
    }
    if (agent_command->parsed()) {
        return agent;
    }
    if (const auto given = chassis_commands.given()) {
        return *given;
    }
    return usage_error("a subcommand is required");
}

} // namespace chassis
