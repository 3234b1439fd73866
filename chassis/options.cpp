#include "options.h"

#include "orva_api_stub.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace chassis {

namespace {

constexpr int kUsageStatus = 2;
constexpr const char *kAgentCommand = "agent";

void add_run_options(CLI::App &app, RunOptions &run) {
    app.add_option("--boards", run.boards, "Number of boards beside the main board")
        ->check(CLI::Range(1U, kMaxBoards))
        ->capture_default_str();
    app.add_option("--seconds", run.seconds, "How long the chassis runs, about; its steps are taken in any case")
        ->check(CLI::Range(0U, 86400U))
        ->capture_default_str();
    app.add_flag("--keep", run.keep, "Keep the temporary run folder");
    app.add_option("--kill-agent", run.kill_agent, "Kill the agent in this slot in the middle of the run")
        ->check(CLI::Range(1U, kMaxBoards));
}

CLI::App *add_agent_command(CLI::App &app, AgentOptions &agent) {
    CLI::App *command = app.add_subcommand(kAgentCommand, "Started by the management process")->group("");
    command->add_flag("--backup", agent.backup);
    command->add_option("--slot", agent.slot)->required()->check(CLI::Range(0U, kMaxBoards));
    command->add_option("--folder", agent.folder)->required();
    command->add_option("--run-folder", agent.run_folder)->required();
    command->add_option("--port", agent.port)->required();
    command->add_option("--run", agent.run)->required();
    command->add_option("--parent", agent.parent)->required();
    return command;
}

// A tester's number: decimal, or hexadecimal where it holds a hexadecimal digit. Becomes decimal.
std::string stub_value(std::string &text) {
    const bool digits = !text.empty() && std::ranges::all_of(text, [](char character) {
        return ORVA_STUB_IsDigit(static_cast<std::uint8_t>(character)) == 1;
    });
    for (const int base : {10, 16}) {
        std::size_t used = 0;
        try {
            const int value = digits ? std::stoi(text, &used, base) : 0;
            if (digits && used == text.size()) {
                text = std::to_string(value);
                return {};
            }
        } catch (const std::logic_error &) {
            // no number in this base
        }
    }
    return text + " is no number";
}

std::string stub_name(std::string &text) {
    std::uint32_t type = 0;
    return ORVA_STUB_GetStubType(text.c_str(), &type) == 1 ? std::string() : "there is no stub named " + text;
}

// The words of one command: each positional argument is checked where it is added and stands in the order of adding.
class CommandBuilder {
public:
    CommandBuilder(CLI::App &parent, const std::string &name, const std::string &help)
        : command_(parent.add_subcommand(name, help)) {
        command_->fallthrough();
    }

    CommandBuilder &word(const std::string &name, const std::string &help, const CLI::Validator &check,
                         bool required = true) {
        values_.push_back(std::make_unique<std::string>());
        command_->add_option(name, *values_.back(), help)->required(required)->transform(check);
        return *this;
    }

    bool parsed() const {
        return command_->parsed();
    }

