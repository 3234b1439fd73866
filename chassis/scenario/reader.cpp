#include "scenario/reader.h"

#include "board/board_folder.h"
#include "board/sensor_toml.h"
#include "scenario/checker.h"
#include "text.h"
#include "toml_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace chassis {

namespace {

constexpr std::uint32_t kDefaultBoards = 4;

Time time_of(double seconds) {
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

std::uint32_t number_in(const toml::table &table, const char *key, std::uint32_t fallback) {
    return static_cast<std::uint32_t>(table[key].value_or<std::int64_t>(fallback));
}

std::optional<std::uint32_t> number_in(const toml::table &table, const char *key) {
    const auto number = table[key].value<std::int64_t>();
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::string text_in(const toml::table &table, const char *key) {
    return table[key].value_or<std::string>("");
}

std::string slot_in(const toml::table &table) {
    const auto number = table["slot"].value<std::int64_t>();
    return number ? std::to_string(*number) : text_in(table, "slot");
}

template <typename Read>
void each_table(const toml::table &table, const char *key, Read read) {
    if (const toml::array *tables = table[key].as_array()) {
        for (const toml::node &node : *tables) {
            read(*node.as_table());
        }
    }
}

Value value_of(const toml::node &node) {
    if (const auto flag = node.value_exact<bool>()) {
        return *flag;
    }
    if (const auto number = node.value_exact<std::int64_t>()) {
        return *number;
    }
    return node.value_or<std::string>("");
}

struct ComparisonName {
    const char *name;
    Comparison comparison;
};

constexpr std::array kComparisons = {
    ComparisonName{"min", Comparison::kMin},
    ComparisonName{"max", Comparison::kMax},
    ComparisonName{"not", Comparison::kNot},
    ComparisonName{"contains", Comparison::kContains},
};

std::vector<Condition> conditions_of(const toml::table &where) {
    std::vector<Condition> conditions;
    for (const auto &[key, node] : where) {
        const std::string field(key.str());
        const toml::table *table = node.as_table();
        if (table == nullptr) {
            conditions.push_back({field, Comparison::kEqual, value_of(node)});
            continue;
        }
        for (const ComparisonName &row : kComparisons) {
            if (const toml::node *value = table->get(row.name)) {
                conditions.push_back({field, row.comparison, value_of(*value)});
            }
        }
    }
    return conditions;
}

Expectation expectation_of(const toml::table &table) {
    Expectation expectation;
    expectation.kind = find_event_type(text_in(table, "event"))->kind;
    expectation.slot = slot_in(table);
    if (const toml::table *where = table["where"].as_table()) {
        expectation.where = conditions_of(*where);
    }
    expectation.count = number_in(table, "count");
    expectation.at_least = number_in(table, "at_least");
    expectation.at_most = table["never"].value_or(false) ? std::optional(0U) : number_in(table, "at_most");
    expectation.every_board = table["every_board"].value_or(false);
    expectation.by = time_of(table["by"].value_or(10.0));
    expectation.text = text_in(table, "text");
    expectation.line = table.source().begin.line;
    return expectation;
}

PlannedFault fault_of(const toml::table &table) {
    PlannedFault fault;
    fault.slot = slot_in(table);
    fault.setting.kind = text_in(table, "kind");
    fault.setting.sensor = text_in(table, "sensor");
    if (const auto value = table["value"].value<std::int64_t>()) {
        fault.setting.value = static_cast<std::int32_t>(*value);
    }
    fault.at = time_of(table["at"].value_or(0.0));
    if (const auto length = table["for"].value<double>()) {
        fault.length = time_of(*length);
    }
    return fault;
}

Step step_of(const toml::table &table) {
    Step step;
    step.title = text_in(table, "title");
    if (const auto at = table["at"].value<double>()) {
        step.at = time_of(*at);
    }
    step.rest = table["rest"].value_or(false);
    step.needs_private_mount = table.contains("needs");
    if (const toml::array *lines = table["do"].as_array()) {
        for (const toml::node &line : *lines) {
            step.commands.push_back(line.value_or<std::string>(""));
        }
    }
    each_table(table, "fault", [&](const toml::table &fault) { step.faults.push_back(fault_of(fault)); });
    each_table(table, "expect",
               [&](const toml::table &expect) { step.expectations.push_back(expectation_of(expect)); });
    return step;
}

BoardPlan board_of(const toml::table &table) {
    BoardPlan board;
    board.slot = number_in(table, "slot", 1);
    board.type = number_in(table, "type", default_type(board.slot));
    const toml::array *sensors = table["sensor"].as_array();
    board.sensors = sensors != nullptr ? sensors_from(*sensors) : default_sensors(board.slot);
    return board;
}

Scenario scenario_of(const toml::table &table) {
    Scenario scenario;
    scenario.name = text_in(table, "name");
    scenario.text = text_in(table, "text");
    scenario.seconds = number_in(table, "seconds", scenario.seconds);
    scenario.seed = number_in(table, "seed", scenario.seed);
    scenario.restart = table["restart"].value_or(true);
    scenario.invariants = table["invariants"].value_or(false);
    scenario.poll = time_of(table["poll"].value_or(1.0));
    each_table(table, "board", [&](const toml::table &board) { scenario.boards.push_back(board_of(board)); });
    std::uint32_t boards = number_in(table, "boards", kDefaultBoards);
    for (const BoardPlan &board : scenario.boards) {
        boards = std::max(boards, table.contains("boards") ? boards : board.slot);
    }
    set_boards(scenario, boards);
    each_table(table, "step", [&](const toml::table &step) { scenario.steps.push_back(step_of(step)); });
    return scenario;
}

std::string file_text(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) {
        throw ScenarioError(file + ": cannot be read");
    }
    return text;
}

std::string unknown_scenario(const std::string &name) {
    std::vector<std::string> names;
    for (const BuiltinScenario &scenario : builtin_scenarios()) {
        names.emplace_back(scenario.name);
    }
    const std::string near = nearest(name, names);
    return name + ": there is no such file, and no built-in scenario of that name" +
           (near.empty() ? "" : "; did you mean " + near + "?");
}

std::string text_named(const std::string &name) {
    const auto builtins = builtin_scenarios();
    const auto found = std::ranges::find_if(builtins, [&](const auto &each) { return name == each.name; });
    if (found != builtins.end()) {
        return std::string(found->text);
    }
    std::error_code error;
    if (!std::filesystem::is_regular_file(name, error)) {
        throw ScenarioError(unknown_scenario(name));
    }
    return file_text(name);
}

} // namespace

Scenario read_scenario(std::string_view text, const std::string &file) {
    try {
        const toml::table table = parse_toml(text, file);
        const auto mistakes = check_scenario(table);
        std::vector<std::string> lines;
        for (const Mistake &mistake : mistakes) {
            lines.push_back(mistake_text(file, mistake));
        }
        if (!lines.empty()) {
            throw ScenarioError(joined(lines, "\n"));
        }
        return scenario_of(table);
    } catch (const toml::parse_error &error) {
        const auto &begin = error.source().begin;
        throw ScenarioError(mistake_text(file, {begin.line, begin.column, "", std::string(error.description())}));
    }
}

Scenario load_scenario(const std::string &name) {
    std::string text = text_named(name);
    Scenario scenario = read_scenario(text, name);
    scenario.source = std::move(text);
    return scenario;
}

} // namespace chassis
