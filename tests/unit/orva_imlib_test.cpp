#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "interface_double.h"
#include "orva_comm.h"
#include "orva_imlib.h"
#include "platform_double.h"

extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
}

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;
constexpr std::uint32_t kVethBoard = 0x18010; // its port is veth0

std::uint32_t net(const char *dotted) {
    return inet_addr(dotted);
}

std::string hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

// ---- A made-up agent library

struct Agent {
    bool opens = true;
    std::set<std::string> missing; // symbols that it lacks
    std::uint64_t handle = 0x1234567890;
    std::uint32_t mainResult = 0, localResult = 0;
    bool hasError = true;
    Records calls;
    std::string initRecord; // bytes of the last record
};

Agent *g_agent = nullptr;
char g_library;
char g_reason[] = "no such file";

std::uint64_t fake_init(const OrvaImInitRecord *record) {
    g_agent->calls.emplace_back("init");
    g_agent->initRecord.assign(reinterpret_cast<const char *>(record), sizeof *record);
    return g_agent->handle;
}

std::uint32_t fake_set_main(std::uint64_t handle, std::uint32_t ip) {
    g_agent->calls.push_back("main " + hex(handle) + " " + hex(ip));
    return g_agent->mainResult;
}

std::uint32_t fake_set_local(std::uint64_t handle, std::uint32_t ip) {
    g_agent->calls.push_back("local " + hex(handle) + " " + hex(ip));
    return g_agent->localResult;
}

std::uint32_t fake_debug(OrvaDebugRecord, const char *, std::uint32_t, const char *, ...) {
    return 0;
}

void fake_process_info() {}

void *fake_symbol(const std::string &name) {
    if (name == "IM_Agent_Init") {
        return reinterpret_cast<void *>(fake_init);
    }
    if (name == "IM_Agent_SetMainBoardIP") {
        return reinterpret_cast<void *>(fake_set_main);
    }
    if (name == "IM_Agent_SetLocalIP") {
        return reinterpret_cast<void *>(fake_set_local);
    }
    if (name == "IM_Agent_Debug") {
        return reinterpret_cast<void *>(fake_debug);
    }
    return name == "IM_Agent_SetProcessInfo" ? reinterpret_cast<void *>(fake_process_info) : nullptr;
}

class OrvaImlibTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        g_OrvaImlib = OrvaImlib{};
        g_agent = &agent;
        interfaces.install();
        libc().dlopen = [this](const char *name, int mode) -> void * {
            agent.calls.push_back("open " + std::string(name) + " " + std::to_string(mode));
            return agent.opens ? &g_library : nullptr;
        };
        libc().dlsym = [this](void *handle, const char *name) -> void * {
            agent.calls.push_back((handle == &g_library ? "sym " : "wrong handle ") + std::string(name));
            return agent.missing.count(name) != 0 ? nullptr : fake_symbol(name);
        };
        libc().dlclose = [this](void *handle) {
            agent.calls.emplace_back(handle == &g_library ? "close" : "wrong handle");
            return 0;
        };
        libc().dlerror = [this]() -> char * { return agent.hasError ? g_reason : nullptr; };
        set_file(nullptr);
        platform().boardType = kVethBoard;
    }
    void TearDown() override {
        EXPECT_EQ(calls_of("fopen"), opened + refused);
        EXPECT_EQ(calls_of("fclose"), opened) << "every opened file is closed";
        PlatformTest::TearDown();
    }
    // What the address file holds; null: there is none.
    void set_file(const char *content) {
        libc().fopen = [this, content](const char *path, const char *mode) -> FILE * {
            EXPECT_STREQ(path, "/opt/keldv8/tmp/mmb_ip");
            EXPECT_STREQ(mode, "r");
            if (content == nullptr) {
                ++refused;
                return nullptr;
            }
            ++opened;
            // fmemopen takes no empty buffer.
            return *content == '\0' ? fdopen(::open("/dev/null", O_RDONLY), "r")
                                    : fmemopen(const_cast<char *>(content), std::strlen(content), "r");
        };
    }
    Records init_calls() {
        return {"open libim.so " + std::to_string(RTLD_LAZY),
                "sym IM_Agent_Init",
                "sym IM_Agent_SetMainBoardIP",
                "sym IM_Agent_SetLocalIP",
                "sym IM_Agent_Debug",
                "init"};
    }
    Records take_calls() {
        return std::exchange(agent.calls, {});
    }
    // A bound library without any address so far.
    void bind() {
        ASSERT_EQ(ORVA_InitImlib("libim.so", 0x10007, "orva_proc", 2), 0u);
        agent.calls.clear();
    }
    Agent agent;
    Interfaces interfaces;
    unsigned opened = 0, refused = 0;
};

const char kChanged[] = "PLog(0x1, orva, 0x8, 0x0) ORVA_SetLocalIpAddr ipaddr changed, previw ip: ";
const char kSuccess[] = "PLog(0x1, orva, 0x8, 0x0) ORVA_SetLocalIpAddr success.";
const char kStartFailed[] =
    "PLog(0x3, orva, 0x8, 0x2) ORVA_SetImlibIpConfigInPnf unsuccess, ORVA_InitImlib return err.";
const char kStartDone[] =
    "PLog(0x1, orva, 0x8, 0x1) ORVA_CreateImlibIpAddrTimer OK, PLIM_CreateImlibIpAddrTimer succeed.";

// ---- The record

TEST(OrvaImlibAtLoad, Record_IsAllZero) {
    const OrvaImlib zero{};
    EXPECT_EQ(std::memcmp(&g_OrvaImlib, &zero, sizeof zero), 0);
    EXPECT_EQ(ORVA_GetImHandle(), 0u);
    EXPECT_EQ(ORVA_GetDebugFunc(), nullptr);
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), nullptr);
}

