// The interface-manager binding with the sample agent library, the real timer and the fixed address file, which lives
// in a private mount namespace here.
#include "drv_basic_host.h"
#include "orva_imlib.h"
#include "system_support.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace orva_test;

namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;
constexpr char kAgent[] = ORVA_TEST_LIBRARY_DIR "/libim_agent.so";

void load_board(const std::string &environment) {
    const std::string text =
        "[board]\nslot = 4\ntype = 0x18010\n[chassis]\ntype = 0x10042\n[environment]\n" + environment;
    ASSERT_EQ(DRV_HostLoadBoardText("test", text.data(), text.size()), 0u);
}

// Waits up to half a minute for something that the timer's thread does.
bool comes_true(const std::function<bool()> &condition) {
    for (int i = 0; i < 600; ++i) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return condition();
}

// Fresh, empty /opt; short names for the agent library below it.
class PrivateFiles : public ::testing::Test {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWNS | CLONE_NEWNET);
        if (!mount_tmpfs("/opt")) {
            GTEST_SKIP() << "the kernel refuses a tmpfs on /opt, errno " << errno;
        }
        std::filesystem::create_directories("/opt/keldv8/tmp");
        // The build folder may itself be below /opt; the copy was made before it was hidden.
        write_file("/opt/agent.so", agent_);
        load_board("ACT_MPU = \"10.0.0.6\"\n");
        setenv("ORVA_HOST_IM_LOG", log_.c_str(), 1);
    }
    static void write_address(const std::string &line) {
        write_file("/opt/keldv8/tmp/mmb_ip.new", line);
        std::filesystem::rename("/opt/keldv8/tmp/mmb_ip.new", ORVA_ACT_MPU_FILE);
    }
    // How many lines of the agent's log hold a text.
    std::size_t lines_with(const std::string &text) const {
        std::ifstream stream(log_);
        std::size_t count = 0;
        for (std::string line; std::getline(stream, line);) {
            count += line.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

private:
    std::string agent_ = read_file(kAgent);
    const std::string log_ = "/opt/im.log";
};

// ---- The address file

TEST_F(PrivateFiles, AddressFile_PresentEmptyInvalidMissing) {
    const struct {
        const char *what, *content;
        std::uint32_t fileResult;
        const char *chosen;
    } cases[] = {
        {"present", "10.0.0.5\n", 0, "10.0.0.5"},
        {"without a line end", "10.0.0.7", 0, "10.0.0.7"},
        {"more lines", "10.0.0.8\n10.0.0.9\n", 0, "10.0.0.8"},
        {"empty", "", 1, "10.0.0.6"},
        {"invalid", "no address\n", 1, "10.0.0.6"},
        {"an empty first line", "\n10.0.0.5\n", 1, "10.0.0.6"},
    };
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetActMpuIpAddrFromFile(&ip), 1u); // missing
    EXPECT_EQ(ip, kUntouched);
    EXPECT_EQ(ORVA_ChoseActMpuIp(&ip), 0u);
    EXPECT_EQ(ip, inet_addr("10.0.0.6"));
    for (const auto &c : cases) {
        write_address(c.content);
        EXPECT_EQ(ORVA_GetActMpuIpAddrFromFile(&ip), c.fileResult) << c.what;
        EXPECT_EQ(ORVA_GetActMpuIpAddr(&ip), 0u) << c.what;
        EXPECT_EQ(ip, inet_addr(c.chosen)) << c.what;
    }
}

TEST_F(PrivateFiles, AddressFile_AFolderInItsPlaceIsNotAnAddress) {
    std::filesystem::create_directory(ORVA_ACT_MPU_FILE);
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetActMpuIpAddrFromFile(&ip), 1u);
    EXPECT_EQ(ORVA_ChoseActMpuIp(&ip), 0u);
    EXPECT_EQ(ip, inet_addr("10.0.0.6"));
}

TEST_F(PrivateFiles, AddressFromEnvironment_ATextThatIsNotAnAddressIsTaken) {
    load_board("ACT_MPU = \"no address\"\n");
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_ChoseActMpuIp(&ip), 0u);
    EXPECT_EQ(ip, 0xFFFFFFFFu);
    load_board("");
    EXPECT_EQ(ORVA_ChoseActMpuIp(&ip), 1u);
    EXPECT_EQ(ip, 0u);
}

// ---- The agent library and the timer

