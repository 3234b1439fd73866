// The chassis as a user runs it: whole runs, what they leave behind, and how they end early.
#include "builtin_scenarios.h"
#include "system_support.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/msg.h>
#include <sys/socket.h>
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
    BackgroundRun(const std::string &output, const std::vector<std::string> &arguments,
                  const std::string &temporary = "")
        : output_(output) {
        orva_test::write_file(output, ""); // of an earlier run
        process_ = fork();
        if (process_ == 0) {
            const int fd = open(output.c_str(), O_WRONLY);
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            if (!temporary.empty()) {
                setenv("TMPDIR", temporary.c_str(), 1);
            }
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

// The first lines in which two texts differ.
std::string first_difference(const std::string &one, const std::string &two) {
    std::istringstream first(one);
    std::istringstream second(two);
    std::string a;
    std::string b;
    while (std::getline(first, a) && std::getline(second, b) && a == b) {
    }
    return a + "\n" + b;
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
        more.insert(more.begin(), {"run", "demo", "--run-dir", run_dir()});
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

// The demonstration is run once; each part reads what it left.
struct Demo {
    std::string output;
    std::string folder;

    void expect_lines() const {
        for (const char *line : {
                 "[ok]     boards that have registered: 2\n",
                 "[ok]     boards that have answered temperature, voltage and heartbeat requests: 2\n",
                 "[ok]     a wrong destination is refused with 0x01DA0006\n",
                 "[ok]     a reply flag in a request is refused with 0x01CC0006\n",
                 "[ok]     source slot 31 is refused with 0x01D10006\n",
                 "[ok]     packets refused by slot 1 with 0x03E300C6: 200\n",
                 "[ok]     \"Invalid packet length\" records in its diagnostic log: 48\n",
                 "[ok]     drops that its diagnostic manager counted: 152\n",
                 "[ok]     packets that found the queue full: 0\n",
                 "[ok]     hourly summaries: 1\n",
                 "[ok]     temperature record, 138 bytes, 24 members stored: in step\n",
                 "[ok]     voltage record, 128 bytes, 19 members stored: in step; not stored by design: extra1 "
                 "extra2 "
                 "extra3\n",
                 "[ok]     FMEA record, 41 bytes, 5 members stored: in step\n",
                 "[ok]     power supply record, 26 bytes, 2 members stored: in step\n",
                 "[ok]     board record, 59 bytes, 4 members stored: in step\n",
                 "[ok]     power record, 31 bytes, 3 members stored: in step\n",
                 "[ok]     model control record, 182 bytes, 17 members stored: in step; not stored by design: "
                 "ctlByte14\n",
                 "[ok]     a block without its last byte is refused with 0xC0000005\n",
                 "[ok]     every process and every queue of the chassis is gone\n",
             }) {
            EXPECT_EQ(count_of(output, line), 1U) << line;
        }
        EXPECT_EQ(output.find("FAILED"), std::string::npos);
    }

    void expect_table() const {
        EXPECT_EQ(count_of(output, "slot  board type"), 1U);
        for (const char *row : {"1  0x18001     ", "2  0x18004     "}) {
            for (const char *sensor : {"inlet", "outlet", "processor", "12V", "3V3", "1V0", "heartbeat"}) {
                EXPECT_EQ(lines_that_begin(output, std::string("      ") + row + sensor + " "), 1U) << row << sensor;
            }
        }
    }

    void expect_diagnostic_records() const {
        const std::string log = read_file(folder + "/slot01/log/diagnostic.log");
        EXPECT_EQ(count_of(log, ": [Position: 1/1]Invalid packet length, module: AGENT, realLen: 64, pktLen: 24, "
                                "netFn: 48, cmd: 2\n"),
                  48U)
            << log;
        EXPECT_EQ(
            count_of(log, "word3=1 a4=0 a5=0: [Position: 1/1][OrvaDiagMgr] DiagID:371 drop: 152 logs in a hour. "),
            1U)
            << log;
        for (const char *chunk : {"log[0/300] = 00 01 ", "log[128/300] = 80 81 ", "log[256/300] = 00 01 "}) {
            EXPECT_EQ(count_of(log, std::string("]PMBUS-BLACK-BOX[slot=1 fru=1]: ") + chunk), 1U) << chunk << log;
        }
        EXPECT_GE(
            count_of(read_file(folder + "/slot01/log/dead_loop.log"), "zebbase hook registration: kind=1 result=0\n"),
            1U);
    }

    void expect_stages() const {
        for (const char *stage : {"queue read", "length check", "to host order", "header check", "making the answer",
                                  "to network order, send"}) {
            const std::size_t at = output.find(std::string("\n   ") + stage + " ");
            ASSERT_NE(at, std::string::npos) << stage;
            std::istringstream numbers(output.substr(at + 4 + std::string(stage).size()));
            unsigned long count = 0;
            unsigned long least = 0;
            unsigned long average = 0;
            unsigned long most = 0;
            numbers >> count >> least >> average >> most;
            EXPECT_GT(count, 0U) << stage;
            EXPECT_LE(least, average) << stage;
            EXPECT_LE(average, most) << stage;
        }
    }

    void expect_fixed_paths_of_the_boards() const {
        for (const char *slot : {"slot01", "slot02"}) {
            const std::size_t starts = slot == std::string("slot02") ? 2 : 1; // the last board was restarted
            EXPECT_EQ(read_file(folder + "/" + slot + "/private/opt/keldv8/tmp/mmb_ip"), "172.16.0.251\n");
            const std::string log = read_file(folder + "/" + slot + "/log/interface_manager.log");
            EXPECT_EQ(count_of(log, " old=0.0.0.0 new=172.16.0.250\n"), starts) << log;
            EXPECT_EQ(count_of(log, " old=172.16.0.250 new=172.16.0.251\n"), 1U) << log;
        }
        EXPECT_EQ(read_file(folder + "/slot01/private/opt/keldv8/tmp/CmuLogzip/fan.log"),
                  "fan 1 of slot 1: 4200 rpm\r\n 10 68 02 07 00 00 00 00 00 00 00 00 00 00 00 00\r\n 00\r\n ");
    }

    void expect_warm_start() const {
        EXPECT_EQ(count_of(output, "normal, warm start\n"), 1U);
        EXPECT_EQ(read_file(folder + "/slot02/private/tmp/orva_agent_init_ok"), "5\n");
        const std::string log = read_file(folder + "/slot02/log/process.log");
        EXPECT_EQ(count_of(log, "Get reboot flag file fopen null\n"), 1U) << log;
        EXPECT_EQ(count_of(log, "Reboot flag file is created\n"), 1U) << log;
        EXPECT_EQ(count_of(log, "Reboot flag file already exists and orva start mode warm\n"), 1U) << log;
    }
};

TEST_F(Chassis, Demo_ShowsEverythingAndLeavesItsRecords) {
    const bool had_folder = std::filesystem::exists("/opt/keldv8");
    const bool had_marker = std::filesystem::exists("/tmp/orva_agent_init_ok");
    const auto result = run({"--boards", "2", "--seconds", "0"});
    SCOPED_TRACE(result.output);
    ASSERT_EQ(result.status, 0);
    const Demo demo{result.output, run_dir()};
    demo.expect_lines();
    demo.expect_table();
    demo.expect_diagnostic_records();
    demo.expect_stages();
    expect_nothing_left(2);
    EXPECT_EQ(std::filesystem::exists("/opt/keldv8"), had_folder);
    EXPECT_EQ(std::filesystem::exists("/tmp/orva_agent_init_ok"), had_marker);
    if (std::filesystem::exists(run_dir() + "/slot01/private_mount_refused")) {
        GTEST_SKIP() << "no private mounts: " << read_file(run_dir() + "/slot01/private_mount_refused");
    }
    EXPECT_NE(result.output.find(" s, nothing skipped\n"), std::string::npos);
    demo.expect_fixed_paths_of_the_boards();
    demo.expect_warm_start();
}

TEST_F(Chassis, Run_WorksWithOneBoardAndWithThirty) {
    for (const unsigned boards : {1U, 30U}) {
        std::filesystem::remove_all(run_dir());
        const auto result = run({"--seconds", "0", "--boards", std::to_string(boards)});
        EXPECT_EQ(result.status, 0) << result.output;
        EXPECT_NE(result.output.find("boards online after the last rounds: " + std::to_string(boards) + "\n"),
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
    const auto result = orva_test::run_program({kProgram, "run", "--seconds", "0", "--boards", "2"},
                                               {"TMPDIR=" + temporary}, working);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_TRUE(std::filesystem::is_empty(working));
}

TEST_F(Chassis, Run_KeepsItsFolderWhenAskedOrWhenItFailed) {
    const std::string temporary = scratch_.file("tmp");
    std::filesystem::create_directories(temporary);
    orva_test::write_file(scratch_.file("failing.toml"),
                          "name = \"failing\"\ntext = \"fails\"\nboards = 1\n\n[[step]]\n"
                          "title = \"one\"\n[[step.expect]]\nevent = \"sync\"\nby = 1\n");
    for (const std::vector<std::string> &more :
         {std::vector<std::string>{"demo", "--seconds", "0", "--boards", "1", "--keep"},
          std::vector<std::string>{scratch_.file("failing.toml")}}) {
        std::vector<std::string> line = {kProgram, "run"};
        line.insert(line.end(), more.begin(), more.end());
        const auto result = orva_test::run_program(line, {"TMPDIR=" + temporary});
        EXPECT_FALSE(std::filesystem::is_empty(temporary)) << result.output;
        EXPECT_NE(result.output.find("descriptions and logs are in " + temporary), std::string::npos);
        std::filesystem::remove_all(temporary);
        std::filesystem::create_directories(temporary);
    }
}

// Short, for what is about the run and not about its steps.
const std::string kShortScenario = "name = \"short\"\ntext = \"one board registers\"\nboards = 1\n[[step]]\n"
                                   "title = \"one\"\n[[step.expect]]\nevent = \"board\"\nslot = 1\n"
                                   "where = { state = \"online\" }\nby = 20\n";

class ShortRun : public Chassis {
protected:
    ShortRun() : scenario_(scratch_.file("short.toml")), working_(scratch_.file("cwd")) {
        orva_test::write_file(scenario_, kShortScenario);
        std::filesystem::create_directories(working_ + "/tmp");
    }

    orva_test::ProgramResult run_with(const std::string &temporary) const {
        return orva_test::run_program({kProgram, "run", scenario_}, {"TMPDIR=" + temporary}, working_);
    }

    // Runs a shell line in which `run` is the run, and gives the run's own status.
    int status_in(const std::string &line) const {
        const std::string command = "run() { '" + kProgram + "' run " + scenario_ + "; }; " + line;
        orva_test::run_program({"sh", "-c", command}, {"TMPDIR=" + working_ + "/tmp"}, working_);
        return std::stoi(read_file(working_ + "/status"));
    }

    bool temporary_is_empty() const {
        return std::filesystem::is_empty(working_ + "/tmp");
    }

    std::string scenario_;
    std::string working_;
};

TEST_F(ShortRun, Tmpdir_EmptyMeansTheSystemsFolder) {
    const auto result = run_with("");
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(ShortRun, Tmpdir_MayBeRelative) {
    const auto result = run_with("tmp");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_TRUE(temporary_is_empty());
}

TEST_F(ShortRun, Tmpdir_ThatCannotBeUsedIsNamed) {
    const std::string file = scratch_.file("file");
    orva_test::write_file(file, "");
    for (const auto &[given, named] : {std::pair{scratch_.file("none"), scratch_.file("none")},
                                       std::pair{std::string("none"), working_ + "/none"}, std::pair{file, file}}) {
        const auto result = run_with(given);
        EXPECT_EQ(result.status, 2) << result.output;
        EXPECT_EQ(result.output, "orva-chassis: TMPDIR: " + named + " is not a folder that can be written\n");
    }
}

TEST_F(ShortRun, FullOutput_IsAnErrorAndLeavesNoFolder) {
    EXPECT_EQ(status_in("run > /dev/full 2> errors; echo $? > status"), 1);
    EXPECT_NE(read_file(working_ + "/errors").find("orva-chassis: standard output cannot be written\n"),
              std::string::npos);
    EXPECT_TRUE(temporary_is_empty());
}

TEST_F(ShortRun, ClosedPipe_EndsTheRunAndLeavesNoFolder) {
    EXPECT_EQ(status_in("{ run 2> errors; echo $? > status; } | true"), 1);
    EXPECT_NE(read_file(working_ + "/errors").find("orva-chassis: standard output cannot be written\n"),
              std::string::npos);
    EXPECT_TRUE(temporary_is_empty());
}

// Faults on the links and all that the demonstration does, of several boards at each instant.
TEST_F(Chassis, VirtualTime_TwoRunsOfOneSeedWriteTheSameBytes) {
    for (const char *scenario : {"demo", "links"}) {
        std::vector<std::string> events;
        for (const char *name : {"one", "two"}) {
            const std::string file = scratch_.file(name);
            const auto result = orva_test::run_program(
                {kProgram, "run", scenario, "--time", "virtual", "--seed", "7", "--events", file});
            if (result.output.find(orva_test::kLacksVirtualTime) != std::string::npos) {
                GTEST_SKIP() << result.output;
            }
            EXPECT_EQ(result.status, 0) << result.output;
            events.push_back(read_file(file));
        }
        EXPECT_GT(count_of(events[0], "\n"), 100U) << scenario;
        EXPECT_TRUE(events[0] == events[1]) << scenario << ": " << first_difference(events[0], events[1]);
    }
}

// Two steps of the demonstration, with expectations that a missing board fails soon.
constexpr char kTwoSteps[] = R"(name = "two-steps"
text = "packets, then records"
boards = 2

[[step]]
title = "power-on"

[[step]]
title = "200 packets"
do = ["round", "send first long 200"]
[[step.expect]]
event = "heartbeat"
count = 4
by = 1

[[step]]
title = "configuration records"
do = ["sync"]
[[step.expect]]
event = "heartbeat"
count = 4
by = 1

[[step]]
title = "a round"
do = ["round"]
[[step.expect]]
event = "heartbeat"
every_board = true
by = 1
)";

TEST_F(Chassis, KilledAgent_WhenSomeoneElseKillsItInTheMiddle) {
    orva_test::write_file(scratch_.file("two-steps.toml"), kTwoSteps);
    struct Moment {
        const char *step;
        const char *slot;
        const char *row;
    };
    for (const Moment &moment : {
             Moment{"== 200 packets", "1", "      1  0x18001     -                          -  lost\n"},
             Moment{"== configuration records", "2", "      2  0x18004     -                          -  lost\n"},
         }) {
        SCOPED_TRACE(moment.step);
        std::filesystem::remove_all(run_dir());
        BackgroundRun chassis(scratch_.file("output"),
                              {"run", scratch_.file("two-steps.toml"), "--run-dir", run_dir(), "--no-restart"});
        ASSERT_TRUE(chassis.shows(moment.step)) << chassis.output();
        const auto agents =
            processes_with(std::string("agent --slot ") + moment.slot + " --folder " + run_dir() + "/slot");
        ASSERT_EQ(agents.size(), 1U);
        kill(agents.front(), SIGKILL);
        EXPECT_EQ(chassis.wait(), 1);
        EXPECT_EQ(count_of(chassis.output(), moment.row), 1U) << chassis.output();
        EXPECT_NE(chassis.output().find("2 boards, 1 lost"), std::string::npos) << chassis.output();
        expect_nothing_left(2);
    }
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

// In a user namespace that allows no further one, the kernel refuses the boards their mounts.
TEST_F(Chassis, SwitchOver_IsSkippedWithTheReasonWhereTheKernelRefusesTheMounts) {
    const std::string command = "echo 0 > /proc/sys/user/max_mnt_namespaces && echo 0 > "
                                "/proc/sys/user/max_user_namespaces && exec '" +
                                kProgram + "' run demo --boards 1 --seconds 0 --run-dir " + run_dir();
    const auto result = orva_test::run_program({"unshare", "--user", "--map-root-user", "sh", "-c", command});
    if (result.output.find("== power-on") == std::string::npos) {
        GTEST_SKIP() << "no user namespace with limits here: " << result.output;
    }
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(
        result.output.find("[SKIPPED] the boards have no private mount of the fixed paths, and the machine's are "
                           "not touched: a mount namespace is refused: "),
        std::string::npos)
        << result.output;
}

// Each built-in scenario, run as a user runs it.
class BuiltinScenario : public Chassis, public ::testing::WithParamInterface<const char *> {};

TEST_P(BuiltinScenario, Run_MeetsItsExpectations) {
    const auto result = orva_test::run_program({kProgram, "run", GetParam(), "--run-dir", run_dir()});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(result.output.find("[FAILED]"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("[ok]     boards that have registered: "), std::string::npos) << result.output;
    expect_nothing_left(4);
}

INSTANTIATE_TEST_SUITE_P(Chassis, BuiltinScenario, ::testing::ValuesIn(orva_test::kBuiltinScenarios),
                         orva_test::scenario_case);

std::uint16_t free_udp_port() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), size), 0);
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    close(fd);
    return ntohs(address.sin_port);
}

TEST_F(Chassis, Boards_AnswerTheManagementProcessOfTheExample) {
    const std::string port = std::to_string(free_udp_port());
    BackgroundRun boards(scratch_.file("output"),
                         {"boards", "--port", port, "--boards", "3", "--run-dir", run_dir()});
    const auto manager =
        orva_test::run_program({std::string(ORVA_TEST_BINARY_DIR) + "/tests/system/example_manager", port, "3"});
    EXPECT_EQ(manager.status, 0) << manager.output << boards.output();
    for (const char *slot : {"1", "2", "3"}) {
        const std::string start = std::string("slot ") + slot + ": ";
        EXPECT_GE(lines_that_begin(manager.output, start), 1U) << manager.output;
        EXPECT_GE(count_of(manager.output, " C"), 9U) << manager.output;
    }
    boards.signal(SIGTERM);
    EXPECT_EQ(boards.wait(), 128 + SIGTERM) << boards.output();
    expect_nothing_left(3);
}

// The boards' program is named from where the user is, and so is the file.
TEST_F(Chassis, Agent_OfTheExampleIsTestedInBothKindsOfTime) {
    orva_test::write_file(
        scratch_.file("own.toml"),
        "name = \"own\"\ntext = \"t\"\nboards = 3\nseconds = 30\n[[step]]\ntitle = \"one\"\n"
        "[[step.fault]]\nkind = \"killed\"\nslot = 2\nat = 1\nfor = 0.1\n"
        "[[step.expect]]\nevent = \"process\"\nslot = 2\nwhere = { state = \"started\", starts = 2 }\n"
        "[[step.expect]]\nevent = \"reading\"\nwhere = { sensor = \"outlet\", value = 384 }\n"
        "every_board = true\n[[step.expect]]\nevent = \"request\"\nslot = 2\n"
        "where = { result = \"answered\" }\nat_least = 6\n");
    const std::string folder = std::string(ORVA_TEST_BINARY_DIR) + "/tests/system";
    const std::string events = scratch_.file("events");
    for (const char *time : {"real", "virtual"}) {
        std::filesystem::remove(events);
        const auto result = orva_test::run_program({kProgram, "run", scratch_.file("own.toml"), "--time", time,
                                                    "--agent", "./example_agent", "--events",
                                                    std::filesystem::relative(events, folder).string()},
                                                   {}, folder);
        if (result.output.find(orva_test::kLacksVirtualTime) != std::string::npos) {
            GTEST_SKIP() << result.output;
        }
        EXPECT_EQ(result.status, 0) << result.output;
        EXPECT_GT(count_of(read_file(events), "\n"), 30U) << result.output;
    }
}

TEST_F(Chassis, Scenarios_ListsEachWithItsNameFirst) {
    const auto result = orva_test::run_program({kProgram, "scenarios"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(lines_that_begin(result.output, "demo "), 1U) << result.output;
    EXPECT_EQ(result.output.rfind("demo ", 0), 0U) << result.output;
    for (const std::string name : orva_test::kBuiltinScenarios) {
        EXPECT_EQ(lines_that_begin(result.output, name + " "), 1U) << result.output;
    }
    EXPECT_EQ(count_of(result.output, "\n"), 1 + std::size(orva_test::kBuiltinScenarios)) << result.output;
}

TEST_F(Chassis, Example_IsAScenarioThatCheckTakes) {
    const auto example = orva_test::run_program({kProgram, "example"});
    EXPECT_EQ(example.status, 0);
    orva_test::write_file(scratch_.file("mine.toml"), example.output);
    const auto check = orva_test::run_program({kProgram, "check", scratch_.file("mine.toml")});
    EXPECT_EQ(check.status, 0) << check.output;
    EXPECT_EQ(check.output, scratch_.file("mine.toml") + ": 3 steps, 3 boards\n");
}

TEST_F(Chassis, Check_NamesTheMistakeAndExitsWithOne) {
    orva_test::write_file(scratch_.file("mine.toml"), "name = \"n\"\ntext = \"t\"\nbords = 3\n");
    const auto check = orva_test::run_program({kProgram, "check", scratch_.file("mine.toml")});
    EXPECT_EQ(check.status, 1);
    EXPECT_EQ(check.output,
              scratch_.file("mine.toml") + ":3:1: bords: there is no such key; did you mean \"boards\"?\n");
    EXPECT_EQ(orva_test::run_program({kProgram, "run", scratch_.file("mine.toml")}).status, 2);
}

TEST_F(Chassis, FailedExpectation_TellsWhatCameNearest) {
    orva_test::write_file(
        scratch_.file("failing.toml"),
        "name = \"failing\"\ntext = \"fails\"\nboards = 1\n[[step]]\ntitle = \"one\"\n[[step.expect]]\n"
        "event = \"board\"\nslot = 1\nwhere = { state = \"lost\" }\nby = 2\n");
    const auto result =
        orva_test::run_program({kProgram, "run", scratch_.file("failing.toml"), "--run-dir", run_dir()});
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_NE(result.output.find("[FAILED] board slot=1, state = lost, at least 1 times within 2 s\n"),
              std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find(" board slot=1 state=online reason=it has registered "), std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find("(not state = lost)"), std::string::npos) << result.output;
    expect_nothing_left(1);
}

class RunningChassis : public Chassis {
protected:
    RunningChassis() : chassis_(scratch_.file("output"), arguments({"--boards", "2", "--seconds", "60"})) {}

    void SetUp() override {
        ASSERT_TRUE(chassis_.shows("== rounds of requests")) << chassis_.output();
    }

    void TearDown() override {
        chassis_.signal(SIGTERM);
        EXPECT_EQ(chassis_.wait(), 128 + SIGTERM) << chassis_.output();
        expect_nothing_left(2);
    }

    orva_test::ProgramResult command(const std::vector<std::string> &words) const {
        std::vector<std::string> line = {kProgram};
        line.insert(line.end(), words.begin(), words.end());
        line.insert(line.end(), {"--run-dir", run_dir()});
        return orva_test::run_program(line);
    }

    void expect(const std::vector<std::string> &words, const std::string &output) const {
        const auto result = command(words);
        EXPECT_EQ(result.status, 0) << result.output;
        EXPECT_EQ(result.output, output);
    }

    std::string interface_manager_log(const std::string &folder) const {
        return read_file(run_dir() + "/" + folder + "/log/interface_manager.log");
    }

    BackgroundRun chassis_;
};

TEST_F(RunningChassis, Stub_OverridesAReadingUntilItIsCleared) {
    expect({"stub", "set", "2", "voltValue", "-5"}, "slot 2: stubs set: 1\n");
    expect({"stub", "set", "2", "2_3_pwrOutVolt", "3FF"}, "slot 2: stubs set: 2\n");
    expect({"stub", "set", "2", "voltValue", "3000"}, "slot 2: stubs set: 2\n");
    expect({"stub", "list", "2"}, "stub voltValue (type 78) = 3000\nstub 2_3_pwrOutVolt (type 155) = 1023\n");
    const std::string table = command({"table"}).output;
    EXPECT_NE(table.find("      2  0x18004     3V3                  3.000 V  low  * stub, hardware says 3."),
              std::string::npos)
        << table;
    EXPECT_NE(table.find("      2  0x18004     1V0                  1.023 V  normal  * stub, hardware says "),
              std::string::npos)
        << table;
    expect({"stub", "clear", "2", "voltValue"}, "slot 2: stubs set: 1\n");
    expect({"stub", "clear", "2"}, "slot 2: stubs set: 0\n");
    expect({"stub", "list", "2"}, "none\n");
    EXPECT_EQ(count_of(command({"table"}).output, "* stub"), 1U) << "the run's own, in slot 1";
}

TEST_F(RunningChassis, Stub_TakesThirtyTwoAndNoMore) {
    for (int i = 0; i < 32; ++i) {
        expect({"stub", "set", "2", "2_" + std::to_string(i) + "_pmSwitch", "1"},
               "slot 2: stubs set: " + std::to_string(i + 1) + "\n");
    }
    const auto result = command({"stub", "set", "2", "pmSwitch", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "orva-chassis: the board has 32 stubs already\n");
}

TEST_F(RunningChassis, Sensor_IsSimulatedUntilItIsCleared) {
    expect({"sensor", "set", "2", "inlet", "100"}, "slot 2: sensor inlet reads 10.0 C\n");
    expect({"sensor", "set", "2", "inlet", "500"}, "slot 2: sensor inlet reads 50.0 C\n");
    expect({"sensor", "set", "2", "12V", "11000"}, "slot 2: sensor 12V reads 11.000 V\n");
    expect({"sensor", "list", "2"}, "sensor inlet = 500\nsensor 12V = 11000\n");
    const std::string table = command({"table"}).output;
    EXPECT_NE(table.find("      2  0x18004     inlet                 50.0 C  high  * simulated, hardware says 2"),
              std::string::npos)
        << table;
    expect({"sensor", "clear", "2", "12V"}, "slot 2: sensor 12V reads the hardware\n");
    expect({"sensor", "clear", "2"}, "slot 2: sensor inlet reads the hardware\n");
    expect({"sensor", "list", "2"}, "none\n");
    EXPECT_EQ(command({"sensor", "clear", "2", "12V"}).output, "orva-chassis: slot 2 refuses with 0x00890008\n");
}

TEST_F(RunningChassis, Online_PairsDecideWhatTheBoardSaysOfItself) {
    expect({"online", "set", "2", "7", "1"}, "slot 2: online pairs set: 1\n");
    expect({"online", "set", "2", "2", "0"}, "slot 2: online pairs set: 2\n");
    expect({"online", "list", "2"}, "board 7 online\nboard 2 offline\n");
    EXPECT_NE(command({"table"}).output.find("  * online pair, hardware says online\n"), std::string::npos);
    EXPECT_EQ(count_of(command({"table"}).output, "offline"), 1U);
    expect({"online", "clear", "2", "2"}, "slot 2: online pairs set: 1\n");
    expect({"online", "clear", "2"}, "slot 2: online pairs set: 0\n");
    EXPECT_EQ(count_of(command({"table"}).output, "offline"), 0U);
}

TEST_F(RunningChassis, Debug_SwitchesReachTheProcessThatIsNamed) {
    expect({"debug", "packet", "on", "2", "udp", "0x30", "3"}, "slot 2: packet switch on for udp\n");
    expect({"debug", "packet", "on", "0", "udp"}, "slot 0: packet switch on for udp\n");
    EXPECT_EQ(command({"table"}).status, 0);
    expect({"debug", "packet", "off", "2", "udp"}, "slot 2: packet switch off for udp\n");
    expect({"debug", "packet", "off", "0", "udp"}, "slot 0: packet switch off for udp\n");
    const std::string board = interface_manager_log("slot02");
    EXPECT_GT(count_of(board, ":1] from the main board: "), 0U);
    EXPECT_EQ(count_of(board, ":1] to the main board: "), 0U) << "only voltage requests were asked for";
    const std::string main = interface_manager_log("slot00");
    EXPECT_GT(count_of(main, ":1] to slot 1: "), 0U);
    EXPECT_GT(count_of(main, ":1] from a board: "), 0U);
    expect({"debug", "log", "on", "2", "0x3", "4"}, "slot 2: log switch on for modules 0x00000003\n");
    expect({"debug", "log", "off", "2", "0"}, "slot 2: log switch off for modules 0x00000000\n");
}

TEST_F(RunningChassis, Command_ForABoardThatIsNotThereFails) {
    const auto result = command({"stub", "list", "3"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "orva-chassis: no board is online in slot 3\n");
}

TEST_F(Chassis, Command_WithoutAChassisFails) {
    const auto named = orva_test::run_program({kProgram, "stub", "list", "1", "--run-dir", scratch_.path()});
    EXPECT_EQ(named.status, 1);
    EXPECT_EQ(named.output, "orva-chassis: no chassis runs in " + scratch_.path() + "\n");
    const auto found = orva_test::run_program({kProgram, "stub", "list", "1"}, {"TMPDIR=" + scratch_.path()});
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.output, "orva-chassis: no chassis runs; start one, or name its folder with --run-dir\n");
}

TEST_F(Chassis, Command_FindsTheOneChassisThatRuns) {
    const std::string temporary = scratch_.file("tmp");
    std::filesystem::create_directories(temporary);
    const auto list = [&] {
        return orva_test::run_program({kProgram, "online", "list", "1"}, {"TMPDIR=" + temporary});
    };
    BackgroundRun chassis(scratch_.file("output"), {"run", "--boards", "1", "--seconds", "60"}, temporary);
    ASSERT_TRUE(chassis.shows("== rounds of requests")) << chassis.output();
    const auto one = list();
    EXPECT_EQ(one.status, 0) << one.output;
    EXPECT_EQ(one.output, "none\n");
    BackgroundRun second(scratch_.file("output2"), {"run", "--boards", "1", "--seconds", "60"}, temporary);
    ASSERT_TRUE(second.shows("== rounds of requests")) << second.output();
    const auto two = list();
    EXPECT_EQ(two.status, 1);
    EXPECT_EQ(two.output, "orva-chassis: several chassis run; name the folder of one with --run-dir\n");
    for (BackgroundRun *run : {&chassis, &second}) {
        run->signal(SIGTERM);
        EXPECT_EQ(run->wait(), 128 + SIGTERM);
    }
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

TEST_F(RunningChassis, Agent_OfTheExampleJoinsAndAnswers) {
    const auto address = command({"address"});
    ASSERT_EQ(address.status, 0) << address.output;
    const std::string line = "exec '" + std::string(ORVA_TEST_BINARY_DIR) + "/tests/system/example_agent' " +
                             address.output.substr(0, address.output.find('\n')) + " 7";
    const pid_t agent = fork();
    if (agent == 0) {
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    std::string table;
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (table.find(" 38.4 C ") == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        table = command({"table"}).output;
    }
    EXPECT_NE(table.find("      7  0x18001     inlet                 21.5 C"), std::string::npos) << table;
    EXPECT_NE(table.find("      7  0x18001     heartbeat "), std::string::npos) << table;
    kill(agent, SIGKILL);
    waitpid(agent, nullptr, 0);
}

struct BadLine {
    const char *name;
    std::vector<std::string> arguments;
    std::string message;
};

TEST_F(Chassis, CommandLine_IsRefusedWithAMessageAndTwo) {
    orva_test::write_file(scratch_.file("file"), "");
    const std::vector<BadLine> lines = {
        {"no boards", {"run", "--boards", "0"}, "--boards"},
        {"too many boards", {"run", "--boards", "31"}, "--boards"},
        {"a word for a number", {"run", "--boards", "four"}, "--boards"},
        {"a number missing", {"run", "--boards"}, "--boards"},
        {"a negative time", {"run", "--seconds", "-1"}, "--seconds"},
        {"an unknown option", {"run", "--frobnicate"}, "--frobnicate"},
        {"an unknown command", {"frobnicate"}, "frobnicate"},
        {"no command", {}, "subcommand"},
        {"a scenario that does not exist", {"run", "dmeo"}, "did you mean demo?"},
        {"a family without a command", {"stub"}, "subcommand"},
        {"a stub that does not exist", {"stub", "set", "1", "noSuchStub", "1"}, "there is no stub named noSuchStub"},
        {"a stub value that is none", {"stub", "set", "1", "caseTemp", "1x"}, "1x is not a number"},
        {"a stub without a value", {"stub", "set", "1", "caseTemp"}, "value"},
        {"a stub of no board", {"stub", "list", "31"}, "slot"},
        {"a fault that does not exist", {"fault", "start", "1", "stcuk"}, "did you mean stuck?"},
        {"a state that does not exist", {"online", "set", "1", "1", "2"}, "state"},
        {"a bus that does not exist", {"debug", "packet", "on", "1", "usb"}, "usb"},
        {"a mask that is not a number", {"debug", "log", "on", "1", "all"}, "all is not a number"},
        {"boards of nobody", {"boards"}, "--port"},
        {"an option of a run", {"table", "--boards", "3"}, "--boards"},
        {"an agent that does not exist", {"run", "--agent", "/no/such"}, "--agent"},
        {"a folder that is a file", {"run", "--run-dir", scratch_.file("file")}, scratch_.file("file")},
        {"a folder that is not empty", {"run", "--run-dir", scratch_.path()}, "is not empty"},
        {"a folder that cannot be made", {"run", "--run-dir", "/proc/no/such"}, "/proc/no/such"},
    };
    for (const BadLine &line : lines) {
        SCOPED_TRACE(line.name);
        std::vector<std::string> arguments = {kProgram};
        arguments.insert(arguments.end(), line.arguments.begin(), line.arguments.end());
        const auto result = orva_test::run_program(arguments);
        EXPECT_EQ(result.status, 2) << result.output;
        EXPECT_NE(result.output.find(line.message), std::string::npos) << result.output;
    }
}

TEST_F(Chassis, CommandLine_HelpSucceeds) {
    const auto result = orva_test::run_program({kProgram, "run", "--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("--boards"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("agent --slot"), std::string::npos) << result.output;
}

} // namespace
