#include "scenario/checker.h"

#include "control/commands.h"
#include "events/event.h"
#include "scenario/fields.h"
#include "scenario/meaning.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

namespace chassis {

namespace {

std::string number_text(double number) {
    return number == std::floor(number) ? std::to_string(static_cast<long long>(number)) : std::to_string(number);
}

std::string choices_text(std::span<const char *const> choices) {
    std::string text;
    for (const char *choice : choices) {
        text += (text.empty() ? "\"" : ", \"") + std::string(choice) + "\"";
    }
    return text;
}

std::string suggestion(std::string_view wrong, const std::vector<std::string> &names) {
    const std::string near = nearest(wrong, names);
    return near.empty() ? "" : "; did you mean \"" + near + "\"?";
}

std::vector<std::string> names_of(std::span<const char *const> choices) {
    return {choices.begin(), choices.end()};
}

class Checker {
public:
    void check(const toml::table &table, const TableSpec &spec, const std::string &path) {
        for (const auto &[key, node] : table) {
            const std::string name(key.str());
            const auto found = std::ranges::find_if(spec.keys, [&](const KeySpec &row) { return name == row.name; });
            if (found == spec.keys.end()) {
                add(key.source(), path + name, "there is no such key" + suggestion(name, key_names(spec)));
            } else {
                check(node, *found, path + name);
            }
        }
        for (const KeySpec &row : spec.keys) {
            if (row.required && !table.contains(row.name)) {
                add(table.source(), path + row.name, std::string("is missing; expected ") + row.help);
            }
        }
        check_event(table, path);
    }

    std::vector<Mistake> mistakes;

private:
    static std::vector<std::string> key_names(const TableSpec &spec) {
        std::vector<std::string> names;
        for (const KeySpec &row : spec.keys) {
            names.emplace_back(row.name);
        }
        return names;
    }

    void add(const toml::source_region &where, const std::string &key, const std::string &text) {
        mistakes.push_back({where.begin.line, where.begin.column, key, text});
    }

    void expect(bool fits, const toml::node &node, const std::string &path, const std::string &expected) {
        if (!fits) {
            add(node.source(), path, "expected " + expected);
        }
    }

    void check(const toml::node &node, const KeySpec &spec, const std::string &path) {
        switch (spec.type) {
        case KeyType::kText:
            return expect(node.is_string(), node, path, "a text");
        case KeyType::kFlag:
            return expect(node.is_boolean(), node, path, "true or false");
        case KeyType::kInteger:
        case KeyType::kSeconds:
            return check_number(node, spec, path);
        case KeyType::kChoice:
            return check_choice(node, spec.choices, path);
        case KeyType::kEvent:
            return check_choice(node, event_names(), path);
        case KeyType::kSlot:
            return check_slot(node, path);
        case KeyType::kCommands:
            return check_commands(node, path);
        case KeyType::kPoints:
            return check_points(node, path);
        case KeyType::kWhere:
            return expect(node.is_table(), node, path, "a table of values");
        case KeyType::kTables:
            return check_tables(node, *spec.table, path);
        }
    }

    void check_number(const toml::node &node, const KeySpec &spec, const std::string &path) {
        const bool whole = spec.type == KeyType::kInteger;
        const auto number = node.value<double>();
        const bool fits =
            (whole ? node.is_integer() : node.is_number()) && number && *number >= spec.min && *number <= spec.max;
        expect(fits, node, path,
               std::string(whole ? "a whole number" : "a number of seconds") + " from " + number_text(spec.min) +
                   " to " + number_text(spec.max));
    }

    void check_choice(const toml::node &node, std::span<const char *const> choices, const std::string &path) {
        const auto text = node.value_exact<std::string>();
        const bool fits = text && std::ranges::any_of(choices, [&](const char *each) { return *text == each; });
        expect(fits, node, path,
               "one of " + choices_text(choices) + (text ? suggestion(*text, names_of(choices)) : ""));
    }

    void check_slot(const toml::node &node, const std::string &path) {
        const auto number = node.value_exact<std::int64_t>();
        const auto text = node.value_exact<std::string>();
        const bool fits =
            (number && *number >= 1 && *number <= 30) || (text && (*text == "first" || *text == "last"));
        expect(fits, node, path, "a slot from 1 to 30, \"first\" or \"last\"");
    }

