#include "tester_step.h"

#include "board_folder.h"
#include "log_lines.h"

#include "orva_comm.h"

#include <algorithm>
#include <string>
#include <vector>

namespace chassis {

namespace {

constexpr std::chrono::milliseconds kPatience{5000};

// The commands are those that a tester types, given by a process of its own.
class Tester {
public:
    Tester(Manager &manager, Board &board, Report &report)
        : manager_(manager), board_(board), report_(report), slot_(std::to_string(board.slot)) {}

    void override_readings() {
        give({"stub", "set", slot_, "caseTemp", "905"});
        give({"stub", "set", slot_, slot_ + "_1_pmOutputVolt", "11200"});
        give({"stub", "list", slot_});
        give({"sensor", "set", slot_, "processor", "950"});
        give({"online", "set", slot_, slot_, "0"});
        manager_.poll_boards();
        check_reading("outlet", Source::kStub, 905);
        check_reading("12V", Source::kStub, 11200);
        check_reading("processor", Source::kSimulated, 950);
        report_.check("slot " + slot_ + " says that it is offline, as the online pair has it",
                      board_.online_pair && !board_.online);
    }

    void take_back() {
        give({"stub", "clear", slot_, slot_ + "_1_pmOutputVolt"});
        give({"online", "clear", slot_});
        manager_.poll_boards();
        check_reading("12V", Source::kHardware, reading("12V").hardware);
    }

    void see_debug_output() {
        const auto log = interface_manager_log(board_.folder);
        give({"debug", "log", "on", slot_});
        give({"debug", "packet", "on", slot_, "udp"});
        provoke_debug_text();
        give({"stub", "list", slot_});
        give({"debug", "packet", "off", slot_, "udp"});
        give({"debug", "log", "off", slot_});
        show(log, "[ORVA_COMM]The DestSlot is invalid, DestSlot: ", "a debug text in the interface manager's log");
        show_pieces(log);
    }

private:
    void give(std::vector<std::string> words) {
        std::string line = "orva-chassis";
        for (const std::string &word : words) {
            line += " " + word;
        }
        words.insert(words.begin(), {"--run-dir", manager_.run_folder().string()});
        const int status = manager_.run_command(words);
        report_.check(line, status == 0);
    }

    Measured reading(const std::string &sensor) const {
        const auto found = std::ranges::find_if(
            board_.measured, [&](const Measured &measured) { return sensor == measured.sensor->name; });
        return found != board_.measured.end() ? *found : Measured{};
    }

    void check_reading(const std::string &sensor, Source source, std::int32_t value) {
        const Measured measured = reading(sensor);
        report_.check(
            "slot " + slot_ + ": " + sensor +
                (source == Source::kHardware
                     ? " reads the hardware again"
                     : " is overridden, the hardware says " +
                           value_text(measured.sensor != nullptr ? measured.sensor->kind : SensorKind::kVoltage,
                                      measured.hardware)),
            measured.sensor != nullptr && measured.source == source && measured.value == value);
    }

    // A request to another slot leaves a debug text.
    void provoke_debug_text() {
        Frame frame = manager_.request_frame(board_, kNetFnAgent, kCmdTemperature);
        auto body = frame.body<RequestBody>();
        ++body.header.dest_slot;
        manager_.exchange(board_, make_frame(kNetFnAgent, kCmdTemperature, frame.sequence(), body), kPatience);
    }

    void show(const std::filesystem::path &log, const std::string &text, const std::string &name) {
        const Found found = find_lines(log, text);
        if (found.count != 0) {
            report_.line(found.last);
        }
        report_.check(name, found.count != 0);
    }

    // The board's stub list is longer than one line of the dump.
    void show_pieces(const std::filesystem::path &log) {
        const std::string name = "] to the main board: ";
        const std::string second = find_lines(log, ":2" + name).whole;
        const std::size_t begin = second.find("[0x");
        const std::size_t end = second.find(":2" + name);
        const std::string packet = begin < end && end != std::string::npos ? second.substr(begin, end - begin) : "?";
        for (const char *piece : {":1", ":2"}) {
            const std::string line = find_lines(log, packet + piece + name).last;
            report_.check("a packet dump of " + std::to_string(line.size()) + " characters: " + line.substr(0, 60),
                          !line.empty());
        }
    }

    Manager &manager_;
    Board &board_;
    Report &report_;
    std::string slot_;
};

} // namespace

void operate(Manager &manager, Board *board, Report &report) {
    report.step("a tester overrides readings");
    if (board == nullptr) {
        report.check("no board is online", false);
        return;
    }
    Tester tester(manager, *board, report);
    tester.override_readings();
    tester.take_back();
    report.step("an operator looks at packets and debug texts");
    tester.see_debug_output();
}

} // namespace chassis
