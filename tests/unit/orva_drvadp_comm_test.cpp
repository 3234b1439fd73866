#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "interface_double.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;
constexpr std::uint32_t kPtnBoard = 0x18010;   // veth0, one try, lowest octet
constexpr std::uint32_t kLateBoard = 0x10011;  // bond0, waits, second-lowest octet
constexpr std::uint32_t kPlainBoard = 0x20716; // bond0, one try, second-lowest octet

class OrvaDrvadpComm : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        interfaces.install();
        platform().environment.clear();
        // Diagnostic records carry the position 1/3.
        g_selfBoardBase.selfSlot = 3;
        g_selfBoardBase.selfChassis = 1;
    }
    void forget_slot() {
        g_selfBoardBase.selfSlot = 255;
    }
    Interfaces interfaces;
};

std::string env_call(const std::string &key, const std::string &size = "0x40") {
    return "drv_env_get(\"" + key + "\", " + size + ")";
}

Records slot_failure(const std::string &code) {
    return {"PLog(0x3, orva, 0x800, " + code + ") Failed to query self board id.",
            "PLog(0x3, orva, 0x800, 0x2) Failed to query self board id, Ret: " + code + "."};
}

// ---- The cache

TEST(OrvaDrvadpCommAtLoad, SelfBoardBase_HasItsInitialValues) {
    const std::uint32_t expected[] = {255, 0xFFFFFFFF, 0, 0, 0, 0};
    static_assert(sizeof expected == sizeof g_selfBoardBase);
    EXPECT_EQ(std::memcmp(&g_selfBoardBase, expected, sizeof expected), 0);
}

TEST_F(OrvaDrvadpComm, CachedVariables_AreTheWordsOfTheRecord) {
    ORVA_DRVADP_SetSelfChassisVar(0x11);
    ORVA_DRVADP_SetIsBoxStackVar(0x22);
    ORVA_DRVADP_SetFrameTypeVar(0x33);
    std::uint32_t words[6];
    std::memcpy(words, &g_selfBoardBase, sizeof words);
    EXPECT_EQ(words[3], 0x11u);
    EXPECT_EQ(words[4], 0x22u);
    EXPECT_EQ(words[5], 0x33u);
    EXPECT_EQ(ORVA_DRVADP_GetSelfChassisVar(), 0x11u);
    EXPECT_EQ(ORVA_DRVADP_GetIsBoxStackVar(), 0x22u);
    EXPECT_EQ(ORVA_DRVADP_GetFrameTypeVar(), 0x33u);
    ORVA_DRVADP_SetSelfChassisVar(0);
    ORVA_DRVADP_SetIsBoxStackVar(0xFFFFFFFF);
    EXPECT_EQ(ORVA_DRVADP_GetSelfChassisVar(), 0u);
    EXPECT_EQ(ORVA_DRVADP_GetIsBoxStackVar(), 0xFFFFFFFFu);
    EXPECT_TRUE(platform().calls.empty());
}

TEST_F(OrvaDrvadpComm, SetFrameTypeVar_FirstCallerWins) {
    EXPECT_EQ(ORVA_DRVADP_GetFrameTypeVar(), 0u);
    ORVA_DRVADP_SetFrameTypeVar(0);
    ORVA_DRVADP_SetFrameTypeVar(12);
    ORVA_DRVADP_SetFrameTypeVar(1);
    EXPECT_EQ(ORVA_DRVADP_GetFrameTypeVar(), 12u);
    EXPECT_EQ(ORVA_DRVADP_Is1uHalcy(), 1u);
    EXPECT_EQ(ORVA_DRVADP_IsSupportGetFanElabel(), 1u);
    EXPECT_EQ(ORVA_DRVADP_IsQ1m(), 0u);
}

