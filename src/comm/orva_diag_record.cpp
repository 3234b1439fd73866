// The form of a diagnostic record, and the dump of the diagnostic manager.
#include "orva_diag.h"

#include <cstdarg>
#include <cstdint>

#include "diag_lock.h"
#include "diag_walk.h"
#include "log_record.h"
#include "orva_drvadp_comm.h"
#include "partition_memory.h"
#include "relaxed.h"
#include "safeio.h"

using orva::DiagLock;
using orva::relaxed_load;

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_diag");

constexpr std::uint32_t kRecordLine = 443;   // a call-site number that log records carry; fixed, not __LINE__
constexpr std::size_t kRecordTextSize = 512; // the caller's text of a record
constexpr std::size_t kRecordSize = 592;     // with the position

} // namespace

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

// ---- Dump
//
// Figures are copied with the mutex held and printed without it: a sink may wait for a thread that asks the manager,
// and records go on while a large tree is printed. Nodes and items are never freed, so a walk goes on after a pause.

#define ORVA_DIAG_DUMP(text, ...)                                                                                    \
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeNone, text __VA_OPT__(, ) __VA_ARGS__)

namespace {

void dump_manager(const OrvaDiagMgr *manager) {
    std::uint32_t zone = 0;
    {
        const DiagLock lock(manager);
        zone = manager->curZone;
    }
    ORVA_DIAG_DUMP("OrvaDiagMgr uiSwitch:%u, nodeCount:%u, curZone:%u, uiErrCount:%u uiErrLine:%u startTime:%u",
                   relaxed_load(&manager->uiSwitch), manager->nodeCount, zone, relaxed_load(&manager->uiErrCount),
                   relaxed_load(&manager->uiErrLine), relaxed_load(&manager->startTime));
}

// Prints a node's own figures and returns it; null when there is none.
const OrvaDiagNode *dump_node(const OrvaDiagMgr *manager, std::uint32_t index) {
    const OrvaDiagNode *node = nullptr;
    char text[sizeof node->text];
    {
        const DiagLock lock(manager);
        node = manager->nodes[index];
        if (node == nullptr) {
            return nullptr;
        }
        __builtin_memcpy(text, node->text, sizeof text);
    }
    ORVA_DIAG_DUMP("%s:%d diagId:%u %s", node->file, static_cast<int>(node->line), node->diagId, text);
    return node;
}

constexpr std::uint32_t kItemsAtOnce = 32; // copied under one lock

struct ItemFigures {
    std::uint32_t keyId, successNum, dropNum;
    std::uint8_t zone[ORVA_DIAG_ZONES];
};

ItemFigures figures_of(const OrvaDiagItem &item) {
    ItemFigures figures{item.keyId, relaxed_load(&item.successNum), relaxed_load(&item.dropNum), {}};
    for (std::uint32_t i = 0; i < ORVA_DIAG_ZONES; ++i) {
        figures.zone[i] = relaxed_load(&item.zone[i]);
    }
    return figures;
}

// A walk over a node's items. It visits as many as there were at its start, so that it ends although items are added.
struct ItemWalk {
    OrvaDiagItem *last; // null at the start
    std::uint32_t left;
};

// Copies the figures of the next items and returns how many there were; 0 at the end.
std::uint32_t copy_items(const OrvaDiagMgr *manager, const OrvaDiagNode &node, ItemWalk &walk,
                         ItemFigures (&figures)[kItemsAtOnce]) {
    const DiagLock lock(manager);
    std::uint32_t count = 0;
    while (count < kItemsAtOnce && walk.left > 0) {
        OrvaDiagItem *item = orva::next_item(node, walk.last);
        if (item == nullptr) {
            break;
        }
        figures[count++] = figures_of(*item);
        walk = {item, walk.left - 1};
    }
    return count;
}

void dump_item(const ItemFigures &item) {
    const std::uint8_t(&zone)[ORVA_DIAG_ZONES] = item.zone;
    ORVA_DIAG_DUMP("    KeyID:%u SuccessNum:%u, dropNum:%u [%2u %2u %2u %2u %2u %2u %2u %2u %2u %2u %2u %2u %2u]",
                   item.keyId, item.successNum, item.dropNum, zone[0], zone[1], zone[2], zone[3], zone[4], zone[5],
                   zone[6], zone[7], zone[8], zone[9], zone[10], zone[11], zone[12]);
}

void dump_items(const OrvaDiagMgr *manager, const OrvaDiagNode &node) {
    ItemFigures figures[kItemsAtOnce];
    ItemWalk walk{nullptr, relaxed_load(&node.itemCount)};
    while (const std::uint32_t count = copy_items(manager, node, walk, figures)) {
        for (std::uint32_t i = 0; i < count; ++i) {
            dump_item(figures[i]);
        }
    }
}

} // namespace

void ORVA_DiagMgrPrintLocalData(void) {
    const OrvaDiagMgr *manager = g_orvaDiagMgr;
    if (manager == nullptr) {
        return;
    }
    dump_manager(manager);
    for (std::uint32_t i = 0; i < manager->nodeCount; ++i) {
        const OrvaDiagNode *node = dump_node(manager, i);
        if (node != nullptr) {
            dump_items(manager, *node);
        }
    }
    ORVA_DIAG_DUMP("OrvaDiagMgr local data end.");
}

#undef ORVA_DIAG_DUMP
