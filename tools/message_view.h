// An agent message taken apart by the description of the wire, without trusting it: every read is bounded by the
// bytes at hand.
#ifndef INSPECT_MESSAGE_VIEW_H
#define INSPECT_MESSAGE_VIEW_H

#include "input.h"
#include "parts.h"
#include "wire_messages.h"
#include "wire_transport.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace inspect {

enum class Order { kNet, kHost };

// What is ahead of the body: nothing; a prefix; the chassis's transport header and a prefix. kDetect takes for a
// datagram what begins as one, and anything else for a body.
enum class Framing { kDetect, kBody, kFrame, kDatagram };

// How bytes are to be read as a message.
struct MessageForm {
    const orva::wire::Message *family = nullptr; // null: as network function and command say
    Order order = Order::kNet;
    Framing framing = Framing::kDetect;
    std::size_t at = 0; // bytes ahead of it that are something else
};

struct MessageView {
    const orva::wire::Message *family = nullptr; // null: unknown
    const orva::wire::Route *route = nullptr;    // what a datagram's network function and command announce, or null
    Framing framing = Framing::kBody;
    Order order = Order::kNet;
    std::vector<Part> parts; // every byte, in order
    std::vector<Fault> faults;
    std::vector<std::string> notes; // odd, but readable
    bool whole = false;             // every field and counted entry is there
};

// The messages, each once.
std::vector<const orva::wire::Message *> every_message();

// The message of this family or converter, or null.
const orva::wire::Message *find_message(std::string_view name);

// The row of a network function and a command, or null.
const orva::wire::Route *find_route(std::uint32_t net_fn, std::uint32_t command);

// Whether a field's bytes change between the two orders, as the family's receiver has it.
bool is_converted(const orva::wire::Message &message, const orva::wire::Field &field);

// Whether `bytes` begin as a datagram of the chassis.
bool is_datagram(std::span<const std::uint8_t> bytes);

MessageView take_apart_message(std::span<const std::uint8_t> input, const MessageForm &form);

// The message as a document, {"family": ..., ...}, which `encode` reads back; null when it is not whole or is one
// of the chassis's own.
nlohmann::ordered_json document_of(const MessageView &view);

// What commands show of it.
nlohmann::ordered_json message_json(const MessageView &view, std::span<const std::uint8_t> bytes);
void print_message(const MessageView &view, std::span<const std::uint8_t> bytes, bool annotated);

} // namespace inspect

#endif
