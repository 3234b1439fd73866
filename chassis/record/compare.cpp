#include "record/compare.h"

#include "text.h"
#include "wire_transport.h"

#include <algorithm>
#include <array>
#include <map>

namespace chassis {

namespace {

using namespace orva::wire;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kBodyAt = kTransportBytes + kPrefixBytes;
constexpr std::size_t kMostBytes = 16; // of a value that is shown

constexpr std::array kLeftOut = {
    LeftOut{nullptr, "transport.run", false, "the number of the run", "each run has its own"},
    LeftOut{"trace", "", false, "traces", "they are times of the processor"},
    LeftOut{"temperatures", "readings[", true, "readings", "they follow the clock, the capture's is the machine's"},
    LeftOut{"voltages", "readings[", true, "readings", "they follow the clock, the capture's is the machine's"},
    LeftOut{"heartbeat", "word_20", true, "the time since a process's start",
            "it follows the clock, the capture's is the machine's"},
    LeftOut{"figures", "", true, "figures of the processes", "they follow the machine's load"},
};

struct NamedValue {
    std::string name;
    Bytes bytes;
    const orva::wire::Field *field; // null: bytes without a name
};

std::uint64_t number_at(Bytes bytes, std::size_t at, std::size_t width) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
        number = number << 8 | bytes[at + i];
    }
    return number;
}

std::string hex_of(Bytes bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kMostBytes))) {
        text += (text.empty() ? "" : " ") + hex_text(byte, 2).substr(2);
    }
    return bytes.size() > kMostBytes ? text + " ..." : text;
}

std::string text_of(Bytes bytes) {
    std::string text = "\"";
    for (const std::uint8_t byte : bytes) {
        if (byte == 0) {
            break;
        }
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '?';
    }
    return text + '"';
}

// For people; of bytes what follows the first `same` ones.
std::string value_of(const NamedValue &value, std::size_t same) {
    if (value.field == nullptr || is_bytes(*value.field)) {
        return (same < kMostBytes ? hex_of(value.bytes)
                                  : "byte " + std::to_string(same) + " " + hex_of(value.bytes.subspan(same)));
    }
    if (value.field->width > 4) {
        return text_of(value.bytes);
    }
    const std::uint64_t number = number_at(value.bytes, 0, value.field->width);
    return std::to_string(number) + (number > 9 ? " (" + hex_text(static_cast<std::uint32_t>(number), 1) + ")" : "");
}

// Takes a datagram apart: every byte once, with the name that it has.
class Parts {
public:
    explicit Parts(Bytes datagram) : datagram_(datagram), named_(datagram.size()) {
        for (const orva::wire::Field &field : kTransportFields) {
            take(field, field.offset, std::string("transport.") + field.name);
        }
        named_up_to(kTransportBytes, kTransportBytes + kPrefixField.width); // the sequence number
        const Route *route = route_of(datagram);
        if (route != nullptr) {
            take_body(*route->message);
        }
        take_rest();
    }

    static const Route *route_of(Bytes datagram) {
        if (datagram.size() < kBodyAt) {
            return nullptr;
        }
        const auto *const found = std::ranges::find_if(kRoutes, [&](const Route &route) {
            return route.net_fn == datagram[12] && route.command == number_at(datagram, 13, 2);
        });
        return found != kRoutes.end() ? found : nullptr;
    }

    const std::vector<NamedValue> &all() const {
        return all_;
    }

private:
    bool take(const orva::wire::Field &field, std::size_t at, std::string name) {
        if (at + field.width > datagram_.size()) {
            return false;
        }
        all_.push_back({std::move(name), datagram_.subspan(at, field.width), &field});
        named_up_to(at, at + field.width);
        return true;
    }

