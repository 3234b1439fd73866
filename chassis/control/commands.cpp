#include "control/commands.h"

#include "control/command_support.h"
#include "orva_api_stub.h"
#include "orva_comm.h"
#include "table.h"
#include "text.h"
#include "wire/message_bodies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace chassis {

namespace {

constexpr double kMaxSeconds = 86400;

std::string table(Chassis &chassis, const Words &) {
    chassis.poller.round();
    return table_text(chassis.boards.all());
}

constexpr std::array kOwn = {Command{"table", "Ask every board and show the table", {}, false, table}};

std::vector<Command> all_commands() {
    std::vector<Command> all(kOwn.begin(), kOwn.end());
    for (const auto family : {tester_commands(), debug_commands(), service_commands(), fault_commands()}) {
        all.insert(all.end(), family.begin(), family.end());
    }
    return all;
}

std::optional<std::int64_t> whole_number(const std::string &word) {
    try {
        std::size_t used = 0;
        const long long value = std::stoll(word, &used, 0);
        return used == word.size() ? std::optional<std::int64_t>(value) : std::nullopt;
    } catch (const std::logic_error &) {
        return std::nullopt;
    }
}

std::optional<std::string> slot_error(const std::string &word, std::uint32_t first) {
    if (word == "first" || word == "last") {
        return std::nullopt;
    }
    const auto slot = whole_number(word);
    const bool fits = slot && *slot >= first && *slot <= kLastSlot;
    return fits ? std::nullopt
                : std::optional(word + " is not a slot, " + std::to_string(first) + " to " +
                                std::to_string(kLastSlot));
}

std::optional<std::string> number_error(const std::string &word) {
    const auto number = whole_number(word);
    if (!number) {
        return word + " is not a number";
    }
    return *number >= INT32_MIN && *number <= UINT32_MAX ? std::nullopt : std::optional(word + " is out of range");
}

std::optional<std::string> seconds_error(const std::string &word) {
    try {
        std::size_t used = 0;
        const double seconds = std::stod(word, &used);
        if (used == word.size() && std::isfinite(seconds) && seconds >= 0 && seconds <= kMaxSeconds) {
            return std::nullopt;
        }
    } catch (const std::logic_error &) {
        // not a number
    }
    return word + " is not a number of seconds, 0 to 86400";
}

std::optional<std::string> stub_error(const std::string &word) {
    std::uint32_t type = 0;
    const bool fits = word.size() < ORVA_SIMULATE_STUB_NAME && ORVA_STUB_GetStubType(word.c_str(), &type) == 1;
    return fits ? std::nullopt : std::optional("there is no stub named " + word);
}

std::optional<std::string> choice_error(const Argument &argument, const std::string &word) {
    const std::vector<std::string> names(argument.choices.begin(), argument.choices.end());
    if (std::ranges::find(names, word) != names.end()) {
        return std::nullopt;
    }
    const std::string near = nearest(word, names);
    return word + " is not one of " + joined(names, ", ") + (near.empty() ? "" : "; did you mean " + near + "?");
}

std::string usage_of(const Command &command) {
    std::string text = command.name;
    for (const Argument &argument : command.arguments) {
        text += argument.required ? std::string(" ") + argument.name : std::string(" [") + argument.name + "]";
    }
    return text;
}

std::optional<std::string> unknown_command(const Words &words) {
    std::vector<std::string> names;
    for (const Command &command : commands()) {
        names.push_back(command.name);
    }
    const std::string near = nearest(joined(words), names);
    return "there is no command " + joined(words) + (near.empty() ? "" : "; did you mean " + near + "?");
}

} // namespace

std::span<const Command> commands() {
    static const std::vector<Command> all = all_commands();
    return all;
}

const Command *find_command(const Words &words, std::size_t &used) {
    for (const Command &command : commands()) {
        const Words name = words_of(command.name);
        if (words.size() >= name.size() && std::equal(name.begin(), name.end(), words.begin())) {
            used = name.size();
            return &command;
        }
    }
    return nullptr;
}

