// The model as JSON, for the page and the report, and commands of the page.
#ifndef CHASSIS_WEB_MODEL_JSON_H
#define CHASSIS_WEB_MODEL_JSON_H

#include "web/model.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace chassis {

// Everything but the courses of the sensors.
std::string snapshot_json(const Model &model);

// What has changed since that revision. At most 100 events; how many more there were is in "left_out".
std::string changes_json(const Model &model, std::uint64_t since);

// The courses of one board's sensors; nothing when there is no such board.
std::optional<std::string> history_json(const Model &model, std::int32_t slot);

// Everything, with `scenario` as text. `<` is escaped, so that it may be put into a page.
std::string report_json(const Model &model, const std::string &scenario);

// The words of {"words": ["stub", "set", ...]}, or nothing.
std::optional<std::vector<std::string>> command_words(const std::string &body);
std::string reply_json(int status, const std::string &text);

} // namespace chassis

#endif
