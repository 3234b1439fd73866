#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "interface_double.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;

// ---- What the table must hold, class by class

struct Run {
    std::uint32_t first, last;
};

constexpr Run kLateBond[] = {
    {0x10011, 0x10011},     {0x10012, 0x10012},   {0x2071C, 0x2071C},     {0x20709, 0x20709},
    {0x2071F, 0x2071F},     {0x2070D, 0x2070D},   {0x20752, 0x20752},     {0x20720, 0x20720},
    {0x20757, 0x20757},     {0xB2077D, 0xB2077D}, {0x20784, 0x20784},     {0x20786, 0x20786},
    {0x20787, 0x20787},     {0x10801, 0x10801},   {0x10802, 0x10802},     {0x10804, 0x10804},
    {0x10805, 0x10805},     {0x10808, 0x10808},   {0x10809, 0x10809},     {0x1080A, 0x1080A},
    {0x1080B, 0x1080B},     {0x1080E, 0x1080E},   {0x10812, 0x10812},     {0x137F3, 0x137F3},
    {0x1137F3, 0x1137F3},   {0x10101, 0x10101},   {0x10102, 0x10102},     {0x10103, 0x10103},
    {0x10104, 0x10104},     {0x10105, 0x10105},   {0x20104, 0x20104},     {0x10108, 0x10108},
    {0x10119, 0x10119},     {0x10124, 0x10124},   {0x10120, 0x10120},     {0x101CA, 0x101CA},
    {0x11016, 0x11016},     {0x11014, 0x11014},   {0x1011A, 0x1011A},     {0x1016, 0x1016},
    {0x1014, 0x1014},       {0x10818, 0x10818},   {0x41081C, 0x41081C},   {0x40C, 0x40C},
    {0x40D, 0x40D},         {0x210016, 0x210016}, {0x281040E, 0x281040E}, {0x281040F, 0x281040F},
    {0x1010D, 0x1010D},     {0x1010B, 0x1010B},   {0x1137F6, 0x1137F6},   {0x1011D, 0x1011D},
    {0x1011C, 0x1011C},     {0x1011E, 0x1011E},   {0x10113, 0x10113},     {0x2810413, 0x2810413},
    {0x2810414, 0x2810414}, {0x210017, 0x210017}, {0x910018, 0x910018},   {0x1081E, 0x1081E},
    {0x1081D, 0x1081D},     {0x122027, 0x122027}, {0x15101, 0x15101},     {0x15100, 0x15100},
    {0xC15014, 0xC15014},   {0xC10418, 0xC10418}, {0x2202A, 0x2202A},     {0x22028, 0x22028},
    {0xC15017, 0xC15017},   {0x101BC, 0x101BC},
};

constexpr Run kBond[] = {
    {0x20716, 0x20716}, {0x20708, 0x20708}, {0x12018, 0x12018}, {0x1200E, 0x1200E}, {0x12011, 0x12011},
    {0x12121, 0x12121}, {0x12123, 0x12123}, {0x101BE, 0x101BE}, {0x101BF, 0x101BF}, {0x12009, 0x12009},
    {0x12012, 0x12012}, {0x12014, 0x12014}, {0x12015, 0x12015}, {0x12017, 0x12017}, {0x915018, 0x915018},
};

constexpr Run kVethLow[] = {
    {0x30700, 0x30700}, {0x30701, 0x30701}, {0x10725, 0x10725}, {0x10726, 0x10726}, {0x12F41, 0x12F41},
    {0x12F42, 0x12F42}, {0x12F43, 0x12F43}, {0x12F44, 0x12F44}, {0x18000, 0x18019}, {0x1801B, 0x1801B},
    {0x18020, 0x18020}, {0x18021, 0x18021}, {0x18022, 0x18022}, {0x12001, 0x12001}, {0x12003, 0x12003},
    {0x12004, 0x12004}, {0x1063E, 0x1063E}, {0x10643, 0x10643}, {0x10644, 0x10644},
};

