// Reading a board description: TOML into the record, every name and type checked, every fault reported with its file,
// line and key.
#include "board_description.h"

#include "toml_places.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <span>
#include <string>
#include <system_error>
#include <unistd.h>

// The parser asserts conditions that some faulty descriptions break, such as "[%]" and "a = [}", and then reports
// those faults properly. As assertions they would end the process, as assumptions mislead the optimiser: here they
// are neither.
#undef NDEBUG
#ifndef TOML_ASSERT
#define TOML_ASSERT(condition) static_cast<void>(0)
#endif
// Without them the parser ends the process when memory has run out.
#define TOML_EXCEPTIONS 1
// The reader calls itself for each value inside a value, and a query may run on a small stack.
#define TOML_MAX_NESTED_VALUES 8
#include <toml++/toml.h>

namespace host {

namespace {

constexpr std::int64_t kMaxWord = 0xFFFFFFFF;
constexpr std::size_t kShownKeyBytes = 40; // of a key with too many parts
constexpr std::size_t kMaxFaults = 1000;

// One reading. A reader goes on after a fault, to find the others.
struct Reading {
    const std::string &name;
    std::vector<Fault> &faults;
    BoardDescription board;

    bool fault(const toml::source_region &where, std::string_view table, std::string_view key,
               std::string_view reason) {
        std::string text = name + ":" + std::to_string(where.begin.line) + ": ";
        if (!table.empty()) {
            text.append("[").append(table).append("] ");
        }
        if (!key.empty()) {
            text.append(key).append(": ");
        }
        text.append(reason);
        if (faults.size() < kMaxFaults) {
            faults.push_back({where.begin.line, std::move(text)});
        }
        return false;
    }
};

std::string_view type_name(const toml::node &node) {
    switch (node.type()) {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "an array";
    case toml::node_type::string:
        return "a string";
    case toml::node_type::integer:
        return "an integer";
    case toml::node_type::floating_point:
        return "a floating-point number";
    case toml::node_type::boolean:
        return "a boolean";
    default:
        return "a date or time";
    }
}

bool wrong_type(Reading &reading, const toml::node &node, std::string_view table, std::string_view key,
                const std::string &expected) {
    return reading.fault(node.source(), table, key,
                         "expected " + expected + ", found " + std::string(type_name(node)));
}

bool only_known_keys(Reading &reading, const toml::table &table, std::string_view name,
                     std::span<const std::string_view> known) {
    bool known_all = true;
    for (const auto &[key, node] : table) {
        if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
            known_all = reading.fault(key.source(), name, key.str(), "unknown key");
        }
    }
    return known_all;
}

// A number from `low` to `high`; `value` stays as it was when the key is absent and not required.
bool read_word(Reading &reading, const toml::table &table, std::string_view name, std::string_view key,
               std::int64_t low, std::int64_t high, bool required, std::uint32_t &value) {
    const toml::node *node = table.get(key);
    if (node == nullptr) {
        return !required || reading.fault(table.source(), name, key, "missing");
    }
    const auto *number = node->as_integer();
    if (number == nullptr) {
        return wrong_type(reading, *node, name, key, "an integer");
    }
    if (number->get() < low || number->get() > high) {
        return reading.fault(node->source(), name, key,
                             "must be from " + std::to_string(low) + " to " + std::to_string(high));
    }
    value = static_cast<std::uint32_t>(number->get());
    return true;
}

bool has_control_character(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

bool read_board_table(Reading &reading, const toml::table &table) {
    constexpr std::array<std::string_view, 2> kKeys = {"slot", "type"};
    constexpr std::string_view kName = "board";
    bool good = only_known_keys(reading, table, kName, kKeys);
    const toml::node *slot = table.get("slot");
    if (slot != nullptr && slot->is_string()) {
        if (slot->as_string()->get() != "none") {
            good = reading.fault(slot->source(), kName, "slot", "must be a number or \"none\"");
        }
    } else {
        std::uint32_t number = 0;
        if (read_word(reading, table, kName, "slot", 0, kMaxSlot, true, number)) {
            reading.board.slot = number;
        } else {
            good = false;
        }
    }
    return read_word(reading, table, kName, "type", 0, kMaxWord, true, reading.board.type) && good;
}

bool read_chassis_table(Reading &reading, const toml::table &table) {
    constexpr std::array<std::string_view, 1> kKeys = {"type"};
    const bool known = only_known_keys(reading, table, "chassis", kKeys);
    return read_word(reading, table, "chassis", "type", 0, kMaxWord, true, reading.board.chassis_type) && known;
}

bool read_environment_table(Reading &reading, const toml::table &table) {
    constexpr std::string_view kName = "environment";
    bool good = true;
    for (const auto &[key, node] : table) {
        if (const auto *number = node.as_integer()) {
            reading.board.environment.emplace(key.str(), std::to_string(number->get()));
        } else if (const auto *text = node.as_string()) {
            if (has_control_character(text->get())) {
                good = reading.fault(node.source(), kName, key.str(), "holds a control character");
            }
            reading.board.environment.emplace(key.str(), text->get());
        } else {
            good = wrong_type(reading, node, kName, key.str(), "a string or an integer");
        }
    }
    return good;
}

bool read_fail_table(Reading &reading, const toml::table &table) {
    constexpr std::array<std::string_view, 5> kKeys = {"slot", "board_type", "backplane_type", "environment",
                                                       "elabel"};
    ForcedFailures &fail = reading.board.fail;
    const std::array<std::uint32_t *, 5> codes = {&fail.slot, &fail.board_type, &fail.backplane_type,
                                                  &fail.environment, &fail.elabel};
    bool good = only_known_keys(reading, table, "fail", kKeys);
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        good = read_word(reading, table, "fail", kKeys[i], 1, kMaxWord, false, *codes[i]) && good;
    }
    return good;
}

bool read_other_board(Reading &reading, const toml::table &table) {
    constexpr std::array<std::string_view, 2> kKeys = {"slot", "type"};
    constexpr std::string_view kName = "other_board";
    std::uint32_t slot = 0;
    std::uint32_t type = 0;
    const bool known = only_known_keys(reading, table, kName, kKeys);
    const bool has_slot = read_word(reading, table, kName, "slot", 0, kMaxSlot, true, slot);
    if (!read_word(reading, table, kName, "type", 0, kMaxWord, true, type) || !has_slot || !known) {
        return false;
    }
    if (reading.board.slot == slot) {
        return reading.fault(table.get("slot")->source(), kName, "slot", "is the own board's");
    }
    return reading.board.other_boards.emplace(slot, type).second ||
           reading.fault(table.get("slot")->source(), kName, "slot", "the slot is described twice");
}

bool read_line_end(Reading &reading, const toml::table &table, std::string_view &line_end) {
    const toml::node *node = table.get("line_end");
    if (node == nullptr) {
        return true;
    }
    if (!node->is_string()) {
        return wrong_type(reading, *node, "elabel", "line_end", "a string");
    }
    const std::string &kind = node->as_string()->get();
    line_end = kind == "crlf" ? "\r\n" : "\n";
    return kind == "lf" || kind == "crlf" ||
           reading.fault(node->source(), "elabel", "line_end", "must be \"lf\" or \"crlf\"");
}

bool append_label_line(Reading &reading, const toml::node &node, std::string_view line_end, std::string &text) {
    const auto *line = node.as_string();
    if (line == nullptr) {
        return wrong_type(reading, node, "elabel", "lines", "a string");
    }
    if (has_control_character(line->get())) {
        return reading.fault(node.source(), "elabel", "lines", "holds a control character");
    }
    if (line->get().find('=') == std::string::npos || line->get().front() == '=') {
        return reading.fault(node.source(), "elabel", "lines", "must be key=value");
    }
    text.append(line->get()).append(line_end);
    return true;
}

bool read_elabel(Reading &reading, const toml::table &table) {
    constexpr std::array<std::string_view, 4> kKeys = {"slot", "index", "line_end", "lines"};
    constexpr std::string_view kName = "elabel";
    std::uint32_t slot = kOwnBoard;
    std::uint32_t index = 0;
    std::string_view line_end = "\n";
    const std::size_t faults_before = reading.faults.size();
    only_known_keys(reading, table, kName, kKeys);
    read_word(reading, table, kName, "slot", 0, kMaxSlot, false, slot);
    read_word(reading, table, kName, "index", 0, kMaxWord, false, index);
    read_line_end(reading, table, line_end);
    const toml::node *lines = table.get("lines");
    if (lines == nullptr) {
        return reading.fault(table.source(), kName, "lines", "missing");
    }
    if (!lines->is_array()) {
        return wrong_type(reading, *lines, kName, "lines", "an array of strings");
    }
    std::string text;
    for (const toml::node &line : *lines->as_array()) {
        append_label_line(reading, line, line_end, text);
    }
    if (reading.faults.size() != faults_before) {
        return false;
    }
    // The own board's labels are found under one number, however they are described.
    const std::uint32_t place = reading.board.slot == slot ? kOwnBoard : slot;
    return reading.board.labels.emplace(std::pair(place, index), std::move(text)).second ||
           reading.fault(table.source(), kName, "index", "the label is described twice");
}

using ReadTable = bool (*)(Reading &, const toml::table &);

bool read_table(Reading &reading, const toml::table &root, std::string_view name, bool required, ReadTable read) {
    const toml::node *node = root.get(name);
    if (node == nullptr) {
        return !required || reading.fault(root.source(), name, "", "missing");
    }
    const toml::table *table = node->as_table();
    return table != nullptr ? read(reading, *table) : wrong_type(reading, *node, "", name, "a table");
}

bool read_tables(Reading &reading, const toml::table &root, std::string_view name, ReadTable read) {
    const toml::node *node = root.get(name);
    if (node == nullptr) {
        return true;
    }
    const toml::array *array = node->as_array();
    if (array == nullptr) {
        return wrong_type(reading, *node, "", name, "an array of tables");
    }
    bool good = true;
    for (const toml::node &element : *array) {
        const toml::table *table = element.as_table();
        good = (table != nullptr ? read(reading, *table) : wrong_type(reading, element, "", name, "a table")) && good;
    }
    return good;
}

void read_description_tables(Reading &reading, const toml::table &root) {
    constexpr std::array<std::string_view, 6> kTables = {"board", "chassis", "environment",
                                                         "fail",  "elabel",  "other_board"};
    only_known_keys(reading, root, "", kTables);
    read_table(reading, root, "board", true, read_board_table);
    read_table(reading, root, "chassis", true, read_chassis_table);
    read_table(reading, root, "environment", false, read_environment_table);
    read_table(reading, root, "fail", false, read_fail_table);
    read_tables(reading, root, "other_board", read_other_board);
    read_tables(reading, root, "elabel", read_elabel);
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// The text before the first '=' of a line: the key that a syntax error belongs to.
std::string_view key_on_line(std::string_view text, std::size_t line) {
    for (std::size_t current = 1; current < line; ++current) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            return {};
        }
        text.remove_prefix(end + 1);
    }
    text = text.substr(0, text.find('\n'));
    const std::size_t equals = text.find('=');
    return equals == std::string_view::npos ? std::string_view{} : trimmed(text.substr(0, equals));
}

