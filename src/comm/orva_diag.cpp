// Owns the diagnostic manager: which records are let through, its clock, its summaries; and the form of a diagnostic
// record. Knows nothing of what a record means.
//
// The trees are the platform's and are changed with the mutex held, but read without it. So that no reader ever meets
// a tree in change, a thread marks itself before it leaves the mutex to look an item up, and an insertion waits, with
// the mutex held, until every mark is gone.
#include "orva_diag.h"

#include <cstdarg>
#include <cstdint>
#include <pthread.h>

#include "log_record.h"
#include "lookup_marks.h"
#include "mutex_scope.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "orva_util.h"
#include "partition_memory.h"
#include "relaxed.h"
#include "safeio.h"

using orva::MutexScope;
using orva::relaxed_increment;
using orva::relaxed_load;
using orva::relaxed_store;

OrvaDiagMgr *g_orvaDiagMgr;

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_diag");

// Lines under which allocations, frees and messages of this area are known.
constexpr std::uint32_t kItemLine = 81;
constexpr std::uint32_t kDuplicateItemLine = 89;
constexpr std::uint32_t kNodeLine = 111;
constexpr std::uint32_t kFileNameLine = 120;
constexpr std::uint32_t kWrapLine = 346;
constexpr std::uint32_t kSizeLine = 347;
constexpr std::uint32_t kRecordLine = 443;

constexpr std::size_t kRecordTextSize = 512; // the caller's text of a record
constexpr std::size_t kRecordSize = 592;     // with the position
constexpr std::uint32_t kSummaryWord3 = 1;
constexpr std::uint32_t kThreadParam = 0x10000;
constexpr std::uint32_t kLastZone = ORVA_DIAG_ZONES - 1;
constexpr std::uint32_t kThreadCapabilities[] = {17, 21};

void count_failure(OrvaDiagMgr *manager, std::uint32_t line) {
    if (manager != nullptr) {
        relaxed_increment(&manager->uiErrCount);
        relaxed_store(&manager->uiErrLine, line);
    }
}

orva::LookupMarks g_lookups; // threads that look an item up

OrvaDiagItem *find_item(OrvaDiagNode &node, std::uint32_t keyId) {
    return static_cast<OrvaDiagItem *>(MIRO_AVL_Find(&node.tree, &keyId));
}

// Finds an item outside the mutex that `lock` holds; with every mark taken, inside it.
OrvaDiagItem *find_item_unlocked(OrvaDiagNode &node, std::uint32_t keyId, MutexScope &lock) {
    std::uint8_t *mark = g_lookups.begin();
    if (mark == nullptr) {
        return find_item(node, keyId);
    }
    lock.release();
    OrvaDiagItem *item = find_item(node, keyId);
    orva::LookupMarks::end(mark);
    return item;
}

// ---- Nodes and items

// The place of an id in the node table, or null when it is not covered.
OrvaDiagNode **node_place(OrvaDiagMgr &manager, std::uint32_t diagId) {
    if (diagId < manager.baseDiagId || diagId - manager.baseDiagId >= manager.nodeCount) {
        return nullptr;
    }
    return &manager.nodes[diagId - manager.baseDiagId];
}

OrvaDiagNode *make_node(std::uint32_t diagId, const char *file, std::uint32_t line) {
    auto node = orva::make_partition<OrvaDiagNode>(kArea, kNodeLine);
    if (node == nullptr) {
        return nullptr;
    }
    node->diagId = diagId;
    node->line = line;
    if (file != nullptr) {
        const int result = strcpy_s(node->file, sizeof node->file, file);
        if (result != 0) {
            orva::log_strcpy_error(kArea, result, kFileNameLine);
        }
    }
    node->file[sizeof node->file - 1] = '\0';
    node->tree = {.compare = ORVA_DiagTreeKeyCompare, .root = nullptr, .first = nullptr, .last = nullptr};
    return node.release();
}

OrvaDiagItem *make_item(std::uint32_t keyId) {
    auto *item = static_cast<OrvaDiagItem *>(orva::partition_allocate(kArea, sizeof(OrvaDiagItem), kItemLine));
    if (item != nullptr) {
        item->keyId = keyId;
        item->link.leftHeight = -1;
        item->link.rightHeight = -1;
        item->link.self = item;
        item->link.key = &item->keyId;
    }
    return item;
}

