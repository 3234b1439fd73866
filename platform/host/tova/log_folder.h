// What a folder of log files needs that several processes share.
#ifndef HOST_LOG_FOLDER_H
#define HOST_LOG_FOLDER_H

#include <cstddef>
#include <string>

namespace host {

// Removes the files that name a process which is gone, except for those of the `kept` processes that wrote last. What
// cannot be removed stays.
void prune_log_folder(const std::string &folder, std::size_t kept);

} // namespace host

#endif