constexpr Run kVeth[] = {
    {0x10293, 0x10293}, {0x12008, 0x12008}, {0x1200B, 0x1200B},
    {0x10295, 0x10295}, {0x100FC, 0x100FC}, {0x1017E, 0x1017E},
};

// The order of the table: these, then the late "bond0" rows from 0x10801 on.
constexpr Run kOrderOfTheFirst[] = {
    {0x10011, 0x10011}, {0x10012, 0x10012},   {0x2071C, 0x2071C},   {0x20709, 0x20709}, {0x2071F, 0x2071F},
    {0x20716, 0x20716}, {0x20708, 0x20708},   {0x2070D, 0x2070D},   {0x20752, 0x20752}, {0x20720, 0x20720},
    {0x20757, 0x20757}, {0xB2077D, 0xB2077D}, {0x20784, 0x20784},   {0x20786, 0x20786}, {0x20787, 0x20787},
    {0x30700, 0x30700}, {0x30701, 0x30701},   {0x10725, 0x10725},   {0x10726, 0x10726}, {0x12F41, 0x12F44},
    {0x18000, 0x18019}, {0x1801B, 0x1801B},   {0x18020, 0x18022},   {0x12001, 0x12001}, {0x12003, 0x12003},
    {0x12004, 0x12004}, {0x1063E, 0x1063E},   {0x10643, 0x10643},   {0x10644, 0x10644}, {0x12018, 0x12018},
    {0x10293, 0x10293}, {0x1200E, 0x1200E},   {0x12011, 0x12011},   {0x12121, 0x12121}, {0x12123, 0x12123},
    {0x101BE, 0x101BE}, {0x101BF, 0x101BF},   {0x12009, 0x12009},   {0x12008, 0x12008}, {0x1200B, 0x1200B},
    {0x10295, 0x10295}, {0x100FC, 0x100FC},   {0x1017E, 0x1017E},   {0x12012, 0x12012}, {0x12014, 0x12014},
    {0x12015, 0x12015}, {0x12017, 0x12017},   {0x915018, 0x915018},
};

template <std::size_t Count>
std::vector<std::uint32_t> expand(const Run (&runs)[Count]) {
    std::vector<std::uint32_t> types;
    for (const Run &run : runs) {
        for (std::uint32_t type = run.first; type <= run.last; ++type) {
            types.push_back(type);
        }
    }
    return types;
}

std::vector<std::uint32_t> expected_order() {
    std::vector<std::uint32_t> order = expand(kOrderOfTheFirst);
    bool from = false;
    for (const std::uint32_t type : expand(kLateBond)) {
        from = from || type == 0x10801;
        if (from) {
            order.push_back(type);
        }
    }
    return order;
}

// One row as its 24 bytes.
std::string row_bytes(std::uint32_t type, int waitFlag, int octetSelect, const char *name) {
    std::string bytes(24, '\0');
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<char>(type >> (8 * i));
    }
    bytes[5] = static_cast<char>(waitFlag);
    bytes[6] = static_cast<char>(octetSelect);
    std::memcpy(&bytes[8], name, std::strlen(name));
    return bytes;
}

std::map<std::uint32_t, std::string> expected_rows() {
    std::map<std::uint32_t, std::string> rows;
    const struct {
        std::vector<std::uint32_t> types;
        std::size_t count;
        int waitFlag, octetSelect;
        const char *name;
    } classes[] = {
        {expand(kLateBond), 70, 1, 0, "bond0"},
        {expand(kBond), 15, 0, 0, "bond0"},
        {expand(kVethLow), 44, 0, 1, "veth0"},
        {expand(kVeth), 6, 0, 0, "veth0"},
    };
    for (const auto &c : classes) {
        EXPECT_EQ(c.types.size(), c.count) << c.name;
        for (const std::uint32_t type : c.types) {
            EXPECT_TRUE(rows.emplace(type, row_bytes(type, c.waitFlag, c.octetSelect, c.name)).second) << type;
        }
    }
    return rows;
}

