#include "manager/link_faults.h"

#include "wire/transport.h"

#include <algorithm>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kExtraBytes = 40;
// Where the words of a message's header are, in network byte order.
constexpr std::size_t kKindAt = kTransportHeaderBytes + kPrefixBytes;
constexpr std::size_t kSourceAt = kKindAt + 4;
constexpr std::size_t kDestinationAt = kKindAt + 8;
constexpr std::uint8_t kStrangeSlot = 31;

// A request that is too long, or a reply that has lost its end.
void spoil_length(Direction direction, std::vector<std::uint8_t> &datagram) {
    if (direction == Direction::kToBoard) {
        datagram.resize(datagram.size() + kExtraBytes);
    } else if (datagram.size() > kTransportHeaderBytes + kPrefixBytes) {
        datagram.resize(std::max(kTransportHeaderBytes + kPrefixBytes, datagram.size() / 2));
    }
    set_frame_length(datagram);
}

// A header that takes a request for a reply.
void spoil_header(std::vector<std::uint8_t> &datagram) {
    if (datagram.size() > kKindAt + 3) {
        datagram[kKindAt + 3] ^= 0x03;
    }
}

void spoil_slot(Direction direction, std::vector<std::uint8_t> &datagram) {
    const std::size_t at = direction == Direction::kToBoard ? kDestinationAt : kSourceAt;
    if (datagram.size() > at + 3) {
        datagram[at + 3] = kStrangeSlot - 1;
    }
}

} // namespace

void LinkFaults::start(std::uint32_t slot, LinkFault fault, std::int32_t value) {
    end(slot, fault);
    active_.push_back({slot, fault, value, 0});
}

void LinkFaults::end(std::uint32_t slot, LinkFault fault) {
    std::erase_if(active_, [=](const Active &active) { return active.slot == slot && active.fault == fault; });
}

bool LinkFaults::drawn(std::int32_t percent) {
    return static_cast<std::int32_t>(random_() % 100) < percent;
}

std::vector<Delivery> LinkFaults::disturb(Direction direction, const Board &board,
                                          std::span<const std::uint8_t> datagram) {
    std::vector<Delivery> deliveries = {{Duration(0), {datagram.begin(), datagram.end()}}};
    for (Active &active : active_) {
        if (active.slot == board.slot && !board.backup) {
            apply(active, direction, deliveries);
        }
    }
    return deliveries;
}

void LinkFaults::apply(Active &active, Direction direction, std::vector<Delivery> &deliveries) {
    if (deliveries.empty()) {
        return;
    }
    const bool from_board = direction == Direction::kFromBoard;
    Delivery &first = deliveries.front();
    switch (active.fault) {
    case LinkFault::kNoAnswer:
        if (from_board) {
            deliveries.clear();
        }
        return;
    case LinkFault::kLate:
        first.delay += from_board ? milliseconds(active.value) : milliseconds(0);
        return;
    case LinkFault::kOutOfOrder:
        // Every second reply waits, so that the next one overtakes it.
        first.delay += from_board && active.count++ % 2 == 0 ? milliseconds(active.value) : milliseconds(0);
        return;
    default:
        break;
    }
    if (!drawn(active.value)) {
        return;
    }
    if (active.fault == LinkFault::kLost) {
        deliveries.clear();
    } else if (active.fault == LinkFault::kDoubled) {
        deliveries.push_back(first);
    } else if (active.fault == LinkFault::kBadLength) {
        spoil_length(direction, first.datagram);
    } else if (active.fault == LinkFault::kWrongHeader) {
        spoil_header(first.datagram);
    } else {
        spoil_slot(direction, first.datagram);
    }
}

} // namespace chassis