    void check_commands(const toml::node &node, const std::string &path) {
        const toml::array *lines = node.as_array();
        expect(lines != nullptr, node, path, "an array of commands");
        for (std::size_t i = 0; lines != nullptr && i < lines->size(); ++i) {
            const toml::node &line = *lines->get(i);
            const std::string at = path + "[" + std::to_string(i) + "]";
            const auto text = line.value_exact<std::string>();
            expect(text.has_value(), line, at, "a command as a text");
            const auto error = text ? command_error(words_of(*text)) : std::nullopt;
            if (error) {
                add(line.source(), at, *error);
            }
        }
    }

    void check_points(const toml::node &node, const std::string &path) {
        const toml::array *points = node.as_array();
        double last = -1;
        bool fits = points != nullptr && !points->empty();
        for (std::size_t i = 0; fits && i < points->size(); ++i) {
            const toml::array *point = points->get(i)->as_array();
            fits = point != nullptr && point->size() == 2 && point->get(0)->is_number() &&
                   point->get(1)->is_integer() && point->get(0)->value_or(0.0) > last;
            last = fits ? point->get(0)->value_or(0.0) : last;
        }
        expect(fits, node, path, "an array of [seconds, value], in the order of time");
    }

    void check_tables(const toml::node &node, const TableSpec &spec, const std::string &path) {
        const toml::array *tables = node.as_array();
        expect(tables != nullptr, node, path, std::string("an array of tables, [[") + spec.name + "]]");
        for (std::size_t i = 0; tables != nullptr && i < tables->size(); ++i) {
            const toml::table *table = tables->get(i)->as_table();
            const std::string at = path + "[" + std::to_string(i) + "]";
            expect(table != nullptr, *tables->get(i), at, "a table");
            if (table != nullptr) {
                check(*table, spec, at + ".");
            }
        }
    }

    // Values must be those of the event.
    void check_event(const toml::table &table, const std::string &path) {
        const EventType *type = find_event_type(table["event"].value_or<std::string>(""));
        const toml::table *where = table["where"].as_table();
        if (type == nullptr || where == nullptr) {
            return;
        }
        std::vector<std::string> names;
        for (const FieldType &field : type->fields) {
            names.emplace_back(field.name);
        }
        for (const auto &[key, node] : *where) {
            const FieldType *field = find_field(*type, key.str());
            const std::string at = path + "where." + std::string(key.str());
            if (field == nullptr) {
                add(key.source(), at,
                    std::string("the event \"") + type->name + "\" has no such value" + suggestion(key.str(), names));
            } else {
                check_condition(node, *field, at);
            }
        }
    }

    void check_condition(const toml::node &node, const FieldType &field, const std::string &path) {
        const toml::table *table = node.as_table();
        if (table == nullptr) {
            return check_value(node, field.type, path);
        }
        for (const auto &[key, value] : *table) {
            const std::string name(key.str());
            if (name == "min" || name == "max") {
                expect(field.type == ValueType::kNumber, node, path, "no bound, since the value is not a number");
                check_value(value, ValueType::kNumber, path + "." + name);
            } else if (name == "not") {
                check_value(value, field.type, path + "." + name);
            } else if (name == "contains") {
                check_value(value, ValueType::kText, path + "." + name);
            } else {
                add(key.source(), path + "." + name,
                    "there is no such key" + suggestion(name, {"min", "max", "not", "contains"}));
            }
        }
    }

    void check_value(const toml::node &node, ValueType type, const std::string &path) {
        if (type == ValueType::kBool) {
            expect(node.is_boolean(), node, path, "true or false");
        } else if (type == ValueType::kNumber) {
            expect(node.is_integer(), node, path, "a whole number");
        } else {
            expect(node.is_string(), node, path, "a text");
        }
    }
};

} // namespace

std::string mistake_text(const std::string &file, const Mistake &mistake) {
    const std::string key = mistake.key.empty() ? "" : mistake.key + ": ";
    return file + ":" + std::to_string(mistake.line) + ":" + std::to_string(mistake.column) + ": " + key +
           mistake.text;
}

std::vector<Mistake> check_scenario(const toml::table &table) {
    Checker checker;
    checker.check(table, scenario_spec(), "");
    if (checker.mistakes.empty()) {
        checker.mistakes = check_meaning(table);
    }
    std::ranges::stable_sort(checker.mistakes, [](const Mistake &a, const Mistake &b) {
        return a.line != b.line ? a.line < b.line : a.column < b.column;
    });
    return std::move(checker.mistakes);
}

} // namespace chassis
