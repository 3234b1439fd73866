// Captures of a chassis: what `run --record` writes, who else reads it, and what `replay` finds in it.
#include "board/sensor_file.h"
#include "builtin_scenarios.h"
#include "capture_reader.h"
#include "capture_writer.h"
#include "record/compare.h"
#include "record/notes.h"
#include "system_support.h"
#include "wire/messages.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using orva_test::read_file;
using orva_test::run_program;

const std::string kProgram = std::string(ORVA_TEST_BINARY_DIR) + "/chassis/orva-chassis";

bool lacks_virtual_time(const orva_test::ProgramResult &result) {
    return result.output.find(orva_test::kLacksVirtualTime) != std::string::npos;
}

std::vector<capture::Packet> packets_of(const std::string &file) {
    capture::Reader reader(file);
    std::vector<capture::Packet> packets;
    while (auto packet = reader.next()) {
        packets.push_back(std::move(*packet));
    }
    return packets;
}

std::size_t count_of(const std::string &text, const std::string &part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

class ChassisRecord : public testing::Test {
protected:
    std::string file(const std::string &name) const {
        return scratch_.file(name);
    }
    orva_test::ProgramResult record(const std::string &scenario, const std::string &name) const {
        return run_program({kProgram, "run", scenario, "--time", "virtual", "--seed", "7", "--record", file(name)});
    }
    orva_test::ScratchFolder scratch_;
};

// The demonstration asks for traces too, whose processor times differ from run to run.
TEST_F(ChassisRecord, VirtualTime_TwoRunsOfOneSeedWriteTheSameBytes) {
    for (const char *scenario : {"demo", "links"}) {
        for (const char *name : {"one", "two"}) {
            const auto result = record(scenario, name);
            if (lacks_virtual_time(result)) {
                GTEST_SKIP() << result.output;
            }
            ASSERT_EQ(result.status, 0) << result.output;
        }
        EXPECT_GT(read_file(file("one")).size(), 10000U);
        EXPECT_TRUE(read_file(file("one")) == read_file(file("two"))) << scenario;
    }
}

TEST_F(ChassisRecord, Capture_HasBothDirectionsOfEachLinkInTheOrderOfTheirTimes) {
    const auto result = record("demo", "capture");
    if (lacks_virtual_time(result)) {
        GTEST_SKIP() << result.output;
    }
    ASSERT_EQ(result.status, 0) << result.output;
    std::map<std::uint32_t, std::pair<int, int>> by_slot; // to and from the board
    capture::Time last{0};
    for (const capture::Packet &packet : packets_of(file("capture"))) {
        EXPECT_EQ(packet.problem, "");
        const auto &[time, from, to, bytes] = packet.datagram;
        EXPECT_GE(time, last);
        last = time;
        if (to == capture::kNotes) {
            EXPECT_EQ(from, capture::kManager);
            continue;
        }
        const bool to_board = from == capture::kManager;
        const auto slot = capture::slot_of(to_board ? to : from);
        ASSERT_TRUE(slot) << "packet " << packet.number;
        EXPECT_TRUE(to_board || to == capture::kManager);
        ++(to_board ? by_slot[*slot].first : by_slot[*slot].second);
        if (by_slot[*slot] == std::pair(0, 1)) {
            EXPECT_EQ(bytes.at(12), 0x30) << "a link begins with the registration";
            EXPECT_EQ(bytes.at(14), 1);
        }
    }
    EXPECT_LT(last, std::chrono::hours(1)) << "times are since power-on";
    ASSERT_EQ(by_slot.size(), 5U) << "four boards and the backup";
    for (const auto &[slot, counts] : by_slot) {
        EXPECT_GE(counts.first, 1) << slot;
        EXPECT_GE(counts.second, 1) << slot;
    }
}

TEST_F(ChassisRecord, Tcpdump_ReadsEveryPacketAndFindsItsSumsRight) {
    const auto result = record("demo", "capture");
    if (lacks_virtual_time(result)) {
        GTEST_SKIP() << result.output;
    }
    const auto read = run_program({"tcpdump", "-nn", "-vv", "-r", file("capture")});
    if (read.status == 127) {
        GTEST_SKIP() << "tcpdump is not installed";
    }
    ASSERT_EQ(read.status, 0) << read.output;
    const std::size_t packets = packets_of(file("capture")).size();
    EXPECT_EQ(count_of(read.output, "[udp sum ok] UDP, length "), packets);
    EXPECT_EQ(count_of(read.output, "bad cksum"), 0U);
    EXPECT_EQ(count_of(read.output, "    172.16.0.251.5301 > 172.16.0.250.5300: "), 9U) << read.output;
}

TEST_F(ChassisRecord, FileThatCannotBeWritten_IsRefusedBeforeTheRun) {
    for (const auto &[name, reason] : {std::pair{file("none") + "/capture", "No such file or directory"},
                                       std::pair{std::string("/dev/full"), "No space left on device"}}) {
        const auto result = run_program({kProgram, "run", "demo", "--record", name});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "orva-chassis: cannot write " + name + ": " + reason + "\n");
    }
}

