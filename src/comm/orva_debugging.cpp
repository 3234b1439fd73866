// Owns the debug switches of the process and the form of debug output: position stamp, packet numbers, hex dumps.
// Knows the interface manager only as a sink that may be missing.
#include "orva_debugging.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>

#include "bytes.h"
#include "hex_text.h"
#include "log_record.h"
#include "orva_drvadp_comm.h"
#include "orva_imlib.h"
#include "partition_memory.h"
#include "relaxed.h"
#include "safeio.h"

using orva::relaxed_load;
using orva::relaxed_store;

// The rows of CAN and RS485 are called with more arguments than their functions take, which the calling conventions
// of the targets allow; a sanitizer that compares function types must not look at those calls.
#if defined(__clang__)
#define ORVA_DEBUGGING_CALLS_CONVERTED __attribute__((no_sanitize("function")))
#else
#define ORVA_DEBUGGING_CALLS_CONVERTED
#endif

OrvaDebugSwitch g_sOrvaDebugSwtich;

// ---- Log switch

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_debugging");
constexpr std::uint8_t kAllLevels = 0xFF;
constexpr std::uint32_t kModuleBits = 0x7FFFFFFF;

} // namespace

uint32_t ORVA_DEBUG_GetCurLogModule(void) {
    return relaxed_load(&g_sOrvaDebugSwtich.logModuleMask);
}

void ORVA_DEBUG_SetCurLogModule(uint32_t mask) {
    relaxed_store(&g_sOrvaDebugSwtich.logModuleMask, mask);
}

uint32_t ORVA_DEBUG_GetCurLogLevel(void) {
    return relaxed_load(&g_sOrvaDebugSwtich.logLevelMask);
}

void ORVA_DEBUG_SetCurLogLevel(uint8_t mask) {
    relaxed_store(&g_sOrvaDebugSwtich.logLevelMask, mask);
}

uint32_t ORVA_DEBUG_GetCurLogSlotId(void) {
    return relaxed_load(&g_sOrvaDebugSwtich.logSlotId);
}

void ORVA_DEBUG_SetCurLogSlotId(uint32_t slot) {
    relaxed_store(&g_sOrvaDebugSwtich.logSlotId, slot);
}

void ORVA_DEBUG_SetLogSwitchOn(uint32_t moduleMask, uint32_t slotId) {
    ORVA_DEBUG_SetCurLogModule(ORVA_DEBUG_GetCurLogModule() | moduleMask);
    ORVA_DEBUG_SetCurLogSlotId(slotId);
    ORVA_DEBUG_SetCurLogLevel(kAllLevels);
}

// Compat: callers' code. Switching off with a mask of zero switches everything off, not nothing.
void ORVA_DEBUG_SetLogSwitchOff(uint32_t moduleMask) {
    if ((moduleMask & kModuleBits) != 0) {
        ORVA_DEBUG_SetCurLogModule(ORVA_DEBUG_GetCurLogModule() & ~moduleMask);
        return;
    }
    ORVA_DEBUG_SetCurLogLevel(0);
    ORVA_DEBUG_SetCurLogModule(0);
    ORVA_DEBUG_SetCurLogSlotId(0);
}

uint32_t ORVA_DEBUG_LogSwitchIsOn(uint32_t module, uint32_t level) {
    const bool moduleIsOn = (module & relaxed_load(&g_sOrvaDebugSwtich.logModuleMask)) != 0;
    const bool levelIsOn = (level & relaxed_load(&g_sOrvaDebugSwtich.logLevelMask)) != 0;
    return moduleIsOn && levelIsOn ? 1 : 0;
}

uint32_t ORVA_CLI_ProcessDebugDeviceOrvaLog(uint32_t onOff, uint32_t moduleMask, uint32_t slotId) {
    if (onOff != 0) {
        ORVA_DEBUG_SetLogSwitchOn(moduleMask, slotId);
    } else {
        ORVA_DEBUG_SetLogSwitchOff(moduleMask);
    }
    return ORVA_OK;
}

// ---- Packet switches

