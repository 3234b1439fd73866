// How the chassis's processes carry frames over UDP: the header ahead of a frame, and which message a network
// function and a command announce.
#ifndef ORVA_WIRE_TRANSPORT_H
#define ORVA_WIRE_TRANSPORT_H

#include "wire_chassis.h"

namespace orva::wire {

inline constexpr std::uint32_t kTransportMagic = 0x4F524348; // "ORCH"
inline constexpr std::uint8_t kTransportVersion = 1;
inline constexpr std::size_t kTransportBytes = 16;

// The transport header, in network byte order. Where the network function and the command are is given by the
// library's dump of UDP packets.
inline constexpr std::array kTransportFields{
    Field{"magic", 0, 4, Swapped::kBoth, "", "Marks a datagram of the chassis"},
    Field{"run", 4, 4, Swapped::kBoth, "", "Run of the chassis that the datagram belongs to"},
    Field{"length", 8, 4, Swapped::kBoth, "bytes", "Length of the frame after this header"},
    Field{"net_fn", 12, 1, Swapped::kNever, "",
          "Network function, even in a request, the next odd number in its reply"},
    Field{"command", 13, 2, Swapped::kBoth, "", "Command"},
    Field{"version", 15, 1, Swapped::kNever, "", "Version of this header"},
};

// What a network function and a command announce.
struct Route {
    std::uint8_t net_fn;
    std::uint16_t command;
    const char *name;
    const Message *message;
};

inline constexpr std::uint8_t kAgentNetFn = 0x30;
inline constexpr std::uint8_t kChassisNetFn = 0x3E;

inline constexpr std::array kRoutes{
    Route{kAgentNetFn, 1, "address registration", &kAddrReg},
    Route{kAgentNetFn | 1, 1, "address acknowledgement", &kAddrAck},
    Route{kAgentNetFn, 2, "temperature request", &kReq},
    Route{kAgentNetFn | 1, 2, "temperatures", &kTempInfo},
    Route{kAgentNetFn, 3, "voltage request", &kReq},
    Route{kAgentNetFn | 1, 3, "voltages", &kVltInfo},
    Route{kAgentNetFn, 4, "heartbeat request", &kHeartBeat},
    Route{kAgentNetFn | 1, 4, "heartbeat", &kHeartBeat},
    Route{kAgentNetFn, 5, "stub list", &kSimulate},
    Route{kAgentNetFn, 6, "switch-over", &kSwitchOver},
    Route{kAgentNetFn | 1, 0, "result", &kReq},
    Route{kChassisNetFn, 1, "clock advance", &kReq},
    Route{kChassisNetFn, 2, "diagnostic dump", &kReq},
    Route{kChassisNetFn, 3, "statistics request", &kReq},
    Route{kChassisNetFn | 1, 3, "statistics", &kStatistics},
    Route{kChassisNetFn, 4, "stub list request", &kReq},
    Route{kChassisNetFn | 1, 4, "stub list of the board", &kSimulate},
    Route{kChassisNetFn, 5, "simulated sensor", &kSetSensor},
    Route{kChassisNetFn, 6, "sensor list request", &kReq},
    Route{kChassisNetFn | 1, 6, "sensor list", &kSensorList},
    Route{kChassisNetFn, 7, "online pairs", &kOnlinePairs},
    Route{kChassisNetFn, 8, "online pairs request", &kReq},
    Route{kChassisNetFn | 1, 8, "online pairs of the board", &kOnlinePairs},
    Route{kChassisNetFn, 9, "log switch", &kLogSwitch},
    Route{kChassisNetFn, 10, "packet switch", &kPacketSwitch},
    Route{kChassisNetFn, 11, "sync block", &kSyncBlock},
    Route{kChassisNetFn | 1, 11, "sync report", &kSyncReport},
    Route{kChassisNetFn, 12, "trace request", &kReq},
    Route{kChassisNetFn | 1, 12, "trace", &kTrace},
    Route{kChassisNetFn, 13, "black-box dump", &kReq},
    Route{kChassisNetFn, 14, "fan log", &kReq},
    Route{kChassisNetFn, 15, "sensor fault", &kSensorFault},
    Route{kChassisNetFn, 16, "figures request", &kReq},
    Route{kChassisNetFn | 1, 16, "figures", &kFigures},
    Route{kChassisNetFn, 17, "partition exhaustion", &kReq},
};

} // namespace orva::wire

#endif