TEST_F(OrvaDrvadpComm, FramePredicates_HoldForTheirTypesOnly) {
    struct Predicate {
        const char *name;
        std::uint32_t (*test)(void);
        std::set<std::uint32_t> types;
    };
    const Predicate predicates[] = {
        {"IsQ1m", ORVA_DRVADP_IsQ1m, {1}},
        {"IsQ2m", ORVA_DRVADP_IsQ2m, {16}},
        {"IsQxm", ORVA_DRVADP_IsQxm, {1, 16}},
        {"Is1uHalcy", ORVA_DRVADP_Is1uHalcy, {12}},
        {"Is3uHalcy", ORVA_DRVADP_Is3uHalcy, {10}},
        {"Is5uHalcy", ORVA_DRVADP_Is5uHalcy, {11}},
        {"Is2u3u5uHalcy", ORVA_DRVADP_Is2u3u5uHalcy, {9, 10, 11}},
        {"IsRzBox", ORVA_DRVADP_IsRzBox, {13, 21}},
        {"IsSupportGetFanElabel", ORVA_DRVADP_IsSupportGetFanElabel, {12}},
    };
    std::vector<std::uint32_t> types;
    for (std::uint32_t type = 0; type < 64; ++type) {
        types.push_back(type);
    }
    types.insert(types.end(), {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF});
    for (const Predicate &predicate : predicates) {
        for (const std::uint32_t type : types) {
            g_selfBoardBase.frameType = type;
            EXPECT_EQ(predicate.test(), predicate.types.count(type)) << predicate.name << " of " << type;
        }
    }
    EXPECT_TRUE(platform().calls.empty());
}

// ---- Device kind

TEST_F(OrvaDrvadpComm, GetDeviceRunState_ServiceTypeDecidesFirst) {
    platform().environment = {{"product_service_type", "305"}, {"product_family_type", "8"}};
    EXPECT_EQ(ORVA_GetDeviceRunState(), 7u);
    EXPECT_EQ(take_logs(), (Records{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]Get product_service_type is "
                                    "305."}));
    EXPECT_EQ(platform().calls, (Records{env_call("product_service_type", "0x100")}));
    EXPECT_EQ(g_selfBoardBase.deviceRunState, 7u);

    platform().environment = {{"product_service_type", "1"}, {"product_family_type", "8"}};
    EXPECT_EQ(ORVA_GetDeviceRunState(), 7u);
    EXPECT_EQ(platform().calls.size(), 1u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, GetDeviceRunState_OnlyExactly305IsTheServiceType) {
    for (const char *service : {"3050", "30", "0305", " 305", "305 ", ""}) {
        g_selfBoardBase.deviceRunState = 0xFFFFFFFF;
        platform().environment = {{"product_service_type", service}, {"product_family_type", "15"}};
        EXPECT_EQ(ORVA_GetDeviceRunState(), 15u) << service;
        EXPECT_EQ(take_logs(),
                  (Records{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]Get product_service_type is " +
                               std::string(service) + ".",
                           "DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]Get product_family_type is 15."}));
    }
}

TEST_F(OrvaDrvadpComm, GetDeviceRunState_FamilyTypeBelow16IsTakenQuietly) {
    const std::pair<const char *, std::uint32_t> cases[] = {{"0", 0}, {"8", 8}, {"15", 15}, {"x", 0}, {"12abc", 12}};
    for (const auto &[text, expected] : cases) {
        g_selfBoardBase.deviceRunState = 0xFFFFFFFF;
        platform().environment = {{"product_family_type", text}};
        EXPECT_EQ(ORVA_GetDeviceRunState(), expected);
        EXPECT_EQ(g_selfBoardBase.deviceRunState, expected);
        EXPECT_EQ(take_logs(),
                  (Records{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]Get product_family_type is " +
                           std::string(text) + "."}));
    }
}