namespace {

// The switch and filter of a bus whose packets carry a netFn and a command.
struct FilteredSwitch {
    std::uint32_t *on;
    std::uint16_t *cmd;
    std::uint8_t *netFn;
};

FilteredSwitch udp_switch() {
    return {&g_sOrvaDebugSwtich.udpSwitch, &g_sOrvaDebugSwtich.udpCmd, &g_sOrvaDebugSwtich.udpNetFn};
}

FilteredSwitch ipmb_switch() {
    return {&g_sOrvaDebugSwtich.ipmbSwitch, &g_sOrvaDebugSwtich.ipmbCmd, &g_sOrvaDebugSwtich.ipmbNetFn};
}

std::uint32_t lets_through(const FilteredSwitch &bus, std::uint8_t netFn, std::uint16_t cmd) {
    if (relaxed_load(bus.on) == 0) {
        return 0;
    }
    const std::uint8_t wantedNetFn = relaxed_load(bus.netFn);
    const std::uint16_t wantedCmd = relaxed_load(bus.cmd);
    if (wantedNetFn == netFn && (wantedCmd == cmd || wantedCmd == ORVA_DEBUG_ANY_CMD)) {
        return 1;
    }
    return wantedNetFn == ORVA_DEBUG_ANY_NETFN ? 1 : 0;
}

void set_switch(const FilteredSwitch &bus, std::uint32_t onOff, std::uint32_t netFn, std::uint32_t cmd) {
    const bool isOn = onOff == 1;
    relaxed_store(bus.on, isOn ? 1 : 0);
    relaxed_store(bus.netFn, isOn ? netFn : 0);
    relaxed_store(bus.cmd, isOn ? cmd : 0);
}

} // namespace

uint32_t ORVA_DEBUG_UdpPacketSwitchIsOn(uint8_t netFn, uint16_t cmd) {
    return lets_through(udp_switch(), netFn, cmd);
}

uint32_t ORVA_DEBUG_IpmbPacketSwitchIsOn(uint8_t netFn, uint16_t cmd) {
    return lets_through(ipmb_switch(), netFn, cmd);
}

uint32_t ORVA_DEBUG_CanPacketSwitchIsOn(void) {
    return relaxed_load(&g_sOrvaDebugSwtich.canSwitch);
}

uint32_t ORVA_DEBUG_Rs485PacketSwitchIsOn(void) {
    return relaxed_load(&g_sOrvaDebugSwtich.rs485Switch);
}

void ORVA_DEBUG_SetUdpPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd) {
    set_switch(udp_switch(), onOff, netFn, cmd);
}

void ORVA_DEBUG_SetIpmbPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd) {
    set_switch(ipmb_switch(), onOff, netFn, cmd);
}

void ORVA_DEBUG_SetCanPacketSwitch(uint32_t onOff) {
    relaxed_store(&g_sOrvaDebugSwtich.canSwitch, onOff == 1 ? 1 : 0);
}

void ORVA_DEBUG_SetRs485PacketSwitch(uint32_t onOff) {
    relaxed_store(&g_sOrvaDebugSwtich.rs485Switch, onOff == 1 ? 1 : 0);
}

void ORVA_DEBUG_SetSouthPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd) {
    ORVA_DEBUG_SetIpmbPacketSwitch(onOff, netFn, cmd);
    ORVA_DEBUG_SetCanPacketSwitch(onOff);
    ORVA_DEBUG_SetRs485PacketSwitch(onOff);
}

#define ORVA_DEBUGGING_AS_IS_ON(function)                                                                            \
    reinterpret_cast<OrvaPacketIsOnFunc>(reinterpret_cast<void (*)(void)>(function))
#define ORVA_DEBUGGING_AS_SET(function)                                                                              \
    reinterpret_cast<OrvaPacketSetFunc>(reinterpret_cast<void (*)(void)>(function))

