#include "capture_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <pcap/pcap.h>
#include <span>
#include <system_error>

namespace capture {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kIpBytes = 20;
constexpr std::size_t kUdpBytes = 8;
constexpr std::uint16_t kIpv4 = 0x0800;
constexpr std::uint8_t kUdp = 17;

std::uint16_t load16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::uint32_t load32(Bytes bytes, std::size_t at) {
    return std::uint32_t{load16(bytes, at)} << 16 | load16(bytes, at + 2);
}

// A link type whose header ends in, or has, the number of the protocol.
struct LinkType {
    int type;
    std::size_t header_bytes;
    std::size_t protocol_at; // kNone: IPv4 only
};
constexpr std::size_t kNone = SIZE_MAX;

constexpr std::array kLinkTypes = {
    LinkType{DLT_RAW, 0, kNone},     LinkType{DLT_IPV4, 0, kNone},    LinkType{DLT_EN10MB, 14, 12},
    LinkType{DLT_LINUX_SLL, 16, 14}, LinkType{DLT_LINUX_SLL2, 20, 0}, LinkType{DLT_USER0, 0, kNone},
};

const LinkType *find_link_type(int type) {
    const auto found = std::ranges::find(kLinkTypes, type, &LinkType::type);
    return found != kLinkTypes.end() ? &*found : nullptr;
}

// Fills the datagram as far as it goes; the result is what is wrong with it.
std::string read_udp(Bytes ip, Bytes udp, Datagram &datagram) {
    if (udp.size() < kUdpBytes) {
        return "ends inside the UDP header";
    }
    datagram.from = {load32(ip, 12), load16(udp, 0)};
    datagram.to = {load32(ip, 16), load16(udp, 2)};
    const std::size_t length = load16(udp, 4);
    if (length < kUdpBytes) {
        return "a UDP length below 8";
    }
    const Bytes bytes = udp.subspan(kUdpBytes, std::min(udp.size(), length) - kUdpBytes);
    datagram.bytes.assign(bytes.begin(), bytes.end());
    return length > udp.size() ? "ends inside the UDP datagram" : "";
}

std::string read_ip(Bytes packet, Datagram &datagram) {
    if (packet.empty() || packet[0] >> 4 != 4) {
        return packet.empty() ? "an empty packet" : "not IPv4";
    }
    const std::size_t header = (packet[0] & 0xFU) * 4;
    if (header < kIpBytes || packet.size() < header) {
        return "ends inside the IPv4 header";
    }
    if (packet[9] != kUdp) {
        return "not UDP";
    }
    if ((load16(packet, 6) & 0x3FFF) != 0) { // an offset, or more to come
        return "a fragment";
    }
    const std::size_t length = load16(packet, 2);
    if (length < header) {
        return "an IPv4 length below its header's";
    }
    // What follows the packet is padding of the link.
    return read_udp(packet, packet.subspan(header, std::min(packet.size(), length) - header), datagram);
}

std::string read_packet(const LinkType &link, Bytes packet, Datagram &datagram) {
    if (packet.size() < link.header_bytes) {
        return "ends inside the header of the link";
    }
    if (link.protocol_at != kNone && load16(packet, link.protocol_at) != kIpv4) {
        return "not IPv4";
    }
    return read_ip(packet.subspan(link.header_bytes), datagram);
}

// A damaged file's times may be anything; what does not fit becomes the nearest that does. Two of them may be
// subtracted.
Time time_of(const timeval &time) {
    constexpr std::int64_t kMostSeconds = 4'500'000'000;
    constexpr std::int64_t kMostNanoseconds = 100'000'000'000'000'000;
    return std::chrono::seconds(std::clamp<std::int64_t>(time.tv_sec, -kMostSeconds, kMostSeconds)) +
           Time(std::clamp<std::int64_t>(time.tv_usec, -kMostNanoseconds, kMostNanoseconds));
}

} // namespace

Reader::Reader(const std::string &path) : path_(path), file_(nullptr, pcap_close) {
    std::FILE *stream = path == "-" ? stdin : std::fopen(path.c_str(), "rbe");
    if (stream == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    std::array<char, PCAP_ERRBUF_SIZE> error{};
    file_.reset(pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, error.data()));
    if (file_ == nullptr) {
        if (stream != stdin) {
            std::fclose(stream);
        }
        throw DamagedFile(path + ": " + error.data());
    }
    const int type = pcap_datalink(file_.get());
    if (find_link_type(type) == nullptr) {
        const char *name = pcap_datalink_val_to_name(type);
        throw DamagedFile(path + ": packets of link type " + (name != nullptr ? name : std::to_string(type)) +
                          " are not read");
    }
}

Reader::~Reader() = default;

std::optional<Packet> Reader::next() {
    pcap_pkthdr *header = nullptr;
    const u_char *bytes = nullptr;
    const int result = pcap_next_ex(file_.get(), &header, &bytes);
    if (result == PCAP_ERROR_BREAK) {
        return std::nullopt;
    }
    if (result != 1) {
        throw DamagedFile(path_ + ": after packet " + std::to_string(number_) + ": " + pcap_geterr(file_.get()));
    }
    Packet packet;
    packet.number = ++number_;
    packet.datagram.time = time_of(header->ts);
    const LinkType &link = *find_link_type(pcap_datalink(file_.get()));
    const Bytes whole(bytes, header->caplen);
    if (link.type == DLT_USER0) {
        packet.raw_frame = true;
        packet.datagram.bytes.assign(whole.begin(), whole.end());
        packet.problem = header->caplen < header->len ? "not captured to its end" : "";
    } else {
        packet.problem = read_packet(link, whole, packet.datagram);
    }
    return packet;
}

} // namespace capture