TEST_F(OrvaImlibTest, Getters_ReadTheRecord) {
    g_OrvaImlib.imHandle = 0xFEDCBA9876543210;
    g_OrvaImlib.debug = fake_debug;
    g_OrvaImlib.setProcessInfo = fake_process_info;
    EXPECT_EQ(ORVA_GetImHandle(), 0xFEDCBA9876543210u);
    EXPECT_EQ(ORVA_GetDebugFunc(), &fake_debug);
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), &fake_process_info);
}

// ---- Debug switches

TEST_F(OrvaImlibTest, GetDebugSwitchId_NumbersTheSingleBitsAndTwoCombinations) {
    const struct {
        std::uint32_t bits, number;
    } pairs[] = {
        {0x1, 1},         {0x2, 2},         {0x4, 3},        {0x8, 4},        {0x10, 5},        {0x20, 6},
        {0x40, 7},        {0x80, 8},        {0x100, 9},      {0x200, 10},     {0x400, 11},      {0x800, 12},
        {0x1000, 13},     {0x2000, 14},     {0x4000, 15},    {0x8000, 16},    {0x10000, 17},    {0x20000, 18},
        {0x40000, 19},    {0x80000, 20},    {0x100000, 21},  {0x200000, 22},  {0x400000, 23},   {0x800000, 24},
        {0x1000000, 25},  {0x2000000, 26},  {0x4000000, 27}, {0x8000000, 28}, {0x10000000, 29}, {0x20000000, 30},
        {0x40000000, 31}, {0x80000000, 32}, {0x3, 100},      {0x5, 101},      {0x0, 0},         {0x6, 0},
        {0x7, 0},         {0x9, 0},         {0x80000001, 0}, {0xFFFFFFFF, 0},
    };
    for (const std::uint32_t block : {0u, 2u, 0xFu, 0x10u}) {
        g_OrvaImlib.switchBlock = block;
        for (const auto &pair : pairs) {
            EXPECT_EQ(ORVA_GetDebugSwitchId(pair.bits), 0x0CE40000 + (block << 12) + pair.number) << pair.bits;
        }
    }
    g_OrvaImlib.switchBlock = 2;
    EXPECT_EQ(ORVA_GetDebugSwitchId(1), 0x0CE42001u);
    EXPECT_EQ(ORVA_GetDebugSwitchId(3), 0x0CE42064u);
    EXPECT_EQ(ORVA_GetDebugSwitchId(6), 0x0CE42000u);
}

// ---- Address sources

TEST_F(OrvaImlibTest, AddressFile_TakesTheFirstLine) {
    const struct {
        const char *content;
        std::uint32_t result;
        std::uint32_t ip;
    } cases[] = {
        {"10.0.0.5\n", 0, net("10.0.0.5")},
        {"10.0.0.5", 0, net("10.0.0.5")},
        {"10.0.0.5\nrest is not an address\n", 0, net("10.0.0.5")},
        {"0.0.0.0\n", 0, 0},
        {"no address\n", 1, 0xFFFFFFFF},
        {"\n", 1, 0xFFFFFFFF},
        {"\n10.0.0.5\n", 1, 0xFFFFFFFF},
        {"255.255.255.255\n", 1, 0xFFFFFFFF},
        {"", 1, kUntouched},
        {nullptr, 1, kUntouched},
    };
    for (const auto &c : cases) {
        set_file(c.content);
        std::uint32_t ip = kUntouched;
        EXPECT_EQ(ORVA_GetActMpuIpAddrFromFile(&ip), c.result) << (c.content == nullptr ? "missing" : c.content);
        EXPECT_EQ(ip, c.ip) << (c.content == nullptr ? "missing" : c.content);
    }
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, AddressFromEnvironment_TakesAnyTextThatIsThere) {
    const struct {
        const char *text;
        std::uint32_t ip;
    } cases[] = {{"10.0.0.6", net("10.0.0.6")}, {"0.0.0.0", 0}, {"no address", 0xFFFFFFFF}, {"", 0xFFFFFFFF}};
    for (const auto &c : cases) {
        platform().environment = {{"ACT_MPU", c.text}, {"OTHER", c.text}};
        platform().calls.clear();
        std::uint32_t ip = kUntouched, other = kUntouched;
        EXPECT_EQ(ORVA_GetActMpuIpAddrFromEnv(&ip), 0u) << c.text;
        EXPECT_EQ(ip, c.ip) << c.text;
        EXPECT_EQ(ORVA_GetIpAddrFromEnv("OTHER", &other), 0u) << c.text;
        EXPECT_EQ(other, c.ip) << c.text;
        EXPECT_EQ(platform().calls, (Records{"drv_env_get(\"ACT_MPU\", 0x80)", "drv_env_get(\"OTHER\", 0x80)"}));
    }
}

TEST_F(OrvaImlibTest, AddressFromEnvironment_AMissingKeyGivesTheDriversCodeAnd0) {
    fail_always("drv_env_get", 0x321);
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetActMpuIpAddrFromEnv(&ip), 0x321u);
    EXPECT_EQ(ip, 0u);
    ip = kUntouched;
    EXPECT_EQ(ORVA_GetIpAddrFromEnv("OTHER", &ip), 0x321u);
    EXPECT_EQ(ip, 0u);
}

TEST_F(OrvaImlibTest, AddressFromEnvironment_SurvivesATextWithoutAZeroAtItsEnd) {
    platform().onEnvGet = [](const char *, char *buffer, std::uint32_t size) -> std::uint32_t {
        EXPECT_EQ(std::count(buffer, buffer + size, '\0'), std::ptrdiff_t{size}) << "zeroed before the read";
        std::memset(buffer, ' ', size);
        std::memcpy(buffer, "10.0.0.6", 8);
        return 0;
    };
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetIpAddrFromEnv("ANY", &ip), 0u);
    EXPECT_EQ(ip, net("10.0.0.6"));
}