// The text without a byte-order mark, and with a question mark for each byte outside ASCII in a comment.
std::string with_plain_comments(std::string_view text) {
    if (text.starts_with(host::kByteOrderMark)) {
        text.remove_prefix(host::kByteOrderMark.size());
    }
    std::string plain(text);
    for (std::size_t at = 0; at < plain.size();) {
        const char c = plain[at];
        if (c == '#') {
            const std::size_t end = std::min(plain.find('\n', at), plain.size());
            std::replace_if(plain.begin() + static_cast<std::ptrdiff_t>(at),
                            plain.begin() + static_cast<std::ptrdiff_t>(end), host::is_outside_ascii, '?');
            at = end;
        } else {
            at = c == '"' || c == '\'' ? host::toml_string_end(plain, at) : at + 1;
        }
    }
    return plain;
}

// Stricter than the reader needs: texts hold such characters as escapes.
bool only_ascii(Reading &reading, std::string_view text) {
    const auto found = std::find_if(text.begin(), text.end(), host::is_outside_ascii);
    if (found == text.end()) {
        return true;
    }
    const auto line = static_cast<std::size_t>(std::count(text.begin(), found, '\n')) + 1;
    toml::source_region where;
    where.begin.line = static_cast<toml::source_index>(line);
    return reading.fault(where, "", key_on_line(text, line),
                         "a byte outside ASCII; a text holds such a character as an escape");
}

