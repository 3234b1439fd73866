// Simulation roots: the two installed pointers, the stub-list look-up, the set of simulated sensors and the dump. The
// roots belong to the programs that install them; only sensor items are allocated here.
#include "orva_simulate_comm.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "bytes.h"
#include "log_record.h"
#include "orva_api_stub.h"
#include "partition_memory.h"

OrvaSimulateRoot *g_orvaSimulate = nullptr;
OrvaSimulateRoot *g_orvaAgentSimulate = nullptr;

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_simulate_comm");

// Call-site numbers of the items in the platform's leak reports.
constexpr std::uint32_t kAddLine = 99;
constexpr std::uint32_t kAddLostLine = 110;
constexpr std::uint32_t kDeleteLine = 142;

struct SensorKey {
    std::uint8_t bytes[4];
};

SensorKey key_of(const OrvaSimulateSensorReq &req) {
    return {{static_cast<std::uint8_t>(req.sensorType), static_cast<std::uint8_t>(req.slotId),
             static_cast<std::uint8_t>(req.keyExtra), static_cast<std::uint8_t>(req.sensorNum)}};
}

OrvaSimulateSensorItem *find_sensor(OrvaSimulateRoot *root, const SensorKey &key) {
    return static_cast<OrvaSimulateSensorItem *>(MIRO_AVL_Find(&root->sensorTree, key.bytes));
}

// The item's memory is zeroed, so the links of its node are null already.
void fill_item(OrvaSimulateSensorItem *item, const SensorKey &key, std::int32_t value) {
    std::memcpy(item->key, key.bytes, sizeof item->key);
    item->sensorValue = value;
    item->node.leftHeight = -1;
    item->node.rightHeight = -1;
    item->node.self = item;
    item->node.key = item;
}

// A name that fills its field has no zero; it never runs on into the next entry.
bool is_named(const OrvaStubItem &stub, const char *name) {
    const std::size_t length = strnlen(stub.stubName, sizeof stub.stubName);
    return std::strlen(name) == length && std::memcmp(stub.stubName, name, length) == 0;
}

void print_sensors(const OrvaSimulateRoot *root) {
    const MIRO_AVL_NODE *const first = root->sensorTree.first;
    auto *item = static_cast<OrvaSimulateSensorItem *>(first == nullptr ? nullptr : first->self);
    for (std::uint32_t i = 0; i < root->sensorCount && item != nullptr; ++i) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone,
                         "sensorType:%u slotId:%u, sensorNum:%u sensorMask:%u sensorValue:%d", item->key[0],
                         item->key[1], item->key[3], item->sensorMask, item->sensorValue);
        item = static_cast<OrvaSimulateSensorItem *>(MIRO_AVL_Next(&item->node));
    }
}

// Compat: texts that others parse. The dump prints every counted entry, also those past the list; they are reached by
// address.
void print_stubs(const OrvaSimulateRoot *root) {
    const char *entry = reinterpret_cast<const char *>(root) + offsetof(OrvaSimulateRoot, stubs);
    for (std::uint32_t i = 0; i < root->stubCount; ++i, entry += sizeof(OrvaStubItem)) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone, "stubType:%u stubValue:%d, stubName:%s",
                         orva::load_host<std::uint32_t>(entry + offsetof(OrvaStubItem, stubType)),
                         orva::load_host<std::int32_t>(entry + offsetof(OrvaStubItem, stubValue)),
                         entry + offsetof(OrvaStubItem, stubName));
    }
}

} // namespace

void ORVA_simulateSetRoot(OrvaSimulateRoot *root) {
    g_orvaSimulate = root;
}

OrvaSimulateRoot *ORVA_simulateGetRoot(void) {
    return g_orvaSimulate;
}

void ORVA_simulateSetRootForAgent(OrvaSimulateRoot *root) {
    g_orvaAgentSimulate = root;
}