TEST_F(OrvaDrvadpComm, GetDeviceRunState_OutOfRangeFamilyTypeIsKept) {
    platform().environment = {{"product_family_type", "20"}};
    EXPECT_EQ(ORVA_GetDeviceRunState(), 20u);
    EXPECT_EQ(take_logs(),
              (Records{"DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]Get product_family_type is 20.",
                       "DLog(0x0, 0xce41001, 0x1, 0x0, 0x0) [Position: 1/3]product_family_type is out of range."}));
    EXPECT_EQ(platform().calls,
              (Records{env_call("product_service_type", "0x100"), env_call("product_family_type", "0x100")}));
    platform().environment = {{"product_family_type", "8"}};
    EXPECT_EQ(ORVA_GetDeviceRunState(), 20u);
    EXPECT_EQ(platform().calls.size(), 2u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, GetDeviceRunState_WithoutKeysReadsAgainEveryTime) {
    for (std::size_t call = 1; call <= 3; ++call) {
        EXPECT_EQ(ORVA_GetDeviceRunState(), 0xFFFFFFFFu);
        EXPECT_EQ(platform().calls.size(), 2 * call);
    }
    EXPECT_EQ(ORVA_IsPtnTypeDevice(), 0u);
    EXPECT_TRUE(take_logs().empty());
    platform().environment = {{"product_family_type", "8"}};
    EXPECT_EQ(ORVA_IsPtnTypeDevice(), 1u);
}

TEST_F(OrvaDrvadpComm, RunStatePredicates_HoldForTheirStatesOnly) {
    for (const std::uint32_t state : {0u, 6u, 7u, 8u, 9u, 14u, 15u, 16u, 20u, 0xFFFFFFFEu}) {
        g_selfBoardBase.deviceRunState = state;
        EXPECT_EQ(ORVA_IsPtnTypeDevice(), state == 8 ? 1u : 0u) << state;
        EXPECT_EQ(ORVA_IsRouterUseHardBoardRoleDevice(), state == 7 || state == 8 || state == 15 ? 1u : 0u) << state;
    }
}

TEST_F(OrvaDrvadpComm, IsRouterUseHardBoardRoleDevice_AsksForEachComparison) {
    EXPECT_EQ(ORVA_IsRouterUseHardBoardRoleDevice(), 0u);
    EXPECT_EQ(platform().calls.size(), 6u); // three times two keys

    // The state becomes known between the comparisons: 15 is asked for first, then 8, then 7.
    const struct {
        unsigned answered; // the read of the family type that succeeds
        const char *family;
        std::uint32_t expected;
    } cases[] = {{1, "15", 1}, {2, "15", 0}, {2, "8", 1}, {3, "8", 0}, {3, "7", 1}};
    for (const auto &c : cases) {
        g_selfBoardBase.deviceRunState = 0xFFFFFFFF;
        unsigned familyReads = 0;
        platform().onEnvGet = [&](const char *key, char *buffer, std::uint32_t size) -> std::uint32_t {
            if (std::string(key) != "product_family_type" || ++familyReads != c.answered) {
                return 1;
            }
            std::snprintf(buffer, size, "%s", c.family);
            return 0;
        };
        EXPECT_EQ(ORVA_IsRouterUseHardBoardRoleDevice(), c.expected) << c.family << " in comparison " << c.answered;
    }
}

// ---- Slot

TEST_F(OrvaDrvadpComm, GetSelfSlotID_PassesTheDriversAnswerOn) {
    struct Case {
        std::uint32_t code;
        std::uint32_t result;
        std::uint32_t slot;
        Records logs;
    };
    const Case cases[] = {
        {0x01A4, 0, 1, {}},
        {0xABCD01A4, 0, 1, {}},
        {0x01A5, 0x01A5, kUntouched, slot_failure("0x1a5")},
        {0x01A40000, 0x01A40000, kUntouched, slot_failure("0x1a40000")},
        {0x20, 0x20, kUntouched, slot_failure("0x20")},
    };
    forget_slot();
    for (const Case &c : cases) {
        platform().slotCode = c.code;
        std::uint32_t slot = kUntouched;
        EXPECT_EQ(ORVA_DRVADP_GetSelfSlotID(&slot), c.result);
        EXPECT_EQ(slot, c.slot) << c.code;
        EXPECT_EQ(take_logs(), c.logs);
        EXPECT_EQ(g_selfBoardBase.selfSlot, 255u);
    }
    platform().slot = 17;
    std::uint32_t slot = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotID(&slot), 0u);
    EXPECT_EQ(slot, 17u);
    EXPECT_EQ(g_selfBoardBase.selfSlot, 255u);
}

TEST_F(OrvaDrvadpComm, GetSelfSlotID_NullSlotIsRefusedWithoutACall) {
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotID(nullptr), 1u);
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, GetSelfSlotVar_AsksOnceAndKeepsTheAnswer) {
    forget_slot();
    platform().slot = 12;
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 12u);
    platform().slot = 13;
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 12u);
    EXPECT_EQ(platform().calls, (Records{"drv_board_get_self_logic_slotid()"}));
    EXPECT_EQ(g_selfBoardBase.selfSlot, 12u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, Cache_ThreadsMayFillItAtTheSameTime) {
    forget_slot();
    platform().slot = 12;
    platform().environment = {{"product_family_type", "8"}};
    const auto ask = [] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 12u);
            EXPECT_EQ(ORVA_GetDeviceRunState(), 8u);
        }
    };
    std::thread other(ask);
    ask();
    other.join();
}

