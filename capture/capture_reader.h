/**
 * @file
 * Reads captures: those of a chassis, and what tcpdump took on loopback. Finds the UDP datagrams in them.
 */
#ifndef ORVA_CAPTURE_READER_H
#define ORVA_CAPTURE_READER_H

#include "capture_format.h"

#include <memory>
#include <string>

struct pcap;

namespace capture {

// One packet of a capture.
struct Packet {
    std::uint64_t number = 0; // from 1, as Wireshark counts
    Datagram datagram;        // in a packet that is none: time, and what is known of the rest
    std::string problem;      // why it is not a whole UDP datagram; empty when it is
    bool raw_frame = false;   // no addresses: a frame by itself, of link type USER0
};

class Reader {
public:
    // Throws std::runtime_error, which names the file and the reason. "-" is the standard input.
    explicit Reader(const std::string &path);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    // The next packet; nothing at the end. Throws std::runtime_error when the file is damaged.
    std::optional<Packet> next();

private:
    std::string path_;
    std::unique_ptr<pcap, void (*)(pcap *)> file_;
    std::uint64_t number_ = 0;
};

} // namespace capture

#endif
