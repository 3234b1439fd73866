#include "packet_pieces.h"

#include "text.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <tuple>
#include <utility>

namespace inspect {

namespace {

constexpr std::string_view kStart = "[0x";
constexpr std::uint64_t kLineRoom = 1999; // characters of a dump line
constexpr std::uint64_t kByteWidth = 3;   // " 0a"

struct Piece {
    std::uint32_t packet;
    std::uint32_t number;
    std::string_view name;
    Bytes bytes;
};

// Takes a number in `base` off the front of `text`, up to and including `end`.
std::optional<std::uint32_t> take_number(std::string_view &text, int base, std::string_view end) {
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    if (!text.starts_with(end)) {
        return std::nullopt;
    }
    text.remove_prefix(end.size());
    return number;
}

bool ends_word(std::string_view text) {
    return text.empty() || !((text[0] >= '0' && text[0] <= '9') || (text[0] >= 'A' && text[0] <= 'Z') ||
                             (text[0] >= 'a' && text[0] <= 'z'));
}

// Takes " 0a" groups off the front of `text`.
Bytes take_bytes(std::string_view &text) {
    Bytes bytes;
    while (text.size() >= kByteWidth && text[0] == ' ') {
        const int high = digit_value(text[1]);
        const int low = digit_value(text[2]);
        if (high < 0 || low < 0 || !ends_word(text.substr(kByteWidth))) {
            break;
        }
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        text.remove_prefix(kByteWidth);
    }
    return bytes;
}

// A piece whose "[0x" has been taken off `text`. The bytes are after the last colon that bytes follow, so
// that a name may hold colons.
std::optional<Piece> take_piece(std::string_view &text) {
    std::string_view rest = text;
    const auto packet = take_number(rest, 16, ":");
    const auto number = packet ? take_number(rest, 10, "] ") : std::nullopt;
    if (!number || *number == 0) {
        return std::nullopt;
    }
    const std::string_view named = rest.substr(0, rest.find(kStart));
    for (std::size_t colon = named.rfind(':'); colon != std::string_view::npos && colon > 0;
         colon = named.rfind(':', colon - 1)) {
        std::string_view after = named.substr(colon + 1);
        Bytes bytes = take_bytes(after);
        if (!bytes.empty()) {
            text.remove_prefix(static_cast<std::size_t>(after.data() - text.data()));
            return Piece{*packet, *number, named.substr(0, colon), std::move(bytes)};
        }
    }
    return std::nullopt;
}

// How many bytes a full piece holds, for pieces whose number has as many digits as `number`.
std::uint64_t room(const Packet &packet, std::uint64_t number) {
    const std::uint64_t header = hex_number(packet.number, 1).size() + std::to_string(number).size() +
                                 packet.name.size() + std::string_view("[:] :").size();
    return header < kLineRoom ? (kLineRoom - header) / kByteWidth : 0;
}

// How many bytes the missing pieces `first` to `last` held.
std::uint64_t room_of(const Packet &packet, std::uint64_t first, std::uint64_t last) {
    std::uint64_t bytes = 0;
    std::uint64_t next_width = 10;
    while (first <= last) {
        while (next_width <= first) {
            next_width *= 10;
        }
        const std::uint64_t end = std::min(last, next_width - 1);
        bytes += (end - first + 1) * room(packet, first);
        first = end + 1;
    }
    return bytes;
}

PacketRun missing_pieces(const Packet &packet, std::uint64_t offset, std::uint64_t first, std::uint64_t last) {
    const std::string which =
        first == last ? "piece " + std::to_string(first) + " is missing"
                      : "pieces " + std::to_string(first) + " to " + std::to_string(last) + " are missing";
    return {offset, room_of(packet, first, last), {}, which};
}

} // namespace

namespace {

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

// How much of `text` has the shape: a '0' of it is any digit, anything else itself.
bool has_shape(std::string_view text, std::string_view shape) {
    return text.size() >= shape.size() &&
           std::equal(shape.begin(), shape.end(), text.begin(),
                      [](char wanted, char is) { return wanted == '0' ? is_digit(is) : wanted == is; });
}

// "2026-11-21 02:13:58", with a T in the place of the blank, with a fraction and a distance from UTC.
std::string time_in(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!has_shape(text.substr(at), "0000-00-00 00:00:00") &&
            !has_shape(text.substr(at), "0000-00-00T00:00:00")) {
            continue;
        }
        std::size_t end = at + 19;
        if (end + 1 < text.size() && (text[end] == '.' || text[end] == ',') && is_digit(text[end + 1])) {
            for (++end; end < text.size() && is_digit(text[end]); ++end) {
            }
        }
        for (const std::string_view zone : {" +00:00", " -00:00", "+00:00", "-00:00", "+0000", "-0000"}) {
            if (has_shape(text.substr(end), zone)) {
                return std::string(text.substr(at, end + zone.size() - at));
            }
        }
        return std::string(text.substr(at, end + (text.substr(end).starts_with('Z') ? 1 : 0) - at));
    }
    return {};
}

