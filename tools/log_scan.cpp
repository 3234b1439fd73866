#include "log_scan.h"

#include "text.h"

#include <algorithm>
#include <charconv>
#include <map>

namespace inspect {

namespace {

constexpr std::string_view kPosition = "[Position: ";
constexpr std::string_view kManager = "OrvaDiagMgr uiSwitch:";
constexpr std::string_view kManagerEnd = "OrvaDiagMgr local data end.";
constexpr std::string_view kKey = "    KeyID:";
constexpr std::string_view kNodeId = " diagId:";
constexpr std::string_view kDropped = "[OrvaDiagMgr] DiagID:";
constexpr std::size_t kFewestLooseBytes = 8;

// Takes words and numbers off the front of a text, and remembers whether one was not there.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    Scanner &word(std::string_view wanted) {
        good_ = good_ && rest_.starts_with(wanted);
        rest_.remove_prefix(good_ ? wanted.size() : 0);
        return *this;
    }

    Scanner &number(std::uint32_t &value, int base = 10) {
        const auto [stop, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value, base);
        good_ = good_ && error == std::errc();
        rest_.remove_prefix(good_ ? static_cast<std::size_t>(stop - rest_.data()) : 0);
        return *this;
    }

    Scanner &blanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
        return *this;
    }

    bool good() const {
        return good_;
    }
    std::string_view rest() const {
        return rest_;
    }

private:
    std::string_view rest_;
    bool good_ = true;
};

std::optional<std::uint32_t> id_in(std::string_view before) {
    const std::size_t at = before.rfind(" id=0x");
    std::uint32_t id = 0;
    if (at == std::string_view::npos || !Scanner(before.substr(at)).word(" id=0x").number(id, 16).good()) {
        return std::nullopt;
    }
    return id;
}

std::optional<BoardRecord> record_in(std::string_view line, std::size_t number) {
    const std::size_t at = line.find(kPosition);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view before = line.substr(0, at);
    BoardRecord record{origin_of(before, number), "position", std::nullopt, 0, id_in(before), {}};
    Scanner scanner(line.substr(at));
    scanner.word(kPosition);
    const bool has_chassis = !scanner.rest().starts_with('-');
    std::uint32_t chassis = 0;
    if (has_chassis) {
        scanner.number(chassis);
        record.chassis = chassis;
    } else {
        scanner.word("-");
    }
    if (!scanner.word("/").number(record.slot).word("]").good()) {
        return std::nullopt;
    }
    record.text = scanner.rest();
    // Only a diagnostic record leaves the chassis out.
    if (before.find("diagnostic ") != std::string_view::npos || !has_chassis) {
        record.kind = "diagnostic";
    } else if (before.find("debug ") != std::string_view::npos) {
        record.kind = "debug";
    }
    return record;
}

std::optional<ManagerDump> manager_in(std::string_view line, std::size_t number) {
    const std::size_t at = line.find(kManager);
    ManagerDump dump{};
    if (at == std::string_view::npos || !Scanner(line.substr(at))
                                             .word(kManager)
                                             .number(dump.is_on)
                                             .word(", nodeCount:")
                                             .number(dump.nodes_covered)
                                             .word(", curZone:")
                                             .number(dump.zone)
                                             .word(", uiErrCount:")
                                             .number(dump.errors)
                                             .word(" uiErrLine:")
                                             .number(dump.error_line)
                                             .word(" startTime:")
                                             .number(dump.seconds)
                                             .good()) {
        return std::nullopt;
    }
    dump.origin = origin_of(line.substr(0, at), number);
    return dump;
}

std::optional<ManagerKey> key_in(std::string_view line) {
    const std::size_t at = line.find(kKey);
    ManagerKey key{};
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    Scanner scanner(line.substr(at));
    scanner.word(kKey).number(key.key_id).word(" SuccessNum:").number(key.passed).word(", dropNum:");
    scanner.number(key.dropped).word(" [");
    for (std::uint32_t &zone : key.zones) {
        scanner.blanks().number(zone);
    }
    return scanner.word("]").good() ? std::optional(key) : std::nullopt;
}

