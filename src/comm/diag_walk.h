// How the manager's trees are walked: ascending by key, with the mutex held.
#ifndef ORVA_DIAG_WALK_H
#define ORVA_DIAG_WALK_H

#include "miro.h"
#include "orva_diag.h"

namespace orva {

// The item after `item`, or the first one for null; null at the end.
inline OrvaDiagItem *next_item(const OrvaDiagNode &node, OrvaDiagItem *item) {
    if (item != nullptr) {
        return static_cast<OrvaDiagItem *>(MIRO_AVL_Next(&item->link));
    }
    MIRO_AVL_NODE *first = node.tree.first;
    return first == nullptr ? nullptr : static_cast<OrvaDiagItem *>(first->self);
}

} // namespace orva

#endif
