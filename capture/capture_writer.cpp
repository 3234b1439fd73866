#include "capture_writer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <pcap/pcap.h>
#include <stdexcept>

namespace capture {

namespace {

constexpr std::size_t kIpBytes = 20;
constexpr std::size_t kUdpBytes = 8;
constexpr int kLongest = 65535;
constexpr std::uint8_t kUdp = 17;
constexpr std::uint8_t kHops = 64;

void store16(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
    bytes[at] = static_cast<std::uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(value);
}

void store32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
    store16(bytes, at, value >> 16);
    store16(bytes, at + 2, value);
}

// RFC 1071: the ones' complement sum of 16-bit words, an odd last byte followed by zero.
std::uint32_t sum_of(std::span<const std::uint8_t> bytes, std::uint32_t sum) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        sum += i % 2 == 0 ? std::uint32_t{bytes[i]} << 8 : bytes[i];
    }
    return sum;
}

std::uint16_t folded(std::uint32_t sum) {
    while (sum >> 16 != 0) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum);
}

// The addresses, the protocol and the length count too. A sum of 0 would say that there is none.
std::uint16_t udp_sum(std::span<const std::uint8_t> packet) {
    const auto udp = packet.subspan(kIpBytes);
    const std::uint32_t pseudo = sum_of(packet.subspan(12, 8), kUdp + static_cast<std::uint32_t>(udp.size()));
    const std::uint16_t sum = folded(sum_of(udp, pseudo));
    return sum != 0 ? sum : 0xFFFF;
}

} // namespace

std::vector<std::uint8_t> ip_packet(std::uint16_t number, const Address &from, const Address &to,
                                    std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> packet(kIpBytes + kUdpBytes + bytes.size());
    packet[0] = 0x45; // version 4, five words of header
    store16(packet, 2, static_cast<std::uint32_t>(packet.size()));
    store16(packet, 4, number);
    store16(packet, 6, 0x4000); // not to be fragmented
    packet[8] = kHops;
    packet[9] = kUdp;
    store32(packet, 12, from.ip);
    store32(packet, 16, to.ip);
    store16(packet, 10, folded(sum_of(std::span(packet).first(kIpBytes), 0)));
    store16(packet, 20, from.port);
    store16(packet, 22, to.port);
    store16(packet, 24, static_cast<std::uint32_t>(kUdpBytes + bytes.size()));
    std::ranges::copy(bytes, packet.begin() + kIpBytes + kUdpBytes);
    store16(packet, 26, udp_sum(packet));
    return packet;
}

Writer::Writer(const std::string &path)
    : path_(path),
      format_(pcap_open_dead_with_tstamp_precision(DLT_RAW, kLongest, PCAP_TSTAMP_PRECISION_NANO), pcap_close),
      file_(nullptr, pcap_dump_close) {
    std::FILE *stream = std::fopen(path.c_str(), "wbe");
    if (stream == nullptr) {
        error_ = errno;
        throw failure();
    }
    file_.reset(pcap_dump_fopen(format_.get(), stream));
    if (file_ == nullptr) {
        error_ = errno != 0 ? errno : EIO;
        std::fclose(stream);
        throw failure();
    }
    note_error();
    if (error_ != 0) {
        throw failure();
    }
}

Writer::~Writer() = default;

void Writer::add(Time time, const Address &from, const Address &to, std::span<const std::uint8_t> bytes) {
    if (bytes.size() > kMaxDatagramBytes) {
        throw std::logic_error("a datagram that is too long for a capture");
    }
    const auto packet = ip_packet(number_++, from, to, bytes);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    pcap_pkthdr header{};
    header.ts.tv_sec = seconds.count();
    header.ts.tv_usec = (time - seconds).count(); // nanoseconds: the file is opened for them
    header.caplen = header.len = static_cast<bpf_u_int32>(packet.size());
    if (error_ == 0) {
        pcap_dump(reinterpret_cast<u_char *>(file_.get()), &header, packet.data());
        error_ = std::ferror(pcap_dump_file(file_.get())) != 0 ? errno : 0;
    }
}

void Writer::note_error() {
    errno = 0;
    if (error_ == 0 && pcap_dump_flush(file_.get()) != 0) {
        error_ = errno != 0 ? errno : EIO;
    }
}

void Writer::close() {
    if (file_ == nullptr) {
        return;
    }
    note_error();
    file_.reset();
    if (error_ != 0) {
        throw failure();
    }
}

std::runtime_error Writer::failure() const {
    return std::runtime_error("cannot write " + path_ + ": " + std::strerror(error_));
}

std::string ip_text(std::uint32_t ip) {
    const in_addr address = {htonl(ip)};
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

} // namespace capture