// Adds the first record's item of a key. Kept: an equal item that came first is not returned.
OrvaDiagItem *add_item(OrvaDiagMgr *manager, OrvaDiagNode &node, std::uint32_t keyId) {
    OrvaDiagItem *item = make_item(keyId);
    if (item == nullptr) {
        return nullptr;
    }
    MutexScope lock(manager == nullptr ? nullptr : manager->mutex);
    g_lookups.wait_until_none();
    if (MIRO_AVL_Insert_Or_Find(&node.tree, &item->link) != nullptr) {
        lock.release();
        orva::partition_free(kArea, item, kDuplicateItemLine);
        count_failure(manager, ORVA_DIAG_ERR_LINE_DUPLICATE);
        return nullptr;
    }
    relaxed_increment(&node.itemCount);
    return item;
}

// Calls `visit` for a node's items, ascending by key, at most itemCount of them. The mutex is held.
template <typename Visit>
void for_each_item(const OrvaDiagNode &node, Visit visit) {
    MIRO_AVL_NODE *first = node.tree.first;
    auto *item = first == nullptr ? nullptr : static_cast<OrvaDiagItem *>(first->self);
    for (std::uint32_t i = 0; i < node.itemCount && item != nullptr; ++i) {
        visit(*item);
        item = static_cast<OrvaDiagItem *>(MIRO_AVL_Next(&item->link));
    }
}

} // namespace

OrvaDiagNode *ORVA_DiagMgrGetNode(uint32_t diagId, const char *file, uint32_t line) {
    OrvaDiagNode **place = g_orvaDiagMgr == nullptr ? nullptr : node_place(*g_orvaDiagMgr, diagId);
    if (place != nullptr && *place == nullptr) {
        *place = make_node(diagId, file, line);
    }
    return place == nullptr ? nullptr : *place;
}

OrvaDiagItem *ORVA_DiagMgrGetItem(uint32_t keyId, OrvaDiagNode *node) {
    OrvaDiagMgr *manager = g_orvaDiagMgr;
    if (node == nullptr) {
        return nullptr;
    }
    MutexScope lock(manager == nullptr ? nullptr : manager->mutex);
    OrvaDiagItem *item = find_item_unlocked(*node, keyId, lock);
    lock.release();
    return item != nullptr ? item : add_item(manager, *node, keyId);
}

int32_t ORVA_DiagTreeKeyCompare(const void *a, const void *b) {
    if (a == nullptr || b == nullptr) {
        return 1;
    }
    const std::uint32_t left = *static_cast<const std::uint32_t *>(a);
    const std::uint32_t right = *static_cast<const std::uint32_t *>(b);
    return left == right ? 0 : left > right ? 1 : -1;
}

// ---- Decision

namespace {

struct Place {
    OrvaDiagNode *node; // null: no such node
    OrvaDiagItem *item; // null: the key's first record
    std::uint32_t zone;
};

Place look_up(OrvaDiagMgr &manager, std::uint32_t diagId, std::uint32_t keyId, const char *file, std::uint32_t line) {
    MutexScope lock(manager.mutex);
    OrvaDiagNode **place = node_place(manager, diagId);
    OrvaDiagNode *node = place == nullptr ? nullptr : *place;
    const std::uint32_t zone = manager.curZone;
    if (node == nullptr || relaxed_load(&node->itemCount) == 0) [[unlikely]] {
        return {ORVA_DiagMgrGetNode(diagId, file, line), nullptr, zone};
    }
    return {node, find_item_unlocked(*node, keyId, lock), zone};
}

void keep_text(OrvaDiagMgr *manager, OrvaDiagNode &node, const char *format, va_list args) {
    char text[sizeof node.text] = {};
    if (vsnprintf_s(text, sizeof text, sizeof text - 1, format, args) < 1) {
        count_failure(manager, ORVA_DIAG_ERR_LINE_NO_TEXT);
    }
    const MutexScope lock(manager->mutex);
    __builtin_memcpy(node.text, text, sizeof text);
}

// The item of a key's first record, or null when the record cannot be counted.
OrvaDiagItem *first_record(OrvaDiagMgr *manager, OrvaDiagNode *node, std::uint32_t keyId, const char *format,
                           va_list args) {
    if (node == nullptr) {
        count_failure(manager, ORVA_DIAG_ERR_LINE_NO_NODE);
        return nullptr;
    }
    if (relaxed_load(&node->itemCount) == 0) {
        keep_text(manager, *node, format, args);
    }
    OrvaDiagItem *item = ORVA_DiagMgrGetItem(keyId, node);
    if (item == nullptr) {
        count_failure(manager, ORVA_DIAG_ERR_LINE_NO_ITEM);
    }
    return item;
}

// Counts a record that is let through, unless the hour's quota is spent.
bool take_from_quota(OrvaDiagItem &item, std::uint32_t zone) {
    std::uint32_t taken = relaxed_load(&item.successNum);
    do {
        if (taken >= ORVA_DIAG_MAX_RECORDS) {
            return false;
        }
    } while (
        !__atomic_compare_exchange_n(&item.successNum, &taken, taken + 1, true, __ATOMIC_RELAXED, __ATOMIC_RELAXED));
    if (zone <= kLastZone) {
        relaxed_increment(&item.zone[zone]);
    }
    return true;
}

} // namespace

