// What the inspector finds in a log. Whatever the text: lines ascend, bytes are where they say, a packet's runs
// follow each other, and a capture of it is whole blocks.
#include <sstream>

#include "fuzz_input.h"
#include "log_scan.h"
#include "message_view.h"
#include "noted_capture.h"

namespace {

void check_packet(const inspect::Packet &packet, std::size_t lines) {
    REQUIRE(packet.origin.line >= 1 && packet.origin.line <= lines);
    REQUIRE(!packet.pieces.empty() && packet.pieces.begin()->first != 0);
    std::uint64_t offset = 0;
    for (const inspect::PacketRun &run : inspect::runs_of(packet)) {
        REQUIRE(run.offset == offset);
        offset += run.length;
    }
}

// Blocks repeat their length at their end, and the last one ends with the capture.
void check_capture(const inspect::LogContent &content) {
    std::ostringstream out;
    inspect::NotedCapture capture(out);
    for (const inspect::LooseBytes &loose : content.loose) {
        const bool known = inspect::is_datagram(loose.bytes);
        capture.add(
            {known ? "udp" : "unknown", inspect::kUser0, 0, inspect::Flow::kUnknown, loose.name, loose.bytes});
    }
    const std::string text = out.str();
    const auto word = [&text](std::size_t at) {
        REQUIRE(at + 4 <= text.size());
        std::uint32_t value = 0;
        std::memcpy(&value, text.data() + at, sizeof value);
        return value;
    };
    std::size_t at = 0;
    while (at < text.size()) {
        const std::uint32_t length = word(at + 4);
        REQUIRE(length >= 12 && length % 4 == 0 && word(at + length - 4) == length);
        at += length;
    }
    REQUIRE(at == text.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string log(reinterpret_cast<const char *>(data), size);
    const std::size_t lines = static_cast<std::size_t>(std::count(log.begin(), log.end(), '\n')) + 1;
    const inspect::LogContent content = inspect::scan_log(log);
    for (const inspect::Packet &packet : content.packets) {
        check_packet(packet, lines);
    }
    for (const inspect::BoardRecord &record : content.records) {
        REQUIRE(record.origin.line >= 1 && record.origin.line <= lines);
        REQUIRE(log.find(record.text) != std::string::npos);
        inspect::dropped_of(record);
    }
    for (const inspect::ManagerDump &manager : content.managers) {
        REQUIRE(manager.origin.line >= 1 && manager.origin.line <= lines);
    }
    for (const inspect::LooseBytes &loose : content.loose) {
        REQUIRE(loose.bytes.size() >= 8);
        inspect::take_apart_message(loose.bytes, {});
    }
    check_capture(content);
    return 0;
}
