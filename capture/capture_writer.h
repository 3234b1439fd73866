/**
 * @file
 * Writes a capture that tcpdump and Wireshark open: UDP over IPv4, times in nanoseconds. The same datagrams make the
 * same bytes.
 */
#ifndef ORVA_CAPTURE_WRITER_H
#define ORVA_CAPTURE_WRITER_H

#include "capture_format.h"

#include <cstdio>
#include <memory>
#include <span>
#include <string>

struct pcap;
struct pcap_dumper;

namespace capture {

// The most that a datagram can hold.
inline constexpr std::size_t kMaxDatagramBytes = 65535 - 20 - 8;

// A datagram as the IPv4 packet that carries it; `number` is the packet's identification.
std::vector<std::uint8_t> ip_packet(std::uint16_t number, const Address &from, const Address &to,
                                    std::span<const std::uint8_t> bytes);

class Writer {
public:
    // Throws std::runtime_error, which names the file and the reason, when it cannot be written.
    explicit Writer(const std::string &path);
    ~Writer();
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // What cannot be written is told by `close`.
    void add(Time time, const Address &from, const Address &to, std::span<const std::uint8_t> bytes);

    // Writes what is left. Throws std::runtime_error when anything could not be written. A second call does nothing.
    void close();

private:
    void note_error();
    std::runtime_error failure() const;

    std::string path_;
    std::unique_ptr<pcap, void (*)(pcap *)> format_;
    std::unique_ptr<pcap_dumper, void (*)(pcap_dumper *)> file_;
    std::uint16_t number_ = 0; // of the IPv4 packet
    int error_ = 0;            // the first one
};

} // namespace capture

#endif
