// Captures of a chassis: what `run --record` writes, and who else reads it.
#include "capture_reader.h"
#include "capture_writer.h"
#include "system_support.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
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
    return result.output.find("this build cannot follow the stepped clock") != std::string::npos;
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

} // namespace