class OrvaDrvadpCommPort : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        interfaces.install();
    }
    Interfaces interfaces;
};

// ---- Tables

TEST_F(OrvaDrvadpCommPort, BoardPort_HoldsEveryRowInOrder) {
    const std::vector<std::uint32_t> order = expected_order();
    const auto rows = expected_rows();
    ASSERT_EQ(std::size(g_boardPort), 135u);
    ASSERT_EQ(sizeof g_boardPort, 135u * 24u);
    ASSERT_EQ(order.size(), 135u);
    ASSERT_EQ(rows.size(), 135u);
    std::set<std::uint32_t> seen;
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(g_boardPort[i].boardType, order[i]) << "row " << i;
        const std::string bytes(reinterpret_cast<const char *>(&g_boardPort[i]), sizeof g_boardPort[i]);
        EXPECT_EQ(bytes, rows.at(order[i])) << "row " << i;
        EXPECT_TRUE(seen.insert(g_boardPort[i].boardType).second) << "row " << i;
    }
}

TEST_F(OrvaDrvadpCommPort, GetBoardEthInfo_FindsEveryRowAndNothingElse) {
    for (const BoardPortInfo &row : g_boardPort) {
        EXPECT_EQ(ORVA_GetBoardEthInfo(row.boardType), &row);
    }
    for (const std::uint32_t type : {0u, 0x99999u, 0x1801Au, 0x17FFFu, 0x18010u + 0x1000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ORVA_GetBoardEthInfo(type), nullptr) << std::hex << type;
    }
    const BoardPortInfo *row = ORVA_GetBoardEthInfo(0x18010);
    ASSERT_NE(row, nullptr);
    EXPECT_STREQ(row->ifName, "veth0");
    EXPECT_EQ(row->waitFlag, 0);
    EXPECT_EQ(row->octetSelect, 1);
}

TEST_F(OrvaDrvadpCommPort, BakPort_IsBond0ThenVeth0) {
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(g_orvaBakPort), sizeof g_orvaBakPort),
              std::string("bond0\0\0\0veth0\0\0\0", 16));
}

TEST_F(OrvaDrvadpCommPort, BoardNameToBoardIdMap_HoldsTheNineNamesInOrder) {
    const struct {
        const char *name;
        std::uint32_t id;
    } expected[] = {
        {"ZQ71MRB4T8E", 0xFE000001},  {"LV46MRB7T3C", 0xFE000002},  {"LV83MRB5T1C", 0xFE000003},
        {"XTE4W9N27-KR", 0xFE000004}, {"LV19MRB2T6C", 0xFE000005},  {"LV19XTE835Q", 0xFE000006},
        {"MRB815N64-JS", 0xFE000007}, {"XTE472N64-JW", 0xFE000008}, {"XTE815N64-JS", 0xFE000009},
    };
    ASSERT_EQ(std::size(g_boardNameToBoardIdMap), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_STREQ(g_boardNameToBoardIdMap[i].name, expected[i].name);
        EXPECT_EQ(g_boardNameToBoardIdMap[i].boardId, expected[i].id);
        std::uint32_t id = kUntouched;
        EXPECT_EQ(ORVA_COMM_BoardNameToBoardId(expected[i].name, &id), 0u);
        EXPECT_EQ(id, expected[i].id);
    }
}

TEST_F(OrvaDrvadpCommPort, BoardNameToBoardId_TakesExactNamesOnly) {
    for (const char *name : {"", "xte815N64-JS", "XTE815N64-JS ", "XTE815N64-J", " XTE815N64-JS", "unknown"}) {
        std::uint32_t id = kUntouched;
        EXPECT_EQ(ORVA_COMM_BoardNameToBoardId(name, &id), 1u) << name;
        EXPECT_EQ(id, kUntouched);
    }
    std::uint32_t id = kUntouched;
    EXPECT_EQ(ORVA_COMM_BoardNameToBoardId(nullptr, &id), 1u);
    EXPECT_EQ(ORVA_COMM_BoardNameToBoardId("ZQ71MRB4T8E", nullptr), 1u);
    EXPECT_EQ(id, kUntouched);
}