TEST_F(OrvaDrvadpComm, GetSelfSlotVar_BoardWithoutSlotIsSlot1) {
    forget_slot();
    platform().slotCode = 0x77701A4;
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 1u);
    EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 1u);
    EXPECT_EQ(platform().calls.size(), 1u);
    EXPECT_EQ(g_selfBoardBase.selfSlot, 1u);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, GetSelfSlotVar_FailureLeavesTheSlotUnknownAndAsksAgain) {
    forget_slot();
    for (const std::uint32_t code : {0x20u, 0xFF20u, 0x21u, 0x2000u}) {
        platform().slotCode = code;
        platform().calls.clear();
        char text[16];
        std::snprintf(text, sizeof text, "0x%x", code);
        for (int call = 0; call < 2; ++call) {
            EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 255u);
            EXPECT_EQ(take_logs(), slot_failure(text));
        }
        EXPECT_EQ(platform().calls.size(), 2u);
        EXPECT_EQ(g_selfBoardBase.selfSlot, 255u);
    }
}

TEST_F(OrvaDrvadpComm, GetSelfSlotVar_AFailureWithLowByte20KeepsWhatTheDriverStored) {
    platform().slotBesideCode = 9;
    for (const auto &[code, slot, cached] : {std::tuple{0xFF21u, 255u, 255u}, {0x1320u, 9u, 9u}}) {
        forget_slot();
        platform().slotCode = code;
        EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), slot);
        EXPECT_EQ(g_selfBoardBase.selfSlot, cached);
        EXPECT_EQ(take_logs().size(), 2u);
    }
}

// ---- Chassis type

TEST_F(OrvaDrvadpComm, GetChassisType_PassesTheDriversAnswerOn) {
    EXPECT_EQ(ORVA_DRVADP_GetChassisType(nullptr), ORVA_ERR_CHASSIS_TYPE_NULL);
    EXPECT_TRUE(platform().calls.empty());

    platform().backplaneType = 0x10040;
    std::uint32_t type = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetChassisType(&type), 0u);
    EXPECT_EQ(type, 0x10040u);
    EXPECT_TRUE(take_logs().empty());

    type = kUntouched;
    fail("drv_backplane_get_type", 1, 0x4B1D);
    EXPECT_EQ(ORVA_DRVADP_GetChassisType(&type), 0x4B1Du);
    EXPECT_EQ(type, kUntouched);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x800, 0x2) Unsuccess to query chassis type, Ret: 0x4b1d."}));
}

TEST_F(OrvaDrvadpComm, IsRzFrame_HoldsForTheFiveRzFrames) {
    const std::set<std::uint32_t> frames = {0x10040, 0x10041, 0x10051, 0x10071, 0x10074};
    for (std::uint32_t type = 0xFF80; type < 0x10140; ++type) {
        platform().backplaneType = type;
        EXPECT_EQ(ORVA_DRVADP_IsRzFrame(), frames.count(type)) << std::hex << type;
    }
    for (const std::uint32_t type : {0u, 0x40u, 0x110040u, 0xFFFFFFFFu}) {
        platform().backplaneType = type;
        EXPECT_EQ(ORVA_DRVADP_IsRzFrame(), 0u) << std::hex << type;
    }
    EXPECT_TRUE(take_logs().empty());
    platform().backplaneType.reset();
    EXPECT_EQ(ORVA_DRVADP_IsRzFrame(), 0u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x800, 0x2) Unsuccess to query chassis type, Ret: 0x1."}));
}

// ---- Electronic label item

class ElabelItem : public OrvaDrvadpComm {
protected:
    void SetUp() override {
        OrvaDrvadpComm::SetUp();
        platform().backplaneType = 0x10042;
        platform().elabel = "Vendor=x\r\nItem=AB12CD34-001\r\nManufactured=2024\r\n";
        std::memset(item, 'x', sizeof item);
    }
    char item[64];
};

