#include "log_folder.h"

#include "log_files.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

namespace {

namespace fs = std::filesystem;

struct Remains {
    fs::file_time_type written = fs::file_time_type::min();
    std::vector<fs::path> files;
};

// The process that "KIND-PROCESS.log" or "KIND-PROCESS.NUMBER.log" names.
std::optional<pid_t> process_of(std::string_view name) {
    const auto kind = std::find_if(kLogFileNames.begin(), kLogFileNames.end(),
                                   [name](std::string_view file) { return name.starts_with(file); });
    if (kind == kLogFileNames.end() || !name.ends_with(".log")) {
        return std::nullopt;
    }
    name.remove_prefix(std::string_view(*kind).size());
    name.remove_suffix(std::string_view(".log").size());
    if (!name.starts_with('-')) {
        return std::nullopt;
    }
    name.remove_prefix(1);
    pid_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    const std::string_view rest(end, static_cast<std::size_t>(name.data() + name.size() - end));
    const bool numbered =
        rest.size() > 1 && rest[0] == '.' && rest.substr(1).find_first_not_of("0123456789") == std::string_view::npos;
    return error == std::errc() && process > 0 && (rest.empty() || numbered) ? std::optional(process) : std::nullopt;
}

bool is_gone(pid_t process) {
    return kill(process, 0) != 0 && errno == ESRCH;
}

} // namespace

void prune_log_folder(const std::string &folder, std::size_t kept) {
    std::map<pid_t, Remains> gone;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
        const auto process = process_of(entry.path().filename().native());
        if (process && entry.is_regular_file(error) && is_gone(*process)) {
            Remains &remains = gone[*process];
            remains.written = std::max(remains.written, entry.last_write_time(error));
            remains.files.push_back(entry.path());
        }
    }
    std::vector<const Remains *> newest_first;
    for (const auto &[process, remains] : gone) {
        newest_first.push_back(&remains);
    }
    std::sort(newest_first.begin(), newest_first.end(),
              [](const Remains *a, const Remains *b) { return a->written > b->written; });
    for (std::size_t i = kept; i < newest_first.size(); ++i) {
        for (const fs::path &file : newest_first[i]->files) {
            fs::remove(file, error);
        }
    }
}

} // namespace host
