// The messages of the chassis: which layout each one has, and how a frame gets from host to network byte order and
// back. The layouts and their converters are the library's where it has them.
#ifndef CHASSIS_WIRE_MESSAGES_H
#define CHASSIS_WIRE_MESSAGES_H

#include "wire/message_bodies.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace chassis {

struct MessageType {
    std::uint8_t net_fn;
    std::uint16_t command;
    const char *name;
    std::uint32_t body_bytes;     // of the whole layout
    std::uint32_t min_body_bytes; // of the shortest message
    bool headed;                  // begins with a header
    void (*to_host)(std::uint8_t *frame);
    void (*to_net)(std::uint8_t *frame);
};

// The type of a packet, or null.
const MessageType *find_type(std::uint8_t net_fn, std::uint16_t command);

// A message in host order: prefix and body, zeroed beyond `length`.
struct Frame {
    const MessageType *type = nullptr;
    std::uint32_t length = 0;
    alignas(8) std::array<std::uint8_t, kMaxFrameBytes> bytes{};

    std::uint16_t sequence() const;
    OrvaWireHeader header() const;
    const std::uint32_t *header_words() const;

    template <typename Body>
    Body body() const {
        static_assert(std::is_trivially_copyable_v<Body> && sizeof(Body) <= kMaxBodyBytes);
        Body copy;
        std::memcpy(&copy, bytes.data() + kPrefixBytes, sizeof copy);
        return copy;
    }
};

Frame frame_of_bytes(std::uint8_t net_fn, std::uint16_t command, std::uint16_t sequence, const void *body,
                     std::size_t body_bytes);

template <typename Body>
Frame make_frame(std::uint8_t net_fn, std::uint16_t command, std::uint16_t sequence, const Body &body,
                 std::size_t body_bytes = sizeof(Body)) {
    static_assert(std::is_trivially_copyable_v<Body> && !std::is_pointer_v<Body>);
    return frame_of_bytes(net_fn, command, sequence, &body, body_bytes);
}

OrvaWireHeartBeat heart_beat_body(const OrvaWireHeader &header, const HeartBeat &beat);
HeartBeat heart_beat_of(const OrvaWireHeartBeat &body);

// Takes the bytes of a received frame, at most the layout's length, to host order.
Frame frame_to_host(const MessageType &type, std::span<const std::uint8_t> bytes);

// Brings the frame's bytes, in place, to network byte order.
void frame_to_net(Frame &frame);

// The sequence number of a received frame that is at least a prefix long, still in network byte order.
std::uint16_t net_sequence(std::span<const std::uint8_t> bytes);

} // namespace chassis

#endif
