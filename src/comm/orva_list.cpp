// Linked list: owns the nodes and, from the insert on, the callers' data blocks. Knows nothing of what a block holds.
// Nodes are packed to 4 bytes: links are only ever read and written through the node, never through a pointer to a
// link.

#include "orva_list.h"

#include "partition_memory.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_list");

void link_before(OrvaList &list, OrvaListNode &node, OrvaListNode &before) {
    node.next = &before;
    node.prev = before.prev;
    before.prev = &node;
    if (node.prev != nullptr) {
        node.prev->next = &node;
    } else {
        list.head = &node;
    }
}

void link_at_tail(OrvaList &list, OrvaListNode &node) {
    node.next = nullptr;
    node.prev = list.tail;
    if (list.tail != nullptr) {
        list.tail->next = &node;
    } else {
        list.head = &node;
    }
    list.tail = &node;
}

void unlink(OrvaList &list, OrvaListNode &node) {
    if (node.prev != nullptr) {
        node.prev->next = node.next;
    }
    if (node.next != nullptr) {
        node.next->prev = node.prev;
    }
    if (list.head == &node) {
        list.head = node.next;
    }
    if (list.tail == &node) {
        list.tail = node.prev;
    }
}

void free_data(OrvaListNode &node) {
    if (node.data != nullptr) {
        orva::partition_free(kArea, node.data);
        node.data = nullptr;
    }
}

void remove_node(OrvaList &list, OrvaListNode &node) {
    ORVA_DeleteOneNodeDirectly(&list, &node);
    ORVA_DeleteNode(&node);
}

template <typename Matches>
OrvaListNode *find_first(const OrvaList &list, Matches matches) {
    for (OrvaListNode *node = list.head; node != nullptr; node = node->next) {
        if (matches(*node)) {
            return node;
        }
    }
    return nullptr;
}

bool holds(const OrvaList &list, const OrvaListNode *wanted) {
    return find_first(list, [wanted](const OrvaListNode &node) { return &node == wanted; }) != nullptr;
}

// A fresh node that is in no list yet, or null.
OrvaListNode *make_node(std::uint32_t id, void *data, std::uint32_t line = __builtin_LINE()) {
    auto node = orva::make_partition<OrvaListNode>(kArea, line);
    if (node == nullptr) {
        return nullptr;
    }
    node->id = id;
    node->data = data;
    return node.release();
}

// Reads nothing of the old head: what its prev holds does not matter.
void link_at_head(OrvaList &list, OrvaListNode &node) {
    node.prev = nullptr;
    node.next = list.head;
    if (list.head != nullptr) {
        list.head->prev = &node;
    } else {
        list.tail = &node;
    }
    list.head = &node;
}

std::uint32_t insert(OrvaList &list, OrvaListNode *node, OrvaListNode *before, std::uint32_t noMemory) {
    if (node == nullptr) {
        return noMemory;
    }
    if (before != nullptr) {
        link_before(list, *node, *before);
    } else {
        link_at_tail(list, *node);
    }
    return ORVA_OK;
}

} // namespace

OrvaList *ORVA_CreateList(int32_t kind) {
    if (kind != ORVA_LIST_KIND) {
        return nullptr;
    }
    auto list = orva::make_partition<OrvaList>(kArea);
    if (list == nullptr) {
        return nullptr;
    }
    list->kind = ORVA_LIST_KIND;
    return list.release();
}

uint32_t ORVA_DeleteList(OrvaList *list) {
    if (list == nullptr) {
        return ORVA_ERR_LIST_DELETE_NULL;
    }
    ORVA_DeleteListAllNode(list);
    orva::partition_free(kArea, list);
    return ORVA_OK;
}

uint32_t ORVA_DeleteListAllNode(OrvaList *list) {
    if (list == nullptr) {
        return ORVA_ERR_LIST_DELETE_ALL_NULL;
    }
    while (list->head != nullptr) {
        OrvaListNode *const node = list->head;
        list->head = node->next;
        free_data(*node);
        ORVA_DeleteNode(node);
    }
    list->tail = nullptr;
    return ORVA_OK;
}

uint32_t ORVA_DeleteNode(OrvaListNode *node) {
    return node == nullptr ? ORVA_OK : orva::partition_free(kArea, node);
}