    std::vector<std::string> words() const {
        std::vector<std::string> all;
        for (const CLI::App *app = command_; app->get_parent() != nullptr; app = app->get_parent()) {
            all.insert(all.begin(), app->get_name());
        }
        for (const auto &value : values_) {
            if (!value->empty()) {
                all.push_back(*value);
            }
        }
        return all;
    }

private:
    CLI::App *command_;
    std::vector<std::unique_ptr<std::string>> values_;
};

using Commands = std::vector<CommandBuilder>;

// Decimal, or hexadecimal with 0x in front.
std::string any_number(std::string &text) {
    try {
        std::size_t used = 0;
        const bool in_range = std::stoll(text, &used, 0) >= 0 && std::stoll(text, nullptr, 0) <= 0xFFFFFFFFLL;
        return in_range && used == text.size() ? std::string() : text + " is out of range";
    } catch (const std::logic_error &) {
        return text + " is no number";
    }
}

const CLI::Validator kAnyNumber(any_number, "NUMBER");
const CLI::Validator kStubValue(stub_value, "NUMBER");
const CLI::Validator kStubName(stub_name, "STUB");

CLI::App *family(CLI::App &app, const std::string &name, const std::string &help) {
    CLI::App *command = app.add_subcommand(name, help);
    command->require_subcommand(1)->fallthrough();
    return command;
}

void add_stub_commands(CLI::App &app, Commands &commands) {
    const CLI::Range slot(1U, kMaxBoards);
    CLI::App &stub = *family(app, "stub", "Stub values of a running chassis's board");
    commands.emplace_back(stub, "set", "Set a stub")
        .word("slot", "Slot of the board", slot)
        .word("name", "Name of the stub, or slot_sensor_name", kStubName)
        .word("value", "Its value", kStubValue);
    commands.emplace_back(stub, "list", "Show what is set").word("slot", "Slot of the board", slot);
    commands.emplace_back(stub, "clear", "Take one stub back, or all")
        .word("slot", "Slot of the board", slot)
        .word("name", "Name of the stub", kStubName, false);
}

void add_sensor_commands(CLI::App &app, Commands &commands) {
    const CLI::Range slot(1U, kMaxBoards);
    const CLI::IsMember names({"inlet", "outlet", "processor", "12V", "3V3", "1V0"});
    CLI::App &sensor = *family(app, "sensor", "Simulated sensors of a running chassis's board");
    commands.emplace_back(sensor, "set", "Simulate a sensor")
        .word("slot", "Slot of the board", slot)
        .word("sensor", "Name of the sensor", names)
        .word("value", "Tenths of a degree Celsius, or millivolts", kStubValue);
    commands.emplace_back(sensor, "list", "Show what is simulated").word("slot", "Slot of the board", slot);
    commands.emplace_back(sensor, "clear", "Stop simulating one sensor, or all")
        .word("slot", "Slot of the board", slot)
        .word("sensor", "Name of the sensor", names, false);
}

void add_online_commands(CLI::App &app, Commands &commands) {
    const CLI::Range slot(1U, kMaxBoards);
    const CLI::Range any_slot(0U, kMaxBoards);
    CLI::App &online = *family(app, "online", "Online pairs of a running chassis's board");
    commands.emplace_back(online, "set", "Say that a board is online (1) or not (0)")
        .word("slot", "Slot of the board that is told", slot)
        .word("board", "Slot of the board that it is about", any_slot)
        .word("state", "0 or 1", CLI::Range(0, 1));
    commands.emplace_back(online, "list", "Show the pairs").word("slot", "Slot of the board", slot);
    commands.emplace_back(online, "clear", "Take one pair back, or all")
        .word("slot", "Slot of the board", slot)
        .word("board", "Slot of the board that it is about", any_slot, false);
}

void add_debug_commands(CLI::App &app, Commands &commands) {
    const CLI::Range slot(0U, kMaxBoards);
    const CLI::IsMember buses({"udp", "south", "ipmb", "rs485", "can"});
    CLI::App &debug =
        *family(app, "debug", "Debug switches of a running chassis's process; slot 0 is the main board");
    CLI::App &log = *family(debug, "log", "Send debug texts to the interface manager");
    CLI::App &packet = *family(debug, "packet", "Send packet dumps to the interface manager");
    for (const char *state : {"on", "off"}) {
        commands.emplace_back(log, state, "Switch the log switch " + std::string(state))
            .word("slot", "Slot of the process", slot)
            .word("modules", "Mask of modules (default 0x10000)", kAnyNumber, false)
            .word("log-slot", "Slot kept with the switch", kAnyNumber, false);
        commands.emplace_back(packet, state, "Switch a packet switch " + std::string(state))
            .word("slot", "Slot of the process", slot)
            .word("bus", "Bus", buses)
            .word("netfn", "Network function (default 0x20, all)", kAnyNumber, false)
            .word("command", "Command (default 0xFF, all)", kAnyNumber, false);
    }
}

ExitNow usage_error(const std::string &message) {
    std::cerr << "orva-chassis: " << message << "\nRun with --help for more information.\n";
    return {kUsageStatus};
}

// Options of a run mean nothing to a command.
std::string stray_option(const CLI::App &app) {
    for (const char *name : {"--boards", "--seconds", "--keep", "--kill-agent"}) {
        if (app.count(name) != 0) {
            return name;
        }
    }
    return {};
}

} // namespace

Options read_options(int argc, char **argv) {
    CLI::App app(
        "A chassis on one machine: a management process asks the agents of its boards and shows the answers.",
        "orva-chassis");
    RunOptions run;
    AgentOptions agent;
    Commands commands;
    add_run_options(app, run);
    app.add_option("--run-dir", run.run_dir,
                   "Folder of a run, absent or empty (default: a fresh temporary one); for a command, that of the "
                   "chassis it is for");
    const CLI::App *agent_command = add_agent_command(app, agent);
    commands.emplace_back(app, "table", "Show a running chassis's table");
    add_stub_commands(app, commands);
    add_sensor_commands(app, commands);
    add_online_commands(app, commands);
    add_debug_commands(app, commands);
    app.require_subcommand(0, 1);
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
    for (const CommandBuilder &command : commands) {
        if (!command.parsed()) {
            continue;
        }
        const std::string stray = stray_option(app);
        return stray.empty() ? Options(CommandOptions{run.run_dir, command.words()})
                             : Options(usage_error(stray + " is no option of a command"));
    }
    if (run.kill_agent > run.boards) {
        return usage_error("--kill-agent: there is no board in slot " + std::to_string(run.kill_agent));
    }
    return run;
}

} // namespace chassis