TEST_F(ElabelItem, GetBoardElabelItem_CopiesTheItem) {
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 0u);
    char expected[64];
    std::memset(expected, 'x', sizeof expected);
    std::memset(expected, 0, 32);
    std::memcpy(expected, "AB12CD34-001", 12);
    expected[63] = 0;
    EXPECT_EQ(std::memcmp(item, expected, sizeof item), 0);
    EXPECT_EQ(platform().calls, (Records{"drv_backplane_get_type()", "drv_elabel_read(0xffffffff, 0x0, 0x800)"}));
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(ElabelItem, GetBoardElabelItem_LongItemIsTruncatedTo31Characters) {
    platform().elabel = "Item=" + std::string(40, 'i') + "\n";
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, 32), 0u);
    EXPECT_EQ(std::string(item), std::string(31, 'i'));
    EXPECT_EQ(item[32], 'x');
}

TEST_F(ElabelItem, GetBoardElabelItem_RzFrameHasNoItem) {
    platform().backplaneType = 0x10071;
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 1u);
    EXPECT_EQ(platform().calls, (Records{"drv_backplane_get_type()"}));
    EXPECT_EQ(item[0], 'x');
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(ElabelItem, GetBoardElabelItem_UnknownChassisTypeIsRecordedAndReadAllTheSame) {
    platform().backplaneType.reset();
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 0u);
    EXPECT_STREQ(item, "AB12CD34-001");
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x800, 0x2) Unsuccess to query chassis type, Ret: 0x1."}));
}

TEST_F(ElabelItem, GetBoardElabelItem_UnreadableLabelOrMissingItemFails) {
    platform().elabel.reset();
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 1u);
    for (const char *label : {"", "Manufactured=2024\n"}) {
        platform().elabel = label;
        EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 1u) << label;
    }
    EXPECT_EQ(std::string(item, sizeof item), std::string(sizeof item, 'x'));
    EXPECT_TRUE(take_logs().empty());
}

// The sanitizers see a read past the label.
TEST_F(ElabelItem, GetBoardElabelItem_SurvivesALabelWithoutAZeroAtItsEnd) {
    platform().elabel = std::string(2048, 'x');
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 1u);
    platform().elabel = std::string(2040, 'x') + "Item=ABCDEF";
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 0u);
    EXPECT_STREQ(item, "ABC");
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(ElabelItem, GetBoardElabelItem_SmallBufferKeepsItsContentAndEndsInZero) {
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, 31), 0u);
    EXPECT_EQ(std::string(item, 32), std::string(30, 'x') + std::string(1, '\0') + "x");
    const Records logs = take_logs();
    ASSERT_EQ(logs.size(), 1u);
    const std::string head =
        "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]mem copy error, f=orva_drvadp_comm, l=";
    const std::string tail = ", Ret=" + std::to_string(ERANGE);
    EXPECT_EQ(logs[0].substr(0, head.size()), head);
    ASSERT_GT(logs[0].size(), head.size() + tail.size());
    EXPECT_EQ(logs[0].substr(logs[0].size() - tail.size()), tail);
    const std::string line = logs[0].substr(head.size(), logs[0].size() - head.size() - tail.size());
    EXPECT_EQ(line.find_first_not_of("0123456789"), std::string::npos) << line;
}

TEST_F(ElabelItem, GetBoardElabelItem_NoBufferIsRefusedWithoutACall) {
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(nullptr, 32), 1u);
    EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, 0), 1u);
    EXPECT_EQ(item[0], 'x');
    EXPECT_TRUE(platform().calls.empty());
}

// ---- Matrix board

TEST_F(OrvaDrvadpComm, IsMatrixBoard_LooksForTheSymbolAndClosesTheLibrary) {
    static int library, symbol;
    Records calls;
    bool opens = true, has = true;
    libc().dlopen = [&](const char *name, int mode) -> void * {
        calls.push_back("open " + std::string(name) + " " + std::to_string(mode));
        return opens ? &library : nullptr;
    };
    libc().dlsym = [&](void *handle, const char *name) -> void * {
        calls.push_back(std::string(handle == &library ? "sym " : "wrong handle ") + name);
        return has ? &symbol : nullptr;
    };
    libc().dlclose = [&](void *handle) {
        calls.push_back(handle == &library ? "close" : "wrong handle");
        return 0;
    };
    const std::string open = "open libdrv_basic.so " + std::to_string(RTLD_LAZY);
    const Records all = {open, "sym DRV_GetBoardProductType", "close"};
    EXPECT_EQ(ORVA_DRVADP_IsMatrixBoard(), 1u);
    EXPECT_EQ(std::exchange(calls, {}), all);
    has = false;
    EXPECT_EQ(ORVA_DRVADP_IsMatrixBoard(), 0u);
    EXPECT_EQ(std::exchange(calls, {}), all);
    opens = false;
    EXPECT_EQ(ORVA_DRVADP_IsMatrixBoard(), 0u);
    EXPECT_EQ(std::exchange(calls, {}), (Records{open}));
    EXPECT_TRUE(take_logs().empty());
}

