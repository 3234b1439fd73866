#include "log_folder.h"

#include "log_files.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <dirent.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace host {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

struct Remains {
    std::int64_t written_ns = 0;
    std::vector<std::string> files;
};

struct CloseFolder {
    void operator()(DIR *folder) const {
        closedir(folder);
    }
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
    // Not the C++ library's iterator: it ends the process when memory has run out.
    const std::unique_ptr<DIR, CloseFolder> opened(opendir(folder.c_str()));
    while (const dirent *const entry = opened ? readdir(opened.get()) : nullptr) {
        const auto process = process_of(entry->d_name);
        const std::string file = folder + "/" + entry->d_name;
        struct stat status = {};
        if (process && stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && is_gone(*process)) {
            Remains &remains = gone[*process];
            const std::int64_t written_ns = status.st_mtim.tv_sec * kNsPerSecond + status.st_mtim.tv_nsec;
            remains.written_ns = std::max(remains.written_ns, written_ns);
            remains.files.push_back(file);
        }
    }
    std::vector<const Remains *> newest_first;
    newest_first.reserve(gone.size());
    for (const auto &[process, remains] : gone) {
        newest_first.push_back(&remains);
    }
    std::sort(newest_first.begin(), newest_first.end(),
              [](const Remains *a, const Remains *b) { return a->written_ns > b->written_ns; });
    for (std::size_t i = kept; i < newest_first.size(); ++i) {
        for (const std::string &file : newest_first[i]->files) {
            unlink(file.c_str());
        }
    }
}

} // namespace host
