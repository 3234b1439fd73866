// The messages of the chassis: which layout each one has, and how a frame gets from host to net order and back. The
// layouts and their converters are the library's where it has them.
#ifndef CHASSIS_MESSAGES_H
#define CHASSIS_MESSAGES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace chassis {

inline constexpr std::uint32_t kMainSlot = 0;
inline constexpr std::size_t kPrefixBytes = 8;
inline constexpr std::size_t kMaxBodyBytes = 1368;
inline constexpr std::size_t kMaxFrameBytes = kPrefixBytes + kMaxBodyBytes;

// As in IPMI, a network function is even in a request and the next odd number in its reply.
inline constexpr std::uint8_t kNetFnAgent = 0x30;
inline constexpr std::uint8_t kNetFnAgentReply = 0x31;
inline constexpr std::uint8_t kNetFnChassis = 0x3E;
inline constexpr std::uint8_t kNetFnChassisReply = 0x3F;

inline constexpr std::uint16_t kCmdResult = 0; // reply: the header's word is the code, 0 or why it was refused
inline constexpr std::uint16_t kCmdAddress = 1;
inline constexpr std::uint16_t kCmdTemperature = 2;
inline constexpr std::uint16_t kCmdVoltage = 3;
inline constexpr std::uint16_t kCmdHeartBeat = 4;
inline constexpr std::uint16_t kCmdAdvanceClock = 1; // the header's word: seconds of the diagnostic manager's clock
inline constexpr std::uint16_t kCmdPrintDiag = 2;    // dumps the diagnostic manager to the process log
inline constexpr std::uint16_t kCmdStatistics = 3;

// The chassis's own refusals, beside the library's codes.
inline constexpr std::uint32_t kRefusedUnknown = 0xC0000001;
inline constexpr std::uint32_t kRefusedShort = 0xC0000002;
inline constexpr std::uint32_t kRefusedArgument = 0xC0000003;

struct Prefix {
    std::uint16_t sequence; // a reply repeats its request's
    std::uint8_t reserved[6];
};
static_assert(sizeof(Prefix) == kPrefixBytes);

struct Header {
    std::uint32_t kind;
    std::uint32_t source_slot;
    std::uint32_t dest_slot;
    std::uint32_t word;
};
static_assert(sizeof(Header) == 16);

struct RequestBody {
    Header header;
};

// header.word: board type in the registration, result in its acknowledgement.
struct AddressBody {
    Header header;
    std::uint32_t address; // IPv4
};
static_assert(sizeof(AddressBody) == 20);

struct Reading {
    std::int32_t value;
    std::uint8_t sensor;
    std::uint8_t state;
    std::uint8_t reserved[2];
};
static_assert(sizeof(Reading) == 8);

template <std::size_t kReadings>
struct ReadingsBody {
    Header header;
    std::uint8_t reserved16[3];
    std::uint8_t count;
    std::uint8_t reserved20[4];
    Reading readings[kReadings];
};
using TemperatureBody = ReadingsBody<68>;
using VoltageBody = ReadingsBody<168>;
static_assert(offsetof(TemperatureBody, count) == 19 && offsetof(TemperatureBody, readings) == 24);
static_assert(sizeof(VoltageBody) == kMaxBodyBytes);

struct HeartBeatBody {
    Header header;
    std::uint32_t beat;
    std::uint32_t uptime_seconds;
    std::uint32_t requests;
    std::uint32_t refused; // from here on only the to-host converter knows the words
    std::uint8_t version[4];
    std::uint32_t queue_refusals;
    std::uint32_t start_mode;
};
static_assert(offsetof(HeartBeatBody, refused) == 28 && offsetof(HeartBeatBody, version) == 32);
static_assert(sizeof(HeartBeatBody) == 44);

struct StatisticsBody {
    Header header;
    std::uint32_t received;       // packets that the receiver thread got
    std::uint32_t queue_refusals; // of these, not taken by the queue
    std::uint32_t handled;        // packets that the loop read
    std::uint32_t refused;        // of these, answered with a code
};
static_assert(sizeof(StatisticsBody) == 32);

struct MessageType {
    std::uint8_t net_fn;
    std::uint16_t command;
    const char *name;
    std::uint32_t body_bytes;     // of the whole layout
    std::uint32_t min_body_bytes; // of the shortest message
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
    Header header() const;
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

// Takes the bytes of a received frame, at most the layout's length, to host order.
Frame frame_to_host(const MessageType &type, std::span<const std::uint8_t> bytes);

// Brings the frame's bytes, in place, to net order.
void frame_to_net(Frame &frame);

// The sequence number of a received frame that is at least a prefix long, still in net order.
std::uint16_t net_sequence(std::span<const std::uint8_t> bytes);

} // namespace chassis

#endif