TEST_F(OrvaImlibTest, ActiveUnitAddress_TheFileWinsOverTheEnvironment) {
    const struct {
        const char *file;
        const char *environment;
        std::uint32_t result;
        std::uint32_t ip;
        std::size_t reads;
    } cases[] = {
        {"10.0.0.5\n", "10.0.0.6", 0, net("10.0.0.5"), 0},
        {"10.0.0.5\n", nullptr, 0, net("10.0.0.5"), 0},
        {"no address\n", "10.0.0.6", 0, net("10.0.0.6"), 1},
        {"", "10.0.0.6", 0, net("10.0.0.6"), 1},
        {nullptr, "10.0.0.6", 0, net("10.0.0.6"), 1},
        {nullptr, "no address", 0, 0xFFFFFFFF, 1},
        {"no address\n", nullptr, 1, 0, 1},
        {nullptr, nullptr, 1, 0, 1},
    };
    for (const auto get : {ORVA_ChoseActMpuIp, ORVA_GetActMpuIpAddr}) {
        for (const auto &c : cases) {
            set_file(c.file);
            platform().environment.clear();
            if (c.environment != nullptr) {
                platform().environment["ACT_MPU"] = c.environment;
            }
            platform().calls.clear();
            std::uint32_t ip = kUntouched;
            EXPECT_EQ(get(&ip), c.result);
            EXPECT_EQ(ip, c.ip);
            EXPECT_EQ(platform().calls, Records(c.reads, "drv_env_get(\"ACT_MPU\", 0x80)"));
        }
    }
    // The driver's code is not passed on here.
    fail_always("drv_env_get", 0x321);
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_ChoseActMpuIp(&ip), 1u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, AddressSources_RefuseNullArguments) {
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetLocalIpAddr(nullptr), 1u);
    EXPECT_EQ(ORVA_GetActMpuIpAddr(nullptr), 1u);
    EXPECT_EQ(ORVA_ChoseActMpuIp(nullptr), 1u);
    EXPECT_EQ(ORVA_GetActMpuIpAddrFromFile(nullptr), 1u);
    EXPECT_EQ(ORVA_GetActMpuIpAddrFromEnv(nullptr), 1u);
    EXPECT_EQ(ORVA_GetIpAddrFromEnv("ANY", nullptr), 1u);
    EXPECT_EQ(ORVA_GetIpAddrFromEnv(nullptr, &ip), 1u);
    EXPECT_EQ(ip, kUntouched);
    EXPECT_TRUE(platform().calls.empty());
}

TEST_F(OrvaImlibTest, GetLocalIpAddr_AsksTheBoardsPortOrTheBackupPorts) {
    interfaces.addresses = {{"veth0", 0x0A000009}};
    std::uint32_t ip = kUntouched;
    EXPECT_EQ(ORVA_GetLocalIpAddr(&ip), 0u);
    EXPECT_EQ(ip, 0x0A000009u);
    EXPECT_EQ(std::exchange(interfaces.queries, {}), (Records{"0x8915 veth0"}));

    platform().boardType = 0x99999;
    ip = kUntouched;
    EXPECT_EQ(ORVA_GetLocalIpAddr(&ip), 0u);
    EXPECT_EQ(ip, 0x0A000009u);
    EXPECT_EQ(std::exchange(interfaces.queries, {}), (Records{"0x8915 bond0", "0x8915 veth0"}));

    ip = kUntouched;
    for (const std::uint32_t board : {0x10011u, 0x99999u}) { // bond0 alone; both
        interfaces.addresses.clear();
        platform().boardType = board;
        EXPECT_EQ(ORVA_GetLocalIpAddr(&ip), 1u);
    }
    interfaces.queries.clear();
    fail("drv_board_get_type", 1, 0x77);
    EXPECT_EQ(ORVA_GetLocalIpAddr(&ip), 0x77u);
    EXPECT_EQ(ip, kUntouched);
    EXPECT_TRUE(interfaces.queries.empty());
}

// ---- Addresses for the agent library

TEST_F(OrvaImlibTest, SetMainBoardIpAddr_PassesEachChangeOnce) {
    bind();
    set_file("10.0.0.5\n");
    agent.mainResult = 0x55;
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0x55u);
    EXPECT_EQ(take_calls(), (Records{"main 0x1234567890 " + hex(net("10.0.0.5"))}));
    EXPECT_EQ(g_OrvaImlib.mainBoardIp, net("10.0.0.5"));
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u); // refused, but not repeated
    EXPECT_TRUE(take_calls().empty());
    set_file("10.0.0.7\n");
    agent.mainResult = 0;
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u);
    EXPECT_EQ(take_calls(), (Records{"main 0x1234567890 " + hex(net("10.0.0.7"))}));
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, SetMainBoardIpAddr_WithoutAnAddressOrAnEntryCallsNothing) {
    bind();
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 1u);
    EXPECT_EQ(g_OrvaImlib.mainBoardIp, 0u);
    g_OrvaImlib.setMainBoardIp = nullptr;
    set_file("10.0.0.5\n");
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u);
    EXPECT_EQ(g_OrvaImlib.mainBoardIp, net("10.0.0.5"));
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, SetMainBoardIpAddr_PassesAnEnvironmentTextThatIsNotAnAddress) {
    bind();
    platform().environment = {{"ACT_MPU", "no address"}};
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u);
    EXPECT_EQ(take_calls(), (Records{"main 0x1234567890 0xffffffff"}));
    EXPECT_EQ(g_OrvaImlib.mainBoardIp, 0xFFFFFFFFu);
}

