#include "completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>
#include <utility>

namespace command_line {

namespace {

// What an argument takes.
struct Values {
    std::vector<std::string> words;
    bool files = false;
};

struct Row {
    std::string command;                                          // its words
    std::vector<std::pair<std::string, std::string>> subcommands; // name and help
    std::vector<std::pair<std::string, std::string>> options;
    std::vector<std::pair<std::string, Values>> values; // of options
    std::vector<std::string> many;                      // options that take several
    std::vector<Values> positionals;
    bool repeats = false; // the last positional
};

// The first line, short enough for a list.
std::string short_help(std::string text) {
    text.resize(std::min(text.find('\n'), text.size()));
    const std::size_t end = text.find_first_of(";.(");
    if (end != std::string::npos && end > 10) {
        text.resize(end);
    }
    return text;
}

// In single quotes, which both shells read alike.
std::string in_quotes(std::string_view text) {
    std::string out = "'";
    for (const char letter : text) {
        out += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return out + "'";
}

// "{udp,ipmb}" in a type's name.
std::vector<std::string> choices_in(const std::string &type) {
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}', std::min(open, type.size()));
    std::vector<std::string> words;
    if (close == std::string::npos) {
        return words;
    }
    std::istringstream list(type.substr(open + 1, close - open - 1));
    for (std::string word; std::getline(list, word, ',');) {
        words.push_back(word);
    }
    return words;
}

bool says(const std::string &text, std::string_view word) {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), same) != text.end();
}

bool takes_files(const CLI::Option &option) {
    const std::string &type = option.get_type_name();
    if (type.find("FILE") != std::string::npos || type.find("DIR") != std::string::npos ||
        type.find("PATH") != std::string::npos) {
        return true;
    }
    const std::string name = option.get_name(true);
    const bool is_text = type.starts_with("TEXT") || type == "LIB";
    return is_text &&
           (says(name, "FILE") || says(option.get_description(), "file") ||
            says(option.get_description(), "folder") || says(option.get_description(), "librar") || name == "LOG");
}

class Collector {
public:
    explicit Collector(const std::vector<Hint> &hints) : hints_(hints) {}

    void add(const CLI::App &app, const std::string &command, std::vector<const CLI::App *> parents) {
        Row row{command, {}, {}, {}, {}, {}};
        parents.push_back(&app);
        for (std::size_t i = parents.size(); i-- > 0;) { // its own options, and those that fall through to parents
            add_options(*parents[i], row, i + 1 == parents.size());
            if (!parents[i]->get_fallthrough()) {
                break;
            }
        }
        std::vector<std::pair<const CLI::App *, std::string>> nested;
        for (const CLI::App *const each : app.get_subcommands([](const CLI::App *) { return true; })) {
            if (!each->get_group().empty() && !each->get_name().empty()) {
                row.subcommands.emplace_back(each->get_name(), short_help(each->get_description()));
                nested.emplace_back(each, command + (command.empty() ? "" : " ") + each->get_name());
            }
        }
        rows_.push_back(std::move(row));
        for (const auto &[each, name] : nested) {
            add(*each, name, parents);
        }
    }

    const std::vector<Row> &rows() const {
        return rows_;
    }

private:
    Values values_of(const CLI::Option &option, const std::string &command, const std::string &name) const {
        Values values{choices_in(option.get_type_name()), false};
        for (const Hint &hint : hints_) {
            if (hint.command == command && hint.argument == name) {
                const std::vector<std::string> words = hint.words();
                values.words.insert(values.words.end(), words.begin(), words.end());
            }
        }
        values.files = takes_files(option);
        return values;
    }

    void add_options(const CLI::App &app, Row &row, bool own) const {
        for (const CLI::Option *const option : app.get_options([](const CLI::Option *) { return true; })) {
            if (option->get_positional() && option->get_lnames().empty() && option->get_snames().empty()) {
                if (own) {
                    row.positionals.push_back(values_of(*option, row.command, option->get_name(true)));
                    row.repeats = option->get_items_expected_max() > 1;
                }
                continue;
            }
            if (option->get_group().empty()) {
                continue;
            }
            for (const std::string &name : option->get_lnames()) {
                add_option(*option, "--" + name, row);
            }
            for (const std::string &name : option->get_snames()) {
                add_option(*option, "-" + name, row);
            }
        }
    }

    void add_option(const CLI::Option &option, const std::string &name, Row &row) const {
        row.options.emplace_back(name, short_help(option.get_description()));
        if (option.get_items_expected_max() == 0) {
            return;
        }
        row.values.emplace_back(name, values_of(option, row.command, name));
        if (option.get_items_expected_max() > 1 && option.get_allow_extra_args()) {
            row.many.push_back(name);
        }
    }

    const std::vector<Hint> &hints_;
    std::vector<Row> rows_;
};

// ---- The script: tables that both shells read, and for each shell the code that walks them

void write_names(std::ostream &out, const char *array,
                 const std::vector<std::pair<std::string, std::string>> &names) {
    out << "        " << array << "=(";
    for (const auto &[name, help] : names) {
        out << "\n            " << in_quotes(std::string(name).append(":").append(help));
    }
    out << ")\n";
}

void write_commands(std::ostream &out, const std::string &function, const std::vector<Row> &rows) {
    out << "# What may follow the words of a command.\n"
        << function << "_command() {\n    subcommands=() flags=()\n    case $1 in\n";
    for (const Row &row : rows) {
        out << "    " << in_quotes(row.command) << ")\n";
        write_names(out, "subcommands", row.subcommands);
        write_names(out, "flags", row.options);
        out << "        ;;\n";
    }
    out << "    esac\n}\n\n";
}

