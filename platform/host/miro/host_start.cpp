// Start-up of the OS layer and the leak report that a process may ask for at its exit.
#include "miro_host.h"

#include "host_internal.h"
#include "line_text.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <system_error>
#include <unistd.h>

namespace host {

constinit Reporter g_reporter("miro");

} // namespace host

namespace {

// "MIRO": any value but 0 would do.
constexpr std::uint32_t kMemHandle = 0x4D49524Fu;

std::atomic<bool> g_leak_report_at_exit{false};

std::mutex g_limits_lock;
host::UnzipLimits g_unzip_limits{
    .bytes = MIRO_HOST_UNZIP_BYTES,
    .entries = MIRO_HOST_UNZIP_ENTRIES,
    .ratio = MIRO_HOST_UNZIP_RATIO,
    .depth = MIRO_HOST_UNZIP_DEPTH,
};

template <typename Value>
void set_unless_zero(Value &setting, Value value) {
    setting = value != 0 ? value : setting;
}

void set_unzip_limits(const MIRO_HOST_CONFIG &config) {
    const std::lock_guard<std::mutex> guard(g_limits_lock);
    set_unless_zero(g_unzip_limits.bytes, config.unzipMaxBytes);
    set_unless_zero(g_unzip_limits.entries, config.unzipMaxEntries);
    set_unless_zero(g_unzip_limits.ratio, config.unzipMaxRatio);
    set_unless_zero(g_unzip_limits.depth, config.unzipMaxDepth);
}

[[gnu::constructor]] void prepare_fork() {
    host::keep_usable_after_fork(g_limits_lock);
    host::keep_usable_after_fork(host::g_reporter.lock());
}

void report_line(const char *line, void *descriptor) {
    const std::string text = "miro[" + std::to_string(getpid()) + "]: " + line + "\n";
    host::write_all(*static_cast<const int *>(descriptor), text);
}

// Runs after the destructors of the program's objects, so that what they freed is not reported.
[[gnu::destructor]] void report_at_exit() {
    const char *asked = secure_getenv("MIRO_LEAK_REPORT");
    const bool by_environment = asked != nullptr && *asked != '\0' && std::strcmp(asked, "0") != 0;
    int descriptor = STDERR_FILENO;
    if (g_leak_report_at_exit) {
        MIRO_HostLeakReport(report_line, &descriptor);
    }
    if (!by_environment) {
        return;
    }
    const bool to_file = std::strcmp(asked, "1") != 0;
    if (!to_file && g_leak_report_at_exit) {
        return;
    }
    if (to_file) {
        descriptor = host::open_log(asked, host::kLogMode);
        if (descriptor < 0) {
            host::g_reporter.line("the file \"%s\" for the leak report cannot be opened: %s", asked,
                                  std::generic_category().message(errno).c_str());
            return;
        }
    }
    MIRO_HostLeakReport(report_line, &descriptor);
    if (to_file) {
        close(descriptor);
    }
}

} // namespace

host::UnzipLimits host::unzip_limits() {
    const std::lock_guard<std::mutex> guard(g_limits_lock);
    return g_unzip_limits;
}

MIRO_EXPORT uint32_t MIRO_HostStart(const MIRO_HOST_CONFIG *config, uint32_t *memHandle) {
    if (memHandle == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (config != nullptr) {
        g_leak_report_at_exit = config->leakReportAtExit != 0;
        if (config->deadLoopLimitMs != 0) {
            MIRO_HostSetDeadLoopLimit(config->deadLoopLimitMs);
        }
        set_unzip_limits(*config);
    }
    *memHandle = kMemHandle;
    return MIRO_HOST_OK;
}

MIRO_EXPORT void MIRO_HostSetReporter(MIRO_HOST_REPORTER reporter, void *context) {
    host::g_reporter.set(reporter, context);
}
