// What the library left in a log: packet dumps, diagnostic records, dumps of the diagnostic manager. Any text may be
// around it.
#ifndef INSPECT_LOG_SCAN_H
#define INSPECT_LOG_SCAN_H

#include "packet_pieces.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace inspect {

// A text with the position of its board. The library stamps diagnostic records and debug texts alike; the host
// platform's lines say which one it is.
struct BoardRecord {
    Origin origin;
    std::string kind; // "diagnostic", "debug", or "position" where the line does not say
    std::optional<std::uint32_t> chassis;
    std::uint32_t slot;
    std::optional<std::uint32_t> id; // of the record
    std::string text;
};

// The hourly summary of a key whose records were dropped.
struct Dropped {
    std::uint32_t diag_id;
    std::uint32_t dropped;
    std::uint32_t key_id;
    std::string format;
};

inline constexpr std::size_t kZones = 13;

struct ManagerKey {
    std::uint32_t key_id, passed, dropped;
    std::array<std::uint32_t, kZones> zones;
};

struct ManagerNode {
    std::string file;
    std::uint32_t line, diag_id;
    std::string text;
    std::vector<ManagerKey> keys;
};

// A dump of the diagnostic manager.
struct ManagerDump {
    Origin origin;
    std::uint32_t is_on, nodes_covered, zone, errors, error_line, seconds;
    std::vector<ManagerNode> nodes;
    bool whole; // its last line was found
};

// The bytes of a packet without number and piece, as ORVA_DEUBG_FormatPacketToString writes them.
struct LooseBytes {
    Origin origin;
    std::string name;
    Bytes bytes;
};

struct LogContent {
    std::vector<Packet> packets;
    std::vector<BoardRecord> records;
    std::vector<ManagerDump> managers;
    std::vector<LooseBytes> loose;
};

LogContent scan_log(std::string_view log);

// What a record of the diagnostic manager says, or nothing for any other record.
std::optional<Dropped> dropped_of(const BoardRecord &record);

} // namespace inspect

#endif
