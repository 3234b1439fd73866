// Reading back what the processes of a chassis wrote to their logs.
#ifndef CHASSIS_LOG_LINES_H
#define CHASSIS_LOG_LINES_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace chassis {

// How many lines of a log hold the text; of the last of them, the part that begins with it, and all of it.
struct Found {
    std::uint32_t count = 0;
    std::string last;
    std::string whole;
};

Found find_lines(const std::filesystem::path &log, const std::string &text);

// The first line of a file, empty where there is none.
std::string first_line(const std::filesystem::path &file);

} // namespace chassis

#endif