// A pipe whose reader goes away once it has the head of the capture.
TEST_F(ChassisRecord, WriteError_IsNamedAtTheEnd) {
    ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
    ssize_t taken = 0;
    std::thread reader([&] {
        const int fd = open(file("pipe").c_str(), O_RDONLY);
        char head[24];
        taken = read(fd, head, sizeof head);
        close(fd);
    });
    const auto result = run_program({kProgram, "run", "demo", "--time", "virtual", "--record", file("pipe")});
    close(open(file("pipe").c_str(), O_WRONLY | O_NONBLOCK)); // a run that never opened it
    reader.join();
    if (lacks_virtual_time(result)) {
        GTEST_SKIP() << result.output;
    }
    EXPECT_EQ(taken, 24);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find("orva-chassis: cannot write " + file("pipe") + ": Broken pipe\n"), std::string::npos)
        << result.output;
}

TEST_F(ChassisRecord, RelativePath_IsTheUsersFolders) {
    const auto result =
        run_program({kProgram, "run", "demo", "--time", "virtual", "--record", "here.pcap", "--events", "here.jsonl"},
                    {}, scratch_.path());
    if (lacks_virtual_time(result)) {
        GTEST_SKIP() << result.output;
    }
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_GT(std::filesystem::file_size(file("here.pcap")), 1000U);
    EXPECT_GT(std::filesystem::file_size(file("here.jsonl")), 1000U);
}

TEST_F(ChassisRecord, ReaderAndWriter_AgreeOnEveryLength) {
    const capture::Address from{0x0A000001, 1}, to{0x0A0000FF, 65535};
    std::vector<std::vector<std::uint8_t>> sent;
    {
        capture::Writer writer(file("capture"));
        for (const std::size_t length :
             {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{1499}, capture::kMaxDatagramBytes}) {
            sent.emplace_back(length, static_cast<std::uint8_t>(length));
            writer.add(std::chrono::seconds(5) + capture::Time(sent.size()), from, to, sent.back());
        }
        EXPECT_THROW(writer.add({}, from, to, std::vector<std::uint8_t>(capture::kMaxDatagramBytes + 1)),
                     std::logic_error);
        writer.close();
        writer.close();
    }
    const auto packets = packets_of(file("capture"));
    ASSERT_EQ(packets.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(packets[i].number, i + 1);
        EXPECT_EQ(packets[i].problem, "");
        EXPECT_EQ(packets[i].datagram.time, std::chrono::seconds(5) + capture::Time(i + 1));
        EXPECT_EQ(packets[i].datagram.from, from);
        EXPECT_EQ(packets[i].datagram.to, to);
        EXPECT_TRUE(packets[i].datagram.bytes == sent[i]) << sent[i].size();
    }
}

// ---- Replay

// What a test changes in a capture, packet by packet.
using Change = std::function<void(capture::Datagram &)>;

void rewrite(const std::string &from, const std::string &to, const Change &change) {
    capture::Writer writer(to);
    for (capture::Packet &packet : packets_of(from)) {
        change(packet.datagram);
        writer.add(packet.datagram.time, packet.datagram.from, packet.datagram.to, packet.datagram.bytes);
    }
    writer.close();
}