OrvaSimulateRoot *ORVA_simulateGetRootForAgent(void) {
    return g_orvaAgentSimulate;
}

std::uint32_t ORVA_simulateGetValue(const OrvaSimulateRoot *root, const char *name, std::uint32_t stubType, void *dst,
                                    std::uint32_t widthCode) {
    if (root == nullptr) {
        return ORVA_SIMULATE_NO_ROOT;
    }
    if (name == nullptr) {
        return ORVA_SIMULATE_NOT_SET;
    }
    const OrvaStubItem *const end = root->stubs + std::min(root->stubCount, ORVA_SIMULATE_STUBS);
    const OrvaStubItem *const stub = std::find_if(root->stubs, end, [&](const OrvaStubItem &entry) {
        return entry.stubType == stubType && is_named(entry, name);
    });
    if (stub == end) {
        return ORVA_SIMULATE_NOT_SET;
    }
    ORVA_STUB_GetCaseValue(stubType, dst, widthCode, stub->stubValue);
    return ORVA_OK;
}

std::int32_t ORVA_simulateSensorCompare(const void *keyA, const void *keyB) {
    if (keyA == nullptr || keyB == nullptr) {
        return 1;
    }
    const std::uint32_t a = orva::load_be32(keyA);
    const std::uint32_t b = orva::load_be32(keyB);
    return a > b ? 1 : a < b ? -1 : 0;
}

void ORVA_SimulateSensorAddItem(OrvaSimulateRoot *root, const OrvaSimulateSensorReq *req, std::int32_t value) {
    if (root == nullptr || req == nullptr) {
        return;
    }
    const SensorKey key = key_of(*req);
    if (OrvaSimulateSensorItem *const present = find_sensor(root, key); present != nullptr) {
        // Compat: callers' code. A sensor that is present keeps its value.
        present->sensorMask = static_cast<std::uint8_t>(req->sensorMask);
        return;
    }
    if (root->sensorCount >= ORVA_SIMULATE_SENSORS) {
        return;
    }
    auto *const item = static_cast<OrvaSimulateSensorItem *>(
        orva::partition_allocate(kArea, sizeof(OrvaSimulateSensorItem), kAddLine));
    if (item == nullptr) {
        return;
    }
    fill_item(item, key, value);
    if (MIRO_AVL_Insert_Or_Find(&root->sensorTree, &item->node) != nullptr) {
        orva::partition_free(kArea, item, kAddLostLine);
        return;
    }
    ++root->sensorCount;
    item->sensorMask = static_cast<std::uint8_t>(req->sensorMask);
}

std::uint32_t ORVA_SimulateSensorDelItem(OrvaSimulateRoot *root, const OrvaSimulateSensorReq *req,
                                         std::int32_t *oldValue) {
    if (root == nullptr) {
        return ORVA_ERR_SIMULATE_NULL_ROOT;
    }
    if (oldValue == nullptr) {
        return ORVA_ERR_SIMULATE_NULL_VALUE;
    }
    if (req == nullptr) {
        return ORVA_ERR_SIMULATE_NO_SENSOR;
    }
    OrvaSimulateSensorItem *const item = find_sensor(root, key_of(*req));
    if (item == nullptr) {
        return ORVA_ERR_SIMULATE_NO_SENSOR;
    }
    MIRO_AVL_Delete(&root->sensorTree, &item->node);
    *oldValue = item->sensorValue;
    orva::partition_free(kArea, item, kDeleteLine);
    --root->sensorCount;
    return ORVA_OK;
}

void ORVA_SimulatePrintLocal(const OrvaSimulateRoot *root) {
    if (root == nullptr) {
        return;
    }
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone, "ORVA simulate sensor local data begin");
    print_sensors(root);
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone, "ORVA simulate sensor local data end");
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone, "ORVA simulate stub local data begin");
    print_stubs(root);
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone, "ORVA simulate stub local data end");
}
