#include "wire/messages.h"

#include "orva_comm.h"
#include "wire_transport.h"

#include <algorithm>
#include <arpa/inet.h>
#include <stdexcept>
#include <string_view>

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
    swap_word(frame + kPrefixBytes, offsetof(OrvaWireAddrReg, word_16));
}

// And its acknowledgement on the sending side only.
void address_to_host(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToHost>(frame);
    swap_word(frame + kPrefixBytes, offsetof(OrvaWireAddrAck, word_16));
}

// The heartbeat's to-net converter leaves three words in host order that its to-host converter swaps. Swapped here,
// so that the receiver's conversion restores them.
void heart_beat_to_net(std::uint8_t *frame) {
    ORVA_AGENT_ChgHeartBeatMsgToNet(frame);
    for (const std::size_t offset : {offsetof(OrvaWireHeartBeat, word_28), offsetof(OrvaWireHeartBeat, word_36),
                                     offsetof(OrvaWireHeartBeat, word_40)}) {
        swap_word(frame + kPrefixBytes, offset);
    }
}

// The chassis's own messages: the header as everywhere, and after it n words.
template <std::size_t kWords>
void swap_words(std::uint8_t *frame) {
    for (std::size_t i = 0; i < kWords; ++i) {
        swap_word(frame + kPrefixBytes, sizeof(OrvaWireHeader) + i * sizeof(std::uint32_t));
    }
}

template <std::size_t kWords>
void words_to_net(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToNet>(frame);
    swap_words<kWords>(frame);
}

template <std::size_t kWords>
void words_to_host(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToHost>(frame);
    swap_words<kWords>(frame);
}

void swap_sensor_list(std::uint8_t *frame) {
    swap_word(frame + kPrefixBytes, offsetof(SensorListBody, count));
    for (std::size_t i = 0; i < ORVA_SIMULATE_SENSORS; ++i) {
        const std::size_t at = offsetof(SensorListBody, sensors) + i * sizeof(ListedSensor);
        swap_word(frame + kPrefixBytes, at + offsetof(ListedSensor, mask));
        swap_word(frame + kPrefixBytes, at + offsetof(ListedSensor, value));
    }
}

void sensor_list_to_net(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToNet>(frame);
    swap_sensor_list(frame);
}

void sensor_list_to_host(std::uint8_t *frame) {
    body_converter<ORVA_AGENT_ChgReqMsgToHost>(frame);
    swap_sensor_list(frame);
}

constexpr std::uint32_t kReadingsBytes = offsetof(OrvaWireTempInfo, readings);

using FrameConverter = void (*)(std::uint8_t *frame);

template <typename Body>
constexpr MessageType whole(std::uint8_t net_fn, std::uint16_t command, const char *name, FrameConverter to_host,
                            FrameConverter to_net) {
    return {net_fn, command, name, sizeof(Body), sizeof(Body), true, to_host, to_net};
}

constexpr MessageType plain(std::uint8_t net_fn, std::uint16_t command, const char *name) {
    return whole<OrvaWireReq>(net_fn, command, name, body_converter<ORVA_AGENT_ChgReqMsgToHost>,
                              body_converter<ORVA_AGENT_ChgReqMsgToNet>);
}

template <typename Body, std::size_t kWords>
constexpr MessageType words(std::uint8_t net_fn, std::uint16_t command, const char *name) {
    return whole<Body>(net_fn, command, name, words_to_host<kWords>, words_to_net<kWords>);
}

constexpr MessageType stub_list(std::uint8_t net_fn, std::uint16_t command, const char *name) {
    return {net_fn,
            command,
            name,
            sizeof(OrvaWireSimulate),
            sizeof(OrvaWireSimulate),
            false,
            body_converter<ORVA_AGENT_ChgSimulateMsgToHost>,
            frame_converter<ORVA_AGENT_ChgSimulateMsgToNet>};
}