uint32_t ORVA_DeleteNodeInList(OrvaList *list, OrvaListNode *node) {
    if (list == nullptr || node == nullptr) {
        return ORVA_ERR_LIST_DELETE_NODE_NULL;
    }
    if (!holds(*list, node)) {
        return ORVA_ERR_LIST_DELETE_NODE_ABSENT;
    }
    remove_node(*list, *node);
    return ORVA_OK;
}

// Compat: callers' code. Unlinking a node does not free its record; the caller owns it again.
void ORVA_DeleteOneNodeDirectly(OrvaList *list, OrvaListNode *node) {
    unlink(*list, *node);
    free_data(*node);
}

uint32_t ORVA_DeleteNodeInListById(OrvaList *list, uint32_t id) {
    if (list == nullptr) {
        return ORVA_ERR_LIST_DELETE_ID_NULL;
    }
    OrvaListNode *const node = ORVA_SearchIdInList(list, id);
    if (node == nullptr) {
        return ORVA_ERR_LIST_DELETE_ID_ABSENT;
    }
    remove_node(*list, *node);
    return ORVA_OK;
}

uint32_t ORVA_InsertDataToList(OrvaList *list, void *data, OrvaListNode *beforeNode) {
    if (list == nullptr || data == nullptr) {
        return ORVA_ERR_LIST_INSERT_NULL;
    }
    return insert(*list, make_node(0, data), beforeNode, ORVA_ERR_LIST_INSERT_MEMORY);
}

uint32_t ORVA_InsertDataToListWithId(OrvaList *list, uint32_t id, void *data, OrvaListNode *beforeNode) {
    if (list == nullptr || data == nullptr) {
        return ORVA_ERR_LIST_INSERT_ID_NULL;
    }
    return insert(*list, make_node(id, data), beforeNode, ORVA_ERR_LIST_INSERT_ID_MEMORY);
}

uint32_t ORVA_InsertDataAtHeadOfListWithId(OrvaList *list, void *data, uint32_t id) {
    if (list == nullptr || data == nullptr) {
        return ORVA_ERR_LIST_HEAD_NULL;
    }
    OrvaListNode *const node = make_node(id, data);
    if (node == nullptr) {
        return ORVA_ERR_LIST_HEAD_MEMORY;
    }
    link_at_head(*list, *node);
    return ORVA_OK;
}

uint32_t ORVA_AppendDataAtEndOfListWithId(OrvaList *list, void *data, uint32_t id) {
    if (list == nullptr || data == nullptr) {
        return ORVA_ERR_LIST_APPEND_NULL;
    }
    return insert(*list, make_node(id, data), nullptr, ORVA_ERR_LIST_APPEND_MEMORY);
}

uint32_t ORVA_AppendNullNodeAtEndOfListWithId(OrvaList *list, uint32_t id) {
    if (list == nullptr) {
        return ORVA_ERR_LIST_APPEND_EMPTY_NULL;
    }
    return insert(*list, make_node(id, nullptr), nullptr, ORVA_ERR_LIST_APPEND_EMPTY_MEMORY);
}

OrvaListNode *ORVA_GetNodeAtHeadOfList(const OrvaList *list) {
    return list == nullptr ? nullptr : list->head;
}

OrvaListNode *ORVA_GetNextNodeInList(const OrvaList *list, const OrvaListNode *node) {
    return ORVA_IsNodeInList(list, node) == ORVA_OK ? node->next : nullptr;
}

uint32_t ORVA_IsNodeInList(const OrvaList *list, const OrvaListNode *node) {
    if (list == nullptr || node == nullptr) {
        return ORVA_ERR_LIST_MEMBER_NULL;
    }
    return holds(*list, node) ? ORVA_OK : ORVA_ERR_LIST_MEMBER_ABSENT;
}

OrvaListNode *ORVA_SearchDataInList(const OrvaList *list, const void *data) {
    if (list == nullptr || data == nullptr) {
        return nullptr;
    }
    return find_first(*list, [data](const OrvaListNode &node) { return node.data == data; });
}

OrvaListNode *ORVA_SearchIdInList(const OrvaList *list, uint32_t id) {
    if (list == nullptr) {
        return nullptr;
    }
    return find_first(*list, [id](const OrvaListNode &node) { return node.id == id; });
}

uint32_t ORVA_IsListEmpty(const OrvaList *list) {
    return list == nullptr || list->head == nullptr ? 1 : 0;
}
