#include "manager/log_follower.h"

#include "board/board_folder.h"
#include "descriptor.h"

#include <array>
#include <fcntl.h>
#include <sys/stat.h>

namespace chassis {

namespace {

constexpr std::chrono::milliseconds kPeriod{200};
constexpr std::chrono::milliseconds kVirtualPeriod{1000};

struct LogName {
    const char *name;
    std::filesystem::path (*path)(const std::filesystem::path &folder);
};

// The process log is left out: it tells of keys and queue numbers, which differ from run to run.
constexpr std::array kLogs = {
    LogName{"diagnostic", diagnostic_log},
    LogName{"system", system_log},
    LogName{"interface_manager", interface_manager_log},
    LogName{"dead_loop", dead_loop_log},
    LogName{"fan", fan_log},
};

std::string text_from(int fd, std::uint64_t offset, std::uint64_t end) {
    std::string text(end - offset, '\0');
    const ssize_t count = pread(fd, text.data(), text.size(), static_cast<off_t>(offset));
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

} // namespace

LogFollower::LogFollower(Loop &loop, EventLog &log, Boards &boards) : loop_(loop), log_(log), boards_(boards) {}

LogFollower::~LogFollower() {
    loop_.cancel(timer_);
}

void LogFollower::start() {
    for (const Board &board : boards_.all()) {
        follow(board);
    }
    tick();
}

void LogFollower::follow(const Board &board) {
    for (const LogName &row : kLogs) {
        followed_.push_back({row.name, row.path(board.folder), board.number()});
    }
}

void LogFollower::tick() {
    timer_ = loop_.after(loop_.clock().is_virtual() ? kVirtualPeriod : kPeriod, [this] { tick(); });
    read_all();
}

void LogFollower::read_all() {
    for (Followed &followed : followed_) {
        read(followed);
    }
}

// A rotated log begins anew in another file.
void LogFollower::read(Followed &followed) {
    struct stat status {};
    if (stat(followed.path.c_str(), &status) != 0) {
        return;
    }
    if (status.st_ino != followed.inode) {
        followed.inode = status.st_ino;
        followed.offset = 0;
    }
    const auto end = static_cast<std::uint64_t>(status.st_size);
    if (end <= followed.offset) {
        return;
    }
    const Descriptor file(open(followed.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() >= 0) {
        std::string text = text_from(file.get(), followed.offset, end);
        take(followed, text);
    }
}

// Whole lines only; the rest comes next time.
void LogFollower::take(Followed &followed, std::string &text) {
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
        log_.add(
            EventKind::kLog, followed.slot,
            {text_field("log", followed.name), text_field("text", without_stamp(text.substr(begin, end - begin)))});
        begin = end + 1;
    }
    followed.offset += begin;
}

std::string without_stamp(const std::string &line) {
    const std::size_t open = line.find('[');
    const std::size_t close = line.find_first_not_of("0123456789", open == std::string::npos ? open : open + 1);
    const bool stamped = open != std::string::npos && close != std::string::npos && close > open + 1 &&
                         line.compare(close, 2, "] ") == 0;
    return stamped ? line.substr(close + 2) : line;
}

} // namespace chassis