const OrvaPacketIsOnRow g_debugGetSwitchFunc[ORVA_PACKET_IS_ON_ROWS] = {
    {ORVA_PACKET_UDP, ORVA_DEBUG_UdpPacketSwitchIsOn},
    {ORVA_PACKET_IPMB, ORVA_DEBUG_IpmbPacketSwitchIsOn},
    {ORVA_PACKET_RS485, ORVA_DEBUGGING_AS_IS_ON(ORVA_DEBUG_Rs485PacketSwitchIsOn)},
    {ORVA_PACKET_CAN, ORVA_DEBUGGING_AS_IS_ON(ORVA_DEBUG_CanPacketSwitchIsOn)},
};

const OrvaPacketSetRow g_debugSetSwitchFunc[ORVA_PACKET_SET_ROWS] = {
    {ORVA_PACKET_UDP, ORVA_DEBUG_SetUdpPacketSwitch},
    {ORVA_PACKET_SOUTH, ORVA_DEBUG_SetSouthPacketSwitch},
    {ORVA_PACKET_IPMB, ORVA_DEBUG_SetIpmbPacketSwitch},
    {ORVA_PACKET_RS485, ORVA_DEBUGGING_AS_SET(ORVA_DEBUG_SetRs485PacketSwitch)},
    {ORVA_PACKET_CAN, ORVA_DEBUGGING_AS_SET(ORVA_DEBUG_SetCanPacketSwitch)},
};

OrvaPacketIsOnFunc ORVA_DEBUG_GetPacketSwitchFunc(uint32_t type) {
    const auto *row = std::ranges::find(g_debugGetSwitchFunc, type, &OrvaPacketIsOnRow::type);
    return row == std::end(g_debugGetSwitchFunc) ? nullptr : row->isOn;
}

OrvaPacketSetFunc ORVA_DEBUG_SetPacketSwitchFunc(uint32_t type) {
    const auto *row = std::ranges::find(g_debugSetSwitchFunc, type, &OrvaPacketSetRow::type);
    return row == std::end(g_debugSetSwitchFunc) ? nullptr : row->set;
}

ORVA_DEBUGGING_CALLS_CONVERTED
uint32_t ORVA_DEBUG_PacketSwitchIsOn(uint32_t type, uint32_t netFn, uint32_t cmd) {
    const OrvaPacketIsOnFunc isOn = ORVA_DEBUG_GetPacketSwitchFunc(type);
    if (isOn == nullptr) {
        return 0;
    }
    return isOn(static_cast<std::uint8_t>(netFn), static_cast<std::uint16_t>(cmd));
}

ORVA_DEBUGGING_CALLS_CONVERTED
uint32_t ORVA_CLI_ProcessDebugDeviceOrvaPacket(uint32_t onOff, uint8_t type, uint32_t netFn, uint32_t cmd) {
    const OrvaPacketSetFunc set = ORVA_DEBUG_SetPacketSwitchFunc(type);
    if (set == nullptr) {
        return ORVA_FAILED;
    }
    set(onOff, netFn, cmd);
    return ORVA_OK;
}

// ---- Debug output

