// Board ports against the kernel: a network namespace with a veth pair whose ends are named as the ports are.
#include "drv_basic_host.h"
#include "orva_drvadp_comm.h"
#include "system_support.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace orva_test;

namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;

// Gives an interface an address, host byte order; 0 takes it away. No program is started, so this is quick.
bool set_address(const char *interface, std::uint32_t address, unsigned long request = SIOCSIFADDR) {
    ifreq settings{};
    std::strncpy(settings.ifr_name, interface, sizeof settings.ifr_name - 1);
    sockaddr_in value{};
    value.sin_family = AF_INET;
    value.sin_addr.s_addr = htonl(address);
    std::memcpy(&settings.ifr_addr, &value, sizeof value);
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const int result = ioctl(fd, request, &settings);
    close(fd);
    return result == 0;
}

// The kernel reads the mask from where the address is.
bool set_mask(const char *interface, std::uint32_t mask) {
    return set_address(interface, mask, SIOCSIFNETMASK);
}

void load_board(const std::string &type, const std::string &environment = "") {
    const std::string text = "[board]\nslot = 4\ntype = " + type + "\n[chassis]\ntype = 0x10042\n[environment]\n" +
                             environment + "[[elabel]]\nindex = 0\nline_end = \"crlf\"\n" +
                             "lines = [\"BoardType=B\", \"Item=AB12CD34-001\"]\n";
    char reason[256] = "";
    ASSERT_EQ(DRV_HostLoadBoardText("test", text.data(), text.size()), 0u)
        << (DRV_HostDescriptionError(reason, sizeof reason), reason);
}

std::size_t open_descriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator{}));
}

class BoardPorts : public ::testing::Test {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWNET);
        const ProgramResult made =
            run_program({"ip", "link", "add", "veth0", "type", "veth", "peer", "name", "bond0"});
        if (made.status != 0) {
            GTEST_SKIP() << "no veth pair: " << made.output;
        }
    }
};

TEST_F(BoardPorts, QueryEthPortCfg_GivesWhatTheKernelHas) {
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_GetIpAddress("veth0", &value), 1u); // no address yet
    EXPECT_EQ(ORVA_GetIpAddress("eth9", &value), 1u);  // no such interface
    EXPECT_EQ(ORVA_GetIpAddress("a-name-of-twenty-ch.", &value), 1u);
    EXPECT_EQ(value, kUntouched);
    ASSERT_TRUE(set_address("veth0", 0xAC100307));
    ASSERT_TRUE(set_mask("veth0", 0xFFFFF000));
    EXPECT_EQ(ORVA_GetIpAddress("veth0", &value), 0u);
    EXPECT_EQ(value, 0xAC100307u);
    EXPECT_EQ(ORVA_QueryEthPortCfg("veth0", SIOCGIFNETMASK, &value), 0u);
    EXPECT_EQ(value, 0xFFFFF000u);
}

TEST_F(BoardPorts, QueryEthPortCfg_LeavesNoDescriptorBehind) {
    ASSERT_TRUE(set_address("veth0", 0xAC100307));
    std::uint32_t value = 0;
    ORVA_GetIpAddress("veth0", &value);
    const std::size_t before = open_descriptors();
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(ORVA_GetIpAddress("veth0", &value), 0u);
        EXPECT_EQ(ORVA_GetIpAddress("bond0", &value), 1u);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(BoardPorts, BackupPorts_Bond0GoesBeforeVeth0) {
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_GetBakEthInfoMask(&value, SIOCGIFADDR), 1u);
    EXPECT_EQ(ORVA_GetEthPortIpAddr(), 0u);
    EXPECT_EQ(value, kUntouched);
    ASSERT_TRUE(set_address("veth0", 0x0A000001));
    EXPECT_EQ(ORVA_GetEthPortIpAddr(), 0x0A000001u);
    ASSERT_TRUE(set_address("bond0", 0x0A010002));
    ASSERT_TRUE(set_mask("bond0", 0xFFFF0000));
    EXPECT_EQ(ORVA_GetEthPortIpAddr(), 0x0A010002u);
    EXPECT_EQ(ORVA_GetSubNetMask(0x99999, &value), 0u);
    EXPECT_EQ(value, 0xFFFF0000u);
}

