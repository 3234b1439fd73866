#include "log_lines.h"

#include <fstream>

namespace chassis {

Found find_lines(const std::filesystem::path &log, const std::string &text) {
    Found found;
    std::ifstream stream(log);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t at = line.find(text);
        if (at != std::string::npos) {
            ++found.count;
            found.last = line.substr(at);
            found.whole = line;
        }
    }
    return found;
}

std::string first_line(const std::filesystem::path &file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

} // namespace chassis
