#include "toml_text.h"

#include "toml_places.h"

#include <algorithm>

namespace chassis {

toml::table parse_toml(std::string_view text, const std::string &file) {
    if (const auto stray = host::find_toml_stray(text)) {
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