    void named_up_to(std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < std::min(end, named_.size()); ++i) {
            named_[i] = true;
        }
    }

    void take_body(const Message &message) {
        for (const orva::wire::Field &field : std::span(message.fields).first(length_of(message.fields))) {
            take(field, kBodyAt + field.offset, field.name);
        }
        for (const Array &array : std::span(message.arrays).first(length_of(message.arrays))) {
            take_array(message, array);
        }
    }

    void take_array(const Message &message, const Array &array) {
        const orva::wire::Field count = count_field(message, array);
        std::uint64_t entries = array.bound;
        if (!is_fixed(array)) {
            const std::size_t at = kBodyAt + count.offset;
            entries = at + count.width <= datagram_.size() ? number_at(datagram_, at, count.width) : 0;
        }
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(entries, array.bound); ++i) {
            const std::size_t begin = kBodyAt + array.offset + i * array.stride;
            const std::string entry = std::string(array.name) + '[' + std::to_string(i) + ']';
            for (const orva::wire::Field &field : std::span(array.fields).first(length_of(array.fields))) {
                take(field, begin + field.offset, entry + '.' + field.name);
            }
            take_unnamed(begin, begin + array.stride, entry + " ");
        }
    }

    void take_rest() {
        take_unnamed(0, datagram_.size(), "");
    }

    // Bytes that the description has no name for, by their place in the body.
    void take_unnamed(std::size_t begin, std::size_t end, const std::string &owner) {
        for (std::size_t at = begin; at < std::min(end, datagram_.size()); ++at) {
            std::size_t next = at;
            while (next < std::min(end, datagram_.size()) && !named_[next]) {
                ++next;
            }
            if (next == at) {
                continue;
            }
            all_.push_back(
                {owner + "bytes from " + std::to_string(at - begin), datagram_.subspan(at, next - at), nullptr});
            named_up_to(at, next);
            at = next;
        }
    }

    Bytes datagram_;
    std::vector<bool> named_;
    std::vector<NamedValue> all_;
};

bool is_left_out(const std::string &message, const std::string &field, bool real_time) {
    return std::ranges::any_of(kLeftOut, [&](const LeftOut &row) {
        return (row.message == nullptr || message == row.message) && field.starts_with(row.field) &&
               (real_time || !row.real_time_only);
    });
}

// How many bytes both begin with.
std::size_t equal_bytes(Bytes one, Bytes other) {
    return static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

} // namespace

std::span<const LeftOut> fields_left_out() {
    return kLeftOut;
}

bool is_left_out(Bytes answer) {
    const std::string message = message_name(answer);
    return std::ranges::any_of(kLeftOut, [&](const LeftOut &row) {
        return row.message != nullptr && message == row.message && *row.field == 0 && !row.real_time_only;
    });
}

std::vector<FieldDifference> compare_answers(Bytes recorded, Bytes now, bool real_time) {
    const std::string message = message_name(recorded);
    if (message != message_name(now)) {
        return {{"message", message, message_name(now)}};
    }
    const Parts before(recorded);
    const Parts after(now);
    std::map<std::string_view, const NamedValue *> rest;
    for (const NamedValue &part : after.all()) {
        rest.emplace(part.name, &part);
    }
    std::vector<FieldDifference> differences;
    const auto note = [&](const std::string &name, const NamedValue *one, const NamedValue *other) {
        if (!is_left_out(message, name, real_time)) {
            const std::size_t same = one != nullptr && other != nullptr ? equal_bytes(one->bytes, other->bytes) : 0;
            differences.push_back({name, one != nullptr ? value_of(*one, same) : "nothing",
                                   other != nullptr ? value_of(*other, same) : "nothing"});
        }
    };
    for (const NamedValue &part : before.all()) {
        const auto found = rest.find(part.name);
        if (found == rest.end()) {
            note(part.name, &part, nullptr);
        } else if (!std::ranges::equal(part.bytes, found->second->bytes)) {
            note(part.name, &part, found->second);
        }
        if (found != rest.end()) {
            rest.erase(found);
        }
    }
    for (const auto &[name, part] : rest) {
        note(part->name, nullptr, part);
    }
    return differences;
}

std::string message_name(Bytes datagram) {
    if (const Route *route = Parts::route_of(datagram)) {
        return route->name;
    }
    return datagram.size() < kBodyAt
               ? "a datagram of " + std::to_string(datagram.size()) + " bytes"
               : "unknown message " + hex_text(datagram[12], 2) + " " + std::to_string(number_at(datagram, 13, 2));
}

} // namespace chassis
