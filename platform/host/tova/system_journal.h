// The logs of the machine: syslog, and the journal where its library is installed.
#ifndef HOST_SYSTEM_JOURNAL_H
#define HOST_SYSTEM_JOURNAL_H

#include <string>
#include <string_view>

namespace host {

// What the machine's logs are told beside the text. The text has no time and no process: they add their own.
struct JournalEntry {
    int priority; // of syslog(3)
    bool is_private;
    std::string_view kind;
    std::string_view process;
    std::string_view text;
};

void write_syslog(const JournalEntry &entry);

// False, with the reason in `error`, where the journal's library is missing or refuses the entry.
bool write_journal(const JournalEntry &entry, std::string &error);

} // namespace host

#endif
