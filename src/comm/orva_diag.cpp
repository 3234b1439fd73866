// The diagnostic manager's nodes and items, and the decision whether a record is let through. Knows nothing of what a
// record means, and nothing of the clock.
//
// The trees are the platform's. They are changed with the mutex held and read without it; docs/decisions-diag.md says
// why that is safe.
#include "orva_diag.h"

#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <pthread.h>
#include <sched.h>

#include "diag_lock.h"
#include "log_record.h"
#include "lookup_marks.h"
#include "mutex_scope.h"
#include "orva_comm.h"
#include "partition_memory.h"
#include "relaxed.h"
#include "safeio.h"

using orva::DiagLock;
using orva::DiagMutex;
using orva::DiagPlace;
using orva::DiagPlaceScope;
using orva::relaxed_increment;
using orva::relaxed_load;
using orva::relaxed_store;

OrvaDiagMgr *g_orvaDiagMgr;

namespace orva {
constinit thread_local DiagPlace t_diagPlace = DiagPlace::kOutside;
}

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_diag");

// Call-site numbers that leak reports and log records carry. They are fixed, not __LINE__.
constexpr std::uint32_t kItemLine = 81;
constexpr std::uint32_t kDuplicateItemLine = 89;
constexpr std::uint32_t kNodeLine = 111;
constexpr std::uint32_t kFileNameLine = 120;

constexpr std::uint32_t kLastZone = ORVA_DIAG_ZONES - 1;

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

// A thread that is cancelled inside the platform's look-up clears its mark as it ends. Holding cancellation off
// instead would cost each decision two locked instructions.
constinit thread_local std::uint8_t *t_mark = nullptr; // set while the thread reads
constinit thread_local bool t_isEndWatched = false;
pthread_key_t g_endKey;
bool g_hasEndKey;

bool is_reading() {
    return __atomic_load_n(&t_mark, __ATOMIC_RELAXED) != nullptr;
}

void clear_mark_at_end(void *place) {
    std::uint8_t *const mark = *static_cast<std::uint8_t **>(place);
    if (mark != nullptr) {
        orva::LookupMarks::end(mark);
    }
}

[[gnu::noinline]] bool watch_end() {
    t_isEndWatched = g_hasEndKey && pthread_setspecific(g_endKey, &t_mark) == 0;
    return t_isEndWatched;
}

// Whether the calling thread may set a mark. A signal handler that interrupts a reader of its own thread may not: a
// thread has one mark only.
bool may_mark() {
    return (t_isEndWatched || watch_end()) && !is_reading();
}

// Finds an item outside the mutex that `lock` holds; without a mark, inside it.
[[gnu::always_inline]] inline OrvaDiagItem *find_item_unlocked(OrvaDiagNode &node, std::uint32_t keyId,
                                                               DiagMutex &lock) {
    std::uint8_t *const mark = may_mark() ? g_lookups.begin() : nullptr;
    if (mark == nullptr) [[unlikely]] {
        const orva::CancelHold cancelHold;
        return find_item(node, keyId);
    }
    __atomic_store_n(&t_mark, mark, __ATOMIC_RELAXED);
    lock.release();
    OrvaDiagItem *item = find_item(node, keyId);
    __atomic_store_n(&t_mark, nullptr, __ATOMIC_RELAXED);
    orva::LookupMarks::end(mark);
    return item;
}