// The last word with a process id, "demo[3404]".
std::string source_in(std::string_view text) {
    for (std::size_t close = text.rfind(']'); close != std::string_view::npos && close > 0;
         close = text.rfind(']', close - 1)) {
        std::size_t open = close;
        while (open > 0 && is_digit(text[open - 1])) {
            --open;
        }
        if (open == close || open == 0 || text[open - 1] != '[') {
            continue;
        }
        const std::size_t blank = text.substr(0, open).find_last_of(" \t");
        const std::size_t start = blank == std::string_view::npos ? 0 : blank + 1;
        return std::string(text.substr(start, close + 1 - start));
    }
    return {};
}

} // namespace

Origin origin_of(std::string_view before, std::size_t line) {
    return {time_in(before), source_in(before), line};
}

bool PacketCollector::add_line(std::string_view line, std::size_t number) {
    const std::string_view whole = line;
    std::optional<Origin> origin;
    for (std::size_t start = line.find(kStart); start != std::string_view::npos; start = line.find(kStart)) {
        const std::size_t at = whole.size() - line.size() + start;
        line.remove_prefix(start + kStart.size());
        std::optional<Piece> piece = take_piece(line);
        if (!piece) {
            continue;
        }
        if (!origin) {
            origin = origin_of(whole.substr(0, at), number);
        }
        const auto [place, fresh] =
            open_.try_emplace({piece->packet, std::string(piece->name), origin->source}, packets_.size());
        if (!fresh && packets_[place->second].pieces.contains(piece->number)) {
            place->second = packets_.size();
        }
        if (place->second == packets_.size()) {
            packets_.push_back({piece->packet, std::string(piece->name), *origin, {}});
        }
        packets_[place->second].pieces.emplace(piece->number, std::move(piece->bytes));
    }
    return origin.has_value();
}

std::vector<Packet> find_packets(std::string_view log) {
    PacketCollector packets;
    for (std::size_t number = 1; !log.empty(); ++number) {
        const std::string_view line = log.substr(0, log.find('\n'));
        log.remove_prefix(std::min(line.size() + 1, log.size()));
        packets.add_line(line, number);
    }
    return packets.take();
}

std::vector<PacketRun> runs_of(const Packet &packet) {
    std::vector<PacketRun> runs;
    std::uint64_t offset = 0;
    std::uint64_t next = 1;
    const std::uint32_t last = packet.pieces.rbegin()->first;
    for (const auto &[number, bytes] : packet.pieces) {
        if (number > next) {
            runs.push_back(missing_pieces(packet, offset, next, number - 1));
            offset += runs.back().length;
        }
        if (runs.empty() || runs.back().bytes.empty()) {
            runs.push_back({offset, 0, {}, {}});
        }
        PacketRun &run = runs.back();
        run.bytes.insert(run.bytes.end(), bytes.begin(), bytes.end());
        run.length += bytes.size();
        offset += bytes.size();
        const std::uint64_t full = room(packet, number);
        if (number != last && bytes.size() < full) {
            runs.push_back({offset, full - bytes.size(), {}, "piece " + std::to_string(number) + " is cut"});
            offset += runs.back().length;
        }
        next = std::uint64_t{number} + 1;
    }
    return runs;
}

bool may_go_on(const Packet &packet) {
    const auto &[number, bytes] = *packet.pieces.rbegin();
    return bytes.size() >= room(packet, number);
}

} // namespace inspect
