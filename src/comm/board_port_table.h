// The board port table: one row per board type, searched in order. Included by the area that exports it, once.
#ifndef ORVA_BOARD_PORT_TABLE_H
#define ORVA_BOARD_PORT_TABLE_H

#include <cstddef>
#include <cstdint>

#include "orva_drvadp_comm.h"

namespace orva {

// The four classes of rows. "Late" ports may get their address after the process started; "low" ports carry the
// number in the lowest octet of their address.
consteval BoardPortInfo late_bond(std::uint32_t boardType) {
    return {boardType, 0, 1, 0, 0, "bond0"};
}
consteval BoardPortInfo bond(std::uint32_t boardType) {
    return {boardType, 0, 0, 0, 0, "bond0"};
}
consteval BoardPortInfo veth_low(std::uint32_t boardType) {
    return {boardType, 0, 0, 1, 0, "veth0"};
}
consteval BoardPortInfo veth(std::uint32_t boardType) {
    return {boardType, 0, 0, 0, 0, "veth0"};
}

} // namespace orva

using orva::bond, orva::late_bond, orva::veth, orva::veth_low;

// clang-format off
constexpr BoardPortInfo g_boardPort[ORVA_BOARD_PORT_COUNT] = {
    late_bond(0x10011), late_bond(0x10012), late_bond(0x2071C), late_bond(0x20709), late_bond(0x2071F),
    bond(0x20716), bond(0x20708), late_bond(0x2070D), late_bond(0x20752), late_bond(0x20720),
    late_bond(0x20757), late_bond(0xB2077D), late_bond(0x20784), late_bond(0x20786), late_bond(0x20787),
    veth_low(0x30700), veth_low(0x30701), veth_low(0x10725), veth_low(0x10726), veth_low(0x12F41),
    veth_low(0x12F42), veth_low(0x12F43), veth_low(0x12F44), veth_low(0x18000), veth_low(0x18001),
    veth_low(0x18002), veth_low(0x18003), veth_low(0x18004), veth_low(0x18005), veth_low(0x18006),
    veth_low(0x18007), veth_low(0x18008), veth_low(0x18009), veth_low(0x1800A), veth_low(0x1800B),
    veth_low(0x1800C), veth_low(0x1800D), veth_low(0x1800E), veth_low(0x1800F), veth_low(0x18010),
    veth_low(0x18011), veth_low(0x18012), veth_low(0x18013), veth_low(0x18014), veth_low(0x18015),
    veth_low(0x18016), veth_low(0x18017), veth_low(0x18018), veth_low(0x18019), veth_low(0x1801B),
    veth_low(0x18020), veth_low(0x18021), veth_low(0x18022), veth_low(0x12001), veth_low(0x12003),
    veth_low(0x12004), veth_low(0x1063E), veth_low(0x10643), veth_low(0x10644), bond(0x12018), veth(0x10293),
    bond(0x1200E), bond(0x12011), bond(0x12121), bond(0x12123), bond(0x101BE), bond(0x101BF), bond(0x12009),
    veth(0x12008), veth(0x1200B), veth(0x10295), veth(0x100FC), veth(0x1017E), bond(0x12012), bond(0x12014),
    bond(0x12015), bond(0x12017), bond(0x915018), late_bond(0x10801), late_bond(0x10802), late_bond(0x10804),
    late_bond(0x10805), late_bond(0x10808), late_bond(0x10809), late_bond(0x1080A), late_bond(0x1080B),
    late_bond(0x1080E), late_bond(0x10812), late_bond(0x137F3), late_bond(0x1137F3), late_bond(0x10101),
    late_bond(0x10102), late_bond(0x10103), late_bond(0x10104), late_bond(0x10105), late_bond(0x20104),
    late_bond(0x10108), late_bond(0x10119), late_bond(0x10124), late_bond(0x10120), late_bond(0x101CA),
    late_bond(0x11016), late_bond(0x11014), late_bond(0x1011A), late_bond(0x1016), late_bond(0x1014),
    late_bond(0x10818), late_bond(0x41081C), late_bond(0x40C), late_bond(0x40D), late_bond(0x210016),
    late_bond(0x281040E), late_bond(0x281040F), late_bond(0x1010D), late_bond(0x1010B), late_bond(0x1137F6),
    late_bond(0x1011D), late_bond(0x1011C), late_bond(0x1011E), late_bond(0x10113), late_bond(0x2810413),
    late_bond(0x2810414), late_bond(0x210017), late_bond(0x910018), late_bond(0x1081E), late_bond(0x1081D),
    late_bond(0x122027), late_bond(0x15101), late_bond(0x15100), late_bond(0xC15014), late_bond(0xC10418),
    late_bond(0x2202A), late_bond(0x22028), late_bond(0xC15017), late_bond(0x101BC),
};
// clang-format on

namespace orva {

template <std::size_t Count>
consteval bool board_types_are_unique(const BoardPortInfo (&rows)[Count]) {
    for (std::size_t i = 0; i < Count; ++i) {
        if (rows[i].boardType == 0) {
            return false; // a row is missing
        }
        for (std::size_t j = i + 1; j < Count; ++j) {
            if (rows[i].boardType == rows[j].boardType) {
                return false;
            }
        }
    }
    return true;
}

static_assert(board_types_are_unique(g_boardPort));

} // namespace orva

#endif