TEST_F(OrvaImlibTest, SetLocalIpAddr_PassesEachChangeOnceInNetworkByteOrder) {
    bind();
    interfaces.addresses = {{"veth0", 0x0A000009}};
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u);
    EXPECT_EQ(take_calls(), (Records{"local 0x1234567890 0x900000a"}));
    EXPECT_EQ(take_logs(), (Records{std::string(kChanged) + "0x00000000, current ip: 0x0900000a.", kSuccess}));
    EXPECT_EQ(g_OrvaImlib.localIp, 0x0900000Au);

    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u);
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(take_logs().empty());

    interfaces.addresses = {{"veth0", 0xAC10FE01}};
    agent.localResult = 0x1F;
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0x1Fu);
    EXPECT_EQ(take_calls(), (Records{"local 0x1234567890 0x1fe10ac"}));
    EXPECT_EQ(take_logs(), (Records{std::string(kChanged) + "0x0900000a, current ip: 0x01fe10ac.",
                                    "PLog(0x3, orva, 0x8, 0x1f) imAgentSetLocalIp failed, ret=31."}));
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u); // refused, but not repeated
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, SetLocalIpAddr_WithoutAnEntryStoresAndRecordsTheChange) {
    agent.missing = {"IM_Agent_SetLocalIP"};
    bind();
    interfaces.addresses = {{"veth0", 0x0A000009}};
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u);
    EXPECT_TRUE(take_calls().empty());
    EXPECT_EQ(take_logs(), (Records{std::string(kChanged) + "0x00000000, current ip: 0x0900000a."}));
    EXPECT_EQ(g_OrvaImlib.localIp, 0x0900000Au);
}

TEST_F(OrvaImlibTest, SetLocalIpAddr_PassesTheLookUpsCodeOn) {
    bind();
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 1u);
    fail("drv_board_get_type", 1, 0x77);
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0x77u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x800, 0x2) Unsuccess to query board type, Ret: 0x77."}));
    EXPECT_TRUE(take_calls().empty());
    EXPECT_EQ(g_OrvaImlib.localIp, 0u);
}

// ---- Loading

TEST_F(OrvaImlibTest, InitImlib_BindsTheLibraryAndKeepsItOpen) {
    EXPECT_EQ(ORVA_InitImlib("libim.so", 0xABCD1234, "orva_proc", 5), 0u);
    EXPECT_EQ(take_calls(), init_calls());
    OrvaImlib expected{};
    expected.imHandle = 0x1234567890;
    expected.switchBlock = 5;
    expected.setMainBoardIp = fake_set_main;
    expected.setLocalIp = fake_set_local;
    expected.debug = fake_debug;
    EXPECT_EQ(std::memcmp(&g_OrvaImlib, &expected, sizeof expected), 0);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, InitImlib_PassesTheAgentItsRecord) {
    EXPECT_EQ(ORVA_InitImlib("libim.so", 0xABCD1234, "orva_proc", 5), 0u);
    std::string expected(96, '\0');
    expected.replace(0, 9, "orva_proc");
    expected[36] = 0x34;
    expected[37] = 0x12;
    const auto clock = reinterpret_cast<std::uintptr_t>(&ORVA_GetSysTime);
    std::memcpy(&expected[64], &clock, sizeof clock);
    EXPECT_EQ(agent.initRecord, expected);
}

TEST_F(OrvaImlibTest, InitImlib_FailuresCloseTheLibraryAndStayUnbound) {
    const Records calls = init_calls();
    const struct {
        const char *what;
        const char *missing;
        bool opens;
        std::uint64_t handle;
        const char *processName;
        std::size_t callsMade; // of init_calls
        bool hasMain, hasOthers;
    } cases[] = {
        {"no library", "", false, 1, "orva_proc", 1, false, false},
        {"no IM_Agent_Init", "IM_Agent_Init", true, 1, "orva_proc", 2, false, false},
        {"no IM_Agent_SetMainBoardIP", "IM_Agent_SetMainBoardIP", true, 1, "orva_proc", 3, false, false},
        {"name of 32 characters", "", true, 1, "abcdefghijklmnopqrstuvwxyz012345", 5, true, true},
        {"no name", "", true, 1, nullptr, 5, true, true},
        {"handle 0", "", true, 0, "orva_proc", 6, true, true},
    };
    for (const auto &c : cases) {
        g_OrvaImlib = OrvaImlib{};
        agent.opens = c.opens;
        agent.missing = {c.missing};
        agent.handle = c.handle;
        EXPECT_EQ(ORVA_InitImlib("libim.so", 1, c.processName, 5), 1u) << c.what;
        Records expected(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(c.callsMade));
        if (c.opens) {
            expected.emplace_back("close");
        }
        EXPECT_EQ(take_calls(), expected) << c.what;
        EXPECT_EQ(g_OrvaImlib.imHandle, 0u) << c.what;
        EXPECT_EQ(g_OrvaImlib.switchBlock, 0u) << c.what;
        EXPECT_EQ(g_OrvaImlib.setMainBoardIp, c.hasMain ? fake_set_main : nullptr) << c.what;
        EXPECT_EQ(g_OrvaImlib.setLocalIp, c.hasOthers ? fake_set_local : nullptr) << c.what;
        EXPECT_EQ(g_OrvaImlib.debug, c.hasOthers ? fake_debug : nullptr) << c.what;
        EXPECT_EQ(ORVA_GetDebugFunc(), nullptr) << c.what;
    }
    EXPECT_EQ(ORVA_InitImlib(nullptr, 1, "orva_proc", 5), 1u);
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, InitImlib_EntriesOfAClosedLibraryAreNotUsed) {
    set_file("10.0.0.5\n");
    interfaces.addresses = {{"veth0", 0x0A000009}};
    agent.handle = 0;
    ASSERT_EQ(ORVA_InitImlib("libim.so", 1, "orva_proc", 5), 1u);
    take_calls();
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u);
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u);
    EXPECT_EQ(ORVA_GetDebugFunc(), nullptr);
    EXPECT_TRUE(take_calls().empty());

    // The next attempt lacks an entry that the record still has.
    agent.missing = {"IM_Agent_SetMainBoardIP"};
    ASSERT_EQ(ORVA_InitImlib("libim.so", 1, "orva_proc", 5), 1u);
    EXPECT_EQ(g_OrvaImlib.debug, &fake_debug);
    EXPECT_EQ(ORVA_GetDebugFunc(), nullptr);

    agent.missing.clear();
    agent.handle = 7;
    ASSERT_EQ(ORVA_InitImlib("libim.so", 1, "orva_proc", 5), 0u);
    take_calls();
    EXPECT_EQ(ORVA_GetDebugFunc(), &fake_debug);
    g_OrvaImlib.mainBoardIp = g_OrvaImlib.localIp = 0;
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u);
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u);
    EXPECT_EQ(take_calls(), (Records{"main 0x7 " + hex(net("10.0.0.5")), "local 0x7 0x900000a"}));

    // Only a failed attempt takes entries away: those that were put into the record otherwise are used.
    g_OrvaImlib = OrvaImlib{};
    g_OrvaImlib.debug = fake_debug;
    g_OrvaImlib.setMainBoardIp = fake_set_main;
    g_OrvaImlib.setLocalIp = fake_set_local;
    EXPECT_EQ(ORVA_GetDebugFunc(), &fake_debug);
    EXPECT_EQ(ORVA_SetMainBoardIpAddr(), 0u);
    EXPECT_EQ(ORVA_SetLocalIpAddr(), 0u);
    EXPECT_EQ(take_calls(), (Records{"main 0x0 " + hex(net("10.0.0.5")), "local 0x0 0x900000a"}));
}