uint32_t ORVA_DiagMgrNeedRestrain(uint32_t diagId, uint32_t keyId, const char *file, uint32_t line,
                                  const char *format, ...) {
    OrvaDiagMgr *manager = g_orvaDiagMgr;
    if (manager == nullptr || relaxed_load(&manager->uiSwitch) == 0) {
        return 0;
    }
    const Place place = look_up(*manager, diagId, keyId, file, line);
    OrvaDiagItem *item = place.item;
    if (item == nullptr) [[unlikely]] {
        va_list args;
        va_start(args, format);
        item = first_record(manager, place.node, keyId, format, args);
        va_end(args);
        if (item == nullptr) {
            return 0;
        }
    }
    if (take_from_quota(*item, place.zone)) {
        return 0;
    }
    relaxed_increment(&item->dropNum);
    return 1;
}

// ---- Records

uint32_t ORVA_DIAGLOG(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format, ...) {
    char text[kRecordTextSize] = {};
    va_list args;
    va_start(args, format);
    const int length = vsnprintf_s(text, sizeof text, sizeof text - 1, format, args);
    va_end(args);
    if (length < 1) {
        return ORVA_FAILED;
    }
    const std::uint32_t chassis = ORVA_DRVADP_GetSelfChassisVar();
    const std::uint32_t slot = ORVA_DRVADP_GetSelfSlotVar();
    char record[kRecordSize] = {};
    const int result = chassis == 0 ? sprintf_s(record, sizeof record, "[Position: -/%u]%s", slot, text)
                                    : sprintf_s(record, sizeof record, "[Position: %u/%u]%s", chassis, slot, text);
    if (result < 0) {
        orva::log_sprintf_error(kArea, result, kRecordLine);
        return ORVA_FAILED;
    }
    return TOVA_DLog(a1, a2, a3, a4, a5, "%s", record);
}

// ---- Start

namespace {

std::size_t manager_size(std::uint32_t count) {
    return sizeof(OrvaDiagMgr) + std::size_t{count} * sizeof(OrvaDiagNode *);
}

// Makes the manager, switched off.
std::uint32_t make_manager(std::uint32_t count, std::uint32_t baseDiagId, std::uint32_t noMemory,
                           std::uint32_t noMutex) {
    auto *manager = static_cast<OrvaDiagMgr *>(orva::partition_allocate(kArea, manager_size(count)));
    if (manager == nullptr) {
        return noMemory;
    }
    manager->nodeCount = count;
    manager->baseDiagId = baseDiagId;
    if (ORVA_CreatMutex(ORVA_DIAG_MUTEX_TAG, &manager->mutex) != ORVA_OK) {
        orva::partition_free(kArea, manager);
        return noMutex;
    }
    g_orvaDiagMgr = manager;
    return ORVA_OK;
}

// The mutex leaves the table of synchronisation objects too: its memory is used for something else afterwards.
void unmake_manager() {
    OrvaDiagMgr *manager = g_orvaDiagMgr;
    g_orvaDiagMgr = nullptr;
    OrvaSemEntry *entry = ORVA_FindSemById(reinterpret_cast<std::uintptr_t>(manager->mutex));
    if (entry != nullptr) {
        *entry = {};
    }
    pthread_mutex_destroy(static_cast<pthread_mutex_t *>(manager->mutex));
    orva::partition_free(kArea, manager->mutex);
    orva::partition_free(kArea, manager);
}

void timer_task(void *) {
    ORVA_DiagMgrTimerThread();
}

} // namespace