// "FILE:LINE diagId:ID TEXT", after whatever the log put before it, which ends in a blank.
std::optional<ManagerNode> node_in(std::string_view line) {
    const std::size_t at = line.find(kNodeId);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view place = line.substr(0, at);
    const std::size_t colon = place.rfind(':');
    ManagerNode node{};
    if (colon == std::string_view::npos || !Scanner(place.substr(colon)).word(":").number(node.line).good() ||
        !Scanner(line.substr(at)).word(kNodeId).number(node.diag_id).good()) {
        return std::nullopt;
    }
    const std::size_t blank = place.substr(0, colon).rfind(' ');
    const std::size_t start = blank == std::string_view::npos ? 0 : blank + 1;
    node.file = place.substr(start, colon - start);
    const std::string_view rest = line.substr(at + kNodeId.size());
    node.text = rest.substr(std::min(rest.find(' ') + 1, rest.size()));
    return node;
}

int byte_at(std::string_view text, std::size_t at) {
    const int high = text[at] == ' ' ? digit_value(text[at + 1]) : -1;
    const int low = digit_value(text[at + 2]);
    return high < 0 || low < 0 ? -1 : high << 4 | low;
}

// A line that ends in " 0a" groups.
std::optional<LooseBytes> loose_in(std::string_view line, std::size_t number) {
    std::size_t start = line.size();
    while (start >= 3 && byte_at(line, start - 3) >= 0) {
        start -= 3;
    }
    if ((line.size() - start) / 3 < kFewestLooseBytes) {
        return std::nullopt;
    }
    LooseBytes loose{origin_of(line.substr(0, start), number), std::string(line.substr(0, start)), {}};
    for (std::size_t at = start; at < line.size(); at += 3) {
        loose.bytes.push_back(static_cast<std::uint8_t>(byte_at(line, at)));
    }
    return loose;
}

class LogScanner {
public:
    void add_line(std::string_view line, std::size_t number) {
        line = line.substr(0, line.find_last_not_of('\r') + 1);
        const bool is_dump = packets_.add_line(line, number);
        if (auto record = record_in(line, number)) {
            content_.records.push_back(std::move(*record));
        } else if (!is_dump && !add_manager_line(line, number)) {
            if (auto loose = loose_in(line, number)) {
                content_.loose.push_back(std::move(*loose));
            }
        }
    }

    LogContent take() {
        content_.packets = packets_.take();
        return std::move(content_);
    }

private:
    // Lines of a manager's dump follow each other, except for what other processes wrote.
    bool add_manager_line(std::string_view line, std::size_t number) {
        if (auto dump = manager_in(line, number)) {
            open_[dump->origin.source].push_back(content_.managers.size());
            content_.managers.push_back(std::move(*dump));
            return true;
        }
        if (open_.empty()) {
            return false;
        }
        const auto open = open_.find(origin_of(line, number).source);
        if (open == open_.end()) {
            return false;
        }
        ManagerDump &dump = content_.managers[open->second.back()];
        if (line.find(kManagerEnd) != std::string_view::npos) {
            dump.whole = true;
            open->second.pop_back();
            if (open->second.empty()) {
                open_.erase(open);
            }
            return true;
        }
        if (const auto key = key_in(line); key && !dump.nodes.empty()) {
            dump.nodes.back().keys.push_back(*key);
            return true;
        }
        if (auto node = node_in(line)) {
            dump.nodes.push_back(std::move(*node));
            return true;
        }
        return false;
    }

    PacketCollector packets_;
    LogContent content_;
    std::map<std::string, std::vector<std::size_t>> open_; // dumps that have not ended, by who writes them
};

} // namespace

LogContent scan_log(std::string_view log) {
    LogScanner scanner;
    for (std::size_t number = 1; !log.empty(); ++number) {
        const std::string_view line = log.substr(0, log.find('\n'));
        log.remove_prefix(std::min(line.size() + 1, log.size()));
        scanner.add_line(line, number);
    }
    return scanner.take();
}

std::optional<Dropped> dropped_of(const BoardRecord &record) {
    Dropped dropped{};
    Scanner scanner(record.text);
    scanner.word(kDropped).number(dropped.diag_id).word(" drop: ").number(dropped.dropped);
    scanner.word(" logs in a hour. keyID: ").number(dropped.key_id).word(" format: ");
    dropped.format = scanner.rest();
    return scanner.good() ? std::optional(dropped) : std::nullopt;
}

} // namespace inspect
