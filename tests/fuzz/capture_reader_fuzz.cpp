// Captures: whatever a file holds, reading ends, a datagram lies inside its packet, what was read can be written and
// read again, and a replay either gets a recording or an error with a text. Input: 0 and a file, or a link type and
// packets, each after its length.
#include <array>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "capture_reader.h"
#include "capture_writer.h"
#include "fuzz_input.h"
#include "record/compare.h"
#include "record/recording.h"

namespace {

// Of tcpdump.org: raw, IPv4, Ethernet, both cooked ones, USER0.
constexpr std::array<std::uint32_t, 6> kLinkTypes = {101, 228, 1, 113, 276, 147};
constexpr std::uint32_t kNanoseconds = 0xA1B23C4D;

void append(std::string &file, std::initializer_list<std::uint32_t> words) {
    for (const std::uint32_t word : words) {
        file.append(reinterpret_cast<const char *>(&word), sizeof word);
    }
}

// Each packet follows its length, 16 bits.
std::string file_of(std::uint32_t link_type, const std::string &packets) {
    std::string file;
    append(file, {kNanoseconds, 0x00040002, 0, 0, 65535, link_type});
    for (std::size_t at = 0; at + 2 <= packets.size();) {
        const auto length = static_cast<std::size_t>(static_cast<std::uint8_t>(packets[at]) << 8 |
                                                     static_cast<std::uint8_t>(packets[at + 1]));
        const std::string packet = packets.substr(at + 2, length);
        const auto size = static_cast<std::uint32_t>(packet.size());
        append(file, {1, static_cast<std::uint32_t>(at), size, size});
        file += packet;
        at += 2 + length;
    }
    return file;
}

std::vector<capture::Packet> packets_of(const std::string &path, std::size_t bytes) {
    std::vector<capture::Packet> packets;
    try {
        capture::Reader reader(path);
        while (auto packet = reader.next()) {
            REQUIRE(packet->number == packets.size() + 1);
            REQUIRE(packet->datagram.bytes.size() <= bytes);
            packets.push_back(std::move(*packet));
        }
    } catch (const capture::DamagedFile &error) {
        REQUIRE(std::string(error.what()).size() > path.size());
    }
    return packets;
}

// Whole datagrams, written and read again, are the same.
void check_again(const std::vector<capture::Packet> &packets) {
    const fuzz::MemoryFile file("");
    std::vector<const capture::Datagram *> whole;
    capture::Writer writer(file.path());
    for (const capture::Packet &packet : packets) {
        const bool fits = packet.datagram.bytes.size() <= capture::kMaxDatagramBytes;
        if (packet.problem.empty() && !packet.raw_frame && fits && packet.datagram.time.count() >= 0 &&
            packet.datagram.time < std::chrono::hours(24 * 365 * 60)) {
            writer.add(packet.datagram.time, packet.datagram.from, packet.datagram.to, packet.datagram.bytes);
            whole.push_back(&packet.datagram);
        }
    }
    writer.close();
    const auto again = packets_of(file.path(), SIZE_MAX);
    REQUIRE(again.size() == whole.size());
    for (std::size_t i = 0; i < whole.size(); ++i) {
        REQUIRE(again[i].problem.empty() && again[i].datagram.time == whole[i]->time);
        REQUIRE(again[i].datagram.from == whole[i]->from && again[i].datagram.to == whole[i]->to);
        REQUIRE(again[i].datagram.bytes == whole[i]->bytes);
    }
}

// A datagram differs in nothing from itself, and in something from its neighbour where a field does.
void check_compare(const std::vector<capture::Packet> &packets) {
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const auto &one = packets[i].datagram.bytes;
        const auto &other = packets[(i + 1) % packets.size()].datagram.bytes;
        REQUIRE(chassis::compare_answers(one, one, false).empty());
        REQUIRE(chassis::compare_answers(one, other, false).empty() ==
                chassis::compare_answers(other, one, false).empty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const std::uint8_t choice = front.byte();
    const std::string rest = front.rest();
    const std::string bytes = choice == 0 ? rest : file_of(kLinkTypes[choice % kLinkTypes.size()], rest);
    const fuzz::MemoryFile file(bytes);
    const auto packets = packets_of(file.path(), bytes.size());
    check_again(packets);
    check_compare(packets);
    try {
        const chassis::Recording recording = chassis::read_recording(file.path());
        REQUIRE(recording.items.size() + recording.boards.size() < packets.size());
    } catch (const std::runtime_error &error) {
        REQUIRE(*error.what() != '\0');
    }
    return 0;
}
