// A packet dump, put together, as people and programs see it.
#ifndef INSPECT_PACKET_VIEW_H
#define INSPECT_PACKET_VIEW_H

#include "commands.h"
#include "packet_pieces.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

namespace inspect {

struct Dump {
    const Packet &packet;
    std::vector<PacketRun> runs;
    std::uint64_t length; // up to the last byte seen, gaps included
    bool whole;
};

Dump dump_of(const Packet &packet);

// Network function and command, as the library reads them.
struct BusFields {
    std::uint8_t net_fn = 0;
    std::uint16_t cmd = 0;
};

// Nothing for a dump that is not whole or has a length that the bus does not carry.
std::optional<BusFields> fields_of(const Dump &dump, Bus bus);

// What network function and command of a UDP packet announce, or null.
const orva::wire::Route *route_of_udp(const Bytes &packet);

void print_dump(const Dump &dump, std::optional<Bus> bus);
nlohmann::ordered_json dump_json(const Dump &dump, std::optional<Bus> bus);

} // namespace inspect

#endif
