// TOML from outside, made safe for its reader.
#ifndef CHASSIS_TOML_TEXT_H
#define CHASSIS_TOML_TEXT_H

#include <string>
#include <string_view>

#include <toml++/toml.h>

namespace chassis {

// Throws toml::parse_error, also for what the reader must not see.
toml::table parse_toml(std::string_view text, const std::string &file = {});

} // namespace chassis

#endif
