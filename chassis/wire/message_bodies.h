// The records that the chassis's messages carry, in host order, and the numbers that tell the messages apart.
#ifndef CHASSIS_WIRE_MESSAGE_BODIES_H
#define CHASSIS_WIRE_MESSAGE_BODIES_H

#include "orva_simulate_comm.h"

#include <cstddef>
#include <cstdint>

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

// Where a reading comes from. An overridden sensor has two readings: the override, and what the hardware says.
enum class Source : std::uint8_t { kHardware, kStub, kSimulated, kBesideOverride };

struct Reading {
    std::int32_t value;
    std::uint8_t sensor;
    std::uint8_t state;
    Source source;
    std::uint8_t reserved;
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
    std::uint32_t refused;        // from here on only the to-host converter knows the words
    std::uint8_t online;          // 1: online; 0: an online pair says that the board is not
    std::uint8_t hardware_online; // what the hardware says
    std::uint8_t pair_set;        // 1: an online pair decides
    std::uint8_t private_mount;   // 1: the fixed paths are the board's own
    std::uint32_t queue_refusals;
    std::uint32_t start_mode;
};
static_assert(offsetof(HeartBeatBody, refused) == 28 && offsetof(HeartBeatBody, online) == 32);
static_assert(sizeof(HeartBeatBody) == 44);

struct StatisticsBody {
    Header header;
    std::uint32_t received;       // packets that the receiver thread got
    std::uint32_t queue_refusals; // of these, not taken by the queue
    std::uint32_t handled;        // packets that the loop read
    std::uint32_t refused;        // of these, answered with a code
};
static_assert(sizeof(StatisticsBody) == 32);

// The library's stub list, as it is in a simulation root. No header.
struct SimulateBody {
    std::uint32_t count;
    OrvaStubItem stubs[ORVA_SIMULATE_STUBS];
};
static_assert(sizeof(SimulateBody) == 1284);

// header.word: 1 sets the sensor, 0 removes it.
struct SetSensorBody {
    Header header;
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
    Header header;
    std::uint32_t count;
    ListedSensor sensors[ORVA_SIMULATE_SENSORS];
};
static_assert(sizeof(SensorListBody) == 788);

// A board's whole list of online pairs; kNoSlot marks an empty entry. Bytes, nothing to convert.
struct OnlineBody {
    Header header;
    OrvaBoardOnlinePair pairs[ORVA_SIMULATE_BOARD_PAIRS];
};
inline constexpr std::uint8_t kNoSlot = 0xFF;

struct DebugLogBody {
    Header header;
    std::uint32_t on;
    std::uint32_t module_mask;
    std::uint32_t slot;
};

struct DebugPacketBody {
    Header header;
    std::uint32_t on;
    std::uint32_t type;
    std::uint32_t net_fn;
    std::uint32_t command;
};

// header.word: the record's number. The seed tells both sides what the record holds.
struct SyncBody {
    Header header;
    std::uint32_t seed;
    std::uint32_t length;
    std::uint8_t block[256];
};

// header.word: 0 when the record is in step.
struct SyncReportBody {
    Header header;
    std::uint32_t compared;
    std::uint32_t differing;
    char text[256]; // zero-terminated
};

struct SensorFaultBody {
    Header header;
    std::uint32_t sensor_kind;
    std::uint32_t sensor_number;
    std::uint32_t fault; // 0: none, the sensor is sound again
    std::int32_t value;
};
static_assert(sizeof(SensorFaultBody) == 32);

struct FiguresBody {
    Header header;
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

// CPU time in nanoseconds, truncated to 32 bits.
struct TracedStage {
    std::uint32_t count;
    std::uint32_t min_ns;
    std::uint32_t avg_ns;
    std::uint32_t max_ns;
};

struct TraceBody {
    Header header;
    TracedStage stages[kStages];
};
static_assert(sizeof(TraceBody) == 112);

} // namespace chassis

#endif