TEST_F(BoardPorts, GetSubNetIpAddress_UsesTheOwnBoardsPort) {
    load_board("0x18010"); // veth0
    EXPECT_EQ(ORVA_GetSubNetIpAddress(0), 0u);
    EXPECT_EQ(ORVA_GetSubNetIpAddress(1), 0xAC10FFFFu);
    ASSERT_TRUE(set_address("veth0", 0x0A000001));
    ASSERT_TRUE(set_mask("veth0", 0xFFFFFC00));
    EXPECT_EQ(ORVA_GetSubNetIpAddress(0), 0xAC1003FFu);
}

TEST_F(BoardPorts, GetChassisID_TakesTheOctetOfTheBoardsPort) {
    ASSERT_TRUE(set_address("veth0", 0xAC100307));
    ASSERT_TRUE(set_address("bond0", 0xAC110509));
    const struct {
        const char *type;
        std::uint32_t number;
    } cases[] = {
        {"0x18010", 7}, // veth0, lowest octet
        {"0x12008", 3}, // veth0, second-lowest
        {"0x20716", 5}, // bond0, second-lowest
        {"0x10011", 5}, // bond0, second-lowest, may come late
        {"0x99999", 9}, // no port: the environment
    };
    for (const auto &c : cases) {
        load_board(c.type, "stackid = 9\n");
        std::uint32_t number = kUntouched;
        EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
        EXPECT_EQ(number, c.number) << c.type;
    }
}

TEST_F(BoardPorts, GetChassisID_WaitsForAnAddressThatComesLate) {
    load_board("0x10011", "chassisid = 9\n");
    std::uint32_t number = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u); // 300 tries, then the environment
    EXPECT_EQ(number, 9u);
    // The address comes within the 300 tries; on a busy machine not always at the first attempt.
    for (int attempt = 0; attempt < 10 && number != 5; ++attempt) {
        ASSERT_TRUE(set_address("bond0", 0));
        std::thread late([] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_TRUE(set_address("bond0", 0xAC110509));
        });
        EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
        late.join();
    }
    EXPECT_EQ(number, 5u);
}

TEST_F(BoardPorts, GetBoardStackID_ReadsTheInterfaceOfAnyRow) {
    ASSERT_TRUE(set_address("veth0", 0xAC100307));
    for (const BoardPortInfo &row : g_boardPort) {
        std::uint32_t number = kUntouched;
        if (std::string(row.ifName) == "veth0") {
            EXPECT_EQ(ORVA_GetBoardStackID(&row, &number), 0u);
            EXPECT_EQ(number, row.octetSelect == 1 ? 7u : 3u);
        } else if (row.waitFlag == 0) {
            EXPECT_EQ(ORVA_GetBoardStackID(&row, &number), ORVA_ERR_BOARD_STACK_NO_ADDRESS);
            EXPECT_EQ(number, kUntouched);
        }
    }
}

TEST(BoardIdentity, HostBoard_AnswersEveryQuestion) {
    load_board("0x18010", "product_family_type = 8\ncpu_id = 2\nslotid = 6\nstkenv_enable = 1\nstackid = 3\n");
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 4u);
    EXPECT_EQ(ORVA_GetDeviceRunState(), 8u);
    EXPECT_EQ(ORVA_IsPtnTypeDevice(), 1u);
    EXPECT_EQ(ORVA_IsRouterUseHardBoardRoleDevice(), 1u);
    EXPECT_EQ(ORVA_DRVADP_GetChassisType(&value), 0u);
    EXPECT_EQ(value, 0x10042u);
    EXPECT_EQ(ORVA_DRVADP_IsRzFrame(), 0u);
    EXPECT_EQ(ORVA_DRVADP_GetEnvOfCpuId(&value), 0u);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(ORVA_DRVADP_GetEnvOfSlotId(&value), 0u);
    EXPECT_EQ(value, 6u);
    EXPECT_EQ(ORVA_DRVADP_GetEnvOfStackEnable(&value), 0u);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(ORVA_DRVADP_GetChassisIdFromEnv(&value), 0u);
    EXPECT_EQ(value, 3u);
    char item[32] = "";
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 0u);
    EXPECT_STREQ(item, "AB12CD34-001");
}

TEST(BoardIdentity, HostDriver_MarksNoMatrixBoard) {
    EXPECT_EQ(ORVA_DRVADP_IsMatrixBoard(), 0u);
}

} // namespace
