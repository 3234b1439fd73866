// Where finished lines go: one rotating file per kind of record, standard error, and the logs of the machine. Knows
// nothing of what a record holds. Not thread-safe: its user holds a lock.
#ifndef HOST_LOG_FILES_H
#define HOST_LOG_FILES_H

#include "rotating_file.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

enum class LogKind : std::size_t { kProcess, kDiagnostic, kSecurity, kLifeCycle, kSystem };
inline constexpr std::size_t kLogKinds = 5;
inline constexpr std::array<const char *, kLogKinds> kLogFileNames = {"process", "diagnostic", "security",
                                                                      "lifecycle", "system"};

struct LogSettings {
    std::string folder; // absolute; empty: no files
    bool console = false;
    bool syslog = false;
    bool journal = false;
    bool by_default = false;     // nobody said where the records go
    std::uint32_t max_level = 0; // 0: all levels
    std::size_t file_bytes = 0;
    std::size_t older_files = 0;
};

struct LogLine {
    LogKind kind;
    std::uint32_t level; // 0: has none
    std::string_view process;
    std::string_view line; // whole, its end included
    std::string_view text; // without time and process
};

class LogFiles {
public:
    // Takes the folder, made if missing, for this process; takes it over from `previous`, where that holds the same
    // one. Throws std::exception, with `previous` unchanged, where the folder cannot be used.
    LogFiles(LogSettings settings, LogFiles *previous);
    ~LogFiles();
    LogFiles(const LogFiles &) = delete;
    LogFiles &operator=(const LogFiles &) = delete;

    const LogSettings &settings() const {
        return settings_;
    }

    // Writes one line to every place asked for; false, with the reason in `error`, when one of them does not take it.
    // A file that failed is opened again no sooner than a second later.
    bool write(const LogLine &line, std::string &error);

private:
    struct File {
        std::optional<RotatingFile> file;
        std::chrono::steady_clock::time_point retry_at;
        std::string error;
    };

    bool claim_folder();
    void make_files();
    bool write_file(const LogLine &line, std::string &error);

    LogSettings settings_;
    std::string suffix_;
    int claim_ = -1;
    std::array<File, kLogKinds> files_;
};

} // namespace host

#endif