class ChassisReplay : public ChassisRecord {
protected:
    orva_test::ProgramResult replay(const std::string &name, const std::vector<std::string> &more = {}) const {
        std::vector<std::string> arguments = {kProgram, "replay", file(name)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run_program(arguments, {"TMPDIR=" + scratch_.path()});
    }
    // False where there is no virtual time.
    bool is_recorded(const std::string &scenario) const {
        const auto result = record(scenario, "capture");
        EXPECT_TRUE(result.status == 0 || lacks_virtual_time(result)) << result.output;
        return result.status == 0;
    }
    void expect_refused(const std::string &name, const std::string &reason) const {
        const auto result = replay(name);
        EXPECT_EQ(result.status, 2) << name;
        EXPECT_EQ(result.output, "orva-chassis: " + file(name) + reason + "\n");
    }
};

#define RECORD_OR_SKIP(scenario)                                                                                     \
    do {                                                                                                             \
        if (!is_recorded(scenario)) {                                                                                \
            GTEST_SKIP() << orva_test::kLacksVirtualTime;                                                            \
        }                                                                                                            \
    } while (false)

class ReplayedScenario : public ChassisReplay, public ::testing::WithParamInterface<const char *> {};

TEST_P(ReplayedScenario, IsAnsweredAsItWas) {
    RECORD_OR_SKIP(GetParam());
    const auto result = replay("capture");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find(" equal, 0 different"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find(" 0 answers equal"), std::string::npos) << result.output;
}

INSTANTIATE_TEST_SUITE_P(Demo, ReplayedScenario, ::testing::Values("demo"), orva_test::scenario_case);
INSTANTIATE_TEST_SUITE_P(Other, ReplayedScenario, ::testing::ValuesIn(orva_test::kBuiltinScenarios),
                         orva_test::scenario_case);

// The first reading of the first temperatures that slot 2 sent: a value, then bytes without a name.
TEST_F(ChassisReplay, AlteredAnswer_IsNamedWithItsField) {
    RECORD_OR_SKIP("overrides");
    int altered = 0;
    std::uint8_t was = 0;
    rewrite(file("capture"), file("altered"), [&](capture::Datagram &datagram) {
        const bool temperatures = datagram.from == capture::board_address(2) && datagram.bytes[12] == 0x31 &&
                                  datagram.bytes[14] == 2 && datagram.bytes.size() > 56;
        if (temperatures && altered++ == 0) {
            was = datagram.bytes[51];
            datagram.bytes[51] ^= 1;
            datagram.bytes[53] ^= 0x80;
        }
    });
    ASSERT_GT(altered, 0);
    const auto result = replay("altered");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(count_of(result.output, ": recorded "), 2U) << result.output;
    EXPECT_NE(result.output.find("slot 2, 0.000 s, temperatures (packet "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("): readings[0].value: recorded "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("): readings[0] bytes from 4: recorded "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(" equal, 1 different"), std::string::npos) << result.output;
}

TEST_F(ChassisReplay, MissingAndUnexpectedAnswers_AreNamed) {
    RECORD_OR_SKIP("overrides");
    int seen = 0;
    capture::Writer writer(file("altered"));
    for (const capture::Packet &packet : packets_of(file("capture"))) {
        capture::Datagram datagram = packet.datagram;
        const bool voltages =
            datagram.from == capture::board_address(1) && datagram.bytes[12] == 0x31 && datagram.bytes[14] == 3;
        if (voltages && ++seen == 1) {
            continue; // never recorded
        }
        writer.add(datagram.time, datagram.from, datagram.to, datagram.bytes);
        if (voltages && seen == 2) {
            datagram.bytes[12] = 0x3F; // another answer to the same request
            writer.add(datagram.time, datagram.from, datagram.to, datagram.bytes);
        }
    }
    writer.close();
    ASSERT_GE(seen, 2);
    const auto result = replay("altered");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find(": answer: recorded nothing, now voltages\n"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(": answer: recorded statistics, now nothing\n"), std::string::npos) << result.output;
}

// What the boards are is in the capture: another sensor answers something else.
TEST_F(ChassisReplay, OtherHardware_ShowsInTheReadings) {
    RECORD_OR_SKIP("sensors");
    int altered = 0;
    rewrite(file("capture"), file("altered"), [&](capture::Datagram &datagram) {
        const std::string text(datagram.bytes.begin(), datagram.bytes.end());
        const std::size_t at = text.find("value = 12000\n");
        if (datagram.to == capture::kNotes && text.find("slot = 1\n") != std::string::npos &&
            at != std::string::npos) {
            datagram.bytes[at + 12] = '7';
            ++altered;
        }
    });
    ASSERT_EQ(altered, 1);
    const auto result = replay("altered");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find("voltages (packet "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(": readings[0].value: recorded 12000 (0x2EE0), now 12007 (0x2EE7)\n"),
              std::string::npos)
        << result.output;
}

// It knows temperatures and heartbeats only.
TEST_F(ChassisReplay, AnotherAgent_ShowsWhatItAnswersOtherwise) {
    RECORD_OR_SKIP("overrides");
    const auto result =
        replay("capture", {"--agent", std::string(ORVA_TEST_BINARY_DIR) + "/tests/system/example_agent"});
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_NE(result.output.find(": message: recorded voltages, now result\n"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("orva-chassis: "), std::string::npos);
}

TEST_F(ChassisReplay, WhatIsNoCaptureOfAChassis_IsRefusedByName) {
    RECORD_OR_SKIP("overrides");
    const std::string whole = read_file(file("capture"));
    const std::size_t count = packets_of(file("capture")).size();
    orva_test::write_file(file("truncated"), whole.substr(0, whole.size() - 3));
    expect_refused("truncated", ": after packet " + std::to_string(count - 1) +
                                    ": truncated dump file; tried to read 96 captured bytes, only got 93");
    orva_test::write_file(file("text"), "no capture at all, but long enough");
    expect_refused("text", ": unknown file format");
    expect_refused("none", ": No such file or directory");
    orva_test::write_file(file("empty"), whole.substr(0, 24));
    expect_refused("empty", " does not say which chassis it is of; orva-chassis run --record does");
    rewrite(file("capture"), file("strange"), [](capture::Datagram &datagram) {
        datagram.from.port = static_cast<std::uint16_t>(datagram.from.port + 1);
    });
    expect_refused("strange", ": packet 4 is not between a board and its management process");
    struct Case {
        std::string from, to, reason;
    };
    for (const Case &each :
         {Case{"version = 1", "version = 2", ": packet 1: the capture is of a later version"},
          Case{"seed = 7", "seed = x", ": packet 1: Error while parsing value: could not determine value type"},
          Case{"the run of", "our run of", ": packet 1: a note of unknown kind"},
          Case{"slot = 2", "slot = 1", ": two boards in slot 1"}}) {
        rewrite(file("capture"), file("note"), [&](capture::Datagram &datagram) {
            std::string text(datagram.bytes.begin(), datagram.bytes.end());
            const std::size_t at = text.find(each.from);
            if (datagram.to == capture::kNotes && at != std::string::npos) {
                text.replace(at, each.from.size(), each.to);
                datagram.bytes.assign(text.begin(), text.end());
            }
        });
        expect_refused("note", each.reason);
    }
}

TEST(ChassisFrame, ToHost_AReadingThatTheEndCutsIsZero) {
    const chassis::MessageType *type = chassis::find_type(chassis::kNetFnAgentReply, chassis::kCmdTemperature);
    ASSERT_NE(type, nullptr);
    constexpr std::size_t kReadings = chassis::kPrefixBytes + offsetof(OrvaWireTempInfo, readings);
    std::vector<std::uint8_t> received(kReadings + sizeof(OrvaWireTempInfoReadingsEntry) + 2);
    received[chassis::kPrefixBytes + offsetof(OrvaWireTempInfo, count)] = 2;
    received[kReadings + 3] = 42;
    received[kReadings + sizeof(OrvaWireTempInfoReadingsEntry)] = 0xAA;
    received[kReadings + sizeof(OrvaWireTempInfoReadingsEntry) + 1] = 0xBB;
    const chassis::Frame frame = chassis::frame_to_host(*type, received);
    EXPECT_EQ(frame.length, received.size());
    EXPECT_EQ(frame.bytes[kReadings], 42);
    EXPECT_EQ(std::count(frame.bytes.begin() + frame.length, frame.bytes.end(), 0),
              static_cast<std::ptrdiff_t>(frame.bytes.size() - frame.length));
}

TEST_F(ChassisReplay, Compare_FindsWhatIsLongerShorterAndWithoutAName) {
    const auto datagram = [](std::uint8_t net_fn, std::uint8_t command, std::vector<std::uint8_t> body) {
        std::vector<std::uint8_t> bytes = {0x4F, 0x52, 0x43, 0x48, 0, 0, 0, 1, 0, 0, 0, 0, net_fn, 0, command, 1};
        bytes.resize(24);
        bytes.insert(bytes.end(), body.begin(), body.end());
        return bytes;
    };
    const auto found = [](const auto &recorded, const auto &now) {
        std::string text;
        for (const auto &[field, one, other] : chassis::compare_answers(recorded, now, false)) {
            text += field + ": " + one + " / " + other + "\n";
        }
        return text;
    };
    const auto result = datagram(0x31, 0, {0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 9});
    auto other = result;
    other[7] = 2;  // the run
    other[17] = 5; // the sequence number
    EXPECT_EQ(found(result, other), "");
    other[39] = 10;
    EXPECT_EQ(found(result, other), "word_12: 9 / 10 (0xA)\n");
    other.pop_back();
    EXPECT_EQ(found(result, other), "word_12: 9 / nothing\nbytes from 36: nothing / 00 00 00\n");
    other = result;
    other[20] = 1;
    EXPECT_EQ(found(result, other), "bytes from 18: 00 00 00 00 00 00 / 00 00 01 00 00 00\n");
    EXPECT_EQ(found(result, datagram(0x31, 9, {})), "message: result / unknown message 0x31 9\n");
    EXPECT_EQ(found(datagram(0x31, 9, {1}), datagram(0x31, 9, {2})),
              "bytes from 18: 00 00 00 00 00 00 01 / 00 00 00 00 00 00 02\n");
    const std::vector<std::uint8_t> stub(3);
    EXPECT_EQ(found(stub, result), "message: a datagram of 3 bytes / result\n");
    auto report = datagram(0x3F, 11, std::vector<std::uint8_t>(280));
    report[48] = 'a';
    auto longer = report;
    longer[49] = 'b';
    EXPECT_EQ(found(report, longer), "report: \"a\" / \"ab\"\n");
}

TEST_F(ChassisReplay, Notes_SayWhatTheyWereMadeFrom) {
    using namespace chassis;
    const auto run = std::get<RunNote>(read_note(run_note({true, 4294967295U, 12}), "x"));
    EXPECT_TRUE(run.virtual_time);
    EXPECT_EQ(run.seed, 4294967295U);
    EXPECT_EQ(run.run, 12U);
    Board board;
    board.slot = 30;
    board.type = 98304;
    board.sensors = default_sensors(30);
    board.sensors[0].curve.kind = CurveKind::kTable;
    board.sensors[0].curve.points = {{0, 5}, {1500, -7}};
    const auto plan = std::get<BoardPlan>(read_note(board_note(board), "x"));
    EXPECT_EQ(plan.slot, 30U);
    EXPECT_EQ(plan.type, 98304U);
    ASSERT_EQ(plan.sensors.size(), board.sensors.size());
    for (std::size_t i = 0; i < plan.sensors.size(); ++i) {
        EXPECT_EQ(sensor_text(plan.sensors[i]), sensor_text(board.sensors[i]));
    }
    Event event;
    event.kind = EventKind::kFault;
    event.slot = 3;
    event.fields = {text_field("fault", "late"), flag_field("on", false)};
    const auto fault = std::get<EventNote>(read_note(event_note(event).value(), "x"));
    EXPECT_EQ(fault.what, Happened::kFaultEnds);
    EXPECT_EQ(fault.slot, 3U);
    EXPECT_EQ(fault.fault, "late");
    event.kind = EventKind::kLog;
    EXPECT_FALSE(event_note(event));
}

} // namespace
