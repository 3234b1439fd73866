// What the chassis's messages carry beside the structures of the wire, in host order, and the numbers that tell the
// messages apart.
#ifndef CHASSIS_WIRE_MESSAGE_BODIES_H
#define CHASSIS_WIRE_MESSAGE_BODIES_H

#include "orva_simulate_comm.h"
#include "orva_wire.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace chassis {

inline constexpr std::uint32_t kMainSlot = 0;
inline constexpr std::uint32_t kLastSlot = 30;
inline constexpr std::size_t kPrefixBytes = sizeof(OrvaWirePrefix);
inline constexpr std::size_t kMaxBodyBytes = sizeof(OrvaWireVltInfo);
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
inline constexpr std::uint16_t kCmdSimulate = 5; // a board's whole stub list; has no header
inline constexpr std::uint16_t kCmdSwitchOver = 6;
inline constexpr std::uint16_t kCmdAdvanceClock = 1; // the header's word: seconds of the diagnostic manager's clock
inline constexpr std::uint16_t kCmdPrintDiag = 2;    // dumps the diagnostic manager to the process log
inline constexpr std::uint16_t kCmdStatistics = 3;
inline constexpr std::uint16_t kCmdStubList = 4;
inline constexpr std::uint16_t kCmdSetSensor = 5;
inline constexpr std::uint16_t kCmdSensorList = 6;
inline constexpr std::uint16_t kCmdSetOnline = 7;
inline constexpr std::uint16_t kCmdOnlineList = 8;
inline constexpr std::uint16_t kCmdDebugLog = 9;
inline constexpr std::uint16_t kCmdDebugPacket = 10;
inline constexpr std::uint16_t kCmdSync = 11;
inline constexpr std::uint16_t kCmdTrace = 12;
inline constexpr std::uint16_t kCmdBlackBox = 13; // the header's word: the power module
inline constexpr std::uint16_t kCmdFanLog = 14;
inline constexpr std::uint16_t kCmdSensorFault = 15; // a fault of the simulated hardware
inline constexpr std::uint16_t kCmdFigures = 16;     // rate limiting, queue, memory and descriptors of the process
inline constexpr std::uint16_t kCmdExhaust = 17;     // uses the memory partition up, until SIGUSR1

// The chassis's own refusals, beside the library's codes.
inline constexpr std::uint32_t kRefusedUnknown = 0xC0000001;
inline constexpr std::uint32_t kRefusedShort = 0xC0000002;
inline constexpr std::uint32_t kRefusedArgument = 0xC0000003;
inline constexpr std::uint32_t kRefusedNoPrivateMount = 0xC0000004;
inline constexpr std::uint32_t kRefusedBlock = 0xC0000005; // a sync block that is not whole
inline constexpr std::uint32_t kRefusedFile = 0xC0000006;  // a file cannot be written

// The families of the wire have their structures in orva_wire.h; the chassis's meanings for their own words follow.
// The header's fourth word is the board type in a registration, the result in its acknowledgement; the word after it
// is the IPv4 address in both, and in a switch-over.

// Where a reading comes from. An overridden sensor has two readings: the override, and what the hardware says.
enum class Source : std::uint8_t { kHardware, kStub, kSimulated, kBesideOverride };

// An entry of the readings, with the chassis's names for its reserved bytes.
struct Reading {
    std::int32_t value;
    std::uint8_t sensor;
    std::uint8_t state;
    Source source;
    std::uint8_t reserved;
};
static_assert(sizeof(Reading) == sizeof(OrvaWireTempInfoReadingsEntry));
static_assert(sizeof(Reading) == sizeof(OrvaWireVltInfoReadingsEntry));
static_assert(offsetof(Reading, value) == offsetof(OrvaWireTempInfoReadingsEntry, value));

