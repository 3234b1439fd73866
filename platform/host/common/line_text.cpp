#include "line_text.h"

#include "uncancelled.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

// The length of the UTF-8 character at the start of `text` when it is one that may be shown as it is, else 0.
std::size_t printable_length(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F && lead != '\\' ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    unsigned long code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) {
            return 0;
        }
        code = code << 6 | (byte(i) & 0x3FU);
    }
    constexpr unsigned long kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool encoded_well = code >= kLowest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    const bool steers = code < 0xA0 || code == 0x2028 || code == 0x2029;
    return encoded_well && !steers ? length : 0;
}

void append_escape(std::string &line, unsigned char byte) {
    switch (byte) {
    case '\\':
        line += "\\\\";
        return;
    case '\n':
        line += "\\n";
        return;
    case '\r':
        line += "\\r";
        return;
    case '\t':
        line += "\\t";
        return;
    default:
        constexpr char kDigits[] = "0123456789abcdef";
        line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0x0F]};
    }
}

std::string system_time_text() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm calendar{};
    localtime_r(&now.tv_sec, &calendar);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &calendar);
    return std::string(text, length);
}

// Holds SIGPIPE back from this thread and swallows the one that a write may have raised.
class PipeSignalHeld {
public:
    PipeSignalHeld() {
        sigset_t pending;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
    }
    ~PipeSignalHeld() {
        const int kept = errno;
        constexpr timespec kAtOnce{};
        while (raised_ && !was_pending_ && sigtimedwait(&pipe_, nullptr, &kAtOnce) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
        errno = kept;
    }
    PipeSignalHeld(const PipeSignalHeld &) = delete;
    PipeSignalHeld &operator=(const PipeSignalHeld &) = delete;
    void raised() {
        raised_ = true;
    }

private:
    sigset_t pipe_{};
    sigset_t previous_{};
    bool was_pending_ = false;
    bool raised_ = false;
};

} // namespace

bool format_text(std::string &text, const char *format, std::va_list arguments) {
    text.clear();
    if (format == nullptr) {
        return false;
    }
    char small[1024];
    std::va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (length < 0) {
        return false;
    }
    const auto whole = static_cast<std::size_t>(length);
    if (whole < sizeof small) {
        text.assign(small, whole);
        return true;
    }
    text.resize(whole < kMaxTextBytes ? whole : kMaxTextBytes);
    // The terminating zero replaces the one that the string keeps.
    if (std::vsnprintf(text.data(), text.size() + 1, format, arguments) < 0) {
        text.clear();
        return false;
    }
    if (whole > kMaxTextBytes) {
        text.append(" [cut, ").append(std::to_string(whole)).append(" bytes]");
    }
    return true;
}

void append_escaped(std::string &line, std::string_view text) {
    while (!text.empty()) {
        std::size_t length = printable_length(text);
        if (length != 0) {
            line.append(text.substr(0, length));
        } else {
            append_escape(line, static_cast<unsigned char>(text[0]));
            length = 1;
        }
        text.remove_prefix(length);
    }
}

bool write_all(int fd, std::string_view bytes) {
    PipeSignalHeld held;
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            if (count < 0 && errno == EPIPE) {
                held.raised();
            }
            return false;
        }
    }
    return true;
}

int open_log(const char *path, mode_t mode) {
    const int fd = open(path, O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode);
    struct stat about {};
    if (fd < 0 || fstat(fd, &about) != 0) {
        return fd;
    }
    if (!S_ISREG(about.st_mode)) {
        fcntl(fd, F_SETFL, O_APPEND); // not blocking was for the opening of a named pipe
        return fd;
    }
    // Whatever the mask of the process, and whatever an earlier version made it with.
    if ((about.st_mode & 07777) != mode && about.st_uid == geteuid()) {
        fchmod(fd, mode);
    }
    return fd;
}

unsigned long environment_number(const char *name, unsigned long low, unsigned long high, unsigned long fallback) {
    const char *text = std::getenv(name);
    if (text == nullptr || *text == '\0') {
        return fallback;
    }
    char *end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(text, &end, 0);
    if (*text >= '0' && *text <= '9' && errno == 0 && *end == '\0' && value >= low && value <= high) {
        return value;
    }
    std::string message = std::string(name) + ": \"";
    append_escaped(message, text);
    message +=
        "\" is not a number from " + std::to_string(low) + " to " + std::to_string(high) + "; taken as unset\n";
    write_all(STDERR_FILENO, message);
    return fallback;
}

bool LineLog::write(std::string_view time, std::string_view text) {
    const Uncancelled uncancelled;
    const std::lock_guard<std::mutex> lock(mutex_);
    const char *path = std::getenv(variable_);
    if (path == nullptr || *path == '\0') {
        return true;
    }
    if (fd_ < 0) {
        fd_ = open_log(path, kLogMode);
    }
    if (fd_ < 0) {
        return false;
    }
    std::string line = time.empty() ? system_time_text() : std::string(time);
    line.append(" [").append(std::to_string(getpid())).append("] ");
    append_escaped(line, text);
    line += '\n';
    return write_all(fd_, line);
}

} // namespace host
