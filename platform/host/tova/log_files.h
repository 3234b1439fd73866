// Where finished lines go: one rotating file per kind of record, and standard error. Knows nothing of what a record
// holds. Not thread-safe: its user holds a lock.
#ifndef HOST_LOG_FILES_H
#define HOST_LOG_FILES_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace spdlog::sinks {
class sink;
}

namespace host {

enum class LogKind : std::size_t { kProcess, kDiagnostic, kSecurity, kLifeCycle, kSystem };
inline constexpr std::size_t kLogKinds = 5;

struct LogSettings {
    std::string folder; // absolute; empty: no files
    bool console = false;
    std::size_t file_bytes = 0;
    std::size_t older_files = 0;
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

    // Writes one line, its end included, to every place asked for; false, with the reason in `error`, when one of
    // them does not take it. A file that failed is opened again no sooner than a second later.
    bool write(LogKind kind, std::string_view line, std::string &error);

private:
    struct File {
        std::shared_ptr<spdlog::sinks::sink> sink;
        std::chrono::steady_clock::time_point retry_at;
        std::string error;
    };

    bool claim_folder();
    void open(LogKind kind, File &file);
    bool write_file(LogKind kind, std::string_view line, std::string &error);

    LogSettings settings_;
    std::string suffix_;
    int claim_ = -1;
    std::array<File, kLogKinds> files_;
};

} // namespace host

#endif
