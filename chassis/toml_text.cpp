#include "toml_text.h"

#include <algorithm>
#include <cctype>
#include <optional>

namespace chassis {
namespace {

// The position after the string that begins here. One with single quotes ends with its line at the latest, where the
// reader reports it.
std::size_t string_end(std::string_view text, std::size_t at) {
    const char quote = text[at];
    const std::string long_quote(3, quote);
    const bool is_long = text.substr(at).starts_with(long_quote);
    for (at += is_long ? 3 : 1; at < text.size(); ++at) {
        if (text[at] == '\\' && quote == '"') {
            ++at;
        } else if (is_long && text.substr(at).starts_with(long_quote)) {
            // Up to two quotes before the closing ones belong to the text.
            const std::size_t end = text.find_first_not_of(quote, at);
            return std::min({end, at + 5, text.size()});
        } else if (!is_long && (text[at] == quote || text[at] == '\n')) {
            return at + 1;
        }
    }
    return text.size();
}

bool begins_key(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-' || c == '"' || c == '\'';
}

struct Stray {
    std::size_t at;
    const char *why;
};

// The first character that the reader must not meet: outside ASCII, or where the key of a table's header begins.
std::optional<Stray> stray_character(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    std::size_t depth = 0; // of arrays and inline tables
    bool line_begins = true;
    std::size_t at = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    while (at < text.size()) {
        const char c = text[at];
        if (static_cast<unsigned char>(c) >= 0x80) {
            return Stray{at, "a character outside ASCII must be in quotes or in a comment"};
        }
        if (c == '[' && line_begins && depth == 0) {
            at += text.substr(at).starts_with("[[") ? 2 : 1;
            at = std::min(text.find_first_not_of(" \t", at), text.size());
            if (at < text.size() && text[at] != ']' && !begins_key(text[at])) {
                return Stray{at, "expected the name of a table"};
            }
            line_begins = false;
            continue;
        }
        depth += c == '[' || c == '{' ? 1 : 0;
        depth -= (c == ']' || c == '}') && depth > 0 ? 1 : 0;
        line_begins = c == '\n' || (line_begins && (c == ' ' || c == '\t' || c == '\r'));
        at = c == '#' ? text.find('\n', at) : c == '"' || c == '\'' ? string_end(text, at) : at + 1;
    }
    return std::nullopt;
}

} // namespace

toml::table parse_toml(std::string_view text, const std::string &file) {
    if (const auto stray = stray_character(text)) {
        const std::string_view before = text.substr(0, stray->at);
        const auto line = 1 + std::ranges::count(before, '\n');
        const auto column = 1 + std::ranges::count_if(before.substr(before.rfind('\n') + 1),
                                                      [](char c) { return (c & 0xC0) != 0x80; });
        throw toml::parse_error(stray->why, toml::source_position{static_cast<toml::source_index>(line),
                                                                  static_cast<toml::source_index>(column)});
    }
    return toml::parse(text, file);
}

} // namespace chassis