TEST_F(PrivateFiles, Binding_PassesASwitchOverToTheAgentWithinTheTimersPeriod) {
    write_address("10.0.0.5\n");
    ORVA_SetImlibIpConfigInPnf("/opt/agent.so", 7, "orva_test", 2);
    ASSERT_NE(ORVA_GetImHandle(), 0u);
    EXPECT_EQ(lines_with("init process=orva_test parameter=7"), 1u);
    EXPECT_EQ(lines_with("new=10.0.0.5"), 1u);
    EXPECT_EQ(ORVA_GetDebugSwitchId(1), 0x0CE42001u);

    // The debug entry is the agent's own.
    const OrvaImDebugFunc debug = ORVA_GetDebugFunc();
    ASSERT_NE(debug, nullptr);
    EXPECT_EQ(debug(OrvaDebugRecord{0, ORVA_GetDebugSwitchId(1)}, "NULL", 1, "%s", "a debug line"), 0u);
    EXPECT_EQ(lines_with("a debug line"), 1u);

    write_address("10.0.0.9\n");
    EXPECT_TRUE(comes_true([&] { return lines_with("old=10.0.0.5 new=10.0.0.9") == 1; }));

    // Unchanged addresses are passed once only.
    std::this_thread::sleep_for(std::chrono::milliseconds(ORVA_IMLIB_TIMER_MS + 500));
    EXPECT_EQ(lines_with("new=10.0.0.9"), 1u);
}

TEST_F(PrivateFiles, Binding_PassesTheOwnAddressWhenItComes) {
    const ProgramResult made = run_program({"ip", "link", "add", "veth0", "type", "veth", "peer", "name", "bond0"});
    if (made.status != 0) {
        GTEST_SKIP() << "no veth pair: " << made.output;
    }
    ORVA_SetImlibIpConfigInPnf("/opt/agent.so", 7, "orva_test", 2);
    ASSERT_NE(ORVA_GetImHandle(), 0u);
    EXPECT_EQ(lines_with("new=172.16.3.7"), 0u);
    ASSERT_EQ(run_program({"ip", "address", "add", "172.16.3.7/24", "dev", "veth0"}).status, 0);
    EXPECT_TRUE(comes_true([&] { return lines_with("new=172.16.3.7") == 1; }));
}

TEST_F(PrivateFiles, Binding_AnAgentThatRefusesIsTriedAgainEveryTwoSeconds) {
    setenv("ORVA_HOST_IM_FAIL_INIT", "2", 1);
    write_address("10.0.0.5\n");
    const auto start = std::chrono::steady_clock::now();
    ORVA_SetImlibIpConfigInPnf("/opt/agent.so", 7, "orva_test", 2);
    EXPECT_EQ(ORVA_GetImHandle(), 0u);
    EXPECT_EQ(lines_with("fails as asked, call 1"), 1u);
    EXPECT_TRUE(comes_true([] { return ORVA_GetImHandle() != 0; }));
    EXPECT_TRUE(comes_true([&] { return lines_with("new=10.0.0.5") == 1; }));
    EXPECT_EQ(lines_with("fails as asked"), 2u);
    // The second and third attempts are timer ticks.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2 * ORVA_IMLIB_TIMER_MS - 100));
}

TEST_F(PrivateFiles, Binding_AMissingLibraryIsTriedAgainUntilItIsThere) {
    ORVA_SetImlibIpConfigInPnf("/opt/late.so", 7, "orva_test", 2);
    EXPECT_EQ(ORVA_GetImHandle(), 0u);
    std::filesystem::rename("/opt/agent.so", "/opt/late.so");
    EXPECT_TRUE(comes_true([] { return ORVA_GetImHandle() != 0; }));
}

TEST_F(PrivateFiles, ProcessInfo_IsTheAgentsEntry) {
    ORVA_InitSetProcessInfoFunc("/opt/none.so");
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), nullptr);
    ORVA_InitSetProcessInfoFunc("/opt/agent.so");
    EXPECT_NE(ORVA_GetSetProcessInfoFunc(), nullptr);
    EXPECT_EQ(ORVA_InitImlib("/opt/none.so", 7, "orva_test", 2), 1u);
}

// The search path counts at the start of a process only, so the case runs again as a child of itself.
TEST(SearchPath, Binding_FindsTheAgentByItsBareName) {
    if (std::getenv("ORVA_TEST_BARE_NAME") == nullptr) {
        std::string search = "LD_LIBRARY_PATH=" + std::filesystem::path(kAgent).parent_path().string();
        if (const char *inherited = std::getenv("LD_LIBRARY_PATH")) {
            search.append(":").append(inherited);
        }
        const ProgramResult child =
            run_program({"/proc/self/exe", "--gtest_filter=SearchPath.*"}, {"ORVA_TEST_BARE_NAME=1", search});
        EXPECT_EQ(child.status, 0) << child.output;
        return;
    }
    EXPECT_EQ(ORVA_InitImlib("libim_agent.so", 7, "orva_test", 2), 0u);
    EXPECT_NE(ORVA_GetImHandle(), 0u);
    EXPECT_NE(ORVA_GetDebugFunc(), nullptr);
}

} // namespace