// What a heartbeat says.
struct HeartBeat {
    std::uint32_t beat;
    std::uint32_t uptime_seconds;
    std::uint32_t requests;
    std::uint32_t refused;
    bool online;          // false: an online pair says that the board is not
    bool hardware_online; // what the hardware says
    bool pair_set;        // an online pair decides
    bool private_mount;   // the fixed paths are the board's own
    std::uint32_t queue_refusals;
    std::uint32_t start_mode;
};

struct StatisticsBody {
    OrvaWireHeader header;
    std::uint32_t received;       // packets that the receiver thread got
    std::uint32_t queue_refusals; // of these, not taken by the queue
    std::uint32_t handled;        // packets that the loop read
    std::uint32_t refused;        // of these, answered with a code
};
static_assert(sizeof(StatisticsBody) == 32);

// header.word_12: 1 sets the sensor, 0 removes it.
struct SetSensorBody {
    OrvaWireHeader header;
    OrvaSimulateSensorReq request;
    std::int32_t value;
};
static_assert(sizeof(SetSensorBody) == 48);

struct ListedSensor {
    std::uint8_t key[4]; // type, slot, extra, number
    std::uint32_t mask;
    std::int32_t value;
};

struct SensorListBody {
    OrvaWireHeader header;
    std::uint32_t count;
    ListedSensor sensors[ORVA_SIMULATE_SENSORS];
};
static_assert(sizeof(SensorListBody) == 788);

// A board's whole list of online pairs; kNoSlot marks an empty entry. Bytes, nothing to convert.
struct OnlineBody {
    OrvaWireHeader header;
    OrvaBoardOnlinePair pairs[ORVA_SIMULATE_BOARD_PAIRS];
};
inline constexpr std::uint8_t kNoSlot = 0xFF;

struct DebugLogBody {
    OrvaWireHeader header;
    std::uint32_t on;
    std::uint32_t module_mask;
    std::uint32_t slot;
};

struct DebugPacketBody {
    OrvaWireHeader header;
    std::uint32_t on;
    std::uint32_t type;
    std::uint32_t net_fn;
    std::uint32_t command;
};

// header.word_12: the record's number. The seed tells both sides what the record holds.
struct SyncBody {
    OrvaWireHeader header;
    std::uint32_t seed;
    std::uint32_t length;
    std::uint8_t block[256];
};

// header.word_12: 0 when the record is in step.
struct SyncReportBody {
    OrvaWireHeader header;
    std::uint32_t compared;
    std::uint32_t differing;
    char text[256]; // zero-terminated
};

struct SensorFaultBody {
    OrvaWireHeader header;
    std::uint32_t sensor_kind;
    std::uint32_t sensor_number;
    std::uint32_t fault; // 0: none, the sensor is sound again
    std::int32_t value;
};
static_assert(sizeof(SensorFaultBody) == 32);

struct FiguresBody {
    OrvaWireHeader header;
    std::uint32_t passed;  // rate-limited records of the last hour, all ids and keys
    std::uint32_t dropped; // since the last summary
    std::uint32_t queue_messages;
    std::uint32_t queue_bytes;
    std::uint32_t memory_bytes;
    std::uint32_t memory_blocks;
    std::uint32_t memory_failures;
    std::uint32_t descriptors;
};
static_assert(sizeof(FiguresBody) == 48);

// The stages of the request path in a board's process, in order.
enum class Stage : std::uint32_t { kQueueRead, kLengthCheck, kToHost, kHeaderCheck, kAnswer, kSend };
inline constexpr std::uint32_t kStages = 6;
inline constexpr std::array kStageNames = {"queue read",   "length check",      "to host order",
                                           "header check", "making the answer", "to network order, send"};
static_assert(kStageNames.size() == kStages);

// CPU time in nanoseconds, truncated to 32 bits.
struct TracedStage {
    std::uint32_t count;
    std::uint32_t min_ns;
    std::uint32_t avg_ns;
    std::uint32_t max_ns;
};

struct TraceBody {
    OrvaWireHeader header;
    TracedStage stages[kStages];
};
static_assert(sizeof(TraceBody) == 112);

} // namespace chassis

#endif