std::optional<std::string> argument_error(const Argument &argument, const std::string &word) {
    switch (argument.type) {
    case ArgumentType::kBoard:
        return slot_error(word, 1);
    case ArgumentType::kSlot:
        return slot_error(word, 0);
    case ArgumentType::kStub:
        return stub_error(word);
    case ArgumentType::kValue:
        return stub_value(word) ? std::nullopt : std::optional(word + " is not a number");
    case ArgumentType::kNumber:
        return number_error(word);
    case ArgumentType::kSeconds:
        return seconds_error(word);
    case ArgumentType::kChoice:
        return choice_error(argument, word);
    case ArgumentType::kSensor:
        return word.empty() ? std::optional<std::string>("a sensor has a name") : std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string> command_error(const Words &words) {
    std::size_t used = 0;
    const Command *command = find_command(words, used);
    if (command == nullptr) {
        return unknown_command(words);
    }
    const std::size_t given = words.size() - used;
    const auto required = static_cast<std::size_t>(std::ranges::count(command->arguments, true, &Argument::required));
    if (given < required || given > command->arguments.size()) {
        return "expected: " + usage_of(*command);
    }
    for (std::size_t i = 0; i < given; ++i) {
        if (const auto error = argument_error(command->arguments[i], words[used + i])) {
            return std::string(command->arguments[i].name) + ": " + *error;
        }
    }
    return std::nullopt;
}

CommandResult execute(Chassis &chassis, const Words &words) {
    if (const auto error = command_error(words)) {
        return {2, *error + "\n"};
    }
    std::size_t used = 0;
    const Command *command = find_command(words, used);
    CommandResult result;
    try {
        result = {0, command->run(chassis, Words(words.begin() + static_cast<std::ptrdiff_t>(used), words.end()))};
    } catch (const std::runtime_error &error) {
        result = {1, std::string(error.what()) + "\n"};
    }
    chassis.log.add(EventKind::kAction, kNoBoard,
                    {text_field("command", joined(words)),
                     number_field("status", static_cast<std::uint64_t>(result.status)),
                     text_field("text", command->timed ? std::string() : result.text)});
    return result;
}

std::int64_t number_of(const std::string &word) {
    return std::stoll(word, nullptr, 0);
}

std::optional<std::int32_t> stub_value(const std::string &word) {
    const bool digits = !word.empty() && std::ranges::all_of(word, [](char character) {
        return ORVA_STUB_IsDigit(static_cast<std::uint8_t>(character)) == 1;
    });
    for (const int base : {10, 16}) {
        try {
            std::size_t used = 0;
            const int value = digits ? std::stoi(word, &used, base) : 0;
            if (digits && used == word.size()) {
                return value;
            }
        } catch (const std::logic_error &) {
            // not a number in this base
        }
    }
    return std::nullopt;
}

std::uint32_t word_or(const Words &words, std::size_t index, std::uint32_t fallback) {
    return index < words.size() ? static_cast<std::uint32_t>(number_of(words[index])) : fallback;
}

// The first and the last board that are online.
Board *named_board(Chassis &chassis, const std::string &slot) {
    auto &all = chassis.boards.all();
    const auto online = [](const Board &board) { return board.state == BoardState::kOnline; };
    if (slot == "first") {
        const auto found = std::ranges::find_if(all, online);
        return found != all.end() ? &*found : nullptr;
    }
    if (slot == "last") {
        const auto found = std::find_if(all.rbegin(), all.rend(), online);
        return found != all.rend() ? &*found : nullptr;
    }
    return chassis.boards.find(static_cast<std::uint32_t>(number_of(slot)));
}

Board &any_board(Chassis &chassis, const std::string &slot) {
    Board *found = named_board(chassis, slot);
    if (found == nullptr) {
        throw std::runtime_error("there is no board in slot " + slot);
    }
    return *found;
}

Board &online_board(Chassis &chassis, const std::string &slot) {
    Board *found = named_board(chassis, slot);
    if (found == nullptr || found->state != BoardState::kOnline) {
        throw std::runtime_error("no board is online in slot " + slot);
    }
    return *found;
}

Frame ask(Chassis &chassis, Board &board, const Frame &frame) {
    const auto reply = chassis.links.ask_and_wait(board, frame);
    if (!reply) {
        throw std::runtime_error(slot_text(board) + " does not answer");
    }
    const std::uint32_t code = result_code(&*reply);
    if (code != ORVA_OK) {
        throw std::runtime_error(slot_text(board) + " refuses with " + hex_text(code));
    }
    return *reply;
}

std::string slot_text(const Board &board) {
    return "slot " + std::to_string(board.slot);
}

} // namespace chassis
