// Packet dumps found in log lines, put together again.
#ifndef INSPECT_PACKET_PIECES_H
#define INSPECT_PACKET_PIECES_H

#include "input.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace inspect {

// Bytes of a packet that stand together; or, without bytes, a gap.
struct PacketRun {
    std::uint64_t offset;
    std::uint64_t length;
    Bytes bytes;        // `length` of them, or none in a gap
    std::string reason; // of a gap
};

struct Packet {
    std::uint32_t number; // as the dumping process counted
    std::string name;
    std::map<std::uint32_t, Bytes> pieces; // by number, from 1
};

// Every packet of which `log` holds a piece, in the order of their first pieces. Pieces belong together when number
// and name agree; a piece seen before begins another packet, since a process that starts again counts again.
std::vector<Packet> find_packets(std::string_view log);

// The packet's bytes in order, with gaps where pieces are missing or cut.
std::vector<PacketRun> runs_of(const Packet &packet);

// Whether the last piece is full, so that the log may have lost pieces after it.
bool may_go_on(const Packet &packet);

} // namespace inspect

#endif