// ---- Board type

TEST_F(OrvaDrvadpCommPort, GetBoardType_PassesTheDriversAnswerOn) {
    EXPECT_EQ(ORVA_DRVADP_GetBoardType(nullptr), ORVA_ERR_BOARD_TYPE_NULL);
    EXPECT_TRUE(platform().calls.empty());
    platform().boardType = 0x18010;
    std::uint32_t type = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetBoardType(&type), 0u);
    EXPECT_EQ(type, 0x18010u);
    EXPECT_EQ(platform().calls, (Records{"drv_board_get_type(0xffffffff)"}));
    EXPECT_TRUE(take_logs().empty());
    fail("drv_board_get_type", 1, 0xABC);
    EXPECT_EQ(ORVA_DRVADP_GetBoardType(&type), 0xABCu);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x800, 0x2) Unsuccess to query board type, Ret: 0xabc."}));
}

// ---- Interface queries

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_RefusesNullArgumentsWithoutASocket) {
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_QueryEthPortCfg(nullptr, 0x8915, &value), 1u);
    EXPECT_EQ(ORVA_QueryEthPortCfg("bond0", 0x8915, nullptr), 1u);
    EXPECT_EQ(value, kUntouched);
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_TRUE(interfaces.queries.empty());
}

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_GivesAddressesAndMasksInHostOrder) {
    interfaces.addresses = {{"eth0", 0x0A000305}};
    interfaces.masks = {{"eth0", 0xFFFFF000}};
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_QueryEthPortCfg("eth0", 0x8915, &value), 0u);
    EXPECT_EQ(value, 0x0A000305u);
    EXPECT_EQ(ORVA_QueryEthPortCfg("eth0", 0x891B, &value), 0u);
    EXPECT_EQ(value, 0xFFFFF000u);
    EXPECT_EQ(interfaces.queries, (Records{"0x8915 eth0", "0x891b eth0"}));
    // A datagram socket of its own for each query, closed under its tracked number.
    ASSERT_EQ(platform().calls.size(), 4u);
    EXPECT_EQ(platform().calls[0], "socket_s(0x2, 0x2, 0x0)");
    EXPECT_EQ(platform().calls[1].substr(0, 10), "close_s(0x");
    EXPECT_EQ(std::stoul(platform().calls[1].substr(8), nullptr, 16) >> 16, 5u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_PassesTheKernelACleanRequest) {
    std::string seen;
    unsigned long asked = 0;
    libc().ioctl = [&](int, unsigned long request, void *argument) {
        asked = request;
        seen.assign(static_cast<const char *>(argument), 40);
        return -1;
    };
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_QueryEthPortCfg("abcdefghijklmno", 0x8915, &value), 1u);
    std::string expected(40, '\0');
    expected.replace(0, 15, "abcdefghijklmno");
    expected[16] = 2;
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(asked, 0x8915u);
    EXPECT_EQ(value, kUntouched);
}

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_AMissingInterfaceIsAnOrdinaryFailure) {
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_QueryEthPortCfg("eth9", 0x8915, &value), 1u);
    EXPECT_EQ(value, kUntouched);
    EXPECT_EQ(platform().calls.size(), 2u); // opened and closed
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_ATooLongNameIsRecordedAndAskedAllTheSame) {
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_QueryEthPortCfg("sixteen-letters!", 0x8915, &value), 1u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x8, 0x2) Get ip addr, ifaceName: sixteen-letters!"}));
    EXPECT_EQ(interfaces.queries, (Records{"0x8915 "}));
}

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_WithoutASocketIsRecorded) {
    fail("socket_s", 1, -1, EMFILE);
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ORVA_QueryEthPortCfg("bond0", 0x8915, &value), 1u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x8, 0x2) create socket error!"}));
    EXPECT_TRUE(interfaces.queries.empty());
    EXPECT_EQ(platform().calls, (Records{"socket_s(0x2, 0x2, 0x0)"}));
    EXPECT_EQ(value, kUntouched);
}

