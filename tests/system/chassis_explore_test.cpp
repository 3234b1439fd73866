// Explored scenarios: seeds that must be green, what earlier ones found, and a planted fault that must be found.
#include "system_support.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

namespace {

using orva_test::read_file;
using orva_test::ScratchFolder;

const std::string kProgram = std::string(ORVA_TEST_BINARY_DIR) + "/chassis/orva-chassis";
const std::string kPrograms = std::string(ORVA_TEST_BINARY_DIR) + "/tests/system/";

// How much a case does is the caller's: an emulator takes long over little.
std::string by_form(const char *shorter, const char *usual, const char *longer) {
    return std::getenv("ORVA_TEST_SHORT") != nullptr  ? shorter
           : std::getenv("ORVA_TEST_LONG") != nullptr ? longer
                                                      : usual;
}

std::vector<std::string> files_in(const std::string &folder) {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

class ChassisExplore : public ::testing::Test {
protected:
    ChassisExplore() : temporary_(scratch_.file("tmp")), working_(scratch_.file("cwd")) {
        std::filesystem::create_directories(temporary_);
        std::filesystem::create_directories(working_);
    }

    orva_test::ProgramResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), kProgram);
        return orva_test::run_program(arguments, {"TMPDIR=" + temporary_}, working_);
    }

    ScratchFolder scratch_;
    std::string temporary_;
    std::string working_;
};

#define SKIP_WITHOUT_VIRTUAL_TIME(result)                                                                            \
    if ((result).output.find(orva_test::kLacksVirtualTime) != std::string::npos) {                                   \
        GTEST_SKIP() << (result).output;                                                                             \
    }

TEST_F(ChassisExplore, Seeds_AreGreenAndLeaveNothing) {
    const std::string seeds = by_form("2", "10", "200");
    const auto result = run({"explore", "--seeds", seeds});
    SKIP_WITHOUT_VIRTUAL_TIME(result);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("orva-chassis: seeds 1 to " + seeds + ", 0 failed, "), std::string::npos)
        << result.output;
    EXPECT_TRUE(files_in(temporary_).empty());
    EXPECT_TRUE(files_in(working_).empty());
}

// Thirty boards over an hour, as the events tell it.
TEST_F(ChassisExplore, LongRun_OfOneSeedWritesTheSameBytes) {
    const std::string seconds = by_form("10", "60", "3600");
    orva_test::write_file(scratch_.file("hour.toml"), "name = \"hour\"\ntext = \"t\"\nboards = 30\n[[step]]\n"
                                                      "title = \"rounds\"\nrest = true\n");
    std::vector<std::string> events;
    for (const char *name : {"one", "two"}) {
        const auto result = run({"run", scratch_.file("hour.toml"), "--time", "virtual", "--seconds", seconds,
                                 "--events", scratch_.file(name)});
        SKIP_WITHOUT_VIRTUAL_TIME(result);
        EXPECT_EQ(result.status, 0) << result.output;
        events.push_back(read_file(scratch_.file(name)));
    }
    EXPECT_NE(events[0].find("\"t\":" + seconds + ".000,\"event\":\"end\""), std::string::npos);
    EXPECT_TRUE(events[0] == events[1]);
}

TEST_F(ChassisExplore, Found_StaysMended) {
    const std::string folder = std::string(ORVA_TEST_SOURCE_DIR) + "/tests/system/data/explored/";
    for (const std::string &name : files_in(folder)) {
        const auto result = run({"run", folder + name, "--time", "virtual"});
        SKIP_WITHOUT_VIRTUAL_TIME(result);
        EXPECT_EQ(result.status, 0) << name << ": " << result.output;
    }
}

// A copy of the example's agent that answers no more once it has had one request twice. A shell runs what is shown.
TEST_F(ChassisExplore, PlantedFault_IsFoundAndShrunkToThreeFaultsOrFewer) {
    const std::string agent = scratch_.file("its agent");
    std::filesystem::create_symlink(kPrograms + "faulty_agent", agent);
    const auto result = run({"explore", "--seeds", "2", "--first-seed", "7", "--agent", agent});
    SKIP_WITHOUT_VIRTUAL_TIME(result);
    EXPECT_EQ(result.status, 1) << result.output;
    std::smatch command;
    ASSERT_TRUE(std::regex_search(result.output, command,
                                  std::regex("\n    (orva-chassis run (explore-[0-9]+\\.toml) --time virtual "
                                             "--agent .*)\n")))
        << result.output;
    const std::string found = command[2].str();
    const std::string scenario = read_file(working_ + "/" + found);
    const std::regex fault("\\[\\[step\\.fault\\]\\]");
    const auto faults = std::distance(std::sregex_iterator(scenario.begin(), scenario.end(), fault), {});
    EXPECT_GE(faults, 1) << scenario;
    EXPECT_LE(faults, 3) << scenario;
    EXPECT_NE(scenario.find("\nboards = 1\n"), std::string::npos) << scenario;
    const std::string path = std::filesystem::path(kProgram).parent_path().string() + ":" + std::getenv("PATH");
    const auto again =
        orva_test::run_program({"sh", "-c", command[1].str()}, {"TMPDIR=" + temporary_, "PATH=" + path}, working_);
    EXPECT_EQ(again.status, 1) << again.output;
    std::smatch failure;
    ASSERT_TRUE(std::regex_search(result.output, failure, std::regex("FAILED: (.*)\n"))) << result.output;
    EXPECT_NE(again.output.find("[FAILED] " + failure[1].str() + "\n"), std::string::npos) << again.output;
    EXPECT_EQ(run({"run", found, "--time", "virtual", "--agent", kPrograms + "example_agent"}).status, 0);
    EXPECT_EQ(files_in(temporary_).size(), 1U) << "the folder of the run that failed";
}

TEST_F(ChassisExplore, Signal_EndsItAndLeavesNothing) {
    const auto result = orva_test::run_program(
        {"sh", "-c",
         "'" + kProgram +
             "' explore --seeds 100000 > output 2>&1 & until grep -qE '^seed|stepped clock' output; do "
             "sleep 0.05; done; kill -TERM $!; wait $!"},
        {"TMPDIR=" + temporary_}, working_);
    if (read_file(working_ + "/output").find(orva_test::kLacksVirtualTime) != std::string::npos) {
        GTEST_SKIP() << orva_test::kLacksVirtualTime;
    }
    EXPECT_EQ(result.status, 128 + 15) << result.output;
    EXPECT_TRUE(files_in(temporary_).empty());
    for (const std::string &name : files_in("/proc")) {
        EXPECT_EQ(read_file("/proc/" + name + "/cmdline").find(temporary_), std::string::npos) << name;
    }
}

} // namespace