// A second library, which refuses and is closed. Its entries must never be called.
std::atomic<unsigned> g_callsOfTheClosed{0};

std::uint64_t refusing_init(const OrvaImInitRecord *) {
    return 0;
}

std::uint32_t closed_set(std::uint64_t, std::uint32_t) {
    ++g_callsOfTheClosed;
    return 0;
}

std::uint32_t closed_debug(OrvaDebugRecord, const char *, std::uint32_t, const char *, ...) {
    ++g_callsOfTheClosed;
    return 0;
}

char g_refusing;

void *symbol_of_the_refusing(const std::string &name) {
    if (name == "IM_Agent_Init") {
        return reinterpret_cast<void *>(refusing_init);
    }
    return name == "IM_Agent_Debug" ? reinterpret_cast<void *>(closed_debug) : reinterpret_cast<void *>(closed_set);
}

std::uint64_t quiet_init(const OrvaImInitRecord *) {
    return 9;
}

std::uint32_t quiet_set(std::uint64_t handle, std::uint32_t) {
    EXPECT_EQ(handle, 9u);
    return 0;
}

void *symbol_of_the_quiet(const std::string &name) {
    if (name == "IM_Agent_Init") {
        return reinterpret_cast<void *>(quiet_init);
    }
    return name == "IM_Agent_Debug" ? reinterpret_cast<void *>(fake_debug) : reinterpret_cast<void *>(quiet_set);
}

// Two agents and no records of the calls, which threads would share.
void serve_two_agents() {
    libc().dlopen = [](const char *name, int) -> void * {
        return std::strcmp(name, "refusing.so") == 0 ? &g_refusing : &g_library;
    };
    libc().dlsym = [](void *handle, const char *name) {
        return handle == &g_refusing ? symbol_of_the_refusing(name) : symbol_of_the_quiet(name);
    };
    libc().dlclose = [](void *handle) {
        EXPECT_EQ(handle, &g_refusing);
        return 0;
    };
}

TEST_F(OrvaImlibTest, InitImlib_AFailedAttemptLeavesABindingAlone) {
    serve_two_agents();
    ASSERT_EQ(ORVA_InitImlib("quiet.so", 1, "orva_proc", 5), 0u);
    ASSERT_EQ(ORVA_InitImlib("refusing.so", 1, "orva_proc", 6), 1u);
    EXPECT_EQ(ORVA_GetImHandle(), 9u);
    EXPECT_EQ(g_OrvaImlib.switchBlock, 5u);
    EXPECT_EQ(g_OrvaImlib.setMainBoardIp, &quiet_set);
    EXPECT_EQ(g_OrvaImlib.setLocalIp, &quiet_set);
    EXPECT_EQ(ORVA_GetDebugFunc(), &fake_debug);
}

TEST_F(OrvaImlibTest, InitImlib_ConcurrentBindersNeverUseAClosedLibrary) {
    constexpr unsigned kRounds = 2000;
    serve_two_agents();
    std::atomic<std::uint32_t> address{1};
    platform().onEnvGet = [&](const char *, char *buffer, std::uint32_t size) -> std::uint32_t {
        std::snprintf(buffer, size, "10.0.%u.%u", ++address / 256 % 256, address % 256);
        return 0;
    };
    libc().fopen = [](const char *, const char *) -> FILE * { return nullptr; };
    std::atomic<bool> isDone{false};
    std::thread refuser([] {
        for (unsigned i = 0; i < kRounds; ++i) {
            EXPECT_EQ(ORVA_InitImlib("refusing.so", 1, "orva_proc", 5), 1u);
        }
    });
    std::thread binder([] {
        for (unsigned i = 0; i < kRounds; ++i) {
            EXPECT_EQ(ORVA_InitImlib("quiet.so", 1, "orva_proc", 5), 0u);
        }
    });
    std::thread user([&] {
        while (!isDone) {
            ORVA_SetMainBoardIpAddr();
            EXPECT_NE(ORVA_GetDebugFunc(), &closed_debug);
        }
    });
    refuser.join();
    binder.join();
    isDone = true;
    user.join();
    EXPECT_EQ(g_callsOfTheClosed, 0u);
    EXPECT_EQ(ORVA_GetDebugFunc(), &fake_debug);
    refused = calls_of("fopen");
}

TEST_F(OrvaImlibTest, PeriodicCheck_DoesNotReleaseALockThatItDidNotGet) {
    serve_two_agents();
    std::strcpy(g_OrvaImlib.libraryPath, "quiet.so");
    pthread_mutex_t *binders = nullptr; // the first that is asked for
    libc().pthread_mutex_lock = [&binders](pthread_mutex_t *mutex) {
        if (binders == nullptr) {
            binders = mutex;
        }
        return mutex == binders ? EINVAL : __real_pthread_mutex_lock(mutex);
    };
    libc().pthread_mutex_unlock = [&binders](pthread_mutex_t *mutex) {
        EXPECT_NE(mutex, binders);
        return __real_pthread_mutex_unlock(mutex);
    };
    static_cast<void>(ORVA_InitImlibAndSetIpAddrChk());
    EXPECT_NE(binders, nullptr);
    EXPECT_EQ(ORVA_GetImHandle(), 9u);
    libc().pthread_mutex_lock = nullptr;
    libc().pthread_mutex_unlock = nullptr;
}

