/**
 * @file
 * What a capture of a chassis looks like: which address and port each end has, and what is written that no board
 * sent. Knows no message.
 */
#ifndef ORVA_CAPTURE_FORMAT_H
#define ORVA_CAPTURE_FORMAT_H

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace capture {

// Since power-on in a capture of a chassis; otherwise as the capture says.
using Time = std::chrono::nanoseconds;

// In host byte order.
struct Address {
    std::uint32_t ip = 0;
    std::uint16_t port = 0;
    auto operator<=>(const Address &) const = default;
};

// A board has the address that it registers, the main board's management process too. The backup management process,
// which is in the main board's slot, has the next one.
inline constexpr std::uint32_t kNet = 0xAC100000; // 172.16.0.0
inline constexpr std::uint32_t kHost = 250;
inline constexpr std::uint32_t kLastSlot = 30;
inline constexpr std::uint16_t kManagerPort = 5300;
inline constexpr std::uint16_t kBoardPort = 5301;

inline constexpr Address kManager = {kNet + kHost, kManagerPort};
inline constexpr Address kBackup = {kNet + kHost + 1, kBoardPort};

// What the recorder itself says goes to everybody, at the port where it is discarded.
inline constexpr Address kNotes = {kNet + 0xFFFF, 9};

// The other end of a link; slot 0 is the backup's.
constexpr Address board_address(std::uint32_t slot) {
    return slot == 0 ? kBackup : Address{kNet + slot * 256 + kHost, kBoardPort};
}

// The slot of a board's end, or nothing.
constexpr std::optional<std::uint32_t> slot_of(const Address &address) {
    for (std::uint32_t slot = 0; slot <= kLastSlot; ++slot) {
        if (address == board_address(slot)) {
            return slot;
        }
    }
    return std::nullopt;
}

// "172.16.3.250".
std::string ip_text(std::uint32_t ip);

struct Datagram {
    Time time{0};
    Address from;
    Address to;
    std::vector<std::uint8_t> bytes;
};

} // namespace capture

#endif