namespace {

constexpr std::size_t kDebugTextSize = 256;  // a debug text
constexpr std::size_t kDebugStampSize = 592; // a debug text with its position
constexpr std::uint32_t kPieceSize = 2000;
constexpr std::uint32_t kSmallestRoom = orva::kHexCharsPerByte + 1; // a byte and the zero
constexpr std::uint32_t kChunkBytes = 64;
constexpr std::uint32_t kDebugInfoId = 0xCE4BC006;

std::uint32_t g_packetCount; // packets passed to ORVA_DEBUG_OutPacket so far

// The sink's result, or 0 when none is bound.
std::uint32_t hand_to_sink(std::uint32_t module, const char *text) {
    const OrvaImDebugFunc sink = ORVA_GetDebugFunc();
    if (sink == nullptr) {
        return 0;
    }
    return sink({0, ORVA_GetDebugSwitchId(module)}, "NULL", kDebugInfoId, "%s", text);
}

// Writes as many of `count` bytes as fit into `out` (at least kSmallestRoom) and returns how many were written. The
// digits come from a table; the formatter appends them a chunk at a time.
std::uint32_t format_bytes(const std::uint8_t *data, std::uint32_t count, char *out, std::uint32_t outSize) {
    constexpr auto kPerByte = static_cast<std::uint32_t>(orva::kHexCharsPerByte);
    const std::uint32_t fitting = std::min(count, (outSize - 1) / kPerByte);
    char chunk[kChunkBytes * kPerByte + 1];
    std::uint32_t done = 0;
    while (done < fitting) {
        const std::uint32_t now = std::min(fitting - done, kChunkBytes);
        *orva::write_hex<orva::HexBlank::Before>(chunk, data + done, now) = '\0';
        if (sprintf_s(out + done * kPerByte, outSize - done * kPerByte, "%s", chunk) < 0) {
            out[done * kPerByte] = '\0';
            break;
        }
        done += now;
    }
    return done;
}

struct Packet {
    std::uint32_t module;
    const char *name;
    std::uint32_t number;
    const std::uint8_t *data;
    std::uint32_t length;
};

// One piece of a dump: how many bytes it held, and whether the dump may go on.
struct Piece {
    std::uint32_t bytes;
    bool isWritten;
};

// Builds the piece that begins at byte `first` in `line` and passes it on. Nothing is written without a header, or
// without room for a byte after it.
Piece write_line(const Packet &packet, std::uint32_t piece, std::uint32_t first, char *line) {
    const int written = sprintf_s(line, kPieceSize, "[0x%x:%u] %s:", packet.number, piece, packet.name);
    if (written < 0) {
        return {0, false};
    }
    const auto header = static_cast<std::uint32_t>(written);
    if (kPieceSize - header < kSmallestRoom) {
        return {0, false};
    }
    const std::uint32_t bytes =
        format_bytes(packet.data + first, packet.length - first, line + header, kPieceSize - header);
    hand_to_sink(packet.module, line);
    return {bytes, true};
}

Piece write_piece(const Packet &packet, std::uint32_t piece, std::uint32_t first) {
    auto line = orva::make_partition_buffer(kArea, kPieceSize);
    if (line == nullptr) {
        return {0, false};
    }
    const Piece result = write_line(packet, piece, first, line.get());
    orva::release_block(line);
    return result;
}

} // namespace

uint32_t ORVA_DEBUG_OutLog(uint32_t module, const char *format, ...) {
    if (format == nullptr) {
        return 0;
    }
    char text[kDebugTextSize] = {};
    va_list args;
    va_start(args, format);
    const int length = vsnprintf_s(text, sizeof text, sizeof text - 1, format, args);
    va_end(args);
    if (length < 0) {
        return static_cast<std::uint32_t>(length);
    }
    char line[kDebugStampSize] = {};
    const int result = sprintf_s(line, sizeof line, "[Position: %u/%u]%s", ORVA_DRVADP_GetSelfChassisVar(),
                                 ORVA_DRVADP_GetSelfSlotVar(), text);
    if (result < 0) {
        return orva::log_sprintf_error(kArea, result);
    }
    return hand_to_sink(module, line);
}

void ORVA_DEBUG_OutPacket(uint32_t module, const char *name, const uint8_t *data, uint32_t len) {
    if (name == nullptr || data == nullptr) {
        return;
    }
    const Packet packet{module, name, orva::relaxed_increment(&g_packetCount), data, len};
    if (len > INT32_MAX) {
        return;
    }
    std::uint32_t first = 0;
    bool isLastEmpty = false; // a byte that fails again would fail for ever: two empty pieces in a row end the dump
    for (std::uint32_t number = 1; first < len; ++number) {
        const Piece piece = write_piece(packet, number, first);
        if (!piece.isWritten || (piece.bytes == 0 && isLastEmpty)) {
            return;
        }
        isLastEmpty = piece.bytes == 0;
        first += piece.bytes;
    }
}

void ORVA_DEUBG_FormatPacketToString(const uint8_t *data, uint32_t len, uint32_t *remaining, char *out,
                                     uint32_t outSize) {
    if (data == nullptr || remaining == nullptr || out == nullptr || outSize < kSmallestRoom) {
        return;
    }
    if (*remaining == 0 || *remaining > len) {
        return;
    }
    *remaining -= format_bytes(data + (len - *remaining), *remaining, out, outSize);
}