// ---- Numbers from the environment

struct EnvReader {
    const char *name;
    std::uint32_t (*read)(std::uint32_t *);
    const char *key;
    std::uint32_t nullCode;
    std::uint32_t missingResult;
    std::uint32_t missingValue;
    std::uint32_t zeroValue; // what a value of 0 stores
};

constexpr EnvReader kEnvReaders[] = {
    {"GetChassisIdFromEnv", ORVA_DRVADP_GetChassisIdFromEnv, "stackid", ORVA_ERR_ENV_CHASSIS_ID_NULL, 0, 1, 0},
    {"GetEnvOfChassisId", ORVA_DRVADP_GetEnvOfChassisId, "chassisid", ORVA_ERR_ENV_CHASSIS_ID_NULL, 0, 1, 1},
    {"GetEnvOfStackId", ORVA_DRVADP_GetEnvOfStackId, "stackid", ORVA_ERR_ENV_STACK_ID_NULL, 1, kUntouched, 0},
    {"GetEnvOfStackEnable", ORVA_DRVADP_GetEnvOfStackEnable, "stkenv_enable", ORVA_ERR_ENV_STACK_ENABLE_NULL, 0, 0,
     0},
    {"GetEnvOfCpuId", ORVA_DRVADP_GetEnvOfCpuId, "cpu_id", ORVA_ERR_ENV_CPU_ID_NULL, 0, 0, 0},
    {"GetEnvOfSlotId", ORVA_DRVADP_GetEnvOfSlotId, "slotid", ORVA_ERR_ENV_SLOT_ID_NULL, 0, 1, 0},
    {"GetChassisID", ORVA_DRVADP_GetChassisID, "stackid", ORVA_ERR_CHASSIS_ID_NULL, 0, 1, 0},
};

