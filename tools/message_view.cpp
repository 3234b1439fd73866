#include "message_view.h"

#include "describe.h"
#include "text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using namespace orva::wire;
using Json = nlohmann::ordered_json;
using View = std::span<const std::uint8_t>;

// What receivers demand of the words that begin most messages.
struct HeaderRule {
    const char *field;
    std::uint32_t least;
    std::uint32_t most;
    bool takes_all_ones;
    const char *expected;
};

constexpr HeaderRule kHeaderRules[] = {
    {"req_or_reply", ORVA_AGENT_REQUEST, ORVA_AGENT_REPLY, false, "1 or 2"},
    {"src_slot", 0, ORVA_AGENT_SLOT_MAX, false, "0 to 30"},
    {"dest_slot", 0, ORVA_AGENT_SLOT_MAX, true, "0 to 30, or 0xffffffff for every board"},
};

std::uint64_t load(View bytes, bool big) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        number = number << 8 | bytes[big ? i : bytes.size() - 1 - i];
    }
    return number;
}

// A padded text; a byte above 0x7F is the character of its number.
std::string text_of(View bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (byte == 0) {
            break;
        }
        if (byte < 0x80) {
            text += static_cast<char>(byte);
        } else {
            text += static_cast<char>(0xC0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

bool has_bytes_after_text(View bytes) {
    const auto end = std::ranges::find(bytes, 0);
    return std::any_of(end, bytes.end(), [](std::uint8_t byte) { return byte != 0; });
}

class Reader {
public:
    Reader(View input, MessageView &view) : input_(input), view_(view) {}

    // Takes a field at its place. Nothing when the input ends before it does.
    std::optional<std::uint64_t> take(const Field &field, std::size_t at, const std::string &name, bool big) {
        if (at > input_.size() || input_.size() - at < field.width) {
            lack(at, name, count_of(field.width, "byte"));
            return std::nullopt;
        }
        const View bytes = input_.subspan(at, field.width);
        Part part{at, field.width, name, {}, field.unit, field.text};
        if (is_bytes(field)) {
            part.unit.clear(); // the value is the bytes
        } else if (field.width > 4) {
            part.value = Value::of(text_of(bytes));
            if (has_bytes_after_text(bytes)) {
                view_.notes.push_back("at byte " + std::to_string(at) + ": " + name + " has bytes after its end");
            }
        } else {
            part.value = Value::of(load(bytes, big));
        }
        const std::uint64_t result = part.value.number;
        view_.parts.push_back(std::move(part));
        return result;
    }

    void lack(std::size_t at, const std::string &name, const std::string &wanted) {
        const std::size_t place = std::min(at, input_.size());
        view_.faults.push_back({place, name, "the input ends before the field does",
                                wanted + ", " + std::to_string(input_.size() - place) + " left"});
    }

    void fault(std::size_t at, const std::string &name, const std::string &rule, const std::string &expected) {
        view_.faults.push_back({at, name, rule, expected});
    }

    std::size_t size() const {
        return input_.size();
    }

private:
    View input_;
    MessageView &view_;
};

bool is_big(const MessageView &view, const Field &field) {
    return view.order == Order::kNet && is_converted(*view.family, field);
}

void check_header(Reader &reader, const Field &field, std::size_t at, std::uint64_t value) {
    const auto *const rule = std::ranges::find(kHeaderRules, std::string_view(field.name),
                                               [](const HeaderRule &row) { return std::string_view(row.field); });
    if (rule == std::end(kHeaderRules) || (value >= rule->least && value <= rule->most) ||
        (rule->takes_all_ones && value == ORVA_AGENT_ALL_SLOTS)) {
        return;
    }
    reader.fault(at, field.name,
                 std::string(field.name) + " is " + std::to_string(value) + ", receivers refuse the message",
                 rule->expected);
}

bool take_array(Reader &reader, const MessageView &view, const Array &array, std::size_t base, std::uint64_t count) {
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, array.bound); ++i) {
        for (const Field &field : rows_of(array.fields)) {
            const std::string name = std::string(array.name) + '[' + std::to_string(i) + "]." + field.name;
            if (!reader.take(field, base + array.offset + i * array.stride + field.offset, name,
                             is_big(view, field))) {
                return false;
            }
        }
    }
    return true;
}

// The value of a field that was taken before.
std::uint64_t taken(const MessageView &view, std::string_view name) {
    const auto part = std::ranges::find(view.parts, name, &Part::name);
    return part != view.parts.end() ? part->value.number : 0;
}

// Entries that the message says it has; more than there is room for where it lies.
std::uint64_t count_in(const MessageView &view, const Array &array) {
    return is_fixed(array) ? array.bound : taken(view, array.count);
}

bool take_body(Reader &reader, const MessageView &view, std::size_t base) {
    const Message &message = *view.family;
    for (const Field &field : rows_of(message.fields)) {
        const auto value = reader.take(field, base + field.offset, field.name, is_big(view, field));
        if (!value) {
            return false;
        }
        check_header(reader, field, base + field.offset, *value);
    }
    for (const Array &array : rows_of(message.arrays)) {
        const std::uint64_t count = count_in(view, array);
        if (count > array.bound) {
            reader.fault(base + count_field(message, array).offset, array.count,
                         std::string(array.count) + " is " + std::to_string(count) + ", " + array.name +
                             " has room for " + std::to_string(array.bound),
                         "0 to " + std::to_string(array.bound));
        }
        if (!take_array(reader, view, array, base, count)) {
            return false;
        }
    }
    return true;
}

// The transport header, and what it announces. False when nothing after it can be read.
bool take_transport(Reader &reader, MessageView &view, std::size_t at) {
    for (const Field &field : kTransportFields) {
        if (!reader.take(field, at + field.offset, std::string("transport.") + field.name, true)) {
            return false;
        }
    }
    if (taken(view, "transport.magic") != kTransportMagic) {
        reader.fault(at, "transport.magic", "this is not a datagram of the chassis", "4f 52 43 48");
    }
    if (taken(view, "transport.version") != kTransportVersion) {
        reader.fault(at + 15, "transport.version", "the header's version is unknown",
                     std::to_string(kTransportVersion));
    }
    const std::size_t rest = reader.size() - at - kTransportBytes;
    if (taken(view, "transport.length") != rest) {
        reader.fault(at + 8, "transport.length",
                     "the header says that " + std::to_string(taken(view, "transport.length")) + " bytes follow",
                     std::to_string(rest));
    }
    const std::uint64_t net_fn = taken(view, "transport.net_fn");
    const std::uint64_t command = taken(view, "transport.command");
    view.route = find_route(static_cast<std::uint32_t>(net_fn), static_cast<std::uint32_t>(command));
    if (view.route == nullptr) {
        reader.fault(at + 12, "transport.net_fn",
                     "no message has network function " + hex_number(static_cast<std::uint32_t>(net_fn), 2) +
                         " and command " + std::to_string(command),
                     "a pair that orva-inspect describe --lua lists");
    } else if (view.family == nullptr) {
        view.family = view.route->message;
    }
    return true;
}

bool take_prefix(Reader &reader, std::size_t at, Order order) {
    if (!reader.take(kPrefixField, at, kPrefixField.name, order == Order::kNet)) {
        return false;
    }
    if (reader.size() - at < kPrefixBytes) {
        reader.lack(at, kPrefixField.name, count_of(kPrefixBytes, "byte"));
        return false;
    }
    return true;
}

Framing framing_of(View input, const MessageForm &form) {
    if (form.framing != Framing::kDetect) {
        return form.framing;
    }
    return input.size() >= form.at && is_datagram(input.subspan(form.at)) ? Framing::kDatagram : Framing::kBody;
}

void take_all(Reader &reader, MessageView &view, std::size_t at) {
    if (view.framing == Framing::kDatagram) {
        if (!take_transport(reader, view, at)) {
            return;
        }
        at += kTransportBytes;
    }
    if (view.framing != Framing::kBody) {
        if (!take_prefix(reader, at, view.order)) {
            return;
        }
        at += kPrefixBytes;
    }
    if (view.family == nullptr) {
        view.notes.push_back("the layout of the body is not described");
        return;
    }
    const std::size_t longest = body_bytes(*view.family);
    if (view.framing != Framing::kBody && reader.size() > at + longest) {
        reader.fault(at + longest, "body", "the body is longer than its layout, receivers refuse the message",
                     "up to " + std::to_string(longest) + " bytes");
    }
    view.whole = take_body(reader, view, at);
}

} // namespace

