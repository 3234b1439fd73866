#include "messages.h"

#include "orva_comm.h"

#include <algorithm>
#include <arpa/inet.h>
#include <stdexcept>

namespace chassis {

namespace {

using Converter = void (*)(void *);

void swap_prefix(std::uint8_t *frame) {
    std::uint16_t sequence;
    std::memcpy(&sequence, frame, sizeof sequence);
    sequence = htons(sequence);
    std::memcpy(frame, &sequence, sizeof sequence);
}

void swap_word(std::uint8_t *body, std::size_t offset) {
    std::uint32_t word;
    std::memcpy(&word, body + offset, sizeof word);
    word = htonl(word);
    std::memcpy(body + offset, &word, sizeof word);
}

// A to-host converter takes the body, so the prefix is ours to swap.
template <Converter kConvert>
void body_converter(std::uint8_t *frame) {
    swap_prefix(frame);
    kConvert(frame + kPrefixBytes);
}

template <Converter kConvert>
void frame_converter(std::uint8_t *frame) {
    kConvert(frame);
}

// The library converts a registration on the receiving side only; the sender's side is this one.
void address_to_net(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToNet>(frame);
    swap_word(frame + kPrefixBytes, offsetof(AddressBody, address));
}

// And its acknowledgement on the sending side only.
void address_to_host(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToHost>(frame);
    swap_word(frame + kPrefixBytes, offsetof(AddressBody, address));
}

// The heartbeat's to-net converter leaves three words in host order that its to-host converter swaps. Sent as the
// receiver will read them, they arrive.
void heart_beat_to_net(std::uint8_t *frame) {
    ORVA_AGENT_ChgHeartBeatMsgToNet(frame);
    for (const std::size_t offset : {offsetof(HeartBeatBody, refused), offsetof(HeartBeatBody, queue_refusals),
                                     offsetof(HeartBeatBody, start_mode)}) {
        swap_word(frame + kPrefixBytes, offset);
    }
}

void statistics_words(std::uint8_t *frame) {
    for (std::size_t offset = sizeof(Header); offset < sizeof(StatisticsBody); offset += sizeof(std::uint32_t)) {
        swap_word(frame + kPrefixBytes, offset);
    }
}

void statistics_to_net(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToNet>(frame);
    statistics_words(frame);
}

void statistics_to_host(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToHost>(frame);
    statistics_words(frame);
}

constexpr std::uint32_t kRequestBytes = sizeof(RequestBody);
constexpr std::uint32_t kReadingsBytes = offsetof(TemperatureBody, readings);
constexpr auto kRequestToHost = body_converter<ORVA_AGENT_ChgReqMsgToHost>;
constexpr auto kRequestToNet = body_converter<ORVA_AGENT_ChgReqMsgToNet>;

constexpr std::array kTypes = {
    MessageType{kNetFnAgent, kCmdAddress, "address registration", sizeof(AddressBody), sizeof(AddressBody),
                body_converter<ORVA_AGENT_ChgAddrRegMsgToHost>, address_to_net},
    MessageType{kNetFnAgentReply, kCmdAddress, "address acknowledgement", sizeof(AddressBody), sizeof(AddressBody),
                address_to_host, frame_converter<ORVA_AGENT_ChgAddrAckMsgToNet>},
    MessageType{kNetFnAgent, kCmdTemperature, "temperature request", kRequestBytes, kRequestBytes, kRequestToHost,
                kRequestToNet},
    MessageType{kNetFnAgentReply, kCmdTemperature, "temperatures", sizeof(TemperatureBody), kReadingsBytes,
                body_converter<ORVA_AGENT_ChgTempInfoMsgToHost>, frame_converter<ORVA_AGENT_ChgTempInfoMsgToNet>},
    MessageType{kNetFnAgent, kCmdVoltage, "voltage request", kRequestBytes, kRequestBytes, kRequestToHost,
                kRequestToNet},
    MessageType{kNetFnAgentReply, kCmdVoltage, "voltages", sizeof(VoltageBody), kReadingsBytes,
                body_converter<ORVA_AGENT_ChgVltInfoMsgToHost>, frame_converter<ORVA_AGENT_ChgVltInfoMsgToNet>},
    MessageType{kNetFnAgent, kCmdHeartBeat, "heartbeat request", sizeof(HeartBeatBody), sizeof(HeartBeatBody),
                body_converter<ORVA_AGENT_ChgHeartBeatMsgToHost>, heart_beat_to_net},
    MessageType{kNetFnAgentReply, kCmdHeartBeat, "heartbeat", sizeof(HeartBeatBody), sizeof(HeartBeatBody),
                body_converter<ORVA_AGENT_ChgHeartBeatMsgToHost>, heart_beat_to_net},
    MessageType{kNetFnAgentReply, kCmdResult, "result", kRequestBytes, kRequestBytes, kRequestToHost, kRequestToNet},
    MessageType{kNetFnChassis, kCmdAdvanceClock, "clock advance", kRequestBytes, kRequestBytes, kRequestToHost,
                kRequestToNet},
    MessageType{kNetFnChassis, kCmdPrintDiag, "diagnostic dump", kRequestBytes, kRequestBytes, kRequestToHost,
                kRequestToNet},
    MessageType{kNetFnChassis, kCmdStatistics, "statistics request", kRequestBytes, kRequestBytes, kRequestToHost,
                kRequestToNet},
    MessageType{kNetFnChassisReply, kCmdStatistics, "statistics", sizeof(StatisticsBody), sizeof(StatisticsBody),
                statistics_to_host, statistics_to_net},
};
static_assert(std::ranges::all_of(kTypes, [](const MessageType &type) {
    return type.min_body_bytes >= sizeof(Header) && type.min_body_bytes <= type.body_bytes &&
           type.body_bytes <= kMaxBodyBytes;
}));

} // namespace

const MessageType *find_type(std::uint8_t net_fn, std::uint16_t command) {
    const auto row = std::ranges::find_if(
        kTypes, [&](const MessageType &type) { return type.net_fn == net_fn && type.command == command; });
    return row != kTypes.end() ? &*row : nullptr;
}

std::uint16_t Frame::sequence() const {
    std::uint16_t sequence;
    std::memcpy(&sequence, bytes.data(), sizeof sequence);
    return sequence;
}

Header Frame::header() const {
    return body<Header>();
}

const std::uint32_t *Frame::header_words() const {
    return reinterpret_cast<const std::uint32_t *>(bytes.data() + kPrefixBytes);
}

Frame frame_of_bytes(std::uint8_t net_fn, std::uint16_t command, std::uint16_t sequence, const void *body,
                     std::size_t body_bytes) {
    Frame frame;
    frame.type = find_type(net_fn, command);
    if (frame.type == nullptr || body_bytes > frame.type->body_bytes) {
        throw std::logic_error("a message of unknown type or too long");
    }
    std::memcpy(frame.bytes.data(), &sequence, sizeof sequence);
    std::memcpy(frame.bytes.data() + kPrefixBytes, body, body_bytes);
    frame.length = static_cast<std::uint32_t>(kPrefixBytes + body_bytes);
    return frame;
}

Frame frame_to_host(const MessageType &type, std::span<const std::uint8_t> bytes) {
    Frame frame;
    frame.type = &type;
    frame.length = static_cast<std::uint32_t>(std::min(bytes.size(), kPrefixBytes + type.body_bytes));
    std::memcpy(frame.bytes.data(), bytes.data(), frame.length);
    type.to_host(frame.bytes.data());
    return frame;
}

void frame_to_net(Frame &frame) {
    frame.type->to_net(frame.bytes.data());
}

std::uint16_t net_sequence(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

} // namespace chassis
