// The packet dumps of a log as a capture.
#include "capture_writer.h"
#include "commands.h"
#include "noted_capture.h"
#include "packet_view.h"
#include "text.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

// What a time in a log stands for, in microseconds since 1970; without a zone it is UTC.
std::optional<std::uint64_t> microseconds_of(const std::string &time) {
    const auto number = [&time](std::size_t at, std::size_t digits) {
        int value = 0;
        if (at + digits <= time.size()) {
            std::from_chars(time.data() + at, time.data() + at + digits, value);
        }
        return value;
    };
    if (time.size() < 19) {
        return std::nullopt;
    }
    const std::chrono::year_month_day day{std::chrono::year(number(0, 4)),
                                          std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                          std::chrono::day(static_cast<unsigned>(number(8, 2)))};
    if (!day.ok() || number(0, 4) < 1970) {
        return std::nullopt;
    }
    std::chrono::microseconds since = std::chrono::sys_days(day).time_since_epoch();
    since +=
        std::chrono::hours(number(11, 2)) + std::chrono::minutes(number(14, 2)) + std::chrono::seconds(number(17, 2));
    std::size_t at = 19;
    if (at < time.size() && (time[at] == '.' || time[at] == ',')) {
        std::int64_t step = 100000;
        for (++at; at < time.size() && digit_value(time[at]) >= 0; ++at, step /= 10) {
            since += std::chrono::microseconds(digit_value(time[at]) * step);
        }
    }
    const std::size_t sign = time.find_first_of("+-", at);
    if (sign != std::string::npos) {
        const std::size_t minutes = sign + (time.find(':', sign) != std::string::npos ? 4 : 3);
        const auto zone = std::chrono::hours(number(sign + 1, 2)) + std::chrono::minutes(number(minutes, 2));
        since -= time[sign] == '+' ? zone : -zone;
    }
    return since.count() < 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(since.count()));
}

// A packet's bytes up to what a datagram can hold, with zeros where pieces are missing.
Bytes filled(const Dump &dump) {
    Bytes bytes;
    for (const PacketRun &run : dump.runs) {
        const std::size_t room = capture::kMaxDatagramBytes - bytes.size();
        const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(run.length, room));
        if (run.bytes.empty()) {
            bytes.resize(bytes.size() + length);
        } else {
            bytes.insert(bytes.end(), run.bytes.begin(), run.bytes.begin() + static_cast<std::ptrdiff_t>(length));
        }
    }
    return bytes;
}

std::string bus_name(const Bytes &bytes, std::optional<Bus> bus) {
    if (bus) {
        constexpr const char *kNames[] = {"udp", "ipmb", "rs485", "can"};
        return kNames[static_cast<std::size_t>(*bus)];
    }
    return is_datagram(bytes) ? "udp" : "unknown";
}

std::string comment_of(const Dump &dump) {
    const Packet &packet = dump.packet;
    std::string pieces;
    for (auto piece = packet.pieces.begin(); piece != packet.pieces.end();) {
        auto last = piece; // of those that follow each other
        auto next = std::next(piece);
        while (next != packet.pieces.end() && next->first == last->first + 1) {
            last = next++;
        }
        pieces += (pieces.empty() ? "" : ", ") + std::to_string(piece->first);
        pieces += last == piece ? "" : " to " + std::to_string(last->first);
        piece = next;
    }
    std::string text = "packet " + hex_number(packet.number, 1) + ' ' + printable(packet.name) + ", ";
    text += (packet.pieces.size() == 1 ? "piece " : "pieces ") + pieces;
    text += packet.origin.source.empty() ? "" : ", " + printable(packet.origin.source);
    text += ", line " + std::to_string(packet.origin.line);
    for (const PacketRun &run : dump.runs) {
        text += run.bytes.empty() ? "; " + run.reason + ": zeros from byte " + std::to_string(run.offset) : "";
    }
    return text;
}

struct Ends {
    capture::Address from = {0, capture::kBoardPort};
    capture::Address to = {0, capture::kBoardPort};
};

capture::Address address_of(std::uint64_t slot) {
    return slot == 0 || slot > capture::kLastSlot ? capture::kManager
                                                  : capture::board_address(static_cast<std::uint32_t>(slot));
}

// Who speaks, as the header of the message says; a message without one is between an unknown board and the manager.
Ends ends_of(const Bytes &bytes, const LogQuery &query, Flow flow) {
    Ends ends;
    const auto view = message_in(bytes, query);
    const auto slot = [&view](std::string_view name) -> const Part * {
        const auto part =
            view ? std::ranges::find(view->parts, name, &Part::name) : std::vector<Part>::const_iterator();
        return view && part != view->parts.end() ? &*part : nullptr;
    };
    const Part *const source = slot("src_slot");
    const Part *const destination = slot("dest_slot");
    if (source != nullptr && destination != nullptr) {
        return {address_of(source->value.number), address_of(destination->value.number)};
    }
    (flow == Flow::kOutbound ? ends.from : ends.to) = capture::kManager;
    return ends;
}

Flow flow_of(const std::string &name) {
    const std::string_view direction = direction_of(name);
    if (direction == "to") {
        return Flow::kOutbound;
    }
    return direction == "from" ? Flow::kInbound : Flow::kUnknown;
}

// Where a capture goes: a file, or the standard output.
class Target {
public:
    explicit Target(const std::string &path) {
        if (path != "-") {
            file_.open(path, std::ios::binary | std::ios::trunc);
        }
        out_ = path == "-" ? &std::cout : &file_;
    }
    std::ostream &out() {
        return *out_;
    }
    bool flush() {
        out_->flush();
        return static_cast<bool>(*out_);
    }

private:
    std::ofstream file_;
    std::ostream *out_ = nullptr;
};

} // namespace

int log_to_capture(const std::string &log, const std::string &capture, const LogQuery &query, bool json) {
    const Input input = read_input(log, kLogLimit);
    if (input.status != kDone) {
        return input.status;
    }
    const std::vector<Packet> packets =
        find_packets({reinterpret_cast<const char *>(input.bytes.data()), input.bytes.size()});
    if (packets.empty()) {
        return fail("no packet dump found");
    }
    Target target(capture);
    NotedCapture noted(target.out());
    std::uint64_t time = 0; // a dump without a time has that of the one before it
    std::uint16_t number = 0;
    std::size_t broken = 0;
    for (const Packet &packet : packets) {
        const Dump dump = dump_of(packet);
        Bytes bytes = filled(dump);
        const std::string bus = bus_name(bytes, query.bus);
        const Flow flow = flow_of(packet.name);
        time = microseconds_of(packet.origin.time).value_or(time);
        broken += dump.whole ? 0 : 1;
        if (bus == "udp") {
            const Ends ends = ends_of(bytes, query, flow);
            bytes = capture::ip_packet(number++, ends.from, ends.to, bytes);
        }
        noted.add({bus, bus == "udp" ? kRawIp : kUser0, time, flow, comment_of(dump), std::move(bytes)});
    }
    if (!target.flush()) {
        return fail_input_output(printable(capture) + " cannot be written");
    }
    if (capture != "-") {
        Document document("to-pcap", json);
        document.add({{"file", log}, {"capture", capture}, {"packets", packets.size()}, {"notWhole", broken}});
        document.end();
        if (!json) {
            std::cout << printable(capture) << ": " << count_of(packets.size(), "packet") << '\n';
        }
    }
    return broken == 0 ? kDone : fail(count_of(broken, "packet") + (broken == 1 ? " is" : " are") + " not whole");
}

} // namespace inspect
