#include "archive_names.h"

#include <algorithm>

namespace host {

namespace {

constexpr std::string_view kParent = "..";

// Takes the next part off a name; empty parts are skipped. False at the end.
bool take_part(std::string_view &name, std::string_view &part) {
    while (name.starts_with('/')) {
        name.remove_prefix(1);
    }
    part = name.substr(0, name.find('/'));
    name.remove_prefix(part.size());
    return !part.empty();
}

} // namespace

bool normal_entry_name(std::string_view name, std::string &normal) {
    normal.clear();
    if (name.starts_with('/')) {
        return false;
    }
    std::string_view part;
    while (take_part(name, part)) {
        if (part == kParent) {
            return false;
        }
        if (part != ".") {
            normal.append(normal.empty() ? "" : "/").append(part);
        }
    }
    return true;
}

bool link_stays_inside(std::string_view entry, std::string_view target) {
    if (target.empty() || target.starts_with('/')) {
        return false;
    }
    auto folders_above = std::count(entry.begin(), entry.end(), '/');
    bool in_front = true;
    std::string_view part;
    while (take_part(target, part)) {
        if (part == kParent && (!in_front || --folders_above < 0)) {
            return false;
        }
        in_front = in_front && (part == kParent || part == ".");
    }
    return true;
}

bool lies_behind_link(std::string_view entry, const std::set<std::string, std::less<>> &links) {
    for (std::size_t at = entry.find('/'); at != std::string_view::npos; at = entry.find('/', at + 1)) {
        if (links.contains(entry.substr(0, at))) {
            return true;
        }
    }
    return false;
}

} // namespace host