// A binder that stops in the loader until it may go on.
std::atomic<bool> g_isLoading{false}, g_mayLoad{false};

void stop_in_the_loader() {
    libc().dlopen = [](const char *, int) -> void * {
        g_isLoading = true;
        while (!g_mayLoad) {
            pthread_testcancel();
            std::this_thread::yield();
        }
        return &g_library;
    };
}

void *bind_and_wait(void *) {
    static_cast<void>(ORVA_InitImlib("quiet.so", 1, "orva_proc", 5));
    for (;;) {
        pause(); // a cancellation point
    }
}

class StoppedBinder : public OrvaImlibTest {
protected:
    void SetUp() override {
        OrvaImlibTest::SetUp();
        serve_two_agents();
        stop_in_the_loader();
        ASSERT_EQ(pthread_create(&binder_, nullptr, bind_and_wait, nullptr), 0);
        while (!g_isLoading) {
            std::this_thread::yield();
        }
    }
    // Lets the binder end its attempt, and with it the thread.
    void end_the_binder() {
        ASSERT_EQ(pthread_cancel(binder_), 0);
        g_mayLoad = true;
        ASSERT_EQ(pthread_join(binder_, nullptr), 0);
    }
    pthread_t binder_{};
};

TEST_F(StoppedBinder, Cancellation_WaitsForTheEndOfTheAttempt) {
    end_the_binder();
    EXPECT_EQ(ORVA_GetImHandle(), 9u);
    EXPECT_EQ(ORVA_InitImlib("quiet.so", 1, "orva_proc", 5), 0u); // the binders' lock is free
}

TEST_F(StoppedBinder, Fork_TheChildBindsAlthoughTheParentIsBinding) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::alarm(30);
        g_mayLoad = true;
        ::_exit(ORVA_InitImlib("quiet.so", 1, "orva_proc", 5) == 0 && ORVA_GetImHandle() == 9 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    end_the_binder();
}

TEST_F(OrvaImlibTest, InitImlib_TheLocalAndDebugEntriesMayBeMissing) {
    agent.missing = {"IM_Agent_SetLocalIP", "IM_Agent_Debug"};
    EXPECT_EQ(ORVA_InitImlib("libim.so", 1, "orva_proc", 5), 0u);
    EXPECT_EQ(take_calls(), init_calls());
    EXPECT_EQ(ORVA_GetImHandle(), 0x1234567890u);
    EXPECT_EQ(g_OrvaImlib.setLocalIp, nullptr);
    EXPECT_EQ(ORVA_GetDebugFunc(), nullptr);
}

// ---- Timer

Records timer_calls(const std::string &name) {
    return {"MIRO_HandleInitialize(\"" + name + "\")", "MIRO_ReltmrCbkStart(0x21, 0x7d0, 0x0, 0, 0x1)"};
}

TEST_F(OrvaImlibTest, CreateImlibIpAddrTimer_StartsThePeriodicCheckOnce) {
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer("orva_proc"), 0u);
    EXPECT_EQ(platform().calls, timer_calls("PlimImlib_orva_proc"));
    EXPECT_EQ(platform().lastTimerCallback, &ORVA_InitImlibAndSetIpAddrChk);
    EXPECT_EQ(g_OrvaImlib.timerModule, 0x21u);
    EXPECT_EQ(g_OrvaImlib.ipChkTimer, 0xABCDEF0123u);
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer("orva_proc"), 0u);
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer(nullptr), 0u);
    EXPECT_EQ(platform().calls.size(), 2u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaImlibTest, CreateImlibIpAddrTimer_TruncatesTheNameTo63Characters) {
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer(std::string(80, 'n').c_str()), 0u);
    EXPECT_EQ(platform().calls, timer_calls("PlimImlib_" + std::string(53, 'n')));
}

TEST_F(OrvaImlibTest, CreateImlibIpAddrTimer_FailuresGiveTheirCode) {
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer(nullptr), 1u);
    EXPECT_TRUE(take_logs().empty());

    fail("snprintf_s", 1, -1);
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer("p"), 1u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x10000, 0x2) construct timerName ret=-1"}));
    EXPECT_TRUE(platform().calls.empty());

    fail("MIRO_HandleInitialize", 1, 0x99);
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer("p"), 0x99u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x8, 0x1) ORVA_CreateImlibIpAddrTimer MIRO_HandleInitialize "
                                    "handle TarvoImlib unsuccess, ret: 153."}));
    EXPECT_EQ(g_OrvaImlib.timerModule, 0u);

    fail("MIRO_ReltmrCbkStart", 1, 0x98);
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer("p"), 0x98u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x8, 0x2) ORVA_CreateImlibIpAddrTimer MIRO_ReltmrCbkStart "
                                    "unsuccess, ret: 152."}));
    // The module stays registered, so the next call does nothing.
    platform().calls.clear();
    EXPECT_EQ(ORVA_CreateImlibIpAddrTimer("p"), 0u);
    EXPECT_TRUE(platform().calls.empty());
}

// ---- Periodic check

