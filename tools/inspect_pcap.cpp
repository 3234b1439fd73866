// Captures of the chassis: every packet with its message, and which request a reply answers.
#include "capture_reader.h"
#include "commands.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <system_error>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;
using orva::wire::kPrefixBytes;
using orva::wire::kTransportBytes;

constexpr std::uint8_t kReplyBit = 1;
constexpr std::uint8_t kResultNetFn = orva::wire::kAgentNetFn | kReplyBit;
constexpr std::uint16_t kResultCommand = 0; // answers any request

// What matching needs of a datagram.
struct Announced {
    std::uint8_t net_fn;
    std::uint16_t command;
    std::uint16_t sequence;
    bool is_reply() const {
        return (net_fn & kReplyBit) != 0;
    }
    bool answers(const Announced &request) const {
        return (net_fn == (request.net_fn | kReplyBit) && command == request.command) ||
               (net_fn == kResultNetFn && command == kResultCommand);
    }
};

struct Request {
    std::uint64_t packet;
    capture::Time time;
    Announced announced;
};

// A reply's request: its packet, and how long the answer took.
struct Answered {
    std::uint64_t packet;
    capture::Time after;
};

// The last request of each sequence number between two ends.
class Requests {
public:
    // Notes a request; for a reply gives what it answers.
    std::optional<Answered> see(const capture::Packet &packet) {
        const Bytes &bytes = packet.datagram.bytes;
        if (!is_datagram(bytes) || bytes.size() < kTransportBytes + kPrefixBytes) {
            return std::nullopt;
        }
        const Announced announced = {bytes[12], static_cast<std::uint16_t>(bytes[13] << 8 | bytes[14]),
                                     static_cast<std::uint16_t>(bytes[16] << 8 | bytes[17])};
        const auto &[time, from, to, unused] = packet.datagram;
        if (!announced.is_reply()) {
            last_[{from, to, announced.sequence}] = {packet.number, time, announced};
            return std::nullopt;
        }
        const auto found = last_.find({to, from, announced.sequence});
        if (found == last_.end() || !announced.answers(found->second.announced)) {
            return std::nullopt;
        }
        return Answered{found->second.packet, time - found->second.time};
    }

private:
    std::map<std::tuple<capture::Address, capture::Address, std::uint16_t>, Request> last_;
};

// A packet, taken apart.
struct Seen {
    capture::Packet packet;
    std::optional<MessageView> view; // of a datagram of the chassis, or of a frame of the family that is told
    std::optional<Answered> answered;
};

std::string time_text(capture::Time time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    char text[40];
    std::snprintf(text, sizeof text, "%lld.%09lld", static_cast<long long>(seconds.count()),
                  static_cast<long long>((time - seconds).count()));
    return text;
}

std::string end_text(const capture::Address &end) {
    return capture::ip_text(end.ip) + ':' + std::to_string(end.port);
}

// For people: the slot, where the address is one of the chassis.
std::string end_name(const capture::Address &end) {
    if (end == capture::kManager) {
        return "manager";
    }
    if (end == capture::kNotes) {
        return "everyone";
    }
    if (end == capture::kBackup) {
        return "backup";
    }
    const auto slot = capture::slot_of(end);
    return slot ? "slot " + std::to_string(*slot) : end_text(end);
}

// What the recorder says of the chassis.
std::optional<std::string> note_of(const capture::Packet &packet) {
    const Bytes &bytes = packet.datagram.bytes;
    if (!packet.problem.empty() || packet.raw_frame || packet.datagram.to != capture::kNotes) {
        return std::nullopt;
    }
    return std::string(bytes.begin(), bytes.end());
}

std::string seen_name(const Seen &seen) {
    if (!seen.view) {
        const auto note = note_of(seen.packet);
        return note ? "note " + printable(note->substr(0, note->find('\n'))) : "not of the chassis";
    }
    if (seen.view->route != nullptr) {
        return seen.view->route->name;
    }
    return seen.view->family != nullptr ? seen.view->family->family : "unknown message";
}

bool is_sound(const Seen &seen) {
    return seen.packet.problem.empty() && (!seen.view || seen.view->faults.empty());
}

Seen take_apart(capture::Packet packet, const MessageForm &form, Requests &requests) {
    Seen seen;
    MessageForm own = form;
    own.framing = packet.raw_frame ? Framing::kFrame : Framing::kDatagram;
    own.family = packet.raw_frame ? form.family : nullptr;
    if (packet.problem.empty() && (packet.raw_frame || is_datagram(packet.datagram.bytes))) {
        seen.view = take_apart_message(packet.datagram.bytes, own);
        seen.answered = packet.raw_frame ? std::nullopt : requests.see(packet);
    }
    seen.packet = std::move(packet);
    return seen;
}

