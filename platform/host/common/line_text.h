// Texts that fit on one line of a log file: formatting of any length, control characters escaped, and a file that
// takes whole lines. Shared by the host platform's libraries; each compiles it in.
#ifndef HOST_LINE_TEXT_H
#define HOST_LINE_TEXT_H

#include <cstdarg>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace host {

// A longer text is truncated there, and says so.
inline constexpr std::size_t kMaxTextBytes = 65536;

// Formats as vprintf does. False, with `text` empty, for a null format or one that the C library refuses.
bool format_text(std::string &text, const char *format, std::va_list arguments);

// Appends `text` so that it stays on one line and cannot steer a terminal: backslash as \\, line feed, carriage
// return and tab as \n, \r and \t, every other control character and every byte that is not UTF-8 as \xNN.
void append_escaped(std::string &line, std::string_view text);

// Writes all of `bytes` with no SIGPIPE for the process; false when the descriptor takes them no longer.
bool write_all(int fd, std::string_view bytes);

// The mode of log files that hold no security records.
inline constexpr mode_t kLogMode = 0640;

// Opens a log for appending, made if missing. A regular file gets exactly the mode, whatever the mask of the process;
// a link at its name is refused with ELOOP.
int open_log(const char *path, mode_t mode);

// The value of an environment variable as a number from `low` to `high`, in C notation; `fallback` when it is unset
// or empty, and also, with a message on standard error, when it is something else.
unsigned long environment_number(const char *name, unsigned long low, unsigned long high, unsigned long fallback);

// A file that takes one line per call, named by an environment variable at its first line. Without the variable it
// takes every line and writes nothing.
class LineLog {
public:
    explicit constexpr LineLog(const char *variable) : variable_(variable) {}

    // Appends `time` or, when it is empty, the time of the system's clock, the process id and `text`, escaped.
    bool write(std::string_view time, std::string_view text);

    // For the fork guard; inside the lock that calls of write() are made under.
    std::mutex &lock() {
        return mutex_;
    }

private:
    const char *variable_;
    std::mutex mutex_;
    int fd_ = -1;
};

} // namespace host

#endif