TEST_F(OrvaDrvadpCommPort, QueryEthPortCfg_ZeroIsADescriptor) {
    interfaces.addresses = {{"veth0", 0x0A000009}};
    platform().fakeFds[0] = "";
    fail("socket_s", 1, 0);
    std::uint32_t value = 0;
    EXPECT_EQ(ORVA_QueryEthPortCfg("veth0", SIOCGIFADDR, &value), 0u);
    EXPECT_EQ(value, 0x0A000009u);
    EXPECT_EQ(platform().calls.back(), "close_s(0x0)");
}

TEST_F(OrvaDrvadpCommPort, GetIpAddress_AsksForTheAddress) {
    interfaces.addresses = {{"eth0", 0xC0A80001}};
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetIpAddress("eth0", &ip), 0u);
    EXPECT_EQ(ip, 0xC0A80001u);
    EXPECT_EQ(ORVA_GetIpAddress("eth1", &ip), 1u);
    EXPECT_EQ(ORVA_GetIpAddress(nullptr, &ip), 1u);
    EXPECT_EQ(ORVA_GetIpAddress("eth0", nullptr), 1u);
    EXPECT_EQ(interfaces.queries, (Records{"0x8915 eth0", "0x8915 eth1"}));
}

struct BackupCase {
    std::map<std::string, std::uint32_t> answers;
    std::uint32_t result;
    std::uint32_t value;
    std::vector<std::string> asked;
};

const BackupCase kBackupCases[] = {
    {{{"bond0", 0x0B000001}, {"veth0", 0x0E000002}}, 0, 0x0B000001, {"bond0"}},
    {{{"bond0", 0x0B000001}}, 0, 0x0B000001, {"bond0"}},
    {{{"veth0", 0x0E000002}}, 0, 0x0E000002, {"bond0", "veth0"}},
    {{}, 1, kUntouched, {"bond0", "veth0"}},
};

TEST_F(OrvaDrvadpCommPort, BackupPorts_Bond0IsAskedBeforeVeth0) {
    for (const BackupCase &c : kBackupCases) {
        for (const std::uint32_t request : {0x8915u, 0x891Bu}) {
            interfaces.addresses = request == 0x8915 ? c.answers : decltype(c.answers){};
            interfaces.masks = request == 0x891B ? c.answers : decltype(c.answers){};
            interfaces.queries.clear();
            std::uint32_t value = kUntouched;
            EXPECT_EQ(ORVA_GetBakEthInfoMask(&value, request), c.result);
            EXPECT_EQ(value, c.value);
            Records asked;
            for (const std::string &port : c.asked) {
                asked.push_back((request == 0x8915 ? "0x8915 " : "0x891b ") + port);
            }
            EXPECT_EQ(interfaces.queries, asked);
        }
        interfaces.addresses = c.answers;
        EXPECT_EQ(ORVA_GetEthPortIpAddr(), c.result == 0 ? c.value : 0u);
    }
    EXPECT_EQ(ORVA_GetBakEthInfoMask(nullptr, 0x8915), 1u);
}

TEST_F(OrvaDrvadpCommPort, GetSubNetMask_AsksTheRowsPortOrTheBackupPorts) {
    interfaces.masks = {{"veth0", 0xFFFF0000}};
    std::uint32_t mask = kUntouched;
    EXPECT_EQ(ORVA_GetSubNetMask(0x18010, &mask), 0u);
    EXPECT_EQ(mask, 0xFFFF0000u);
    EXPECT_EQ(std::exchange(interfaces.queries, {}), (Records{"0x891b veth0"}));

    mask = kUntouched;
    EXPECT_EQ(ORVA_GetSubNetMask(0x10011, &mask), 1u); // bond0 alone
    EXPECT_EQ(mask, kUntouched);
    EXPECT_EQ(std::exchange(interfaces.queries, {}), (Records{"0x891b bond0"}));

    EXPECT_EQ(ORVA_GetSubNetMask(0x99999, &mask), 0u);
    EXPECT_EQ(mask, 0xFFFF0000u);
    EXPECT_EQ(interfaces.queries, (Records{"0x891b bond0", "0x891b veth0"}));
    EXPECT_EQ(ORVA_GetSubNetMask(0x18010, nullptr), 1u);
}

