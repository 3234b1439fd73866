// Packet fields and dumps: whatever the packet, its name and the switches, what is read and printed is that of a
// plain model, and no buffer is left. Input: switches, netFn filter, command filter, output size, name length, name,
// packet.
#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_imlib.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using Packet = std::vector<std::uint8_t>;

constexpr std::size_t kHead = 5;
constexpr std::size_t kLineSize = 2000;
constexpr std::uint8_t kLongName = 0xF0; // name lengths from here on stand for names that nearly fill a line

unsigned g_packets;               // packets counted so far
std::vector<std::string> g_lines; // what the sink got

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

std::string formatted(const char *format, ...) {
    char text[64];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

std::uint32_t sink(OrvaDebugRecord record, const char *, std::uint32_t, const char *format, ...) {
    require(record.zero == 0 && std::string(format) == "%s");
    va_list args;
    va_start(args, format);
    g_lines.emplace_back(va_arg(args, const char *));
    va_end(args);
    return 0;
}

void start() {
    static const bool isStarted = [] {
        ORVA_SetMemHandle(1);
        require(ORVA_CreateMemPt() == ORVA_OK);
        g_OrvaImlib.debug = sink;
        return true;
    }();
    require(isStarted);
}

std::string hex_of(const Packet &packet, std::size_t first, std::size_t count) {
    std::string text;
    for (std::size_t i = first; i < first + count; ++i) {
        text += formatted(" %02x", packet[i]);
    }
    return text;
}

std::vector<std::string> lines_of(const Packet &packet, const std::string &name) {
    std::vector<std::string> lines;
    ++g_packets;
    for (std::size_t first = 0; first < packet.size();) {
        const auto piece = static_cast<unsigned>(lines.size() + 1);
        const std::string head = formatted("[0x%x:%u] ", g_packets, piece) + name + ":";
        const std::size_t fitting = head.size() + 4 > kLineSize ? 0 : (kLineSize - head.size() - 1) / 3;
        const std::size_t count = std::min(fitting, packet.size() - first);
        if (count == 0) {
            return lines;
        }
        lines.push_back(head + hex_of(packet, first, count));
        first += count;
    }
    return lines;
}

// A copy of the packet that ends where its memory ends.
std::unique_ptr<std::uint8_t[]> exact_copy(const Packet &packet) {
    std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[packet.size()]);
    std::copy(packet.begin(), packet.end(), copy.get());
    return copy;
}

struct Fields {
    bool isRead;
    std::uint8_t netFn;
    std::uint16_t cmd;
};

Fields udp_fields(const Packet &packet) {
    if (packet.size() < 36 || packet.size() > 32768) {
        return {false, 0xAA, 0xBBBB};
    }
    return {true, packet[12], static_cast<std::uint16_t>(packet[13] << 8 | packet[14])};
}

Fields ipmb_fields(const Packet &packet) {
    if (packet.size() < 7 || packet.size() > 1031) {
        return {false, 0xAA, 0xBBBB};
    }
    const auto netFn = static_cast<std::uint8_t>(packet[3] & 0x3F);
    return {true, netFn, static_cast<std::uint16_t>(packet.size() > 7 ? packet[7] : 0)};
}

using ReadFields = std::uint32_t (*)(const std::uint8_t *, std::uint32_t, std::uint8_t *, std::uint16_t *);

void check_fields(ReadFields read, const Packet &packet, const Fields &expected) {
    std::uint8_t netFn = 0xAA;
    std::uint16_t cmd = 0xBBBB;
    const auto copy = exact_copy(packet);
    const std::uint32_t code = read(copy.get(), static_cast<std::uint32_t>(packet.size()), &netFn, &cmd);
    require((code == ORVA_OK) == expected.isRead && netFn == expected.netFn && cmd == expected.cmd);
}

struct Filter {
    std::uint8_t netFn, cmd;
    bool lets_through(const Fields &fields) const {
        return fields.isRead && (netFn == 0x20 || (netFn == fields.netFn && (cmd == 0xFF || cmd == fields.cmd)));
    }
};

using Dump = void (*)(const char *, const std::uint8_t *, std::uint32_t);

void check_dump(Dump dump, const Packet &packet, const std::string &name, bool isDumped) {
    g_lines.clear();
    const auto copy = exact_copy(packet);
    dump(name.c_str(), copy.get(), static_cast<std::uint32_t>(packet.size()));
    require(g_lines == (isDumped ? lines_of(packet, name) : std::vector<std::string>{}));
}

void check_dumps(const Packet &packet, const std::string &name, std::uint8_t switches, const Filter &filter) {
    const bool isOn[] = {(switches & 1) != 0, (switches & 2) != 0, (switches & 4) != 0, (switches & 8) != 0};
    const std::uint8_t types[] = {ORVA_PACKET_UDP, ORVA_PACKET_IPMB, ORVA_PACKET_RS485, ORVA_PACKET_CAN};
    for (std::size_t i = 0; i < std::size(types); ++i) {
        require(ORVA_CLI_ProcessDebugDeviceOrvaPacket(isOn[i] ? 1 : 0, types[i], filter.netFn, filter.cmd) ==
                ORVA_OK);
    }
    check_dump(ORVA_DEBUG_OutUdpPacket, packet, name, isOn[0] && filter.lets_through(udp_fields(packet)));
    check_dump(ORVA_DEBUG_OutIpmbPacket, packet, name, isOn[1] && filter.lets_through(ipmb_fields(packet)));
    check_dump(ORVA_DEBUG_OutFanPacket, packet, name, isOn[2]);
    check_dump(ORVA_DEBUG_OutPmPacket, packet, name, isOn[3]);
}

void check_string(const Packet &packet, std::uint32_t outSize) {
    const auto copy = exact_copy(packet);
    const auto length = static_cast<std::uint32_t>(packet.size());
    std::uint32_t remaining = length;
    std::string text;
    while (remaining != 0) {
        const std::unique_ptr<char[]> out(new char[outSize]);
        const std::uint32_t before = remaining;
        ORVA_DEUBG_FormatPacketToString(copy.get(), length, &remaining, out.get(), outSize);
        require(before - remaining == (outSize < 4 ? 0 : std::min(before, (outSize - 1) / 3)));
        if (before == remaining) {
            return;
        }
        text += out.get();
    }
    require(text == hex_of(packet, 0, packet.size()));
}

std::string name_of(std::uint8_t length, const std::uint8_t *data, std::size_t left) {
    if (length >= kLongName) {
        return std::string(kLineSize - 32 + (length - kLongName) * 2, 'n');
    }
    std::string name(reinterpret_cast<const char *>(data), std::min<std::size_t>(length % 64, left));
    std::replace(name.begin(), name.end(), '\0', '0');
    return name;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < kHead) {
        return 0;
    }
    start();
    const std::string name = name_of(data[4], data + kHead, size - kHead);
    const std::size_t used = data[4] >= kLongName ? kHead : kHead + name.size();
    const Packet packet(data + used, data + size);
    check_fields(ORVA_DEBUG_GetNetFnAndCmdFromUdp, packet, udp_fields(packet));
    check_fields(ORVA_DEBUG_GetNetFnAndCmdFromIpmb, packet, ipmb_fields(packet));
    check_dumps(packet, name, data[0], {data[1], data[2]});
    check_string(packet, data[3]);
    return 0;
}
