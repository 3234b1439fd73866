#include "orva_simulate_comm.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "orva_comm.h"
#include "platform_double.h"

namespace {

using orva_test::platform;
using orva_test::take_logs;
using Texts = std::vector<std::string>;

constexpr char kPath[] = "src/comm/orva_simulate_comm";

struct Simulate : orva_test::PlatformTest {
    Simulate() {
        root.sensorTree.compare = ORVA_simulateSensorCompare;
    }

    OrvaSimulateRoot root{};
};

OrvaSimulateSensorReq sensor(std::uint32_t type, std::uint32_t slot, std::uint32_t extra, std::uint32_t number,
                             std::uint32_t mask) {
    return {.lead = 0xFFFFFFFF,
            .slotId = slot,
            .keyExtra = extra,
            .sensorType = type,
            .sensorNum = number,
            .gap = 0xFFFFFFFF,
            .sensorMask = mask};
}

OrvaStubItem stub(std::uint32_t type, std::int32_t value, const char *name) {
    OrvaStubItem item{};
    item.stubType = type;
    item.stubValue = value;
    std::strncpy(item.stubName, name, sizeof item.stubName - 1);
    return item;
}

OrvaSimulateSensorItem *first_item(const OrvaSimulateRoot &root) {
    return root.sensorTree.first == nullptr ? nullptr
                                            : static_cast<OrvaSimulateSensorItem *>(root.sensorTree.first->self);
}

void remove_all(OrvaSimulateRoot &root) {
    while (const OrvaSimulateSensorItem *const item = first_item(root)) {
        const OrvaSimulateSensorReq req = sensor(item->key[0], item->key[1], item->key[2], item->key[3], 0);
        std::int32_t value = 0;
        ASSERT_EQ(ORVA_SimulateSensorDelItem(&root, &req, &value), 0u);
    }
}

// ---- Roots

TEST_F(Simulate, Roots_AreNullAtLoadAndAreInstalledApart) {
    EXPECT_EQ(g_orvaSimulate, nullptr);
    EXPECT_EQ(g_orvaAgentSimulate, nullptr);
    EXPECT_EQ(ORVA_simulateGetRoot(), nullptr);
    EXPECT_EQ(ORVA_simulateGetRootForAgent(), nullptr);

    OrvaSimulateRoot agent{};
    ORVA_simulateSetRoot(&root);
    EXPECT_EQ(ORVA_simulateGetRoot(), &root);
    EXPECT_EQ(g_orvaSimulate, &root);
    EXPECT_EQ(ORVA_simulateGetRootForAgent(), nullptr);
    ORVA_simulateSetRootForAgent(&agent);
    EXPECT_EQ(ORVA_simulateGetRootForAgent(), &agent);
    EXPECT_EQ(g_orvaAgentSimulate, &agent);
    EXPECT_EQ(ORVA_simulateGetRoot(), &root);

    ORVA_simulateSetRoot(nullptr);
    ORVA_simulateSetRootForAgent(nullptr);
    EXPECT_EQ(ORVA_simulateGetRoot(), nullptr);
    EXPECT_EQ(ORVA_simulateGetRootForAgent(), nullptr);
}

// ---- Stub list

TEST_F(Simulate, GetValue_FindsByTypeAndWholeName) {
    root.stubCount = 3;
    root.stubs[0] = stub(5, 50, "pmSwitch");
    root.stubs[1] = stub(0, -7, "pmSwitch");
    root.stubs[2] = stub(0, 8, "pmSwitch"); // the first match wins
    const struct {
        const char *name;
        std::uint32_t type, result;
        std::int32_t value;
    } cases[] = {
        {"pmSwitch", 5, 0, 50}, {"pmSwitch", 0, 0, -7},  {"pmSwitch", 1, 1, 99}, {"pmswitch", 0, 1, 99},
        {"pmSwitc", 0, 1, 99},  {"pmSwitch2", 0, 1, 99}, {"", 0, 1, 99},
    };
    for (const auto &c : cases) {
        std::int32_t value = 99;
        EXPECT_EQ(ORVA_simulateGetValue(&root, c.name, c.type, &value, 2), c.result) << c.name << " " << c.type;
        EXPECT_EQ(value, c.value) << c.name << " " << c.type;
    }
}

TEST_F(Simulate, GetValue_TypeAndNameMustBothMatch) {
    root.stubCount = 1;
    root.stubs[0] = stub(5, 50, "pmSwitch");
    std::uint32_t value = 99;
    EXPECT_EQ(ORVA_simulateGetValue(&root, "pmSwitch", 0, &value, 2), 1u);
    EXPECT_EQ(value, 99u);
}

TEST_F(Simulate, GetValue_NeedsARootAndEntries) {
    root.stubs[0] = stub(0, 50, "pmSwitch");
    std::uint32_t value = 99;
    EXPECT_EQ(ORVA_simulateGetValue(nullptr, "pmSwitch", 0, &value, 2), 2u);
    EXPECT_EQ(ORVA_simulateGetValue(&root, "pmSwitch", 0, &value, 2), 1u); // stubCount 0
    root.stubCount = 1;
    EXPECT_EQ(ORVA_simulateGetValue(&root, nullptr, 0, &value, 2), 1u);
    EXPECT_EQ(value, 99u);
    EXPECT_EQ(ORVA_simulateGetValue(&root, "pmSwitch", 0, &value, 2), 0u);
    EXPECT_EQ(value, 50u);
}

TEST_F(Simulate, GetValue_StoresAtTheWidth) {
    root.stubCount = 1;
    root.stubs[0] = stub(16, static_cast<std::int32_t>(0x81828384), "fanSpeedVal");
    const struct {
        std::uint32_t width;
        std::vector<std::uint8_t> expected;
    } cases[] = {{0, {0x84, 0xEE, 0xEE, 0xEE, 0xEE}},
                 {1, {0x84, 0x83, 0xEE, 0xEE, 0xEE}},
                 {2, {0x84, 0x83, 0x82, 0x81, 0xEE}},
                 {3, {0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
                 {0xFFFFFFFF, {0xEE, 0xEE, 0xEE, 0xEE, 0xEE}}};
    for (const auto &c : cases) {
        std::vector<std::uint8_t> odd(6, 0xEE); // the destination needs no alignment
        EXPECT_EQ(ORVA_simulateGetValue(&root, "fanSpeedVal", 16, odd.data() + 1, c.width), 0u) << c.width;
        EXPECT_EQ(std::vector<std::uint8_t>(odd.begin() + 1, odd.end()), c.expected) << c.width;
        EXPECT_EQ(odd[0], 0xEE);
    }
    EXPECT_EQ(ORVA_simulateGetValue(&root, "fanSpeedVal", 16, nullptr, 2), 0u);
}

TEST_F(Simulate, GetValue_LooksAtTheFirst32EntriesOnly) {
    for (std::uint32_t i = 0; i < 32; ++i) {
        root.stubs[i] = stub(i, static_cast<std::int32_t>(i), "x");
    }
    // What a 33rd entry would be if the list ran on: its type is made of the first four bytes of the pairs.
    root.boardOnline[0] = {77, 0};
    root.boardOnline[4] = {'x', 0};
    std::uint32_t value = 99;
    for (const std::uint32_t count : {33u, 40u, 0xFFFFFFFFu}) {
        root.stubCount = count;
        EXPECT_EQ(ORVA_simulateGetValue(&root, "x", 77, &value, 2), 1u) << count;
        EXPECT_EQ(value, 99u);
    }
    EXPECT_EQ(ORVA_simulateGetValue(&root, "x", 31, &value, 2), 0u);
    EXPECT_EQ(value, 31u);
    root.stubCount = 31;
    EXPECT_EQ(ORVA_simulateGetValue(&root, "x", 31, &value, 2), 1u);
}

TEST_F(Simulate, GetValue_ANameThatFillsItsFieldDoesNotRunOn) {
    root.stubCount = 2;
    std::memset(root.stubs[0].stubName, 'a', 32);
    root.stubs[1].stubType = 0x62626262; // "bbbb"
    std::uint32_t value = 99;
    EXPECT_EQ(ORVA_simulateGetValue(&root, std::string(32, 'a').append("bbbb").c_str(), 0, &value, 2), 1u);
    EXPECT_EQ(ORVA_simulateGetValue(&root, std::string(31, 'a').c_str(), 0, &value, 2), 1u);
    EXPECT_EQ(ORVA_simulateGetValue(&root, std::string(32, 'a').c_str(), 0, &value, 2), 0u);
}

// ---- Sensors

TEST_F(Simulate, SensorCompare_OrdersByTheFourKeyBytes) {
    constexpr struct {
        std::uint8_t a[4], b[4];
        std::int32_t expected;
    } kCases[] = {
        {{1, 9, 0, 0}, {2, 0, 0, 0}, -1}, {{2, 0, 0, 0}, {1, 9, 0, 0}, 1},    {{1, 2, 3, 4}, {1, 2, 3, 4}, 0},
        {{1, 1, 9, 9}, {1, 2, 0, 0}, -1}, {{1, 1, 1, 9}, {1, 1, 2, 0}, -1},   {{1, 1, 1, 1}, {1, 1, 1, 2}, -1},
        {{0, 0, 0, 0}, {0, 0, 0, 0}, 0},  {{0xFF, 0, 0, 0}, {1, 0, 0, 0}, 1}, {{1, 2, 3, 0xFF}, {1, 2, 3, 1}, 1},
    };
    for (const auto &c : kCases) {
        EXPECT_EQ(ORVA_simulateSensorCompare(c.a, c.b), c.expected);
        EXPECT_EQ(ORVA_simulateSensorCompare(c.b, c.a), -c.expected);
    }
    EXPECT_EQ(ORVA_simulateSensorCompare(nullptr, kCases[0].b), 1);
    EXPECT_EQ(ORVA_simulateSensorCompare(kCases[0].a, nullptr), 1);
    EXPECT_EQ(ORVA_simulateSensorCompare(nullptr, nullptr), 1);
    const MIRO_AVL_COMPARE compare = ORVA_simulateSensorCompare;
    EXPECT_EQ(compare(kCases[0].a, kCases[0].b), -1);
}

TEST_F(Simulate, AddItem_AllocatesAndFillsOneItem) {
    const OrvaSimulateSensorReq req = sensor(0x101, 0x202, 0x303, 0x404, 0x505); // the low 8 bits count
    ORVA_SimulateSensorAddItem(&root, &req, -50);
    ASSERT_EQ(root.sensorCount, 1u);
    ASSERT_EQ(platform().allocations.size(), 1u);
    EXPECT_EQ(platform().allocations[0].size, 56u);
    EXPECT_EQ(platform().allocations[0].file, kPath);
    EXPECT_EQ(platform().allocations[0].line, 99u);
    const OrvaSimulateSensorItem *const item = first_item(root);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->key[0], 1); // sensorType, slotId, keyExtra, sensorNum
    EXPECT_EQ(item->key[1], 2);
    EXPECT_EQ(item->key[2], 3);
    EXPECT_EQ(item->key[3], 4);
    EXPECT_EQ(item->sensorMask, 5);
    EXPECT_EQ(item->sensorValue, -50);
    EXPECT_EQ(item->node.self, item);
    EXPECT_EQ(item->node.key, item);
    remove_all(root);
}

TEST_F(Simulate, AddItem_AgainChangesTheMaskOnly) {
    const OrvaSimulateSensorReq first = sensor(1, 2, 0, 3, 0);
    const OrvaSimulateSensorReq again = sensor(1, 2, 0, 3, 0x101);
    ORVA_SimulateSensorAddItem(&root, &first, 50);
    ORVA_SimulateSensorAddItem(&root, &again, 70);
    EXPECT_EQ(root.sensorCount, 1u);
    EXPECT_EQ(orva_test::live_blocks(), 1u);
    EXPECT_EQ(first_item(root)->sensorValue, 50);
    EXPECT_EQ(first_item(root)->sensorMask, 1);
    remove_all(root);
}

TEST_F(Simulate, AddItem_StopsAt64ButStillUpdatesMasks) {
    for (std::uint32_t i = 0; i < 64; ++i) {
        const OrvaSimulateSensorReq req = sensor(1, i, 0, 0, 0);
        ORVA_SimulateSensorAddItem(&root, &req, 5);
        EXPECT_EQ(root.sensorCount, i + 1);
    }
    const OrvaSimulateSensorReq more = sensor(1, 64, 0, 0, 0);
    ORVA_SimulateSensorAddItem(&root, &more, 5);
    EXPECT_EQ(root.sensorCount, 64u);
    EXPECT_EQ(orva_test::live_blocks(), 64u);
    EXPECT_EQ(platform().allocations.size(), 64u);
    const OrvaSimulateSensorReq present = sensor(1, 0, 0, 0, 9);
    ORVA_SimulateSensorAddItem(&root, &present, 6);
    EXPECT_EQ(root.sensorCount, 64u);
    EXPECT_EQ(first_item(root)->sensorMask, 9);
    EXPECT_EQ(first_item(root)->sensorValue, 5);
    remove_all(root);
    EXPECT_EQ(root.sensorCount, 0u);
}

TEST_F(Simulate, AddItem_DoesNothingWithoutRootRequestOrMemory) {
    const OrvaSimulateSensorReq req = sensor(1, 2, 0, 3, 1);
    ORVA_SimulateSensorAddItem(nullptr, &req, 5);
    ORVA_SimulateSensorAddItem(&root, nullptr, 5);
    ORVA_SetMemHandle(0);
    ORVA_SimulateSensorAddItem(&root, &req, 5);
    ORVA_SetMemHandle(0x1234);
    EXPECT_EQ(root.sensorCount, 0u);
    EXPECT_EQ(first_item(root), nullptr);
    EXPECT_EQ(platform().allocations.size(), 0u);
    EXPECT_EQ(take_logs(), Texts{});
}

TEST_F(Simulate, AddItem_SurvivesEveryFailingAllocation) {
    const OrvaSimulateSensorReq req = sensor(1, 2, 0, 3, 1);
    const unsigned failures = orva_test::walk_allocation_failures([&] { ORVA_SimulateSensorAddItem(&root, &req, 5); },
                                                                  [&](unsigned) {
                                                                      EXPECT_EQ(root.sensorCount, 0u);
                                                                      EXPECT_EQ(first_item(root), nullptr);
                                                                      EXPECT_EQ(orva_test::live_blocks(), 0u);
                                                                  });
    EXPECT_EQ(failures, 1u);
    EXPECT_EQ(root.sensorCount, 1u);
    EXPECT_EQ(take_logs(), Texts{});
    remove_all(root);
}

TEST_F(Simulate, AddItem_FreesTheItemWhenAnEqualOneWasFaster) {
    OrvaSimulateSensorItem other{};
    platform().onAvlInsert = [&](MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) -> void * {
        EXPECT_EQ(tree, &root.sensorTree);
        const auto *const item = static_cast<const OrvaSimulateSensorItem *>(node->self);
        EXPECT_EQ(&item->node, node);
        EXPECT_EQ(node->key, item);
        EXPECT_EQ(item->sensorValue, 5);
        EXPECT_EQ(item->sensorMask, 0); // set after the insertion
        return &other;
    };
    const OrvaSimulateSensorReq req = sensor(1, 2, 0, 3, 7);
    ORVA_SimulateSensorAddItem(&root, &req, 5);
    EXPECT_EQ(root.sensorCount, 0u);
    EXPECT_EQ(other.sensorMask, 0);
    ASSERT_EQ(platform().frees.size(), 1u);
    EXPECT_EQ(platform().frees[0].file, kPath);
    EXPECT_EQ(platform().frees[0].line, 110u);
}

TEST_F(Simulate, DelItem_RemovesFreesAndReturnsTheValue) {
    const OrvaSimulateSensorReq one = sensor(1, 2, 0, 3, 1);
    const OrvaSimulateSensorReq two = sensor(1, 2, 0, 4, 1);
    ORVA_SimulateSensorAddItem(&root, &one, -50);
    ORVA_SimulateSensorAddItem(&root, &two, 60);
    const OrvaSimulateSensorReq highBits = sensor(0x101, 0x102, 0x100, 0x103, 0x55);
    std::int32_t value = 99;
    EXPECT_EQ(ORVA_SimulateSensorDelItem(&root, &highBits, &value), 0u);
    EXPECT_EQ(value, -50);
    EXPECT_EQ(root.sensorCount, 1u);
    EXPECT_EQ(first_item(root)->key[3], 4);
    ASSERT_EQ(platform().frees.size(), 1u);
    EXPECT_EQ(platform().frees[0].size, 56u);
    EXPECT_EQ(platform().frees[0].file, kPath);
    EXPECT_EQ(platform().frees[0].line, 142u);
    remove_all(root);
}

TEST_F(Simulate, DelItem_NamesWhatIsMissing) {
    const OrvaSimulateSensorReq present = sensor(1, 2, 0, 3, 1);
    const OrvaSimulateSensorReq absent = sensor(1, 2, 1, 3, 1);
    ORVA_SimulateSensorAddItem(&root, &present, 50);
    std::int32_t value = 99;
    EXPECT_EQ(ORVA_SimulateSensorDelItem(nullptr, &present, &value), ORVA_ERR_SIMULATE_NULL_ROOT);
    EXPECT_EQ(ORVA_SimulateSensorDelItem(nullptr, &present, nullptr), ORVA_ERR_SIMULATE_NULL_ROOT);
    EXPECT_EQ(ORVA_SimulateSensorDelItem(&root, &present, nullptr), ORVA_ERR_SIMULATE_NULL_VALUE);
    EXPECT_EQ(ORVA_SimulateSensorDelItem(&root, &absent, &value), ORVA_ERR_SIMULATE_NO_SENSOR);
    EXPECT_EQ(ORVA_SimulateSensorDelItem(&root, nullptr, &value), ORVA_ERR_SIMULATE_NO_SENSOR);
    EXPECT_EQ(value, 99);
    EXPECT_EQ(root.sensorCount, 1u);
    EXPECT_EQ(platform().frees.size(), 0u);
    EXPECT_EQ(take_logs(), Texts{});
    remove_all(root);
}

// ---- Dump

const std::string kHead = "PLog(0x1, orva, 0x10000, 0x0) ";
const std::string kSensorBegin = kHead + "ORVA simulate sensor local data begin";
const std::string kSensorEnd = kHead + "ORVA simulate sensor local data end";
const std::string kStubBegin = kHead + "ORVA simulate stub local data begin";
const std::string kStubEnd = kHead + "ORVA simulate stub local data end";

TEST_F(Simulate, PrintLocal_OfNullWritesNothingAndOfAnEmptyRootTheFrame) {
    ORVA_SimulatePrintLocal(nullptr);
    EXPECT_EQ(take_logs(), Texts{});
    ORVA_SimulatePrintLocal(&root);
    EXPECT_EQ(take_logs(), (Texts{kSensorBegin, kSensorEnd, kStubBegin, kStubEnd}));
}

TEST_F(Simulate, PrintLocal_WritesSensorsInOrderAndStubs) {
    const OrvaSimulateSensorReq late = sensor(2, 0, 7, 1, 1);
    const OrvaSimulateSensorReq early = sensor(1, 9, 7, 255, 254);
    ORVA_SimulateSensorAddItem(&root, &late, 40);
    ORVA_SimulateSensorAddItem(&root, &early, -5);
    root.stubCount = 2;
    root.stubs[0] = stub(16, 1500, "fanSpeedVal");
    root.stubs[1] = stub(4000000000u, -1, "3_1_pmSwitch");
    ORVA_SimulatePrintLocal(&root);
    EXPECT_EQ(platform().formats,
              (Texts{"ORVA simulate sensor local data begin",
                     "sensorType:%u slotId:%u, sensorNum:%u sensorMask:%u sensorValue:%d",
                     "sensorType:%u slotId:%u, sensorNum:%u sensorMask:%u sensorValue:%d",
                     "ORVA simulate sensor local data end", "ORVA simulate stub local data begin",
                     "stubType:%u stubValue:%d, stubName:%s", "stubType:%u stubValue:%d, stubName:%s",
                     "ORVA simulate stub local data end"}));
    EXPECT_EQ(take_logs(),
              (Texts{kSensorBegin, kHead + "sensorType:1 slotId:9, sensorNum:255 sensorMask:254 sensorValue:-5",
                     kHead + "sensorType:2 slotId:0, sensorNum:1 sensorMask:1 sensorValue:40", kSensorEnd, kStubBegin,
                     kHead + "stubType:16 stubValue:1500, stubName:fanSpeedVal",
                     kHead + "stubType:4000000000 stubValue:-1, stubName:3_1_pmSwitch", kStubEnd}));
    remove_all(root);
}

TEST_F(Simulate, PrintLocal_WritesAtMostSensorCountItems) {
    for (std::uint32_t i = 0; i < 3; ++i) {
        const OrvaSimulateSensorReq req = sensor(1, i, 0, 0, 0);
        ORVA_SimulateSensorAddItem(&root, &req, 5);
    }
    root.sensorCount = 2;
    ORVA_SimulatePrintLocal(&root);
    EXPECT_EQ(take_logs().size(), 4u + 2u);
    root.sensorCount = 9; // more than there are
    ORVA_SimulatePrintLocal(&root);
    EXPECT_EQ(take_logs().size(), 4u + 3u);
    root.sensorCount = 3;
    remove_all(root);
}

TEST_F(Simulate, PrintLocal_WritesEveryCountedStubEvenPastTheList) {
    // A root in front of enough memory for 40 entries; entries 32 and 33 lie over the pairs, the count and the tree.
    struct Long {
        OrvaSimulateRoot root;
        char after[400];
    };
    const auto memory = std::make_unique<Long>();
    std::memset(static_cast<void *>(memory.get()), 0, sizeof(Long));
    auto *const list = reinterpret_cast<char *>(memory.get()) + offsetof(OrvaSimulateRoot, stubs);
    const auto put = [&](std::size_t index, const OrvaStubItem &item) {
        std::memcpy(list + index * sizeof item, &item, sizeof item);
    };
    for (std::size_t i = 0; i < 32; ++i) {
        put(i, stub(static_cast<std::uint32_t>(i), 1, "in"));
    }
    for (std::size_t i = 34; i < 40; ++i) {
        put(i, stub(static_cast<std::uint32_t>(i), -1, ""));
    }
    const OrvaStubItem last = stub(39, 7, "last");
    put(39, last);
    // Entry 34 begins inside the tree's record; the tree is empty here.
    memory->root.sensorTree.first = nullptr;
    memory->root.sensorCount = 0;
    memory->root.stubCount = 40;
    ORVA_SimulatePrintLocal(&memory->root);
    const Texts logs = take_logs();
    ASSERT_EQ(logs.size(), 4u + 40u);
    EXPECT_EQ(logs[3], kHead + "stubType:0 stubValue:1, stubName:in");
    EXPECT_EQ(logs[34], kHead + "stubType:31 stubValue:1, stubName:in");
    EXPECT_EQ(logs[42], kHead + "stubType:39 stubValue:7, stubName:last");
    EXPECT_EQ(logs[43], kStubEnd);
}

} // namespace
