// Faults of the links: what happens to datagrams on their way to a board and back.
#ifndef CHASSIS_MANAGER_LINK_FAULTS_H
#define CHASSIS_MANAGER_LINK_FAULTS_H

#include "manager/links.h"

#include <random>
#include <string_view>
#include <vector>

namespace chassis {

enum class LinkFault : std::uint8_t {
    kNoAnswer,
    kLate,
    kLost,
    kDoubled,
    kOutOfOrder,
    kBadLength,
    kWrongHeader,
    kWrongSlot,
};

class LinkFaults {
public:
    explicit LinkFaults(std::uint32_t seed) : random_(seed) {}

    // `value`: milliseconds of delay for late and out of order, otherwise the share of datagrams in percent.
    void start(std::uint32_t slot, LinkFault fault, std::int32_t value);
    void end(std::uint32_t slot, LinkFault fault);
    bool any() const {
        return !active_.empty();
    }

    std::vector<Delivery> disturb(Direction direction, const Board &board, std::span<const std::uint8_t> datagram);

private:
    struct Active {
        std::uint32_t slot;
        LinkFault fault;
        std::int32_t value;
        std::uint64_t count;
    };
    void apply(Active &active, Direction direction, std::vector<Delivery> &deliveries);
    bool drawn(std::int32_t percent);

    std::vector<Active> active_;
    std::mt19937 random_;
};

} // namespace chassis

#endif
