// Which names and link targets of an archive stay below the folder that it is unpacked in.
#ifndef HOST_ARCHIVE_NAMES_H
#define HOST_ARCHIVE_NAMES_H

#include <set>
#include <string>
#include <string_view>

namespace host {

// Stores the name without empty parts and "." parts; empty for the destination itself. False for an absolute name and
// for one with a ".." part.
bool normal_entry_name(std::string_view name, std::string &normal);

// Whether a link of the normal name `entry` to `target` stays below the destination: relative, with ".." parts only
// in front, where they are counted against the folders above the link. After a name a ".." could leave through
// another link, so it is refused there.
bool link_stays_inside(std::string_view entry, std::string_view target);

// Whether a folder above the normal name is one of `links`.
bool lies_behind_link(std::string_view entry, const std::set<std::string, std::less<>> &links);

} // namespace host

#endif