// ---- Packets of the buses

namespace {

// Lengths that a packet of a bus may have.
struct LengthRange {
    std::uint32_t least;
    std::uint32_t most;
};

constexpr LengthRange kUdpLength{36, 32768};
constexpr std::size_t kUdpNetFn = 12;
constexpr std::size_t kUdpCmd = 13;
constexpr LengthRange kIpmbLength{7, 1031};
constexpr std::size_t kIpmbNetFn = 3;
constexpr std::uint8_t kIpmbNetFnMask = 0x3F;
constexpr std::size_t kIpmbCmd = 7;

bool can_be_read(const std::uint8_t *pkt, std::uint32_t len, const LengthRange &range) {
    return pkt != nullptr && len >= range.least && len <= range.most;
}

} // namespace

uint32_t ORVA_DEBUG_GetNetFnAndCmdFromUdp(const uint8_t *pkt, uint32_t len, uint8_t *netFn, uint16_t *cmd) {
    if (!can_be_read(pkt, len, kUdpLength) || netFn == nullptr || cmd == nullptr) {
        return ORVA_FAILED;
    }
    *netFn = pkt[kUdpNetFn];
    *cmd = orva::load_be16(pkt + kUdpCmd);
    return ORVA_OK;
}

uint32_t ORVA_DEBUG_GetNetFnAndCmdFromIpmb(const uint8_t *pkt, uint32_t len, uint8_t *netFn, uint16_t *cmd) {
    if (!can_be_read(pkt, len, kIpmbLength) || netFn == nullptr || cmd == nullptr) {
        return ORVA_FAILED;
    }
    *netFn = pkt[kIpmbNetFn] & kIpmbNetFnMask;
    *cmd = len > kIpmbCmd ? pkt[kIpmbCmd] : 0; // the shortest packet ends before its command
    return ORVA_OK;
}

void ORVA_DEBUG_OutUdpPacket(const char *name, const uint8_t *pkt, uint32_t len) {
    std::uint8_t netFn = 0;
    std::uint16_t cmd = 0;
    if (ORVA_DEBUG_GetNetFnAndCmdFromUdp(pkt, len, &netFn, &cmd) != ORVA_OK) {
        return;
    }
    if (ORVA_DEBUG_PacketSwitchIsOn(ORVA_PACKET_UDP, netFn, cmd) != 0) {
        ORVA_DEBUG_OutPacket(ORVA_DUMP_MODULE_UDP, name, pkt, len);
    }
}

void ORVA_DEBUG_OutIpmbPacket(const char *name, const uint8_t *pkt, uint32_t len) {
    std::uint8_t netFn = 0;
    std::uint16_t cmd = 0;
    if (ORVA_DEBUG_GetNetFnAndCmdFromIpmb(pkt, len, &netFn, &cmd) != ORVA_OK) {
        return;
    }
    if (ORVA_DEBUG_PacketSwitchIsOn(ORVA_PACKET_IPMB, netFn, cmd) != 0) {
        ORVA_DEBUG_OutPacket(ORVA_DUMP_MODULE_SOUTH, name, pkt, len);
    }
}

void ORVA_DEBUG_OutFanPacket(const char *name, const uint8_t *pkt, uint32_t len) {
    if (ORVA_DEBUG_PacketSwitchIsOn(ORVA_PACKET_RS485, 0, 0) != 0) {
        ORVA_DEBUG_OutPacket(ORVA_DUMP_MODULE_SOUTH, name, pkt, len);
    }
}

void ORVA_DEBUG_OutPmPacket(const char *name, const uint8_t *pkt, uint32_t len) {
    if (ORVA_DEBUG_PacketSwitchIsOn(ORVA_PACKET_CAN, 0, 0) != 0) {
        ORVA_DEBUG_OutPacket(ORVA_DUMP_MODULE_SOUTH, name, pkt, len);
    }
}

#undef ORVA_DEBUGGING_CALLS_CONVERTED

#undef ORVA_DEBUGGING_AS_IS_ON

#undef ORVA_DEBUGGING_AS_SET
