#include "packet_view.h"

#include "orva_debugging.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kRowBytes = 16;

const char *bus_name(Bus bus) {
    return bus == Bus::kUdp ? "UDP" : "IPMB";
}

} // namespace

Dump dump_of(const Packet &packet) {
    Dump dump{packet, runs_of(packet), 0, false};
    dump.length = dump.runs.back().offset + dump.runs.back().length;
    dump.whole = std::ranges::none_of(dump.runs, [](const PacketRun &run) { return run.bytes.empty(); });
    return dump;
}

std::optional<BusFields> fields_of(const Dump &dump, Bus bus) {
    if (!dump.whole || (bus != Bus::kUdp && bus != Bus::kIpmb)) {
        return std::nullopt;
    }
    const Bytes &bytes = dump.runs.front().bytes;
    const auto getter = bus == Bus::kUdp ? ORVA_DEBUG_GetNetFnAndCmdFromUdp : ORVA_DEBUG_GetNetFnAndCmdFromIpmb;
    BusFields fields;
    if (getter(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &fields.net_fn, &fields.cmd) != ORVA_OK) {
        return std::nullopt;
    }
    return fields;
}

const orva::wire::Route *route_of_udp(const Bytes &packet) {
    BusFields fields;
    const auto length = static_cast<std::uint32_t>(packet.size());
    return ORVA_DEBUG_GetNetFnAndCmdFromUdp(packet.data(), length, &fields.net_fn, &fields.cmd) == ORVA_OK
               ? find_route(fields.net_fn, fields.cmd)
               : nullptr;
}

namespace {

void print_fields(const Dump &dump, Bus bus) {
    std::cout << "  " << bus_name(bus) << ": ";
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

} // namespace

void print_dump(const Dump &dump, std::optional<Bus> bus) {
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

Json dump_json(const Dump &dump, std::optional<Bus> bus) {
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
        const std::optional<BusFields> fields = fields_of(dump, *bus);
        json["netFn"] = fields ? Json(fields->net_fn) : Json(nullptr);
        json["cmd"] = fields ? Json(fields->cmd) : Json(nullptr);
    }
    return json;
}

} // namespace inspect
