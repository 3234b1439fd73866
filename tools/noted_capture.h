// A capture whose packets carry notes: pcapng (draft-ietf-opsawg-pcapng), with an interface for each bus and with
// direction and comment of each packet. libpcap writes the older format only, which has no place for them.
#ifndef INSPECT_NOTED_CAPTURE_H
#define INSPECT_NOTED_CAPTURE_H

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace inspect {

// Link types of tcpdump.org.
inline constexpr std::uint16_t kRawIp = 101;
inline constexpr std::uint16_t kUser0 = 147;

enum class Flow : std::uint32_t { kUnknown = 0, kInbound = 1, kOutbound = 2 };

struct NotedPacket {
    std::string bus; // names the interface
    std::uint16_t link_type;
    std::uint64_t time_us; // since 1970
    Flow flow;
    std::string comment;
    std::vector<std::uint8_t> bytes;
};

// The same packets make the same bytes. Whether they could be written the stream says.
class NotedCapture {
public:
    explicit NotedCapture(std::ostream &out);
    void add(const NotedPacket &packet);

private:
    std::uint32_t interface_of(const NotedPacket &packet);

    std::ostream &out_;
    std::vector<std::string> interfaces_; // their names
};

} // namespace inspect

#endif