// ---- Internal address

TEST_F(OrvaDrvadpCommPort, ComputerSubNetIpAddress_InvertsTheLowHalfWithin172_16) {
    const struct {
        std::uint32_t ip, expected;
    } cases[] = {
        {0x0A000305, 0xAC10FCFA}, {0x0A00FF05, 0xAC1001FA}, {0, 0xAC10FFFF},          {0xFFFFFFFF, 0xAC100100},
        {0xFFFF0000, 0xAC10FFFF}, {0xFFFFFF00, 0xAC1001FF}, {0x7FFFFE05, 0xAC1001FA}, {0x800001FF, 0xAC10FE00},
        {0x00FE0000, 0xAC10FFFF}, {0x0000FD00, 0xAC1002FF},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_ComputerSubNetIpAddress(static_cast<std::int32_t>(c.ip)), c.expected) << std::hex << c.ip;
    }
    for (std::uint32_t low = 0; low <= 0xFFFF; ++low) {
        const std::uint32_t b1 = low >> 8, b0 = low & 0xFF;
        const std::uint32_t third = b1 == 255 ? 1 : 255 - b1;
        ASSERT_EQ(ORVA_ComputerSubNetIpAddress(static_cast<std::int32_t>(0x5A5A0000 | low)),
                  (172u << 24) + (16u << 16) + (third << 8) + (255 - b0));
    }
}

TEST_F(OrvaDrvadpCommPort, GetSubNetIpAddress_AppliesTheRuleToTheNetmask) {
    platform().boardType = 0x18010;
    interfaces.masks = {{"veth0", 0xFFFFF000}, {"bond0", 0xFFFF0000}};
    for (const std::int32_t force : {0, 1, -1}) {
        EXPECT_EQ(ORVA_GetSubNetIpAddress(force), 0xAC100FFFu);
    }
    EXPECT_TRUE(take_logs().empty());
    interfaces.masks.clear();
    EXPECT_EQ(ORVA_GetSubNetIpAddress(0), 0u);
    EXPECT_EQ(ORVA_GetSubNetIpAddress(1), 0xAC10FFFFu);
    EXPECT_EQ(ORVA_GetSubNetIpAddress(-7), 0xAC10FFFFu);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpCommPort, GetSubNetIpAddress_AnUnknownBoardTypeIsRecordedAndCountsAs0) {
    interfaces.masks = {{"veth0", 0xFFFFF000}};
    EXPECT_EQ(ORVA_GetSubNetIpAddress(0), 0xAC100FFFu);
    EXPECT_EQ(interfaces.queries, (Records{"0x891b bond0", "0x891b veth0"}));
    const Records logs = take_logs();
    ASSERT_EQ(logs.size(), 2u);
    EXPECT_EQ(logs[0], "PLog(0x3, orva, 0x800, 0x2) Unsuccess to query board type, Ret: 0x1.");
    const std::string head = "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]retCode error, l=";
    EXPECT_EQ(logs[1].substr(0, head.size()), head);
    EXPECT_EQ(logs[1].substr(logs[1].find(',', head.size())), ", Ret=1");
    interfaces.masks.clear();
    EXPECT_EQ(ORVA_GetSubNetIpAddress(0), 0u);
    EXPECT_EQ(ORVA_GetSubNetIpAddress(2), 0xAC10FFFFu);
}

} // namespace
