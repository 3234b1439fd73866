// What must be known of a TOML text before its reader sees it.
#ifndef HOST_TOML_PLACES_H
#define HOST_TOML_PLACES_H

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

inline bool is_outside_ascii(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

// The position after the string that begins here. A string in one quote ends at the end of its line at the latest,
// where the reader reports it.
inline std::size_t toml_string_end(std::string_view text, std::size_t at) {
    const char quote = text[at];
    const std::string three_quotes(3, quote);
    const bool is_long = text.substr(at).starts_with(three_quotes);
    for (at += is_long ? 3 : 1; at < text.size(); ++at) {
        if (text[at] == '\\' && quote == '"') {
            ++at;
        } else if (is_long && text.substr(at).starts_with(three_quotes)) {
            // Up to two quotes before the closing ones belong to the text.
            return std::min({text.find_first_not_of(quote, at), at + 5, text.size()});
        } else if (!is_long && (text[at] == quote || text[at] == '\n')) {
            return at + 1;
        }
    }
    return text.size();
}

inline bool begins_toml_key(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-' || c == '"' || c == '\'';
}

struct TomlStray {
    std::size_t at;
    const char *why;
};

// The reader's behaviour is undefined for some characters outside ASCII where a key or a value is expected, for a
// table's header without a key, and for a bracket of the wrong kind. Each dot of a key is a table inside a table,
// which it frees by calling itself: their number is bounded. This finds the first of these.
inline std::optional<TomlStray> find_toml_stray(std::string_view text) {
    std::string closers; // of the arrays and inline tables that are open
    bool line_begins = true;
    std::size_t dots = 0;
    std::size_t at = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    while (at < text.size()) {
        const char c = text[at];
        if (is_outside_ascii(c)) {
            return TomlStray{at, "a character outside ASCII must be in quotes or in a comment"};
        }
        if (c == '[' && line_begins && closers.empty()) {
            at += text.substr(at).starts_with("[[") ? 2 : 1;
            at = std::min(text.find_first_not_of(" \t", at), text.size());
            if (at < text.size() && text[at] != ']' && !begins_toml_key(text[at])) {
                return TomlStray{at, "expected the name of a table"};
            }
            line_begins = false;
            continue;
        }
        if (c == '[' || c == '{') {
            closers += c == '[' ? ']' : '}';
        } else if ((c == ']' || c == '}') && !closers.empty()) {
            if (c != closers.back()) {
                return TomlStray{at, c == ']' ? "expected '}', not ']'" : "expected ']', not '}'"};
            }
            closers.pop_back();
        }
        dots = c == '\n' ? 0 : dots + (c == '.' ? 1 : 0);
        if (dots > 100) {
            return TomlStray{at, "more than 100 dots on a line"};
        }
        line_begins = c == '\n' || (line_begins && (c == ' ' || c == '\t' || c == '\r'));
        at = c == '#' ? text.find('\n', at) : c == '"' || c == '\'' ? toml_string_end(text, at) : at + 1;
    }
    return std::nullopt;
}

} // namespace host

#endif
