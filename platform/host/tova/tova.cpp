// The log sinks of the host platform: turns each record into one line and passes it to the files. Never lets an
// exception reach a caller, and lives until the last thread is gone: nothing here is destroyed at exit.
#include "tova.h"

#include "fork_guard.h"
#include "line_text.h"
#include "log_files.h"
#include "orva_write_log.h"
#include "tova_host.h"
#include "uncancelled.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <spdlog/pattern_formatter.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

#define TOVA_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using host::LogFiles;
using host::LogKind;
using host::LogLine;
using host::LogSettings;

constexpr std::size_t kMaxNameBytes = 256;

constexpr std::string_view kDefaultHint =
    "tova: log records go to standard error; set ORVA_HOST_LOG_DIR to a folder for files, ORVA_HOST_LOG_SINKS to "
    "syslog or journal, or ORVA_HOST_LOG_CONSOLE=0 for none\n";

struct Sinks {
    std::mutex mutex;
    bool configured = false;
    std::unique_ptr<LogFiles> files; // null: records are dropped
    std::string process_name;
    std::optional<LogSettings> pending; // settings whose files the next record opens
    std::chrono::steady_clock::time_point retry_at;
    spdlog::pattern_formatter formatter{"%Y-%m-%d %H:%M:%S.%e %z %v"};
    std::string last_error;
    unsigned failing = 0; // one bit per kind: its last record was lost
};

std::atomic<std::uint64_t> g_failed{0};

// The level of the settings in force, read without the lock. The first record reads it from the environment.
std::atomic<std::uint32_t> g_max_level{0};

// A signal handler may log while its own thread writes a record: its record is dropped and counted.
thread_local bool t_writing = false;

class Writing {
public:
    Writing() : is_outermost_(!t_writing) {
        t_writing = true;
    }
    ~Writing() {
        if (is_outermost_) {
            t_writing = false;
        }
    }
    Writing(const Writing &) = delete;
    Writing &operator=(const Writing &) = delete;
    bool is_outermost() const {
        return is_outermost_;
    }

private:
    host::Uncancelled uncancelled_;
    bool is_outermost_;
};

Sinks &sinks();

// The child must not write through the parent's descriptors: the parent may rotate its files at any time.
void after_fork_in_child() {
    Sinks &state = sinks();
    if (state.files) {
        state.pending = state.files->settings();
        state.files.reset();
    }
}

Sinks &sinks() {
    static Sinks &state = *[] {
        auto *made = new Sinks;
        made->process_name = program_invocation_short_name;
        return made;
    }();
    return state;
}

// At the start, so that no fork falls into the first record.
[[gnu::constructor]] void prepare_fork() {
    host::keep_usable_after_fork(sinks().mutex, after_fork_in_child);
}

LogSettings settings_of(const TovaHostConfig &config) {
    LogSettings settings;
    if (config.folder != nullptr && *config.folder != '\0') {
        settings.folder = std::filesystem::weakly_canonical(std::filesystem::absolute(config.folder)).string();
    }
    settings.console = config.console != 0;
    settings.syslog = (config.sinks & TOVA_HOST_SINK_SYSLOG) != 0;
    settings.journal = (config.sinks & TOVA_HOST_SINK_JOURNAL) != 0;
    settings.max_level = config.maxLevel;
    settings.file_bytes = config.fileBytes != 0 ? config.fileBytes : TOVA_HOST_DEFAULT_FILE_BYTES;
    settings.older_files = config.olderFiles;
    return settings;
}

bool in_range(const TovaHostConfig &config) {
    return (config.sinks & ~(TOVA_HOST_SINK_SYSLOG | TOVA_HOST_SINK_JOURNAL)) == 0;
}

bool in_range(const LogSettings &settings) {
    return settings.file_bytes >= TOVA_HOST_MIN_FILE_BYTES && settings.file_bytes <= TOVA_HOST_MAX_FILE_BYTES &&
           settings.older_files <= TOVA_HOST_MAX_OLDER_FILES;
}

