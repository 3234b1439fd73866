// How boards reach each other: datagrams over UDP on loopback. A datagram is a 16-byte transport header, which has
// the network function and the command where the library's packet dump looks for them, and one net frame.
#ifndef CHASSIS_WIRE_TRANSPORT_H
#define CHASSIS_WIRE_TRANSPORT_H

#include "descriptor.h"
#include "wire/messages.h"

#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <span>
#include <vector>

namespace chassis {

inline constexpr std::size_t kTransportHeaderBytes = 16;
inline constexpr std::size_t kMaxDatagramBytes = 65536;

// A received datagram: what its header says, and its frame in network byte order.
struct Packet {
    std::uint8_t net_fn = 0;
    std::uint16_t command = 0;
    std::span<const std::uint8_t> frame;
};

// Nothing for a datagram that is not a packet of this run or is shorter than a prefix.
std::optional<Packet> parse_packet(std::span<const std::uint8_t> datagram, std::uint32_t run);

// The datagram of a frame, converted to network byte order.
std::vector<std::uint8_t> make_datagram(Frame frame, std::uint32_t run);

// Makes the header say how long the frame is, after its length was changed.
void set_frame_length(std::span<std::uint8_t> datagram);

sockaddr_in loopback(std::uint16_t port);

// A socket on loopback, on a port that the kernel chooses.
class Endpoint {
public:
    Endpoint();

    int descriptor() const {
        return socket_.get();
    }
    std::uint16_t port() const;

    // From now on only this peer is heard.
    void connect_to(std::uint16_t port) const;

    // Send errors are ignored; a lost datagram becomes a timeout.
    void send(std::span<const std::uint8_t> datagram) const;
    void send_to(const sockaddr_in &peer, std::span<const std::uint8_t> datagram) const;

    // One waiting datagram, or nothing. `from` may be null.
    std::optional<std::span<const std::uint8_t>> receive(std::span<std::uint8_t> buffer, sockaddr_in *from) const;

private:
    Descriptor socket_;
};

} // namespace chassis

#endif
