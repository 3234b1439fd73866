// Datagrams of the chassis: whatever arrives, a packet's frame lies inside its datagram, becomes a message of its
// type's length at most, and goes out again as it came. Input: whether the header is made right, then the datagram.
#include <span>

#include "fuzz_input.h"
#include "wire/messages.h"
#include "wire/transport.h"

namespace {

using namespace chassis;

constexpr std::uint32_t kRun = 0x01020304;

std::uint32_t big(const std::string &bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        value = value << 8 | static_cast<std::uint8_t>(bytes[i]);
    }
    return value;
}

void store_big(std::string &bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<char>(value >> (24 - 8 * i));
    }
}

// What a sender of this run puts around the frame; network function and command stay as they are.
void make_header_right(std::string &datagram) {
    store_big(datagram, 0, 0x4F524348);
    store_big(datagram, 4, kRun);
    store_big(datagram, 8, static_cast<std::uint32_t>(datagram.size() - kTransportHeaderBytes));
    datagram[15] = 1;
}

void check_frame(const MessageType &type, std::span<const std::uint8_t> received) {
    const Frame frame = frame_to_host(type, received);
    REQUIRE(frame.type == &type && frame.length <= type.body_bytes + kPrefixBytes);
    for (std::size_t i = frame.length; i < frame.bytes.size(); ++i) {
        REQUIRE(frame.bytes[i] == 0);
    }
    const std::vector<std::uint8_t> datagram = make_datagram(frame, kRun);
    const auto again = parse_packet(datagram, kRun);
    REQUIRE(again && again->net_fn == type.net_fn && again->command == type.command);
    REQUIRE(frame_to_host(type, again->frame).bytes == frame.bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const bool makeRight = (front.byte() & 1) != 0;
    std::string datagram = front.rest();
    if (makeRight && datagram.size() >= kTransportHeaderBytes) {
        make_header_right(datagram);
    }
    const auto copy = fuzz::exact_bytes(datagram);
    const auto packet = parse_packet({copy.get(), datagram.size()}, kRun);
    if (!packet) {
        return 0;
    }
    REQUIRE(datagram.size() >= kTransportHeaderBytes + kPrefixBytes);
    REQUIRE(big(datagram, 0) == 0x4F524348 && big(datagram, 4) == kRun);
    REQUIRE(packet->frame.data() == copy.get() + kTransportHeaderBytes);
    REQUIRE(packet->frame.size() == datagram.size() - kTransportHeaderBytes);
    const MessageType *const type = find_type(packet->net_fn, packet->command);
    if (type != nullptr && packet->frame.size() >= kPrefixBytes + type->min_body_bytes) {
        check_frame(*type, packet->frame);
    }
    return 0;
}
