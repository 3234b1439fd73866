#include "log_files.h"

#include "line_text.h"
#include "log_folder.h"
#include "system_journal.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <sys/file.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

constexpr std::chrono::seconds kRetryAfter{1};
constexpr mode_t kSecurityMode = 0600;

// Errors are level 2, warnings 3 and debug texts 4.
int priority_of(const LogLine &line) {
    constexpr std::array<int, 5> kPriorities = {LOG_NOTICE, LOG_CRIT, LOG_ERR, LOG_WARNING, LOG_DEBUG};
    return line.level < kPriorities.size() ? kPriorities[line.level] : LOG_INFO;
}

} // namespace

LogFiles::LogFiles(LogSettings settings, LogFiles *previous) : settings_(std::move(settings)) {
    if (settings_.folder.empty()) {
        return;
    }
    if (previous != nullptr && previous->settings_.folder == settings_.folder) {
        suffix_ = previous->suffix_;
        claim_ = std::exchange(previous->claim_, -1);
        make_files();
        return;
    }
    std::filesystem::create_directories(settings_.folder);
    if (!claim_folder()) {
        suffix_.append("-").append(std::to_string(getpid()));
    }
    prune_log_folder(settings_.folder, settings_.older_files);
    make_files();
}

LogFiles::~LogFiles() {
    if (claim_ >= 0) {
        close(claim_);
    }
}

// Rotation renames files, so two processes never share them: the first one in a folder has the plain names, every
// other one writes its process id into the names.
bool LogFiles::claim_folder() {
    const std::string path = settings_.folder + "/tova.lock";
    claim_ = open_log(path.c_str(), kLogMode);
    if (claim_ < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return flock(claim_, LOCK_EX | LOCK_NB) == 0;
}

void LogFiles::make_files() {
    for (std::size_t kind = 0; kind < kLogKinds; ++kind) {
        files_[kind].file.emplace(settings_.folder + "/" + kLogFileNames[kind] + suffix_,
                                  kind == static_cast<std::size_t>(LogKind::kSecurity) ? kSecurityMode : kLogMode,
                                  RotatingFile::Bounds{settings_.file_bytes, settings_.older_files});
    }
}

bool LogFiles::write_file(const LogLine &line, std::string &error) {
    File &file = files_[static_cast<std::size_t>(line.kind)];
    if (!file.error.empty() && std::chrono::steady_clock::now() < file.retry_at) {
        error = file.error;
        return false;
    }
    try {
        file.file->write(line.line);
        file.error.clear();
        return true;
    } catch (const std::exception &failure) {
        file.retry_at = std::chrono::steady_clock::now() + kRetryAfter;
        file.error = failure.what();
        error = file.error;
        return false;
    }
}

bool LogFiles::write(const LogLine &line, std::string &error) {
    bool written = true;
    if (settings_.console && !write_all(STDERR_FILENO, line.line)) {
        error = "standard error: " + std::generic_category().message(errno);
        written = false;
    }
    if (settings_.syslog || settings_.journal) {
        const JournalEntry entry{.priority = priority_of(line),
                                 .is_private = line.kind == LogKind::kSecurity,
                                 .kind = kLogFileNames[static_cast<std::size_t>(line.kind)],
                                 .process = line.process,
                                 .text = line.text};
        if (settings_.syslog) {
            write_syslog(entry);
        }
        written = (!settings_.journal || write_journal(entry, error)) && written;
    }
    if (!settings_.folder.empty() && !write_file(line, error)) {
        written = false;
    }
    return written;
}

} // namespace host