// The item of a key, or null when it has none.
OrvaDiagItem *look_up_item(const OrvaDiagMgr *manager, OrvaDiagNode &node, std::uint32_t keyId) {
    DiagMutex lock(manager);
    return find_item_unlocked(node, keyId, lock);
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

// ---- Insertion

enum class Insertion { kDone, kDuplicate, kBusy };

// Changes the tree unless a look-up is under way.
Insertion try_insert(const OrvaDiagMgr *manager, OrvaDiagNode &node, OrvaDiagItem &item) {
    const DiagLock lock(manager);
    if (!g_lookups.is_free()) {
        return Insertion::kBusy;
    }
    if (MIRO_AVL_Insert_Or_Find(&node.tree, &item.link) != nullptr) {
        return Insertion::kDuplicate;
    }
    relaxed_increment(&node.itemCount);
    return Insertion::kDone;
}

// How long an insertion tries: a look-up takes well below a microsecond, so one that outlasts this is stopped.
constexpr unsigned kYields = 100;
constexpr unsigned kTries = kYields + 20;
constexpr long kPauseNs = 50000;
constexpr std::int64_t kMostNs = 2000000;

std::int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// Leaves the processor to the reader; the pause lets one of lower priority run.
void leave_processor(unsigned attempt) {
    if (attempt < kYields) {
        sched_yield();
        return;
    }
    const timespec pause{0, kPauseNs};
    nanosleep(&pause, nullptr);
}

// Tries until no look-up is under way, a bounded number of times and for a bounded time. The mutex is free between
// the tries.
Insertion insert(const OrvaDiagMgr *manager, OrvaDiagNode &node, OrvaDiagItem &item) {
    Insertion result = try_insert(manager, node, item);
    if (result != Insertion::kBusy) [[likely]] {
        return result;
    }
    const std::int64_t end = monotonic_ns() + kMostNs;
    for (unsigned attempt = 0; result == Insertion::kBusy && attempt < kTries; ++attempt) {
        leave_processor(attempt);
        result = try_insert(manager, node, item);
        if (monotonic_ns() >= end) {
            break;
        }
    }
    return result;
}

// Adds the item of a key's first record, or returns null.
// Compat: callers' code. An equal item that another thread inserted first is not returned; the record is let through
// uncounted.
OrvaDiagItem *add_item(OrvaDiagMgr *manager, OrvaDiagNode &node, std::uint32_t keyId) {
    if (orva::diag_place() != DiagPlace::kOutside || is_reading()) {
        return nullptr; // in a signal handler: the look-up or the allocation of its own thread cannot end before it
    }
    const orva::CancelHold cancelHold;
    const DiagPlaceScope inside(DiagPlace::kInside);
    OrvaDiagItem *item = make_item(keyId);
    if (item == nullptr) {
        return nullptr;
    }
    const Insertion result = insert(manager, node, *item);
    if (result == Insertion::kDone) [[likely]] {
        return item;
    }
    if (result == Insertion::kDuplicate) {
        orva::partition_free(kArea, item, kDuplicateItemLine);
        count_failure(manager, ORVA_DIAG_ERR_LINE_DUPLICATE);
    } else {
        orva::partition_free(kArea, item);
    }
    return nullptr;
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
    if (node == nullptr || orva::diag_place() == DiagPlace::kInside) {
        return nullptr;
    }
    OrvaDiagItem *item = look_up_item(manager, *node, keyId);
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
    DiagMutex lock(&manager);
    OrvaDiagNode **place = node_place(manager, diagId);
    OrvaDiagNode *node = place == nullptr ? nullptr : *place;
    const std::uint32_t zone = manager.curZone;
    if (node == nullptr || relaxed_load(&node->itemCount) == 0) [[unlikely]] {
        if (node == nullptr && is_reading()) {
            return {nullptr, nullptr, zone}; // in a signal handler, where nothing is allocated
        }
        const orva::CancelHold cancelHold;
        return {ORVA_DiagMgrGetNode(diagId, file, line), nullptr, zone};
    }
    return {node, find_item_unlocked(*node, keyId, lock), zone};
}

void keep_text(OrvaDiagMgr *manager, OrvaDiagNode &node, const char *format, va_list args) {
    char text[sizeof node.text] = {};
    if (vsnprintf_s(text, sizeof text, sizeof text - 1, format, args) < 1) {
        count_failure(manager, ORVA_DIAG_ERR_LINE_NO_TEXT);
    }
    const DiagLock lock(manager);
    __builtin_memcpy(node.text, text, sizeof text);
}

// The item of a key's first record, or null when the record cannot be counted.
OrvaDiagItem *first_record(OrvaDiagMgr *manager, OrvaDiagNode *node, std::uint32_t keyId, const char *format,
                           va_list args) {
    if (node == nullptr) {
        count_failure(manager, ORVA_DIAG_ERR_LINE_NO_NODE);
        return nullptr;
    }
    OrvaDiagItem *item = nullptr;
    if (relaxed_load(&node->itemCount) == 0) {
        keep_text(manager, *node, format, args);
        item = ORVA_DiagMgrGetItem(keyId, node);
    } else {
        item = add_item(manager, *node, keyId); // the look-up has just found nothing
    }
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
    if (orva::diag_place() == DiagPlace::kInside) [[unlikely]] {
        count_failure(manager, ORVA_DIAG_ERR_LINE_NO_ITEM);
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

// ---- Fork
//
// The forking thread takes the mutex first, so that no tree is in change while the process is copied. The child
// starts with the mutex made anew and without marks: the threads that held them are not in it.

namespace {

// What before_fork() did in the forking thread, for the two handlers after it.
struct ForkState {
    bool isLocked;
    int cancelState;
};

constinit thread_local ForkState t_fork = {};

void before_fork() {
    const OrvaDiagMgr *manager = g_orvaDiagMgr;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &t_fork.cancelState);
    // A handler that forks while its thread is inside must not wait for that thread.
    t_fork.isLocked =
        manager != nullptr && orva::diag_place() != DiagPlace::kInside && ORVA_MutexP(manager->mutex) == ORVA_OK;
}

void after_fork_in_parent() {
    if (t_fork.isLocked) {
        ORVA_MutexV(g_orvaDiagMgr->mutex);
    }
    pthread_setcancelstate(t_fork.cancelState, nullptr);
}

void after_fork_in_child() {
    g_lookups.clear();
    if (g_orvaDiagMgr != nullptr) {
        orva::remake_recursive_mutex(g_orvaDiagMgr->mutex);
    }
    pthread_setcancelstate(t_fork.cancelState, nullptr);
}

} // namespace

void orva::diag_watch_forks_and_ends() {
    static bool isWatching = false;
    if (!__atomic_exchange_n(&isWatching, true, __ATOMIC_RELAXED)) {
        g_hasEndKey = pthread_key_create(&g_endKey, clear_mark_at_end) == 0;
        pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
    }
}
