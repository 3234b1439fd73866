// The diagnostic manager's clock: closing of buckets, hourly summaries, and the thread that counts the seconds.
#include "orva_diag.h"

#include <cstdint>

#include "diag_lock.h"
#include "diag_walk.h"
#include "log_record.h"
#include "orva_comm.h"
#include "orva_util.h"
#include "relaxed.h"

using orva::DiagPlace;
using orva::DiagPlaceScope;
using orva::relaxed_load;
using orva::relaxed_store;

namespace {

constexpr std::uint32_t kLastZone = ORVA_DIAG_ZONES - 1;
constexpr std::uint32_t kThreadCapabilities[] = {17, 21};

void close_zone(const OrvaDiagMgr &manager, const OrvaDiagNode &node, OrvaDiagItem &item) {
    if (relaxed_load(&manager.startTime) >= ORVA_DIAG_HOUR_SECONDS) {
        const DiagPlaceScope outside(DiagPlace::kOutside); // a sink may ask the manager
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

// At most itemCount items.
void close_zone_of_items(const OrvaDiagMgr &manager, const OrvaDiagNode &node) {
    OrvaDiagItem *item = orva::next_item(node, nullptr);
    for (std::uint32_t i = 0; i < node.itemCount && item != nullptr; ++i) {
        close_zone(manager, node, *item);
        item = orva::next_item(node, item);
    }
}

} // namespace

void ORVA_DiagMgrTimerOutput(const OrvaDiagNode *node, OrvaDiagItem *item) {
    if (node == nullptr || item == nullptr || relaxed_load(&item->dropNum) == 0) {
        return;
    }
    const std::uint32_t dropped = __atomic_exchange_n(&item->dropNum, 0u, __ATOMIC_RELAXED);
    ORVA_DIAGLOG(0, orva::kDiagCode, orva::kDiagWord3Event, 0, 0,
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
            close_zone_of_items(*manager, *node);
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
    const orva::DiagLock lock(manager);
    manager->curZone = manager->curZone < kLastZone ? manager->curZone + 1 : 0;
    ORVA_DiagMgrTimerProcNode();
    if (now >= ORVA_DIAG_HOUR_SECONDS) {
        relaxed_store(&manager->startTime, 0);
    }
}

// Compat: callers' code. Outside single-process mode the clock does not advance, so each key is muted after 48
// records.
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
