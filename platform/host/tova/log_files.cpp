#include "log_files.h"

#include "line_text.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

constexpr std::array<const char *, kLogKinds> kFileNames = {"process", "diagnostic", "security", "lifecycle",
                                                            "system"};
constexpr std::chrono::seconds kRetryAfter{1};

// A process that died, or a disk that was full, in the middle of a line leaves one without its end.
bool ends_inside_a_line(const spdlog::filename_t &path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct stat about {};
    char last = '\n';
    if (fstat(fd, &about) == 0 && S_ISREG(about.st_mode) && about.st_size > 0) {
        (void)!pread(fd, &last, 1, about.st_size - 1);
    }
    close(fd);
    return last != '\n';
}

// Unbuffered, so that each record is one write whose failure is seen at once.
void prepare_opened_file(const spdlog::filename_t &path, std::FILE *file) {
    std::setvbuf(file, nullptr, _IONBF, 0);
    fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
    if (ends_inside_a_line(path)) {
        std::fputc('\n', file);
    }
}

} // namespace

LogFiles::LogFiles(LogSettings settings, LogFiles *previous) : settings_(std::move(settings)) {
    if (settings_.folder.empty()) {
        return;
    }
    if (previous != nullptr && previous->settings_.folder == settings_.folder) {
        suffix_ = previous->suffix_;
        claim_ = std::exchange(previous->claim_, -1);
        return;
    }
    std::filesystem::create_directories(settings_.folder);
    if (!claim_folder()) {
        suffix_.append("-").append(std::to_string(getpid()));
    }
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
    claim_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (claim_ < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return flock(claim_, LOCK_EX | LOCK_NB) == 0;
}

void LogFiles::open(LogKind kind, File &file) {
    const std::string path = settings_.folder + "/" + kFileNames[static_cast<std::size_t>(kind)] + suffix_ + ".log";
    spdlog::file_event_handlers handlers;
    handlers.after_open = prepare_opened_file;
    file.sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, settings_.file_bytes,
                                                                       settings_.older_files, false, handlers);
    file.sink->set_formatter(std::make_unique<spdlog::pattern_formatter>("%v", spdlog::pattern_time_type::local, ""));
}

bool LogFiles::write_file(LogKind kind, std::string_view line, std::string &error) {
    File &file = files_[static_cast<std::size_t>(kind)];
    const auto now = std::chrono::steady_clock::now();
    if (!file.sink && now < file.retry_at) {
        error = file.error;
        return false;
    }
    try {
        if (!file.sink) {
            open(kind, file);
        }
        file.sink->log(spdlog::details::log_msg("", spdlog::level::info, {line.data(), line.size()}));
        return true;
    } catch (const std::exception &failure) {
        file.sink.reset();
        file.retry_at = now + kRetryAfter;
        file.error = failure.what();
        error = file.error;
        return false;
    }
}

bool LogFiles::write(LogKind kind, std::string_view line, std::string &error) {
    bool written = true;
    if (settings_.console && !write_all(STDERR_FILENO, line)) {
        error = "standard error: " + std::generic_category().message(errno);
        written = false;
    }
    if (!settings_.folder.empty() && !write_file(kind, line, error)) {
        written = false;
    }
    return written;
}

} // namespace host