std::vector<const Message *> every_message() {
    std::vector<const Message *> messages;
    for (const Converter &converter : kConverters) {
        if (messages.empty() || messages.back() != converter.message) {
            messages.push_back(converter.message);
        }
    }
    return messages;
}

const Message *find_message(std::string_view name) {
    for (const Converter &converter : kConverters) {
        if (name == converter.message->family || name == converter.function) {
            return converter.message;
        }
    }
    return nullptr;
}

const Route *find_route(std::uint32_t net_fn, std::uint32_t command) {
    const auto *const route = std::ranges::find_if(
        kRoutes, [=](const Route &row) { return row.net_fn == net_fn && row.command == command; });
    return route != kRoutes.end() ? route : nullptr;
}

bool is_converted(const Message &message, const Field &field) {
    const bool received = std::ranges::any_of(kConverters, [&message](const Converter &converter) {
        return converter.message == &message && converter.direction == Direction::kHost;
    });
    return is_swapped(field.swapped, received ? Direction::kHost : Direction::kNet);
}

bool is_datagram(View bytes) {
    return bytes.size() >= 4 && load(bytes.first(4), true) == kTransportMagic;
}

MessageView take_apart_message(View input, const MessageForm &form) {
    MessageView view;
    view.family = form.family;
    view.order = form.order;
    view.framing = framing_of(input, form);
    Reader reader(input, view);
    if (form.at > input.size()) {
        reader.lack(form.at, "message", "a message at byte " + std::to_string(form.at));
    } else {
        take_all(reader, view, form.at);
    }
    view.parts = with_gaps(std::move(view.parts), input.size());
    return view;
}

Json document_of(const MessageView &view) {
    const auto messages = every_message();
    if (!view.whole || std::ranges::find(messages, view.family) == messages.end()) {
        return nullptr;
    }
    Json document = {{"family", view.family->family}};
    const auto value_of = [&view](const std::string &name) {
        const auto part = std::ranges::find(view.parts, name, &Part::name);
        return part != view.parts.end() ? value_json(part->value) : Json(nullptr);
    };
    if (view.framing != Framing::kBody) {
        document[kPrefixField.name] = value_of(kPrefixField.name);
    }
    for (const Field &field : rows_of(view.family->fields)) {
        document[field.name] = value_of(field.name);
    }
    for (const Array &array : rows_of(view.family->arrays)) {
        document[array.name] = Json::array();
        const std::uint64_t count = std::min<std::uint64_t>(taken(view, array.count), array.bound);
        for (std::uint64_t i = 0; i < count; ++i) {
            Json entry = Json::object();
            for (const Field &field : rows_of(array.fields)) {
                entry[field.name] = value_of(std::string(array.name) + '[' + std::to_string(i) + "]." + field.name);
            }
            document[array.name].push_back(std::move(entry));
        }
    }
    return document;
}

} // namespace inspect