Json json_of(const std::string &path, const Seen &seen) {
    const auto &[time, from, to, bytes] = seen.packet.datagram;
    const bool has_ends = !seen.packet.raw_frame && from.ip != 0;
    Json json = {{"file", path},
                 {"packet", seen.packet.number},
                 {"time", time_text(time)},
                 {"from", has_ends ? Json(end_text(from)) : Json(nullptr)},
                 {"to", has_ends ? Json(end_text(to)) : Json(nullptr)},
                 {"problem", seen.packet.problem.empty() ? Json(nullptr) : Json(seen.packet.problem)},
                 {"note", nullptr},
                 {"request", nullptr},
                 {"message", seen.view ? message_json(*seen.view, bytes) : Json(nullptr)}};
    if (const auto note = note_of(seen.packet)) {
        json["note"] = *note;
    }
    if (seen.answered) {
        json["request"] = {{"packet", seen.answered->packet}, {"after", time_text(seen.answered->after)}};
    }
    return json;
}

std::string indented(const std::string &text) {
    std::string lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines += "        " + printable(text.substr(at, end - at)) + '\n';
        at = end + 1;
    }
    return lines;
}

void print(const Seen &seen, Shown shown, bool fields) {
    const auto &[time, from, to, bytes] = seen.packet.datagram;
    char head[80];
    std::snprintf(head, sizeof head, "%6llu  %s  ", static_cast<unsigned long long>(seen.packet.number),
                  time_text(time).c_str());
    std::cout << head;
    if (!seen.packet.raw_frame) {
        std::cout << end_name(from) << " > " << end_name(to) << "  ";
    }
    if (!seen.packet.problem.empty()) {
        std::cout << paint(Paint::kBad, seen.packet.problem) << '\n';
        return;
    }
    std::cout << paint(Paint::kName, seen_name(seen)) << ", " << count_of(bytes.size(), "byte");
    if (seen.answered) {
        std::cout << ", answers " << seen.answered->packet << " after " << time_text(seen.answered->after) << " s";
    }
    std::cout << '\n';
    if (!seen.view) {
        const auto note = fields ? note_of(seen.packet) : std::nullopt;
        std::cout << (note ? indented(*note) : "");
        return;
    }
    for (const Fault &fault : seen.view->faults) {
        std::cout << "        " << paint(Paint::kBad, fault.rule) << "; expected: " << fault.expected << '\n';
    }
    if (shown == Shown::kAnnotated) {
        print_annotated(seen.view->parts, bytes);
    } else if (fields) {
        print_table(seen.view->parts, bytes);
    }
}

class PcapCommand {
public:
    explicit PcapCommand(const PcapForm &form) : form_(form), document_("pcap", form.shown == Shown::kJson) {}

    int inspect(const Files &files) {
        int status = kDone;
        for (const std::string &path : files.paths) {
            status = std::max(status, inspect_file(files, path));
        }
        document_.end();
        return status;
    }

private:
    int inspect_file(const Files &files, const std::string &path) {
        const std::string shown = path == "-" ? "standard input" : printable(path);
        if (form_.shown != Shown::kJson) {
            print_title(files.shown(path));
        }
        try {
            capture::Reader reader(path);
            return inspect_packets_of(reader, path, shown);
        } catch (const std::system_error &error) {
            return fail_input_output(shown + " cannot be opened: " + error.code().message());
        } catch (const capture::DamagedFile &error) {
            return fail(printable(error.what()));
        }
    }

    int inspect_packets_of(capture::Reader &reader, const std::string &path, const std::string &shown) {
        Requests requests;
        std::uint64_t broken = 0;
        while (auto packet = reader.next()) {
            const Seen seen = take_apart(std::move(*packet), form_.message, requests);
            if (!is_wanted(seen.packet.number)) {
                continue;
            }
            broken += is_sound(seen) ? 0 : 1;
            if (form_.shown == Shown::kJson) {
                document_.add(json_of(path, seen));
            } else {
                print(seen, form_.shown, form_.fields);
            }
        }
        return broken == 0 ? kDone
                           : fail(shown + ": " + count_of(broken, "packet") +
                                  (broken == 1 ? " breaks a rule" : " break a rule"));
    }

    bool is_wanted(std::uint64_t number) const {
        return form_.packets.empty() || std::ranges::find(form_.packets, number) != form_.packets.end();
    }

    const PcapForm &form_;
    Document document_;
};

} // namespace

int inspect_captures(const Files &files, const PcapForm &form) {
    return PcapCommand(form).inspect(files);
}

} // namespace inspect
