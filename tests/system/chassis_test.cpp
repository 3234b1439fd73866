// The chassis as a user runs it: whole runs, what they leave behind, and how they end early.
#include "system_support.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/msg.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using orva_test::read_file;
using orva_test::ScratchFolder;

const std::string kProgram = std::string(ORVA_TEST_BINARY_DIR) + "/chassis/orva-chassis";
constexpr std::chrono::seconds kPatience{60};

// A run in the background; killed, should the test not wait for its end.
class BackgroundRun {
public:
    BackgroundRun(const std::string &output, const std::vector<std::string> &arguments) : output_(output) {
        process_ = fork();
        if (process_ == 0) {
            const int fd = open(output.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            std::vector<char *> pointers = {const_cast<char *>(kProgram.c_str())};
            for (const std::string &argument : arguments) {
                pointers.push_back(const_cast<char *>(argument.c_str()));
            }
            pointers.push_back(nullptr);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
    }
    ~BackgroundRun() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    BackgroundRun(const BackgroundRun &) = delete;
    BackgroundRun &operator=(const BackgroundRun &) = delete;

    bool shows(const std::string &text) const {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (std::chrono::steady_clock::now() < deadline) {
            if (output().find(text) != std::string::npos) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    void signal(int number) const {
        kill(process_, number);
    }
    int wait() {
        int status = 0;
        while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string output() const {
        return read_file(output_);
    }

private:
    std::string output_;
    pid_t process_ = 0;
};

std::vector<pid_t> processes_with(const std::string &text) {
    std::vector<pid_t> found;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        std::string line = read_file(entry.path() / "cmdline");
        for (char &byte : line) {
            byte = byte == '\0' ? ' ' : byte;
        }
        if (line.find(text) != std::string::npos) {
            found.push_back(static_cast<pid_t>(std::stol(name)));
        }
    }
    return found;
}

std::size_t count_of(const std::string &text, const std::string &part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

std::size_t lines_that_begin(const std::string &text, const std::string &start) {
    std::istringstream stream(text);
    std::size_t count = 0;
    for (std::string line; std::getline(stream, line);) {
        count += line.rfind(start, 0) == 0 ? 1U : 0U;
    }
    return count;
}

std::string folder_name(unsigned slot) {
    return (slot < 10 ? "slot0" : "slot") + std::to_string(slot);
}

class Chassis : public ::testing::Test {
protected:
    Chassis() : own_queues_(orva_test::enter_namespaces(CLONE_NEWIPC)) {}

    std::string run_dir() const {
        return scratch_.file("run");
    }

    std::vector<std::string> arguments(std::vector<std::string> more) const {
        more.insert(more.begin(), {"--run-dir", run_dir()});
        return more;
    }

    orva_test::ProgramResult run(std::vector<std::string> more) const {
        std::vector<std::string> line = arguments(std::move(more));
        line.insert(line.begin(), kProgram);
        return orva_test::run_program(line);
    }

    // In an IPC namespace of its own, the only queues are the chassis's.
    void expect_nothing_left(unsigned boards) const {
        EXPECT_TRUE(processes_with(run_dir()).empty());
        for (unsigned slot = 1; slot <= boards; ++slot) {
            const std::string file = run_dir() + "/" + folder_name(slot) + "/orva_agent";
            if (std::filesystem::exists(file)) {
                EXPECT_EQ(msgget(ftok(file.c_str(), static_cast<int>(slot)), 0), -1) << "slot " << slot;
                EXPECT_EQ(errno, ENOENT);
            }
        }
        if (own_queues_) {
            const std::string queues = read_file("/proc/sysvipc/msg");
            EXPECT_EQ(count_of(queues, "\n"), 1U) << queues;
        }
    }

    // The processes of agents end a moment after the management process that was killed.
    void wait_until_agents_are_gone() const {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!processes_with(run_dir()).empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    ScratchFolder scratch_;
    bool own_queues_;
};

TEST_F(Chassis, Run_SeesEverythingItAsksFor) {
    const auto result = run({"--seconds", "3"});
    EXPECT_EQ(result.status, 0) << result.output;
    for (const char *line : {
             "boards that have registered: 4\n",
             "boards that have answered temperature, voltage and heartbeat requests: 4\n",
             "a wrong destination is refused with 0x01DA0006\n",
             "a reply flag in a request is refused with 0x01CC0006\n",
             "source slot 31 is refused with 0x01D10006\n",
             "packets refused by slot 1 with 0x03E300C6: 200\n",
             "\"Invalid packet length\" records in its diagnostic log: 48\n",
             "drops that its diagnostic manager counted: 152\n",
             "packets that found the queue full: 0\n",
             "DiagID:371 drop: 152 logs in a hour. keyID: 0 format: Invalid packet length, module: AGENT",
             "hourly summaries: 1\n",
             "every process and every queue of the chassis is gone\n",
             "everything asked was seen\n",
         }) {
        EXPECT_NE(result.output.find(line), std::string::npos) << line << result.output;
    }
    EXPECT_EQ(result.output.find("MISSED"), std::string::npos) << result.output;
    expect_nothing_left(4);
}

TEST_F(Chassis, Run_ShowsOneTableOfEveryBoardAndSensor) {
    const auto result = run({"--boards", "3", "--seconds", "0"});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(count_of(result.output, "slot  board type"), 1U);
    for (const char *slot : {"1", "2", "3"}) {
        EXPECT_EQ(lines_that_begin(result.output, std::string("      ") + slot + "  0x1"), 7U) << result.output;
    }
    for (const char *sensor : {"inlet", "outlet", "processor", "12V", "3V3", "1V0", "heartbeat"}) {
        EXPECT_EQ(count_of(result.output, sensor), sensor == std::string("heartbeat") ? 4U : 3U) << sensor;
    }
}

TEST_F(Chassis, Run_LeavesTheRecordsThatItCounted) {
    const auto result = run({"--boards", "1", "--seconds", "0"});
    EXPECT_EQ(result.status, 0) << result.output;
    const std::string log = read_file(run_dir() + "/slot01/log/diagnostic.log");
    EXPECT_EQ(count_of(log, ": [Position: 1/1]Invalid packet length, module: AGENT, realLen: 64, pktLen: 24, netFn: "
                            "48, cmd: 2\n"),
              48U)
        << log;
    EXPECT_EQ(count_of(log, "word3=1 a4=0 a5=0: [Position: 1/1][OrvaDiagMgr] DiagID:371 drop: 152 logs in a hour. "),
              1U)
        << log;
    const std::string process = read_file(run_dir() + "/slot01/log/process.log");
    EXPECT_EQ(count_of(process, "    KeyID:0 SuccessNum:48, dropNum:152 [48 "), 1U) << process;
}

TEST_F(Chassis, Run_WorksWithOneBoardAndWithThirty) {
    for (const unsigned boards : {1U, 30U}) {
        std::filesystem::remove_all(run_dir());
        const auto result = run({"--seconds", "0", "--boards", std::to_string(boards)});
        EXPECT_EQ(result.status, 0) << result.output;
        EXPECT_NE(result.output.find("boards online after 1 rounds: " + std::to_string(boards) + "\n"),
                  std::string::npos)
            << result.output;
        expect_nothing_left(boards);
    }
}

TEST_F(Chassis, Run_WithoutAFolderLeavesNoFile) {
    const std::string temporary = scratch_.file("tmp");
    const std::string working = scratch_.file("cwd");
    std::filesystem::create_directories(temporary);
    std::filesystem::create_directories(working);
    const auto result =
        orva_test::run_program({kProgram, "--seconds", "0", "--boards", "2"}, {"TMPDIR=" + temporary}, working);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_TRUE(std::filesystem::is_empty(working));
}

TEST_F(Chassis, Run_KeepsItsFolderWhenAskedOrWhenItFailed) {
    const std::string temporary = scratch_.file("tmp");
    std::filesystem::create_directories(temporary);
    for (const std::vector<std::string> &more :
         {std::vector<std::string>{"--keep"}, std::vector<std::string>{"--kill-agent", "1"}}) {
        std::vector<std::string> line = {kProgram, "--seconds", "0", "--boards", "1"};
        line.insert(line.end(), more.begin(), more.end());
        const auto result = orva_test::run_program(line, {"TMPDIR=" + temporary});
        EXPECT_FALSE(std::filesystem::is_empty(temporary)) << result.output;
        EXPECT_NE(result.output.find("descriptions and logs are in " + temporary), std::string::npos);
        std::filesystem::remove_all(temporary);
        std::filesystem::create_directories(temporary);
    }
}

TEST_F(Chassis, KilledAgent_IsShownAsLost) {
    const auto result = run({"--boards", "3", "--seconds", "0", "--kill-agent", "2"});
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_EQ(lines_that_begin(result.output, "      2  "), 1U) << result.output;
    EXPECT_NE(result.output.find("      2  0x18004     -                          -  lost\n"), std::string::npos)
        << result.output;
    EXPECT_EQ(lines_that_begin(result.output, "      1  "), 7U) << result.output;
    EXPECT_NE(result.output.find("3 boards, 1 lost"), std::string::npos) << result.output;
    expect_nothing_left(3);
}

TEST_F(Chassis, KilledAgent_WhenSomeoneElseKillsItInTheMiddle) {
    BackgroundRun chassis(scratch_.file("output"), arguments({"--boards", "2", "--seconds", "4"}));
    ASSERT_TRUE(chassis.shows("one hour on the clock")) << chassis.output();
    const auto agents = processes_with("agent --slot 2 --folder " + run_dir());
    ASSERT_EQ(agents.size(), 1U);
    kill(agents.front(), SIGKILL);
    EXPECT_EQ(chassis.wait(), 1);
    EXPECT_NE(chassis.output().find("      2  0x18004     -                          -  lost\n"), std::string::npos)
        << chassis.output();
    expect_nothing_left(2);
}

TEST_F(Chassis, Signal_EndsTheRunAndLeavesNothing) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::filesystem::remove_all(run_dir());
        BackgroundRun chassis(scratch_.file("output"), arguments({"--boards", "3", "--seconds", "60"}));
        ASSERT_TRUE(chassis.shows("boards that have registered: 3")) << chassis.output();
        chassis.signal(number);
        EXPECT_EQ(chassis.wait(), 128 + number);
        EXPECT_NE(chassis.output().find("0 processes and 0 queues left"), std::string::npos) << chassis.output();
        expect_nothing_left(3);
    }
}

TEST_F(Chassis, KilledManager_LeavesNeitherAgentNorQueue) {
    BackgroundRun chassis(scratch_.file("output"), arguments({"--boards", "3", "--seconds", "60"}));
    ASSERT_TRUE(chassis.shows("boards that have registered: 3")) << chassis.output();
    chassis.signal(SIGKILL);
    EXPECT_EQ(chassis.wait(), 128 + SIGKILL);
    wait_until_agents_are_gone();
    expect_nothing_left(3);
}

struct BadLine {
    const char *name;
    std::vector<std::string> arguments;
    std::string message;
};

TEST_F(Chassis, CommandLine_IsRefusedWithAMessageAndTwo) {
    orva_test::write_file(scratch_.file("file"), "");
    const std::vector<BadLine> lines = {
        {"no boards", {"--boards", "0"}, "--boards"},
        {"too many boards", {"--boards", "31"}, "--boards"},
        {"a word for a number", {"--boards", "four"}, "--boards"},
        {"a number missing", {"--boards"}, "--boards"},
        {"a negative time", {"--seconds", "-1"}, "--seconds"},
        {"an unknown option", {"--frobnicate"}, "--frobnicate"},
        {"an unknown command", {"frobnicate"}, "frobnicate"},
        {"an agent that is not there", {"--boards", "2", "--kill-agent", "3"}, "no board in slot 3"},
        {"a folder that is a file", {"--run-dir", scratch_.file("file")}, scratch_.file("file")},
        {"a folder that is not empty", {"--run-dir", scratch_.path()}, "is not empty"},
        {"a folder that cannot be made", {"--run-dir", "/proc/no/such"}, "/proc/no/such"},
    };
    for (const BadLine &line : lines) {
        SCOPED_TRACE(line.name);
        std::vector<std::string> arguments = {kProgram};
        arguments.insert(arguments.end(), line.arguments.begin(), line.arguments.end());
        const auto result = orva_test::run_program(arguments);
        EXPECT_EQ(result.status, 2) << result.output;
        EXPECT_EQ(result.output.rfind("orva-chassis: ", 0), 0U) << result.output;
        EXPECT_NE(result.output.find(line.message), std::string::npos) << result.output;
    }
}

TEST_F(Chassis, CommandLine_HelpSucceeds) {
    const auto result = orva_test::run_program({kProgram, "--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("--boards"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("agent --slot"), std::string::npos) << result.output;
}

} // namespace