bool is_set(const char *variable) {
    const char *value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// The machine's logs that the list names, separated by commas.
std::uint32_t sinks_of_environment() {
    const char *value = std::getenv("ORVA_HOST_LOG_SINKS");
    std::string_view list = value != nullptr ? value : "";
    std::uint32_t named = 0;
    while (!list.empty()) {
        const std::string_view word = list.substr(0, list.find(','));
        list.remove_prefix(std::min(word.size() + 1, list.size()));
        if (word == "syslog") {
            named |= TOVA_HOST_SINK_SYSLOG;
        } else if (word == "journal") {
            named |= TOVA_HOST_SINK_JOURNAL;
        } else if (!word.empty()) {
            std::string message = "ORVA_HOST_LOG_SINKS: \"";
            host::append_escaped(message, word);
            host::write_all(STDERR_FILENO, message + "\" is neither syslog nor journal; left out\n");
        }
    }
    return named;
}

LogSettings settings_of_environment() {
    TovaHostConfig config{};
    config.folder = std::getenv("ORVA_HOST_LOG_DIR");
    config.sinks = sinks_of_environment();
    const bool by_default = !is_set("ORVA_HOST_LOG_DIR") && config.sinks == 0 && !is_set("ORVA_HOST_LOG_CONSOLE");
    config.console = host::environment_number("ORVA_HOST_LOG_CONSOLE", 0, 1, by_default ? 1 : 0) != 0;
    config.maxLevel = static_cast<std::uint32_t>(host::environment_number("ORVA_HOST_LOG_LEVEL", 0, UINT32_MAX, 0));
    config.fileBytes = static_cast<std::uint32_t>(
        host::environment_number("ORVA_HOST_LOG_SIZE", TOVA_HOST_MIN_FILE_BYTES, TOVA_HOST_MAX_FILE_BYTES, 0));
    config.olderFiles = static_cast<std::uint32_t>(
        host::environment_number("ORVA_HOST_LOG_FILES", 0, TOVA_HOST_MAX_OLDER_FILES, TOVA_HOST_DEFAULT_OLDER_FILES));
    LogSettings settings = settings_of(config);
    settings.by_default = by_default;
    return settings;
}

unsigned bit_of(LogKind kind) {
    return 1U << static_cast<unsigned>(kind);
}

// One message per outage, not one per lost record, also where records of other kinds are written meanwhile.
void note_failure(Sinks &state, LogKind kind, const std::string &error) {
    state.last_error = error;
    if (state.failing == 0) {
        std::string message = "tova: a record cannot be written: ";
        host::append_escaped(message, error);
        message += '\n';
        host::write_all(STDERR_FILENO, message);
    }
    state.failing |= bit_of(kind);
}

// A folder that cannot be used is tried again no sooner than a second later.
void open_pending(Sinks &state) {
    if (!state.configured) {
        state.pending = settings_of_environment();
        state.configured = true;
    }
    if (!state.pending) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < state.retry_at) {
        throw std::runtime_error(state.last_error);
    }
    state.retry_at = now + std::chrono::seconds(1);
    const bool says_so = state.pending->by_default;
    state.pending->by_default = false; // once, also for the children
    state.files = std::make_unique<LogFiles>(*state.pending, nullptr);
    g_max_level = state.pending->max_level;
    if (says_so) {
        host::write_all(STDERR_FILENO, kDefaultHint);
    }
    state.pending.reset();
    state.retry_at = {}; // a child of this process opens its own at once
}

// True for a record that the settings leave out.
bool is_filtered(std::uint32_t level) {
    const std::uint32_t max_level = g_max_level.load(std::memory_order_relaxed);
    return max_level != 0 && level > max_level;
}

struct Result {
    bool written;
    std::uint32_t bytes; // of the line; never 0
};

constexpr Result kLost{false, 1};

// What a record says of itself beside its text.
struct Head {
    LogKind kind;
    std::uint32_t level; // 0: has none
    std::string fields;
};

Result write_line(const Head &head, const std::string &text) {
    Sinks &state = sinks();
    const std::lock_guard<std::mutex> lock(state.mutex);
    std::string error;
    Result result = kLost;
    try {
        open_pending(state);
        if (is_filtered(head.level)) { // the first record, which had the environment read
            return {true, 1};
        }
        std::string body;
        host::append_escaped(body, state.process_name);
        body.append("[").append(std::to_string(getpid())).append("] ");
        const std::size_t text_at = body.size();
        body.append(head.fields).append(": ");
        host::append_escaped(body, text);
        spdlog::memory_buf_t line;
        state.formatter.format(spdlog::details::log_msg("", spdlog::level::info, body), line);
        result.bytes = static_cast<std::uint32_t>(line.size());
        result.written = !state.files || state.files->write({.kind = head.kind,
                                                             .level = head.level,
                                                             .process = state.process_name,
                                                             .line = {line.data(), line.size()},
                                                             .text = std::string_view(body).substr(text_at)},
                                                            error);
    } catch (const std::exception &failure) {
        error = failure.what();
    }
    if (result.written) {
        state.failing &= ~bit_of(head.kind);
    } else {
        ++g_failed;
        note_failure(state, head.kind, error);
    }
    return result;
}

Result write_formatted(const Head &head, const char *format, std::va_list arguments) {
    std::string text;
    if (!host::format_text(text, format, arguments)) {
        Sinks &state = sinks();
        const std::lock_guard<std::mutex> lock(state.mutex);
        ++g_failed;
        note_failure(state, head.kind, "a format is null or invalid");
        return kLost;
    }
    return write_line(head, text);
}

// The common end of all record functions. The fields are made under the same guard as the rest: they allocate too.
template <typename MakeFields>
Result write_record(LogKind kind, std::uint32_t level, MakeFields make_fields, const char *format,
                    std::va_list arguments) {
    const Writing writing;
    if (!writing.is_outermost()) {
        ++g_failed;
        return kLost;
    }
    if (is_filtered(level)) {
        return {true, 1};
    }
    try {
        return write_formatted({kind, level, make_fields()}, format, arguments);
    } catch (const std::exception &) {
        ++g_failed;
        return kLost;
    }
}