TEST_F(OrvaImlibTest, PeriodicCheck_BindsWithTheStoredArgumentsAndPassesBothAddresses) {
    std::strcpy(g_OrvaImlib.libraryPath, "libim.so");
    std::strcpy(g_OrvaImlib.processName, "orva_proc");
    g_OrvaImlib.initParam = 0x4321;
    g_OrvaImlib.switchBlock = 6;
    set_file("10.0.0.5\n");
    interfaces.addresses = {{"veth0", 0x0A000009}};
    agent.localResult = 3;
    EXPECT_EQ(ORVA_InitImlibAndSetIpAddrChk(), 3u);
    Records expected = init_calls();
    expected.push_back("main 0x1234567890 " + hex(net("10.0.0.5")));
    expected.push_back("local 0x1234567890 0x900000a");
    EXPECT_EQ(take_calls(), expected);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x8, 0x1) Init imlib success",
                                    std::string(kChanged) + "0x00000000, current ip: 0x0900000a.",
                                    "PLog(0x3, orva, 0x8, 0x3) imAgentSetLocalIp failed, ret=3."}));
    EXPECT_EQ(agent.initRecord.substr(0, 10), std::string("orva_proc\0", 10));
    EXPECT_EQ(agent.initRecord.substr(36, 2), "\x21\x43");
    EXPECT_EQ(g_OrvaImlib.switchBlock, 6u);

    // Nothing changed: no call, no record.
    EXPECT_EQ(ORVA_InitImlibAndSetIpAddrChk(), 0u);
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(take_logs().empty());

    // The main address is passed on even where the local one has no interface.
    set_file("10.0.0.7\n");
    interfaces.addresses.clear();
    EXPECT_EQ(ORVA_InitImlibAndSetIpAddrChk(), 1u);
    EXPECT_EQ(take_calls(), (Records{"main 0x1234567890 " + hex(net("10.0.0.7"))}));
}

// Between the check's own look at the handle and the binders' lock, another binder may bind.
TEST_F(OrvaImlibTest, PeriodicCheck_LeavesTheBindingOfAnotherBinderAlone) {
    serve_two_agents();
    std::strcpy(g_OrvaImlib.libraryPath, "refusing.so");
    bool isFirst = true;
    libc().pthread_mutex_lock = [&isFirst](pthread_mutex_t *mutex) {
        if (isFirst) {
            isFirst = false;
            EXPECT_EQ(ORVA_InitImlib("quiet.so", 1, "orva_proc", 5), 0u);
        }
        return __real_pthread_mutex_lock(mutex);
    };
    static_cast<void>(ORVA_InitImlibAndSetIpAddrChk());
    EXPECT_FALSE(isFirst);
    EXPECT_EQ(ORVA_GetImHandle(), 9u);
    EXPECT_EQ(calls_of("dlopen"), 1u); // the path that start-up stored was not tried
    for (const std::string &record : take_logs()) {
        EXPECT_EQ(record.find("Init imlib success"), std::string::npos) << record;
    }
}

TEST_F(OrvaImlibTest, PeriodicCheck_AFailedBindingIsSilentAndTriedAgain) {
    std::strcpy(g_OrvaImlib.libraryPath, "libim.so");
    std::strcpy(g_OrvaImlib.processName, "orva_proc");
    set_file("10.0.0.5\n");
    agent.handle = 0;
    for (int tick = 0; tick < 3; ++tick) {
        Records expected = init_calls();
        expected.emplace_back("close");
        EXPECT_EQ(ORVA_InitImlibAndSetIpAddrChk(), 1u);
        EXPECT_EQ(take_calls(), expected);
    }
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(g_OrvaImlib.mainBoardIp, 0u);
    agent.handle = 9;
    EXPECT_EQ(ORVA_InitImlibAndSetIpAddrChk(), 1u); // bound now; the port has no address
    EXPECT_EQ(ORVA_GetImHandle(), 9u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x8, 0x1) Init imlib success"}));
}

// ---- Start-up

TEST_F(OrvaImlibTest, SetImlibIpConfigInPnf_StartsTheTimerBindsAndPassesBothAddresses) {
    std::memset(&g_OrvaImlib, 0xEE, sizeof g_OrvaImlib);
    g_OrvaImlib.imHandle = 0;
    set_file("10.0.0.5\n");
    interfaces.addresses = {{"veth0", 0x0A000009}};
    ORVA_SetImlibIpConfigInPnf("libim.so", 0x10007, "orva_proc", 2);
    Records expectedCalls = init_calls();
    expectedCalls.push_back("main 0x1234567890 " + hex(net("10.0.0.5")));
    expectedCalls.push_back("local 0x1234567890 0x900000a");
    EXPECT_EQ(take_calls(), expectedCalls);
    Records expectedPlatform = timer_calls("PlimImlib_orva_proc");
    expectedPlatform.resize(2);
    platform().calls.resize(2);
    EXPECT_EQ(platform().calls, expectedPlatform);
    EXPECT_EQ(take_logs(),
              (Records{std::string(kChanged) + "0x00000000, current ip: 0x0900000a.", kSuccess, kStartDone}));

    OrvaImlib expected{};
    expected.imHandle = 0x1234567890;
    expected.mainBoardIp = net("10.0.0.5");
    expected.localIp = 0x0900000A;
    expected.ipChkTimer = 0xABCDEF0123;
    expected.timerModule = 0x21;
    expected.setMainBoardIp = fake_set_main;
    expected.setLocalIp = fake_set_local;
    expected.debug = fake_debug;
    expected.switchBlock = 2;
    expected.initParam = 0x10007;
    std::strcpy(expected.processName, "orva_proc");
    std::strcpy(expected.libraryPath, "libim.so");
    // The four bytes between the module and the entries are padding.
    EXPECT_EQ(std::memcmp(&g_OrvaImlib, &expected, 28), 0);
    EXPECT_EQ(std::memcmp(&g_OrvaImlib.setMainBoardIp, &expected.setMainBoardIp, sizeof expected - 32), 0);
    EXPECT_EQ(ORVA_GetDebugSwitchId(1), 0x0CE42001u);

    // Bound: a second call does nothing.
    platform().calls.clear();
    ORVA_SetImlibIpConfigInPnf("other.so", 1, "other", 3);
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_TRUE(take_logs().empty());
    EXPECT_STREQ(g_OrvaImlib.libraryPath, "libim.so");
}

