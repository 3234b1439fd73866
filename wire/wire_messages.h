// The agent messages, each once: what it is called, which of its bytes have a meaning, and which of them change byte
// order in which direction. The list of converters at the end says which function does which direction of which
// message. The library's converters, the documentation, the dissector, the schema and orva_wire.h are made from it.
#ifndef ORVA_WIRE_MESSAGES_H
#define ORVA_WIRE_MESSAGES_H

#include "orva_comm.h"
#include "wire_description.h"

namespace orva::wire {

// Rows are written with these four.
consteval Field word(const char *name, std::uint16_t offset, const char *text, const char *unit = "") {
    return {name, offset, 4, Swapped::kBoth, unit, text};
}

consteval Field half(const char *name, std::uint16_t offset, const char *text) {
    return {name, offset, 2, Swapped::kBoth, "", text};
}

consteval Field count_byte(const char *name, std::uint16_t offset, const char *text) {
    return {name, offset, 1, Swapped::kNever, "entries", text};
}

// The header of an agent message, and the family's own fields after it.
template <typename... Own>
consteval Fields header_and(Own... own) {
    return {word("req_or_reply", 0, "1 in a request, 2 in a reply"), word("src_slot", 4, "Sender, 0 to 30", "slot"),
            word("dest_slot", 8, "Receiver; 0xFFFFFFFF in a request means every board", "slot"),
            word("word_12", 12, "Fourth word of the header; its meaning is the family's own"), own...};
}

inline constexpr const char *kOpaqueWord = "The family's own word";
inline constexpr const char *kOpaqueHalf = "The family's own 16-bit word";

inline constexpr Message kSwitchOver{
    .family = "SwitchOver",
    .text = "Switch-over from the main to the backup board",
    .fields = header_and(word("word_16", 16, kOpaqueWord)),
};

inline constexpr Message kSenAlmReq{
    .family = "SenAlmReq",
    .text = "Request for sensor alarms",
    .fields = header_and(),
};

inline constexpr Message kAddrReg{
    .family = "AddrReg",
    .text = "Address registration of a board",
    .fields = header_and(word("word_16", 16, kOpaqueWord)),
};

inline constexpr Message kAddrAck{
    .family = "AddrAck",
    .text = "Acknowledgement of an address registration",
    .fields = header_and(word("word_16", 16, kOpaqueWord)),
};

inline constexpr EntryFields kReading{word("value", 0, "Reading of the sensor")};

inline constexpr Message kTempInfo{
    .family = "TempInfo",
    .text = "Temperature readings of a board",
    .fields = header_and(count_byte("count", 19, "Number of readings")),
    .arrays = {{{.name = "readings",
                 .offset = 24,
                 .stride = 8,
                 .bound = 68,
                 .count = "count",
                 .fields = kReading,
                 .text = "One entry for each temperature sensor"}}},
};

inline constexpr Message kVltInfo{
    .family = "VltInfo",
    .text = "Voltage readings of a board",
    .fields = header_and(count_byte("count", 19, "Number of readings")),
    .arrays = {{{.name = "readings",
                 .offset = 24,
                 .stride = 8,
                 .bound = 168,
                 .count = "count",
                 .fields = kReading,
                 .text = "One entry for each voltage sensor"}}},
};

inline constexpr EntryFields kManagedSensor{half("half_0", 0, kOpaqueHalf), word("word_4", 4, kOpaqueWord)};

inline constexpr Message kMpuMngSensorInfo{
    .family = "MpuMngSensorInfo",
    .text = "Sensors that the main board manages",
    .fields = header_and(count_byte("temp_count", 16, "Number of temperature sensors"),
                         count_byte("vlt_count", 17, "Number of voltage sensors")),
    .arrays = {{{.name = "temp_sensors",
                 .offset = 24,
                 .stride = 12,
                 .bound = 68,
                 .count = "temp_count",
                 .fields = kManagedSensor,
                 .text = "One entry for each temperature sensor"},
                {.name = "vlt_sensors",
                 .offset = 840,
                 .stride = 12,
                 .bound = 168,
                 .count = "vlt_count",
                 .fields = kManagedSensor,
                 .text = "One entry for each voltage sensor"}}},
};

inline constexpr EntryFields kTwoHalves{half("half_0", 0, kOpaqueHalf), half("half_2", 2, kOpaqueHalf)};

// The second and the third array share one count.
inline constexpr Message kSubCardInfo{
    .family = "SubCardInfo",
    .text = "Sub-cards of a board and their sensors",
    .fields = header_and(word("word_16", 16, kOpaqueWord), count_byte("card_count", 21, "Number of sub-cards"),
                         count_byte("sensor_count", 22, "Number of sensors of each kind")),
    .arrays = {{{.name = "cards",
                 .offset = 24,
                 .stride = 8,
                 .bound = 14,
                 .count = "card_count",
                 .fields = {word("word_0", 0, kOpaqueWord)},
                 .text = "One entry for each sub-card"},
                {.name = "vlt_sensors",
                 .offset = 140,
                 .stride = 22,
                 .bound = 168,
                 .count = "sensor_count",
                 .fields = kTwoHalves,
                 .text = "One entry for each voltage sensor"},
                {.name = "temp_sensors",
                 .offset = 3838,
                 .stride = 22,
                 .bound = 68,
                 .count = "sensor_count",
                 .fields = kTwoHalves,
                 .text = "One entry for each temperature sensor"}}},
};

inline constexpr Message kCardAttr{
    .family = "CardAttr",
    .text = "Attributes of a card",
    .fields = header_and(word("word_20", 20, kOpaqueWord)),
};

inline constexpr Message kCardHumid{
    .family = "CardHumid",
    .text = "Humidity of a card",
    .fields = header_and(word("word_20", 20, kOpaqueWord)),
};

inline constexpr Message kSimulate{
    .family = "Simulate",
    .text = "A board's whole stub list",
    .fields = {word("count", 0, "Number of stubs", "entries")},
    .arrays = {{{.name = "stubs",
                 .offset = 4,
                 .stride = 40,
                 .bound = 32,
                 .count = "count",
                 .fields = {word("type", 0, "Stub type"),
                            word("value", 4, "Value of the stub"),
                            {"name", 8, 32, Swapped::kNever, "", "Name of the stub"}},
                 .text = "One entry for each stub"}}},
};

inline constexpr Message kSoNameReq{
    .family = "SoNameReq",
    .text = "Request for the names of shared libraries",
    .fields = {word("word_0", 0, kOpaqueWord)},
};

inline constexpr Message kSoNameAck{
    .family = "SoNameAck",
    .text = "Names of shared libraries",
    .fields = {word("count", 0, "Number of libraries", "entries")},
    .arrays = {{{.name = "libraries",
                 .offset = 4,
                 .stride = 68,
                 .bound = 32,
                 .count = "count",
                 .fields = {half("half_64", 64, kOpaqueHalf), half("half_66", 66, kOpaqueHalf)},
                 .text = "One entry for each shared library"}}},
};

inline constexpr Message kFrameAttr{
    .family = "FrameAttr",
    .text = "Attributes of the chassis",
    .fields = header_and(word("word_140", 140, kOpaqueWord)),
};

inline constexpr Message kReq{
    .family = "Req",
    .text = "A request that is a header only",
    .fields = header_and(),
};

inline constexpr Message kFrameCardPowerState{
    .family = "FrameCardPowerState",
    .text = "Power state of the cards of a chassis",
    .fields = header_and(),
};

inline constexpr Message kPowerState{
    .family = "PowerState",
    .text = "Power state of a board",
    .fields = header_and(word("word_16", 16, kOpaqueWord), word("word_48", 48, kOpaqueWord)),
};

// Compat: bytes on the wire. The only family whose converters write into the count, in both directions.
inline constexpr Message kPwrSenCfg{
    .family = "PwrSenCfg",
    .text = "Configuration of the power sensors",
    .fields = header_and(word("word_80", 80, kOpaqueWord), count_byte("count", 87, "Number of sensors")),
    .arrays = {{{.name = "sensors",
                 .offset = 2206,
                 .stride = 22,
                 .bound = 96,
                 .count = "count",
                 .clamps = true,
                 .fields = kTwoHalves,
                 .text = "One entry for each power sensor"}}},
};

// Compat: bytes on the wire. The two directions are not mirror images; three words are converted to host order only.
inline constexpr Message kHeartBeat{
    .family = "HeartBeat",
    .text = "Heartbeat of a board",
    .fields = header_and(word("word_16", 16, kOpaqueWord), word("word_20", 20, kOpaqueWord),
                         word("word_24", 24, kOpaqueWord), Field{"word_28", 28, 4, Swapped::kToHost, "", kOpaqueWord},
                         Field{"word_36", 36, 4, Swapped::kToHost, "", kOpaqueWord},
                         Field{"word_40", 40, 4, Swapped::kToHost, "", kOpaqueWord}),
};

inline constexpr Message kSensorCtrl{
    .family = "SensorCtrl",
    .text = "Control of a sensor",
    .fields = header_and(word("word_16", 16, kOpaqueWord), word("word_20", 20, kOpaqueWord),
                         word("word_24", 24, kOpaqueWord)),
};

// PLAIN(message, function, direction, shape) makes a row and, in the library, the function. HOOKED is the same for a
// converter that the library writes out, because it calls its hook at the end.
// Compat: bytes on the wire. MpuMngSensorInfo goes to the net with and without a prefix, SenAlmReq and Req without
// one.
#define ORVA_WIRE_CONVERTERS(PLAIN, HOOKED)                                                                          \
    HOOKED(SwitchOver, ORVA_AGENT_ChgSwitchOverMsgToHost, kHost, kBody)                                              \
    HOOKED(SwitchOver, ORVA_AGENT_ChgSwitchOverMsgToNet, kNet, kFrame)                                               \
    PLAIN(SenAlmReq, ORVA_AGENT_ChgSenAlmReqMsgToHost, kHost, kBody)                                                 \
    PLAIN(SenAlmReq, ORVA_AGENT_ChgSenAlmReqMsgToNet, kNet, kBody)                                                   \
    HOOKED(AddrReg, ORVA_AGENT_ChgAddrRegMsgToHost, kHost, kBody)                                                    \
    HOOKED(AddrAck, ORVA_AGENT_ChgAddrAckMsgToNet, kNet, kFrame)                                                     \
    HOOKED(TempInfo, ORVA_AGENT_ChgTempInfoMsgToHost, kHost, kBody)                                                  \
    HOOKED(TempInfo, ORVA_AGENT_ChgTempInfoMsgToNet, kNet, kFrame)                                                   \
    PLAIN(VltInfo, ORVA_AGENT_ChgVltInfoMsgToHost, kHost, kBody)                                                     \
    PLAIN(VltInfo, ORVA_AGENT_ChgVltInfoMsgToNet, kNet, kFrame)                                                      \
    PLAIN(MpuMngSensorInfo, ORVA_AGENT_ChgMpuMngSensorInfoToHost, kHost, kBody)                                      \
    PLAIN(MpuMngSensorInfo, ORVA_AGENT_ChgMpuMngSensorInfoToNet, kNet, kBody)                                        \
    PLAIN(MpuMngSensorInfo, ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet, kNet, kFrame)                                    \
    PLAIN(SubCardInfo, ORVA_AGENT_ChgSubCardInfoMsgToHost, kHost, kBody)                                             \
    HOOKED(SubCardInfo, ORVA_AGENT_ChgSubCardInfoMsgToNet, kNet, kFrame)                                             \
    PLAIN(CardAttr, ORVA_AGENT_ChgCardAttrMsgToHost, kHost, kBody)                                                   \
    PLAIN(CardAttr, ORVA_AGENT_ChgCardAttrMsgToNet, kNet, kFrame)                                                    \
    PLAIN(CardHumid, ORVA_AGENT_ChgCardHumidMsgToHost, kHost, kBody)                                                 \
    PLAIN(CardHumid, ORVA_AGENT_ChgCardHumidMsgToNet, kNet, kFrame)                                                  \
    PLAIN(Simulate, ORVA_AGENT_ChgSimulateMsgToHost, kHost, kBody)                                                   \
    PLAIN(Simulate, ORVA_AGENT_ChgSimulateMsgToNet, kNet, kFrame)                                                    \
    PLAIN(SoNameReq, ORVA_AGENT_ChgSoNameReqToHost, kHost, kBody)                                                    \
    PLAIN(SoNameReq, ORVA_AGENT_ChgSoNameReqToNet, kNet, kFrame)                                                     \
    PLAIN(SoNameAck, ORVA_AGENT_ChgSoNameAckToHost, kHost, kBody)                                                    \
    PLAIN(SoNameAck, ORVA_AGENT_ChgSoNameAckToNet, kNet, kFrame)                                                     \
    PLAIN(FrameAttr, ORVA_AGENT_ChgFrameAttrMsgToHost, kHost, kBody)                                                 \
    PLAIN(FrameAttr, ORVA_AGENT_ChgReqFrameAtrrMsgToNet, kNet, kFrame)                                               \
    PLAIN(Req, ORVA_AGENT_ChgReqMsgToHost, kHost, kBody)                                                             \
    PLAIN(Req, ORVA_AGENT_ChgReqMsgToNet, kNet, kBody)                                                               \
    PLAIN(FrameCardPowerState, ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, kHost, kBody)                             \
    PLAIN(FrameCardPowerState, ORVA_AGENT_ChgFrameCardPowerStateMsgToNet, kNet, kFrame)                              \
    HOOKED(PowerState, ORVA_AGENT_ChgPowerStateMsgToNet, kNet, kFrame)                                               \
    PLAIN(PwrSenCfg, ORVA_AGENT_ChgPwrSenCfgMsgToHost, kHost, kBody)                                                 \
    PLAIN(PwrSenCfg, ORVA_AGENT_ChgPwrSenCfgMsgToNet, kNet, kFrame)                                                  \
    HOOKED(HeartBeat, ORVA_AGENT_ChgHeartBeatMsgToHost, kHost, kBody)                                                \
    HOOKED(HeartBeat, ORVA_AGENT_ChgHeartBeatMsgToNet, kNet, kFrame)                                                 \
    PLAIN(SensorCtrl, ORVA_AGENT_ChgSensorCtrlMsgToHost, kHost, kBody)                                               \
    PLAIN(SensorCtrl, ORVA_AGENT_ChgSensorCtrlMsgToNet, kNet, kFrame)

#define ORVA_WIRE_PLAIN_ROW(message, function, direction, shape)                                                     \
    Converter{&k##message, #function, Direction::direction, Shape::shape, false, function},
#define ORVA_WIRE_HOOKED_ROW(message, function, direction, shape)                                                    \
    Converter{&k##message, #function, Direction::direction, Shape::shape, true, function},

inline constexpr std::array kConverters{ORVA_WIRE_CONVERTERS(ORVA_WIRE_PLAIN_ROW, ORVA_WIRE_HOOKED_ROW)};

#undef ORVA_WIRE_PLAIN_ROW
#undef ORVA_WIRE_HOOKED_ROW

static_assert(converters_are_sound(kConverters));

} // namespace orva::wire

#endif
