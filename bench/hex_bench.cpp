// The hex text of a packet dump against a loop of snprintf over its bytes and against spdlog's to_hex. All make the
// same text.
#include "orva_debugging.h"
#include "ratio_report.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <spdlog/fmt/bin_to_hex.h>
#include <spdlog/fmt/fmt.h>
#include <string>
#include <vector>

namespace {

std::vector<std::uint8_t> packet_of(std::size_t length) {
    std::vector<std::uint8_t> packet(length);
    for (std::size_t i = 0; i < length; ++i) {
        packet[i] = static_cast<std::uint8_t>(i * 37);
    }
    return packet;
}

void ours(const std::vector<std::uint8_t> &packet, std::vector<char> &out) {
    auto remaining = static_cast<std::uint32_t>(packet.size());
    ORVA_DEUBG_FormatPacketToString(packet.data(), remaining, &remaining, out.data(),
                                    static_cast<std::uint32_t>(out.size()));
    benchmark::ClobberMemory();
}

void peer(const std::vector<std::uint8_t> &packet, std::vector<char> &out) {
    std::size_t used = 0;
    for (const std::uint8_t byte : packet) {
        const int written = std::snprintf(out.data() + used, out.size() - used, " %02x", byte);
        used += static_cast<std::size_t>(written);
    }
    benchmark::ClobberMemory();
}

// On one line, without positions: a blank in front of each byte, as ours.
void to_hex_peer(const std::vector<std::uint8_t> &packet, std::vector<char> &out) {
    fmt::format_to(out.data(), "{:pn}", spdlog::to_hex(packet));
    benchmark::ClobberMemory();
}

} // namespace

int main(int argc, char **argv) {
    orva_bench::RatioReport report;
    for (const std::size_t length : {std::size_t{16}, std::size_t{64}, std::size_t{662}, std::size_t{32768}}) {
        const std::vector<std::uint8_t> packet = packet_of(length);
        std::vector<char> text(3 * length + 1), expected(3 * length + 1);
        ours(packet, text);
        peer(packet, expected);
        std::vector<char> second(3 * length + 1);
        to_hex_peer(packet, second);
        if (text != expected || text != second) {
            std::fputs("hex_bench: the texts differ\n", stderr);
            return 2;
        }
        const auto repeat = [](auto work, const std::vector<std::uint8_t> &bytes, std::vector<char> out) {
            return [work, bytes, out](std::uint64_t times) mutable {
                for (; times > 0; --times) {
                    work(bytes, out);
                }
            };
        };
        report.add("hex text, " + std::to_string(length) + " bytes", "snprintf", repeat(ours, packet, text),
                   repeat(peer, packet, text),
                   length >= 64 ? orva_bench::Goal::kAtLeastSpeed : orva_bench::Goal::kSpeed, 10);
        report.add("hex text, " + std::to_string(length) + " bytes", "spdlog to_hex", repeat(ours, packet, text),
                   repeat(to_hex_peer, packet, text), orva_bench::Goal::kAtLeastSpeed, 1);
    }
    return report.run(argc, argv);
}