uint32_t ORVA_DiagMgrInit(uint32_t count, uint32_t baseDiagId) {
    if (g_orvaDiagMgr != nullptr) {
        return ORVA_OK;
    }
    const bool single = ORVA_GetSingleProcess() != 0;
    const std::uint32_t covered = single && count < ORVA_DIAG_MAX_NODES ? count : ORVA_DIAG_MAX_NODES;
    const std::uint32_t result =
        make_manager(covered, single ? baseDiagId : 0, ORVA_ERR_DIAG_MGR_MEMORY, ORVA_ERR_DIAG_MGR_MUTEX);
    if (result != ORVA_OK) {
        return result;
    }
    std::uint32_t taskId = 0;
    if (ORVA_CreatThreadNew(timer_task, nullptr, "OrvaDiagThread", kThreadParam, &taskId) != 0) {
        unmake_manager();
        return ORVA_ERR_DIAG_MGR_THREAD;
    }
    ORVA_DiagMgrSwitchOn();
    return ORVA_OK;
}

uint32_t ORVA_DiagInit(uint32_t count, uint32_t baseDiagId) {
    if (g_orvaDiagMgr != nullptr) {
        return ORVA_OK;
    }
    // Kept: this test is made in 32 bits, the next one in 64.
    constexpr auto kHead = static_cast<std::uint32_t>(sizeof(OrvaDiagMgr));
    if (count * static_cast<std::uint32_t>(sizeof(OrvaDiagNode *)) == UINT32_MAX - kHead + 1) {
        orva::log_check_true_error(kWrapLine);
        return ORVA_ERR_DIAG_INIT_WRAP;
    }
    if (manager_size(count) > ORVA_DIAG_MAX_SIZE) {
        orva::log_check_true_error(kSizeLine);
        return ORVA_ERR_DIAG_INIT_SIZE;
    }
    const std::uint32_t result = make_manager(count, baseDiagId, ORVA_ERR_DIAG_INIT_MEMORY, ORVA_ERR_DIAG_INIT_MUTEX);
    if (result == ORVA_OK) {
        ORVA_DiagMgrSwitchOn();
    }
    return result;
}

void ORVA_DiagMgrSwitchOn(void) {
    if (g_orvaDiagMgr != nullptr) {
        relaxed_store(&g_orvaDiagMgr->uiSwitch, 1);
    }
}

void ORVA_DiagMgrSwitchOff(void) {
    if (g_orvaDiagMgr != nullptr) {
        relaxed_store(&g_orvaDiagMgr->uiSwitch, 0);
    }
}

// ---- Clock

namespace {

void close_zone(const OrvaDiagMgr &manager, const OrvaDiagNode &node, OrvaDiagItem &item) {
    if (relaxed_load(&manager.startTime) >= ORVA_DIAG_HOUR_SECONDS) {
        ORVA_DiagMgrTimerOutput(&node, &item);
    }
    std::uint32_t sum = 0;
    for (std::uint32_t zone = 0; zone < ORVA_DIAG_ZONES; ++zone) {
        if (zone == manager.curZone) {
            relaxed_store(&item.zone[zone], 0);
        } else {
            sum += relaxed_load(&item.zone[zone]);
        }
    }
    relaxed_store(&item.successNum, sum);
}

} // namespace

void ORVA_DiagMgrTimerOutput(const OrvaDiagNode *node, OrvaDiagItem *item) {
    if (node == nullptr || item == nullptr || relaxed_load(&item->dropNum) == 0) {
        return;
    }
    const std::uint32_t dropped = __atomic_exchange_n(&item->dropNum, 0u, __ATOMIC_RELAXED);
    ORVA_DIAGLOG(0, orva::kDiagCode, kSummaryWord3, 0, 0,
                 "[OrvaDiagMgr] DiagID:%u drop: %u logs in a hour. keyID: %u format: %s", node->diagId, dropped,
                 item->keyId, node->text);
}