bool only_what_is_read(Reading &reading, std::string_view text) {
    const auto stray = host::find_toml_stray(text);
    if (!stray) {
        return true;
    }
    const auto before = text.substr(0, stray->at);
    const auto line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
    toml::source_region where;
    where.begin.line = static_cast<toml::source_index>(line);
    return reading.fault(where, "", key_on_line(text, line).substr(0, kShownKeyBytes), stray->why);
}

} // namespace

std::optional<BoardDescription> parse_board(std::string_view given, const std::string &name,
                                            std::vector<Fault> &faults) {
    faults.clear();
    Reading reading{name, faults, {}};
    const std::string text = with_plain_comments(given);
    if (!only_ascii(reading, text) || !only_what_is_read(reading, text)) {
        return std::nullopt;
    }
    try {
        // Without the name: the parser keeps it where it must not throw, so it would end the process without memory.
        read_description_tables(reading, toml::parse(text));
    } catch (const toml::parse_error &found) {
        reading.fault(found.source(), "", key_on_line(text, found.source().begin.line), found.description());
        return std::nullopt;
    }
    if (!faults.empty()) {
        return std::nullopt;
    }
    return std::move(reading.board);
}

std::optional<BoardDescription> parse_board(std::string_view text, const std::string &name, std::string &error) {
    std::vector<Fault> faults;
    auto board = parse_board(text, name, faults);
    error = faults.empty() ? "" : faults.front().text;
    return board;
}

std::optional<std::string> read_description(const std::string &path, std::string &error) {
    // Not blocking: a named pipe must not hold its reader up.
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::string text(kMaxDescriptionBytes + 1, '\0');
    std::size_t length = 0;
    ssize_t count = fd < 0 ? -1 : 1;
    while (count > 0 && length < text.size()) {
        count = read(fd, text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR) {
            count = 1;
        } else if (count > 0) {
            length += static_cast<std::size_t>(count);
        }
    }
    if (count < 0) {
        error = path + ": cannot be read: " + std::generic_category().message(errno);
    }
    if (fd >= 0) {
        close(fd);
    }
    if (count < 0) {
        return std::nullopt;
    }
    if (length > kMaxDescriptionBytes) {
        error = path + ": longer than " + std::to_string(kMaxDescriptionBytes) + " bytes";
        return std::nullopt;
    }
    text.resize(length);
    return text;
}

} // namespace host