std::string hex_word(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

struct Words {
    std::uint32_t a1, info_id, word3, a4, a5;
};

std::uint32_t write_words(LogKind kind, const char *name, const Words &words, const char *format,
                          std::va_list arguments) {
    const auto fields = [&] {
        return std::string(name) + " a1=" + std::to_string(words.a1) + " id=" + hex_word(words.info_id) +
               " word3=" + std::to_string(words.word3) + " a4=" + std::to_string(words.a4) +
               " a5=" + std::to_string(words.a5);
    };
    const std::uint32_t level = kind == LogKind::kDiagnostic ? words.word3 : 0;
    return write_record(kind, level, fields, format, arguments).written ? 0 : 1;
}

} // namespace

TOVA_EXPORT uint32_t TOVA_PLogByProcName(uint32_t logType, const char *procName, uint32_t module, uint32_t level,
                                         const char *format, ...) {
    const auto fields = [&] {
        std::string made = "process type=" + std::to_string(logType) + " name=";
        host::append_escaped(made, procName != nullptr ? std::string_view(procName, strnlen(procName, kMaxNameBytes))
                                                       : std::string_view("-"));
        return made + " module=" + hex_word(module) + " level=" + std::to_string(level);
    };
    std::va_list arguments;
    va_start(arguments, format);
    const Result result = write_record(LogKind::kProcess, level, fields, format, arguments);
    va_end(arguments);
    return result.written ? 0 : 1;
}

TOVA_EXPORT uint32_t TOVA_DLog(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format,
                               ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result =
        write_words(LogKind::kDiagnostic, "diagnostic", {a1, a2, a3, a4, a5}, format, arguments);
    va_end(arguments);
    return result;
}

TOVA_EXPORT uint32_t TOVA_SecurityEventLog(uint32_t a1, uint32_t infoId, uint32_t word3, uint32_t a4, uint32_t a5,
                                           const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result =
        write_words(LogKind::kSecurity, "security", {a1, infoId, word3, a4, a5}, format, arguments);
    va_end(arguments);
    return result;
}

TOVA_EXPORT uint32_t TOVA_LifeCycleLog(uint32_t a1, uint32_t infoId, uint32_t word3, uint32_t a4, uint32_t a5,
                                       const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result =
        write_words(LogKind::kLifeCycle, "life-cycle", {a1, infoId, word3, a4, a5}, format, arguments);
    va_end(arguments);
    return result;
}

TOVA_EXPORT uint32_t ORVA_WriteLog(uint32_t module, uint32_t level, const char *format, ...) {
    const auto fields = [&] { return "system module=" + hex_word(module) + " level=" + std::to_string(level); };
    std::va_list arguments;
    va_start(arguments, format);
    const Result result = write_record(LogKind::kSystem, level, fields, format, arguments);
    va_end(arguments);
    return result.bytes;
}

uint32_t TOVA_HostStart(const TovaHostConfig *config) {
    const host::Uncancelled uncancelled;
    Sinks &state = sinks();
    const std::lock_guard<std::mutex> lock(state.mutex);
    try {
        LogSettings settings = config != nullptr ? settings_of(*config) : settings_of_environment();
        if (!in_range(settings) || (config != nullptr && !in_range(*config))) {
            state.last_error = "fileBytes, olderFiles or sinks is out of range";
            return TOVA_HOST_INVALID;
        }
        const char *name = config != nullptr ? config->processName : nullptr;
        const bool named = name != nullptr && *name != '\0';
        std::string process_name =
            named ? std::string(name, strnlen(name, kMaxNameBytes)) : std::string(program_invocation_short_name);
        const std::uint32_t max_level = settings.max_level;
        state.files = std::make_unique<LogFiles>(std::move(settings), state.files.get());
        g_max_level = max_level;
        state.process_name = std::move(process_name);
        state.pending.reset();
        state.configured = true;
        state.failing = 0;
        state.retry_at = {};
        return TOVA_HOST_OK;
    } catch (const std::exception &failure) {
        state.last_error = failure.what();
        return TOVA_HOST_FOLDER;
    }
}

void TOVA_HostStop(void) {
    const host::Uncancelled uncancelled;
    Sinks &state = sinks();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.files.reset();
    state.pending.reset();
    state.configured = true;
    g_max_level = 0;
}

uint64_t TOVA_HostFailedRecords(void) {
    return g_failed;
}

uint32_t TOVA_HostLastError(char *buffer, uint32_t bufferLen) {
    if (buffer == nullptr || bufferLen == 0) {
        return TOVA_HOST_INVALID;
    }
    Sinks &state = sinks();
    const std::lock_guard<std::mutex> lock(state.mutex);
    const std::size_t length = state.last_error.copy(buffer, bufferLen - 1);
    buffer[length] = '\0';
    return TOVA_HOST_OK;
}