TEST_F(OrvaDrvadpComm, EnvReaders_RefuseANullOutput) {
    for (const EnvReader &reader : kEnvReaders) {
        EXPECT_EQ(reader.read(nullptr), reader.nullCode) << reader.name;
    }
    EXPECT_TRUE(platform().calls.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, EnvReaders_ReadTheirKeyAsADecimalNumber) {
    const std::pair<const char *, std::uint32_t> numbers[] = {
        {"7", 7},          {"010", 10}, {" 12", 12}, {"12x", 12}, {"-1", 0xFFFFFFFF}, {"4294967295", 0xFFFFFFFF},
        {"4294967298", 2}, {"0x10", 0}, {"none", 0},
    };
    for (const EnvReader &reader : kEnvReaders) {
        for (const auto &[text, number] : numbers) {
            platform().environment = {{reader.key, text}};
            platform().calls.clear();
            std::uint32_t value = kUntouched;
            EXPECT_EQ(reader.read(&value), 0u) << reader.name;
            EXPECT_EQ(value, number == 0 ? reader.zeroValue : number) << reader.name << " of " << text;
            EXPECT_EQ(platform().calls.at(0), env_call(reader.key)) << reader.name;
        }
    }
}

TEST_F(OrvaDrvadpComm, EnvReaders_AZeroAndAMissingKeyFollowTheTable) {
    for (const EnvReader &reader : kEnvReaders) {
        platform().environment = {{reader.key, "0"}};
        std::uint32_t value = kUntouched;
        EXPECT_EQ(reader.read(&value), 0u) << reader.name;
        EXPECT_EQ(value, reader.zeroValue) << reader.name;

        platform().environment.clear();
        value = kUntouched;
        EXPECT_EQ(reader.read(&value), reader.missingResult) << reader.name;
        EXPECT_EQ(value, reader.missingValue) << reader.name;
    }
}

TEST_F(OrvaDrvadpComm, EnvReaders_SurviveAValueWithoutAZeroAtItsEnd) {
    platform().onEnvGet = [](const char *, char *buffer, std::uint32_t size) -> std::uint32_t {
        EXPECT_EQ(std::count(buffer, buffer + size, '\0'), std::ptrdiff_t{size}) << "zeroed before the read";
        std::memset(buffer, ' ', size);
        buffer[size - 2] = '4';
        buffer[size - 1] = '2';
        return 0;
    };
    for (const EnvReader &reader : kEnvReaders) {
        std::uint32_t value = kUntouched;
        EXPECT_EQ(reader.read(&value), 0u) << reader.name;
        EXPECT_EQ(value, 4u) << reader.name;
    }
}

TEST_F(OrvaDrvadpComm, ChassisNumber_StackIdThenChassisIdThen1) {
    struct Case {
        std::map<std::string, std::string> environment;
        std::uint32_t number;
        std::size_t reads;
    };
    const Case cases[] = {
        {{{"stackid", "0"}, {"chassisid", "9"}}, 0, 1},
        {{{"stackid", "4"}, {"chassisid", "9"}}, 4, 1},
        {{{"stackid", "x"}, {"chassisid", "9"}}, 0, 1},
        {{{"chassisid", "9"}}, 9, 2},
        {{{"chassisid", "0"}}, 1, 2},
        {{{"chassisid", "x"}}, 1, 2},
        {{}, 1, 2},
    };
    for (const auto read : {ORVA_DRVADP_GetChassisIdFromEnv, ORVA_DRVADP_GetChassisID}) {
        for (const Case &c : cases) {
            platform().environment = c.environment;
            platform().calls.clear();
            std::uint32_t number = kUntouched;
            EXPECT_EQ(read(&number), 0u);
            EXPECT_EQ(number, c.number);
            Records expected = {env_call("stackid"), env_call("chassisid")};
            expected.resize(c.reads);
            platform().calls.resize(c.reads);
            EXPECT_EQ(platform().calls, expected);
        }
    }
}

TEST_F(OrvaDrvadpComm, DefaultsAreThereWhileTheEnvironmentIsRead) {
    const std::pair<std::uint32_t (*)(std::uint32_t *), std::uint32_t> cases[] = {
        {ORVA_DRVADP_GetChassisID, 1},
        {ORVA_DRVADP_GetEnvOfChassisId, 1},
        {ORVA_DRVADP_GetEnvOfSlotId, 1},
        {ORVA_DRVADP_GetEnvOfStackEnable, 0},
        {ORVA_DRVADP_GetEnvOfCpuId, 0},
        {ORVA_DRVADP_GetEnvOfStackId, kUntouched},
        {ORVA_DRVADP_GetChassisIdFromEnv, kUntouched},
    };
    for (const auto &[read, during] : cases) {
        std::uint32_t value = kUntouched, seen = 0;
        platform().onEnvGet = [&](const char *, char *buffer, std::uint32_t size) -> std::uint32_t {
            seen = value;
            std::snprintf(buffer, size, "5");
            return 0;
        };
        EXPECT_EQ(read(&value), 0u);
        EXPECT_EQ(seen, during);
        EXPECT_EQ(value, 5u);
    }
}

// ---- Chassis number from the address

TEST_F(OrvaDrvadpComm, GetChassisID_TheAddressOfTheBoardsPortOverridesTheEnvironment) {
    platform().environment = {{"stackid", "4"}};
    interfaces.addresses = {{"veth0", 0xAC100307}, {"bond0", 0xAC100307}};
    for (const auto &[board, expected] : {std::pair{kPtnBoard, 7u}, {kLateBoard, 3u}, {kPlainBoard, 3u}}) {
        platform().boardType = board;
        std::uint32_t number = kUntouched;
        EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
        EXPECT_EQ(number, expected) << std::hex << board;
    }
    EXPECT_EQ(interfaces.queries, (Records{"0x8915 veth0", "0x8915 bond0", "0x8915 bond0"}));
    EXPECT_EQ(calls_of("select"), 0u);
}

TEST_F(OrvaDrvadpComm, GetChassisID_WithoutABoardTypeOrARowTheEnvironmentCounts) {
    platform().environment = {{"stackid", "4"}};
    std::uint32_t number = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
    EXPECT_EQ(number, 4u);
    EXPECT_EQ(take_logs(), (Records{"PLog(0x3, orva, 0x800, 0x2) Unsuccess to query board type, Ret: 0x1."}));
    platform().boardType = 0x99999;
    number = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
    EXPECT_EQ(number, 4u);
    EXPECT_TRUE(interfaces.queries.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaDrvadpComm, GetChassisID_WaitsOnlyForPortsThatSaySo) {
    platform().environment = {{"chassisid", "6"}};
    platform().boardType = kPlainBoard;
    std::uint32_t number = kUntouched;
    EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
    EXPECT_EQ(number, 6u);
    EXPECT_EQ(interfaces.queries.size(), 1u);
    EXPECT_EQ(calls_of("select"), 0u);

    platform().boardType = kLateBoard;
    number = kUntouched;
    interfaces.queries.clear();
    EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
    EXPECT_EQ(number, 6u);
    EXPECT_EQ(interfaces.queries.size(), 300u);
    EXPECT_EQ(calls_of("select"), 300u);
}

TEST_F(OrvaDrvadpComm, GetChassisID_TakesAnAddressThatComesLate) {
    platform().boardType = kLateBoard;
    interfaces.addresses = {{"bond0", 0xAC100307}};
    std::vector<long> pauses;
    libc().select = [&](int, fd_set *, fd_set *, fd_set *, struct timeval *timeout) {
        pauses.push_back(timeout->tv_sec * 1000000 + timeout->tv_usec);
        return 0;
    };
    for (const auto &[silent, expected] : {std::pair{299u, 3u}, {300u, 1u}}) {
        interfaces.silentQueries = silent;
        interfaces.queries.clear();
        pauses.clear();
        std::uint32_t number = kUntouched;
        EXPECT_EQ(ORVA_DRVADP_GetChassisID(&number), 0u);
        EXPECT_EQ(number, expected);
        EXPECT_EQ(interfaces.queries.size(), 300u);
        EXPECT_EQ(pauses, std::vector<long>(silent, 1000));
    }
}

// ---- Stack number of a port

TEST_F(OrvaDrvadpComm, GetBoardStackID_RefusesNullArguments) {
    std::uint32_t stack = kUntouched;
    EXPECT_EQ(ORVA_GetBoardStackID(ORVA_GetBoardEthInfo(kPtnBoard), nullptr), ORVA_ERR_BOARD_STACK_ARGUMENT);
    EXPECT_EQ(ORVA_GetBoardStackID(nullptr, &stack), ORVA_ERR_BOARD_STACK_ARGUMENT);
    EXPECT_EQ(stack, kUntouched);
    EXPECT_TRUE(interfaces.queries.empty());
}

TEST_F(OrvaDrvadpComm, GetBoardStackID_SelectsTheOctetThatThePortNames) {
    interfaces.addresses = {{"eth7", 0xAC100307}};
    for (const auto &[octetSelect, expected] : {std::pair{1, 7u}, {0, 3u}, {2, 3u}}) {
        const BoardPortInfo port = {1, 0, 0, static_cast<std::uint8_t>(octetSelect), 0, "eth7"};
        std::uint32_t stack = kUntouched;
        EXPECT_EQ(ORVA_GetBoardStackID(&port, &stack), 0u);
        EXPECT_EQ(stack, expected);
    }
}

TEST_F(OrvaDrvadpComm, GetBoardStackID_WithoutAnAddressFollowsTheWaitFlag) {
    struct Case {
        std::uint8_t waitFlag;
        std::uint32_t result;
        std::size_t tries;
        unsigned pauses;
    };
    for (const Case &c : {Case{0, ORVA_ERR_BOARD_STACK_NO_ADDRESS, 1, 0},
                          Case{2, ORVA_ERR_BOARD_STACK_NO_ADDRESS, 1, 0}, Case{1, 1, 300, 300}}) {
        const BoardPortInfo port = {1, 0, c.waitFlag, 1, 0, "eth7"};
        reset_calls();
        interfaces.install();
        interfaces.queries.clear();
        std::uint32_t stack = kUntouched;
        EXPECT_EQ(ORVA_GetBoardStackID(&port, &stack), c.result);
        EXPECT_EQ(stack, kUntouched);
        EXPECT_EQ(interfaces.queries, Records(c.tries, "0x8915 eth7"));
        EXPECT_EQ(calls_of("select"), c.pauses);
    }
    interfaces.addresses = {{"eth7", 0xAC100307}};
    interfaces.silentQueries = 2;
    const BoardPortInfo port = {1, 0, 1, 1, 0, "eth7"};
    std::uint32_t stack = kUntouched;
    EXPECT_EQ(ORVA_GetBoardStackID(&port, &stack), 0u);
    EXPECT_EQ(stack, 7u);
}

} // namespace
