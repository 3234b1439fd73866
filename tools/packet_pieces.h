// Packet dumps found in log lines, put together again.
#ifndef INSPECT_PACKET_PIECES_H
#define INSPECT_PACKET_PIECES_H

#include "input.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace inspect {

// Bytes of a packet that stand together; or, without bytes, a gap.
struct PacketRun {
    std::uint64_t offset;
    std::uint64_t length;
    Bytes bytes;        // `length` of them, or none in a gap
    std::string reason; // of a gap
};

// Where a line of a log comes from, as far as the text before what was found says so.
struct Origin {
    std::string time;   // "2026-11-21 02:13:58.981 +00:00"; empty: unknown
    std::string source; // "demo[3404]", "[3404]"; empty: unknown
    std::size_t line;   // from 1
};

Origin origin_of(std::string_view before, std::size_t line);

struct Packet {
    std::uint32_t number; // as the dumping process counted
    std::string name;
    Origin origin;                         // of the first piece that was seen
    std::map<std::uint32_t, Bytes> pieces; // by number, from 1
};

// Puts the pieces of packets together. Pieces belong together when number, name and process agree; a piece seen
// before begins another packet, since a process that starts again counts again.
class PacketCollector {
public:
    // Takes the pieces of a line. False when it holds none.
    bool add_line(std::string_view line, std::size_t number);

    // In the order of their first pieces.
    std::vector<Packet> take() {
        return std::move(packets_);
    }

private:
    std::vector<Packet> packets_;
    std::map<std::tuple<std::uint32_t, std::string, std::string>, std::size_t> open_;
};

// Every packet of which `log` holds a piece.
std::vector<Packet> find_packets(std::string_view log);

// The packet's bytes in order, with gaps where pieces are missing or cut.
std::vector<PacketRun> runs_of(const Packet &packet);

// Whether the last piece is full, so that the log may have lost pieces after it.
bool may_go_on(const Packet &packet);

} // namespace inspect

#endif
