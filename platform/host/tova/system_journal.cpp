#include "system_journal.h"

#include <array>
#include <cstring>
#include <dlfcn.h>
#include <sys/uio.h>
#include <syslog.h>

namespace host {

namespace {

constexpr char kLibrary[] = "libsystemd.so.0";

using SendFields = int (*)(const iovec *fields, int count);

// Opened once, and kept: records come until the process is gone.
SendFields send_fields() {
    static const SendFields found = [] {
        void *library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
        return library != nullptr ? reinterpret_cast<SendFields>(dlsym(library, "sd_journal_sendv")) : nullptr;
    }();
    return found;
}

} // namespace

void write_syslog(const JournalEntry &entry) {
    syslog((entry.is_private ? LOG_AUTHPRIV : LOG_DAEMON) | entry.priority, "%.*s",
           static_cast<int>(entry.text.size()), entry.text.data());
}

bool write_journal(const JournalEntry &entry, std::string &error) {
    const SendFields send = send_fields();
    if (send == nullptr) {
        error.assign(kLibrary).append(" is not installed");
        return false;
    }
    std::array<std::string, 4> fields = {"MESSAGE=", "PRIORITY=" + std::to_string(entry.priority),
                                         "ORVA_KIND=", "SYSLOG_IDENTIFIER="};
    fields[0] += entry.text;
    fields[2] += entry.kind;
    fields[3] += entry.process;
    std::array<iovec, fields.size()> parts{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        parts[i] = {.iov_base = fields[i].data(), .iov_len = fields[i].size()};
    }
    const int result = send(parts.data(), static_cast<int>(parts.size()));
    if (result < 0) {
        error = std::string("the journal: ") + std::strerror(-result);
    }
    return result >= 0;
}

} // namespace host
