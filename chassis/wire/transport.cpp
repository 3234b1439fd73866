#include "wire/transport.h"

#include "wire_transport.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <system_error>

namespace chassis {

namespace {

constexpr std::uint32_t kMagic = orva::wire::kTransportMagic;
constexpr std::uint8_t kVersion = orva::wire::kTransportVersion;
static_assert(kTransportHeaderBytes == orva::wire::kTransportBytes);

// Where a field of the transport header is.
consteval std::size_t place_of(std::string_view name) {
    for (const orva::wire::Field &field : orva::wire::kTransportFields) {
        if (field.name == name) {
            return field.offset;
        }
    }
    throw "no such field"; // does not compile
}

constexpr std::size_t kRunAt = place_of("run");
constexpr std::size_t kLengthAt = place_of("length");
constexpr std::size_t kNetFnAt = place_of("net_fn");
constexpr std::size_t kCommandAt = place_of("command");
constexpr std::size_t kVersionAt = place_of("version");

std::uint32_t load32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    std::uint32_t word;
    std::memcpy(&word, bytes.data() + offset, sizeof word);
    return ntohl(word);
}

void store32(std::span<std::uint8_t> bytes, std::size_t offset, std::uint32_t value) {
    const std::uint32_t word = htonl(value);
    std::memcpy(bytes.data() + offset, &word, sizeof word);
}

std::system_error failure(const char *what) {
    return {errno, std::generic_category(), what};
}

sockaddr *generic(sockaddr_in *address) {
    return reinterpret_cast<sockaddr *>(address);
}

const sockaddr *generic(const sockaddr_in *address) {
    return reinterpret_cast<const sockaddr *>(address);
}

} // namespace

std::optional<Packet> parse_packet(std::span<const std::uint8_t> datagram, std::uint32_t run) {
    if (datagram.size() < kTransportHeaderBytes + kPrefixBytes || load32(datagram, 0) != kMagic ||
        load32(datagram, kRunAt) != run || datagram[kVersionAt] != kVersion) {
        return std::nullopt;
    }
    const auto frame = datagram.subspan(kTransportHeaderBytes);
    if (load32(datagram, kLengthAt) != frame.size()) {
        return std::nullopt;
    }
    return Packet{datagram[kNetFnAt],
                  static_cast<std::uint16_t>(datagram[kCommandAt] << 8 | datagram[kCommandAt + 1]), frame};
}

std::vector<std::uint8_t> make_datagram(Frame frame, std::uint32_t run) {
    std::vector<std::uint8_t> datagram(kTransportHeaderBytes + frame.length);
    store32(datagram, 0, kMagic);
    store32(datagram, kRunAt, run);
    store32(datagram, kLengthAt, frame.length);
    datagram[kNetFnAt] = frame.type->net_fn;
    datagram[kCommandAt] = static_cast<std::uint8_t>(frame.type->command >> 8);
    datagram[kCommandAt + 1] = static_cast<std::uint8_t>(frame.type->command);
    datagram[kVersionAt] = kVersion;
    frame_to_net(frame);
    std::memcpy(datagram.data() + kTransportHeaderBytes, frame.bytes.data(), frame.length);
    return datagram;
}

void set_frame_length(std::span<std::uint8_t> datagram) {
    store32(datagram, kLengthAt, static_cast<std::uint32_t>(datagram.size() - kTransportHeaderBytes));
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

Endpoint::Endpoint() : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = loopback(0);
    if (socket_.get() < 0 || bind(socket_.get(), generic(&address), sizeof address) != 0) {
        throw failure("no UDP port on loopback");
    }
}

std::uint16_t Endpoint::port() const {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (getsockname(socket_.get(), generic(&address), &length) != 0) {
        throw failure("getsockname");
    }
    return ntohs(address.sin_port);
}

void Endpoint::connect_to(std::uint16_t port) const {
    const sockaddr_in address = loopback(port);
    if (connect(socket_.get(), generic(&address), sizeof address) != 0) {
        throw failure("connect");
    }
}

void Endpoint::send(std::span<const std::uint8_t> datagram) const {
    (void)!::send(socket_.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL);
}

void Endpoint::send_to(const sockaddr_in &peer, std::span<const std::uint8_t> datagram) const {
    (void)!sendto(socket_.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL, generic(&peer), sizeof peer);
}

std::optional<std::span<const std::uint8_t>> Endpoint::receive(std::span<std::uint8_t> buffer,
                                                               sockaddr_in *from) const {
    socklen_t length = sizeof *from;
    const ssize_t count = recvfrom(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                                   from != nullptr ? generic(from) : nullptr, from != nullptr ? &length : nullptr);
    if (count < 0) {
        return std::nullopt;
    }
    return buffer.first(static_cast<std::size_t>(count));
}

} // namespace chassis