constexpr std::array kTypes = {
    whole<OrvaWireAddrReg>(kNetFnAgent, kCmdAddress, "address registration",
                           body_converter<ORVA_AGENT_ChgAddrRegMsgToHost>, address_to_net),
    whole<OrvaWireAddrAck>(kNetFnAgentReply, kCmdAddress, "address acknowledgement", address_to_host,
                           frame_converter<ORVA_AGENT_ChgAddrAckMsgToNet>),
    plain(kNetFnAgent, kCmdTemperature, "temperature request"),
    MessageType{kNetFnAgentReply, kCmdTemperature, "temperatures", sizeof(OrvaWireTempInfo), kReadingsBytes, true,
                body_converter<ORVA_AGENT_ChgTempInfoMsgToHost>, frame_converter<ORVA_AGENT_ChgTempInfoMsgToNet>},
    plain(kNetFnAgent, kCmdVoltage, "voltage request"),
    MessageType{kNetFnAgentReply, kCmdVoltage, "voltages", sizeof(OrvaWireVltInfo), kReadingsBytes, true,
                body_converter<ORVA_AGENT_ChgVltInfoMsgToHost>, frame_converter<ORVA_AGENT_ChgVltInfoMsgToNet>},
    whole<OrvaWireHeartBeat>(kNetFnAgent, kCmdHeartBeat, "heartbeat request",
                             body_converter<ORVA_AGENT_ChgHeartBeatMsgToHost>, heart_beat_to_net),
    whole<OrvaWireHeartBeat>(kNetFnAgentReply, kCmdHeartBeat, "heartbeat",
                             body_converter<ORVA_AGENT_ChgHeartBeatMsgToHost>, heart_beat_to_net),
    stub_list(kNetFnAgent, kCmdSimulate, "stub list"),
    whole<OrvaWireSwitchOver>(kNetFnAgent, kCmdSwitchOver, "switch-over",
                              body_converter<ORVA_AGENT_ChgSwitchOverMsgToHost>,
                              frame_converter<ORVA_AGENT_ChgSwitchOverMsgToNet>),
    plain(kNetFnAgentReply, kCmdResult, "result"),
    plain(kNetFnChassis, kCmdAdvanceClock, "clock advance"),
    plain(kNetFnChassis, kCmdPrintDiag, "diagnostic dump"),
    plain(kNetFnChassis, kCmdStatistics, "statistics request"),
    words<StatisticsBody, 4>(kNetFnChassisReply, kCmdStatistics, "statistics"),
    plain(kNetFnChassis, kCmdStubList, "stub list request"),
    stub_list(kNetFnChassisReply, kCmdStubList, "stub list of the board"),
    words<SetSensorBody, 8>(kNetFnChassis, kCmdSetSensor, "simulated sensor"),
    plain(kNetFnChassis, kCmdSensorList, "sensor list request"),
    whole<SensorListBody>(kNetFnChassisReply, kCmdSensorList, "sensor list", sensor_list_to_host, sensor_list_to_net),
    words<OnlineBody, 0>(kNetFnChassis, kCmdSetOnline, "online pairs"),
    plain(kNetFnChassis, kCmdOnlineList, "online pairs request"),
    words<OnlineBody, 0>(kNetFnChassisReply, kCmdOnlineList, "online pairs of the board"),
    words<DebugLogBody, 3>(kNetFnChassis, kCmdDebugLog, "log switch"),
    words<DebugPacketBody, 4>(kNetFnChassis, kCmdDebugPacket, "packet switch"),
    words<SyncBody, 2>(kNetFnChassis, kCmdSync, "sync block"),
    words<SyncReportBody, 2>(kNetFnChassisReply, kCmdSync, "sync report"),
    plain(kNetFnChassis, kCmdTrace, "trace request"),
    words<TraceBody, kStages * sizeof(TracedStage) / sizeof(std::uint32_t)>(kNetFnChassisReply, kCmdTrace, "trace"),
    plain(kNetFnChassis, kCmdBlackBox, "black-box dump"),
    plain(kNetFnChassis, kCmdFanLog, "fan log"),
    words<SensorFaultBody, 4>(kNetFnChassis, kCmdSensorFault, "sensor fault"),
    plain(kNetFnChassis, kCmdFigures, "figures request"),
    words<FiguresBody, 8>(kNetFnChassisReply, kCmdFigures, "figures"),
    plain(kNetFnChassis, kCmdExhaust, "partition exhaustion"),
};
// The description knows the same commands, so that inspector and dissector name what the chassis sends.
static_assert(std::ranges::equal(kTypes, orva::wire::kRoutes, [](const MessageType &type, const auto &route) {
    return type.net_fn == route.net_fn && type.command == route.command &&
           type.name == std::string_view(route.name) && type.body_bytes == orva::wire::body_bytes(*route.message);
}));
static_assert(std::ranges::all_of(kTypes, [](const MessageType &type) {
    return type.min_body_bytes >= sizeof(OrvaWireHeader) && type.min_body_bytes <= type.body_bytes &&
           type.body_bytes <= kMaxBodyBytes;
}));

} // namespace

OrvaWireHeartBeat heart_beat_body(const OrvaWireHeader &header, const HeartBeat &beat) {
    OrvaWireHeartBeat body{};
    body.header = header;
    body.word_16 = beat.beat;
    body.word_20 = beat.uptime_seconds;
    body.word_24 = beat.requests;
    body.word_28 = beat.refused;
    const std::array flags = {beat.online, beat.hardware_online, beat.pair_set, beat.private_mount};
    static_assert(flags.size() == sizeof body.reserved_32);
    std::ranges::copy(flags, body.reserved_32);
    body.word_36 = beat.queue_refusals;
    body.word_40 = beat.start_mode;
    return body;
}

HeartBeat heart_beat_of(const OrvaWireHeartBeat &body) {
    const auto &flags = body.reserved_32;
    return {body.word_16,  body.word_20,  body.word_24,  body.word_28, flags[0] != 0,
            flags[1] != 0, flags[2] != 0, flags[3] != 0, body.word_36, body.word_40};
}

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

OrvaWireHeader Frame::header() const {
    return body<OrvaWireHeader>();
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
    // A word that the end of the frame cuts has moved past it.
    std::fill(frame.bytes.begin() + frame.length, frame.bytes.end(), std::uint8_t{0});
    return frame;
}

void frame_to_net(Frame &frame) {
    frame.type->to_net(frame.bytes.data());
}

std::uint16_t net_sequence(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

} // namespace chassis