void write_values(std::ostream &out, const std::string &pattern, const Values &values, bool many) {
    out << "    " << pattern << ") values=(";
    for (const std::string &word : values.words) {
        out << ' ' << in_quotes(word);
    }
    out << " )" << (values.files ? " files=1" : "") << (many ? " many=1" : "") << " ;;\n";
}

void write_arguments(std::ostream &out, const std::string &function, const std::vector<Row> &rows) {
    out << "# What an option of a command takes, or its n-th word. Status 1: nothing.\n"
        << function << "_value() {\n    values=() files= many=\n    case \"$1|$2\" in\n";
    for (const Row &row : rows) {
        for (const auto &[name, values] : row.values) {
            const bool many = std::ranges::find(row.many, name) != row.many.end();
            write_values(out, in_quotes(row.command + '|' + name), values, many);
        }
        for (std::size_t i = 0; i < row.positionals.size(); ++i) {
            const bool last = i + 1 == row.positionals.size() && row.repeats;
            const std::string place = row.command + '|' + (last ? "" : std::to_string(i + 1));
            write_values(out, in_quotes(place) + (last ? "[0-9]*" : ""), row.positionals[i], false);
        }
    }
    out << "    *) return 1 ;;\n    esac\n}\n\n";
}

// Replaces NAME by the function and PROGRAM by the program.
std::string filled(std::string_view text, const std::string &function, const std::string &program) {
    std::string out(text);
    for (const auto &[mark, name] : {std::pair<std::string, std::string>{"NAME", function}, {"PROGRAM", program}}) {
        for (std::size_t at = out.find(mark); at != std::string::npos; at = out.find(mark, at + name.size())) {
            out.replace(at, mark.size(), name);
        }
    }
    return out;
}

constexpr std::string_view kWalk = R"sh(# Goes over the words before the one that is completed.
NAME_walk() {
    local word each
    chain= option= place=0
    for word in "$@"; do
        if [[ $word == '=' ]]; then
            continue
        fi
        if [[ -n $option && $word != -* ]]; then
            [[ -n $many ]] || option=
            continue
        fi
        option=
        if [[ $word == -* ]]; then
            if [[ $word != *=* ]] && NAME_value "$chain" "$word"; then
                option=$word
            fi
            continue
        fi
        NAME_command "$chain"
        for each in "${subcommands[@]}"; do
            if [[ ${each%%:*} == "$word" ]]; then
                chain="${chain:+$chain }$word"
                word=
                break
            fi
        done
        [[ -z $word ]] || place=$((place + 1))
    done
}

)sh";

constexpr std::string_view kBash = R"sh(NAME() {
    local chain option place files many cur=${COMP_WORDS[COMP_CWORD]}
    local -a subcommands flags values
    NAME_walk "${COMP_WORDS[@]:1:COMP_CWORD-1}"
    [[ $cur != '=' ]] || cur=
    COMPREPLY=()
    NAME_command "$chain"
    if [[ -n $option ]]; then
        NAME_value "$chain" "$option"
    elif [[ $cur == -* ]]; then
        values=("${flags[@]%%:*}") files=
    else
        NAME_value "$chain" "$((place + 1))"
        values+=("${subcommands[@]%%:*}")
    fi
    mapfile -t COMPREPLY < <(IFS=$'\n'; compgen -W "${values[*]}" -- "$cur")
    if [[ -n $files ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$cur")
    fi
}

complete -F NAME PROGRAM
)sh";

constexpr std::string_view kZsh = R"sh(NAME() {
    local chain option place files many
    local -a subcommands flags values
    NAME_walk "${(@)words[2,CURRENT-1]}"
    NAME_command "$chain"
    if [[ $PREFIX == --*=* ]]; then
        option=${PREFIX%%=*}
        compset -P '*='
    fi
    if [[ -n $option ]]; then
        NAME_value "$chain" "$option"
    elif [[ $PREFIX == -* ]]; then
        _describe -o option flags
        return
    else
        NAME_value "$chain" "$((place + 1))"
        (( ! ${#subcommands} )) || _describe command subcommands
    fi
    (( ! ${#values} )) || compadd -a values
    [[ -z $files ]] || _files
}

compdef NAME PROGRAM
)sh";

std::string completion(const CLI::App &app, const std::string &shell, const std::vector<Hint> &hints) {
    Collector collector(hints);
    collector.add(app, "", {});
    const std::string &program = app.get_name();
    std::string function = "_" + program;
    std::ranges::replace(function, '-', '_');
    std::ostringstream out;
    out << "# Completion of " << program << " for " << shell << ", made by " << program << " --completion " << shell
        << ".\n\n";
    write_commands(out, function, collector.rows());
    write_arguments(out, function, collector.rows());
    out << filled(kWalk, function, program) << filled(shell == "zsh" ? kZsh : kBash, function, program);
    std::string text = out.str();
    text.pop_back(); // the parser's caller ends the line
    return text;
}

} // namespace

void add_completion(CLI::App &app, std::vector<Hint> hints) {
    const auto print = [&app, hints = std::move(hints)](const std::string &shell) {
        throw CLI::CallForVersion(completion(app, shell, hints), CLI::ExitCodes::Success);
    };
    app.add_option_function<std::string>("--completion", print, "Print the completion for a shell and end")
        ->check(CLI::IsMember({"bash", "zsh"}))
        ->type_name("SHELL")
        ->trigger_on_parse();
}

} // namespace command_line
