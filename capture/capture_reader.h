/**
 * @file
 * Reads captures: those of a chassis, and what tcpdump took on loopback. Finds the UDP datagrams in them.
 */
#ifndef ORVA_CAPTURE_READER_H
#define ORVA_CAPTURE_READER_H

#include "capture_format.h"

#include <memory>
#include <stdexcept>
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

// A file that is not a capture, or a damaged one. The text names the file and the reason.
struct DamagedFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Reader {
public:
    // "-" is the standard input. Throws DamagedFile, or std::system_error when the file cannot be opened.
    explicit Reader(const std::string &path);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    // The next packet; nothing at the end. Throws DamagedFile.
    std::optional<Packet> next();

private:
    std::string path_;
    std::unique_ptr<pcap, void (*)(pcap *)> file_;
    std::uint64_t number_ = 0;
};

} // namespace capture

#endif
