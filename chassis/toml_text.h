// TOML from outside, made safe for its reader.
#pragma once

#include <string>
#include <string_view>

#include <toml++/toml.h>

namespace chassis {

// Throws toml::parse_error. The reader's behaviour is undefined for some characters outside ASCII where a key or a
// value is expected, so this refuses those that are in neither a string nor a comment.
toml::table parse_toml(std::string_view text, const std::string &file = {});

} // namespace chassis
