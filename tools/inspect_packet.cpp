// Packet dumps as text or JSON.
#include "commands.h"
#include "orva_debugging.h"
#include "packet_pieces.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLogLimit = std::size_t{16} << 20;
constexpr std::size_t kRowBytes = 16;

struct Fields {
    std::uint8_t net_fn = 0;
    std::uint16_t cmd = 0;
};

struct Dump {
    const Packet &packet;
    std::vector<PacketRun> runs;
    std::uint64_t length; // up to the last byte seen, gaps included
    bool whole;
};

Dump dump_of(const Packet &packet) {
    Dump dump{packet, runs_of(packet), 0, false};
    dump.length = dump.runs.back().offset + dump.runs.back().length;
    dump.whole = std::ranges::none_of(dump.runs, [](const PacketRun &run) { return run.bytes.empty(); });
    return dump;
}

const char *name_of(Bus bus) {
    return bus == Bus::kUdp ? "UDP" : "IPMB";
}

// Nothing for a length that the bus does not carry.
std::optional<Fields> fields_of(const Dump &dump, Bus bus) {
    const Bytes &bytes = dump.runs.front().bytes;
    const auto getter = bus == Bus::kUdp ? ORVA_DEBUG_GetNetFnAndCmdFromUdp : ORVA_DEBUG_GetNetFnAndCmdFromIpmb;
    Fields fields;
    if (getter(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &fields.net_fn, &fields.cmd) != ORVA_OK) {
        return std::nullopt;
    }
    return fields;
}

void print_fields(const Dump &dump, Bus bus) {
    std::cout << "  " << name_of(bus) << ": ";
    if (!dump.whole) {
        std::cout << "no fields, the packet is not whole\n";
    } else if (const auto fields = fields_of(dump, bus)) {
        std::cout << "netFn " << hex_number(fields->net_fn, 2) << ", cmd " << hex_number(fields->cmd, 2) << '\n';
    } else {
        std::cout << "no fields, such a packet has no " << count_of(dump.length, "byte") << '\n';
    }
}

void print_rows(const PacketRun &run) {
    const std::span<const std::uint8_t> bytes = run.bytes;
    for (std::size_t at = 0; at < bytes.size(); at += kRowBytes) {
        char offset[24];
        std::snprintf(offset, sizeof offset, "%06llx", static_cast<unsigned long long>(run.offset + at));
        std::cout << "  " << offset << "  " << hex_bytes(bytes.subspan(at, std::min(kRowBytes, bytes.size() - at)))
                  << '\n';
    }
}

void print(const Dump &dump, std::optional<Bus> bus) {
    std::cout << "packet " << hex_number(dump.packet.number, 1) << ' ' << printable(dump.packet.name) << ": "
              << count_of(dump.length, "byte") << " in " << count_of(dump.packet.pieces.size(), "piece")
              << (dump.whole ? "" : ", not whole") << '\n';
    if (bus) {
        print_fields(dump, *bus);
    }
    for (const PacketRun &run : dump.runs) {
        if (run.bytes.empty()) {
            std::cout << "  -- " << run.reason << ", " << count_of(run.length, "byte") << " --\n";
        }
        print_rows(run);
    }
    if (may_go_on(dump.packet)) {
        std::cout << "  note: the last piece is full, more pieces may be missing\n";
    }
}

Json json_of(const Dump &dump, std::optional<Bus> bus) {
    Json json = {{"number", dump.packet.number}, {"name", dump.packet.name},
                 {"length", dump.length},        {"pieces", dump.packet.pieces.size()},
                 {"whole", dump.whole},          {"mayGoOn", may_go_on(dump.packet)},
                 {"runs", Json::array()},        {"gaps", Json::array()}};
    for (const PacketRun &run : dump.runs) {
        if (run.bytes.empty()) {
            json["gaps"].push_back({{"offset", run.offset}, {"length", run.length}, {"reason", run.reason}});
        } else {
            json["runs"].push_back({{"offset", run.offset}, {"bytes", hex_bytes(run.bytes)}});
        }
    }
    if (bus) {
        const std::optional<Fields> fields = dump.whole ? fields_of(dump, *bus) : std::nullopt;
        json["netFn"] = fields ? Json(fields->net_fn) : Json(nullptr);
        json["cmd"] = fields ? Json(fields->cmd) : Json(nullptr);
    }
    return json;
}

int inspect_log(const Files &files, const std::string &path, std::optional<Bus> bus, Document &document) {
    const Input log = read_input(path, kLogLimit);
    if (log.status != kDone) {
        return log.status;
    }
    const std::vector<Packet> packets =
        find_packets({reinterpret_cast<const char *>(log.bytes.data()), log.bytes.size()});
    std::size_t broken = 0;
    if (!document.is_written()) {
        print_title(files.shown(path));
    }
    for (const Packet &packet : packets) {
        const Dump dump = dump_of(packet);
        broken += dump.whole ? 0 : 1;
        if (document.is_written()) {
            Json json = {{"file", path}};
            json.update(json_of(dump, bus));
            document.add(json);
        } else {
            print(dump, bus);
        }
    }
    const std::string name = files.shown(path).empty() ? "" : printable(path) + ": ";
    if (packets.empty()) {
        return fail(name + "no packet dump found");
    }
    return broken == 0 ? kDone
                       : fail(name + count_of(broken, "packet") + (broken == 1 ? " is" : " are") + " not whole");
}

} // namespace

int inspect_packets(const Files &files, std::optional<Bus> bus, bool json) {
    Document document("packet", json);
    int status = kDone;
    for (const std::string &path : files.paths) {
        status = std::max(status, inspect_log(files, path, bus, document));
    }
    document.end();
    return status;
}

} // namespace inspect