TEST_F(OrvaImlibTest, SetImlibIpConfigInPnf_AFailedBindingIsRecordedAndLeftToTheTimer) {
    agent.opens = false;
    ORVA_SetImlibIpConfigInPnf("libim.so", 7, "orva_proc", 2);
    EXPECT_EQ(take_logs(), (Records{kStartFailed}));
    EXPECT_EQ(platform().calls, timer_calls("PlimImlib_orva_proc"));
    EXPECT_EQ(take_calls(), (Records{init_calls()[0]}));
    EXPECT_EQ(ORVA_GetImHandle(), 0u);
    EXPECT_EQ(g_OrvaImlib.initParam, 7u);
    EXPECT_EQ(ORVA_GetDebugSwitchId(1), 0x0CE42001u);

    agent.opens = true;
    set_file("10.0.0.5\n");
    ASSERT_NE(platform().lastTimerCallback, nullptr);
    platform().lastTimerCallback();
    EXPECT_EQ(ORVA_GetImHandle(), 0x1234567890u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x8, 0x1) Init imlib success"}));
    EXPECT_EQ(g_OrvaImlib.mainBoardIp, net("10.0.0.5"));
}

TEST_F(OrvaImlibTest, SetImlibIpConfigInPnf_BindsWithoutATimerOrAnAddress) {
    fail("MIRO_HandleInitialize", 1, 0x99);
    ORVA_SetImlibIpConfigInPnf("libim.so", 7, "orva_proc", 2);
    EXPECT_EQ(ORVA_GetImHandle(), 0x1234567890u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x8, 0x1) ORVA_CreateImlibIpAddrTimer MIRO_HandleInitialize "
                                    "handle TarvoImlib unsuccess, ret: 153.",
                                    kStartDone}));
    EXPECT_EQ(take_calls(), init_calls());
}

TEST_F(OrvaImlibTest, SetImlibIpConfigInPnf_NamesThatDoNotFitStopItSilently) {
    const std::string fits(31, 'n'), long32(32, 'n'), long40(40, 'n');
    const struct {
        const char *library, *process;
    } cases[] = {
        {fits.c_str(), long40.c_str()}, {fits.c_str(), long32.c_str()}, {long32.c_str(), fits.c_str()},
        {nullptr, fits.c_str()},        {fits.c_str(), nullptr},
    };
    for (const auto &c : cases) {
        std::memset(&g_OrvaImlib, 0xEE, sizeof g_OrvaImlib);
        g_OrvaImlib.imHandle = 0;
        ORVA_SetImlibIpConfigInPnf(c.library, 7, c.process, 2);
        EXPECT_EQ(g_OrvaImlib.timerModule, 0u);
        EXPECT_EQ(g_OrvaImlib.mainBoardIp, 0u);
        EXPECT_EQ(g_OrvaImlib.switchBlock, 2u);
        EXPECT_EQ(g_OrvaImlib.initParam, 7u);
    }
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_TRUE(take_logs().empty());
    ORVA_SetImlibIpConfigInPnf(fits.c_str(), 7, fits.c_str(), 2);
    EXPECT_EQ(ORVA_GetImHandle(), 0x1234567890u);
}

// ---- Process information

TEST_F(OrvaImlibTest, InitSetProcessInfoFunc_KeepsTheEntryAndTheLibrary) {
    ORVA_InitSetProcessInfoFunc("libim.so");
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), &fake_process_info);
    EXPECT_EQ(take_calls(), (Records{init_calls()[0], "sym IM_Agent_SetProcessInfo"}));
    EXPECT_TRUE(take_logs().empty());
    // Start-up zeroes the record, so the entry must be looked up after it.
    ORVA_SetImlibIpConfigInPnf("libim.so", 7, "orva_proc", 2);
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), nullptr);
}

TEST_F(OrvaImlibTest, InitSetProcessInfoFunc_AMissingLibraryIsRecordedWithItsReason) {
    agent.opens = false;
    const std::string first = "PLog(0x1, orva, 0x800, 0x2) ORVA_InitSetProcessInfoFunc : open libim.so fail";
    ORVA_InitSetProcessInfoFunc("libim.so");
    EXPECT_EQ(take_logs(), (Records{first, first + " because no such file"}));
    agent.hasError = false;
    ORVA_InitSetProcessInfoFunc("libim.so");
    EXPECT_EQ(take_logs(), (Records{first}));
    EXPECT_EQ(take_calls(), (Records(2, init_calls()[0])));
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), nullptr);
}

// The loader's text is lost with the next look-up, which a sink may make.
TEST_F(OrvaImlibTest, InitSetProcessInfoFunc_CopiesTheReasonBeforeItLogs) {
    agent.opens = false;
    std::size_t recordsBefore = 99;
    libc().dlerror = [&] {
        recordsBefore = platform().logs.size();
        return g_reason;
    };
    ORVA_InitSetProcessInfoFunc("libim.so");
    EXPECT_EQ(recordsBefore, 0u);
    EXPECT_EQ(take_logs().size(), 2u);
}

TEST_F(OrvaImlibTest, InitSetProcessInfoFunc_AMissingEntryIsRecordedAndTheLibraryClosed) {
    agent.missing = {"IM_Agent_SetProcessInfo"};
    g_OrvaImlib.setProcessInfo = fake_process_info;
    ORVA_InitSetProcessInfoFunc("libim.so");
    EXPECT_EQ(take_logs(), (Records{"PLog(0x1, orva, 0x800, 0x2) ORVA Get setProcessInfo Func fail"}));
    EXPECT_EQ(take_calls(), (Records{init_calls()[0], "sym IM_Agent_SetProcessInfo", "close"}));
    EXPECT_EQ(ORVA_GetSetProcessInfoFunc(), nullptr);
    ORVA_InitSetProcessInfoFunc(nullptr);
    EXPECT_TRUE(take_calls().empty());
    EXPECT_TRUE(take_logs().empty());
}

} // namespace