void ORVA_DiagMgrTimerProcItem(const OrvaDiagNode *node, OrvaDiagItem *item) {
    if (g_orvaDiagMgr != nullptr && node != nullptr && item != nullptr) {
        close_zone(*g_orvaDiagMgr, *node, *item);
    }
}

void ORVA_DiagMgrTimerProcNode(void) {
    const OrvaDiagMgr *manager = g_orvaDiagMgr;
    if (manager == nullptr) {
        return;
    }
    for (std::uint32_t i = 0; i < manager->nodeCount; ++i) {
        const OrvaDiagNode *node = manager->nodes[i];
        if (node != nullptr) {
            for_each_item(*node, [&](OrvaDiagItem &item) { close_zone(*manager, *node, item); });
        }
    }
}

void ORVA_DiagMgrTimerSchdule(void) {
    OrvaDiagMgr *manager = g_orvaDiagMgr;
    if (manager == nullptr) {
        return;
    }
    const std::uint32_t now = relaxed_load(&manager->startTime) + 1;
    relaxed_store(&manager->startTime, now);
    if (now % ORVA_DIAG_ZONE_SECONDS != 0) {
        return;
    }
    const MutexScope lock(manager->mutex);
    manager->curZone = manager->curZone < kLastZone ? manager->curZone + 1 : 0;
    ORVA_DiagMgrTimerProcNode();
    if (now >= ORVA_DIAG_HOUR_SECONDS) {
        relaxed_store(&manager->startTime, 0);
    }
}

void ORVA_DiagMgrTimerThread(void) {
    for (const std::uint32_t capability : kThreadCapabilities) {
        ORVA_DeleteCap(0, capability);
    }
    for (;;) {
        MIRO_DeadLoopTaskCheckBegin();
        if (ORVA_GetSingleProcess() == 1) {
            ORVA_DiagMgrTimerSchdule();
        }
        MIRO_DeadLoopTaskCheckEnd();
        ORVA_SafeSleep(ORVA_DIAG_THREAD_MS);
    }
}

// ---- Dump

#define LOG_DUMP(text, ...) ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, 0, text __VA_OPT__(, ) __VA_ARGS__)

namespace {

void dump_item(const OrvaDiagItem &item) {
    std::uint32_t zone[ORVA_DIAG_ZONES];
    for (std::uint32_t i = 0; i < ORVA_DIAG_ZONES; ++i) {
        zone[i] = relaxed_load(&item.zone[i]);
    }
    LOG_DUMP("    KeyID:%u SuccessNum:%u, dropNum:%u [%2u %2u %2u %2u %2u %2u %2u %2u %2u %2u %2u %2u %2u]",
             item.keyId, relaxed_load(&item.successNum), relaxed_load(&item.dropNum), zone[0], zone[1], zone[2],
             zone[3], zone[4], zone[5], zone[6], zone[7], zone[8], zone[9], zone[10], zone[11], zone[12]);
}

} // namespace

void ORVA_DiagMgrPrintLocalData(void) {
    const OrvaDiagMgr *manager = g_orvaDiagMgr;
    if (manager == nullptr) {
        return;
    }
    const MutexScope lock(manager->mutex);
    LOG_DUMP("OrvaDiagMgr uiSwitch:%u, nodeCount:%u, curZone:%u, uiErrCount:%u uiErrLine:%u startTime:%u",
             relaxed_load(&manager->uiSwitch), manager->nodeCount, manager->curZone,
             relaxed_load(&manager->uiErrCount), relaxed_load(&manager->uiErrLine),
             relaxed_load(&manager->startTime));
    for (std::uint32_t i = 0; i < manager->nodeCount; ++i) {
        const OrvaDiagNode *node = manager->nodes[i];
        if (node != nullptr) {
            LOG_DUMP("%s:%d diagId:%u %s", node->file, static_cast<int>(node->line), node->diagId, node->text);
            for_each_item(*node, dump_item);
        }
    }
    LOG_DUMP("OrvaDiagMgr local data end.");
}
