/*
 * Linked list: a doubly linked list whose nodes carry a 32-bit id and a data block.
 *
 * The list owns the data blocks: a delete that removes a node also frees its data block, so blocks come from the
 * library's partition. No function logs and none locks: a list that threads share is guarded by the caller's mutex.
 * Bad arguments and failed allocations change nothing.
 */
#ifndef ORVA_LIST_H
#define ORVA_LIST_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_LIST_KIND 1 /* the only kind of list */

/* Deletes. */
#define ORVA_ERR_LIST_DELETE_NULL ORVA_RESULT(0x44u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_DELETE_ALL_NULL ORVA_RESULT(0x5Au, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_DELETE_NODE_NULL ORVA_RESULT(0x7Cu, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_DELETE_NODE_ABSENT ORVA_RESULT(0xAAu, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_DELETE_ID_NULL ORVA_RESULT(0xD5u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_DELETE_ID_ABSENT ORVA_RESULT(0x103u, ORVA_REASON_OTHER)
/* Inserts. */
#define ORVA_ERR_LIST_INSERT_NULL ORVA_RESULT(0x115u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_INSERT_MEMORY ORVA_RESULT(0x11Bu, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_INSERT_ID_NULL ORVA_RESULT(0x150u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_INSERT_ID_MEMORY ORVA_RESULT(0x156u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_HEAD_NULL ORVA_RESULT(0x18Bu, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_HEAD_MEMORY ORVA_RESULT(0x191u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_APPEND_NULL ORVA_RESULT(0x1B8u, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_APPEND_MEMORY ORVA_RESULT(0x1BEu, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_APPEND_EMPTY_NULL ORVA_RESULT(0x1DEu, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_APPEND_EMPTY_MEMORY ORVA_RESULT(0x1E4u, ORVA_REASON_OTHER)
/* Membership. */
#define ORVA_ERR_LIST_MEMBER_NULL ORVA_RESULT(0x23Du, ORVA_REASON_OTHER)
#define ORVA_ERR_LIST_MEMBER_ABSENT ORVA_RESULT(0x24Du, ORVA_REASON_OTHER)

#pragma pack(push, 4)
/* A node, packed to 4 bytes so that it takes as little of the partition as possible. */
typedef struct OrvaListNode {
    uint32_t id;               /* the caller's; 0 for nodes of ORVA_InsertDataToList; need not be unique */
    void *data;                /* owned by the list; null only in nodes of ORVA_AppendNullNodeAtEndOfListWithId and in
                                  nodes that ORVA_DeleteOneNodeDirectly gave back */
    struct OrvaListNode *next; /* toward the tail */
    struct OrvaListNode *prev; /* toward the head */
} OrvaListNode;
#pragma pack(pop)

/* A list. head and tail are both null or both set; head's prev and tail's next are null. */
typedef struct OrvaList {
    uint32_t reserved; /* 0 */
    uint32_t kind;     /* ORVA_LIST_KIND */
    OrvaListNode *head;
    OrvaListNode *tail;
} OrvaList;

/*
 * Makes an empty list.
 * kind: ORVA_LIST_KIND.
 * Returns the list, which the caller destroys with ORVA_DeleteList; null when `kind` is another value, when the
 * library has no memory handle, and when the allocation fails.
 * Safe to call from any thread.
 */
ORVA_API OrvaList *ORVA_CreateList(int32_t kind);

/*
 * Destroys a list with all nodes and data blocks, also an empty one.
 * list: from ORVA_CreateList; not to be used afterwards.
 * Returns ORVA_OK; ORVA_ERR_LIST_DELETE_NULL for a null list.
 * Not locked.
 */
ORVA_API uint32_t ORVA_DeleteList(OrvaList *list);

/*
 * Empties a list: frees every node and data block, from the head on. The list itself stays.
 * list: from ORVA_CreateList.
 * Returns ORVA_OK; ORVA_ERR_LIST_DELETE_ALL_NULL for a null list.
 * Not locked.
 */
ORVA_API uint32_t ORVA_DeleteListAllNode(OrvaList *list);

/*
 * Frees a node record that is in no list, and never its data block.
 * node: from ORVA_DeleteOneNodeDirectly, or null.
 * Returns the platform's result of the free, ORVA_OK for a null node.
 * Safe to call from any thread.
 */
ORVA_API uint32_t ORVA_DeleteNode(OrvaListNode *node);

/*
 * Removes a node that is searched for first, and frees its data block and the node. Linear in the list's length.
 * list, node: the list and one of its nodes.
 * Returns ORVA_OK; ORVA_ERR_LIST_DELETE_NODE_NULL for a null list or node; ORVA_ERR_LIST_DELETE_NODE_ABSENT when the
 * list is empty or the node is not in it.
 * Not locked.
 */
ORVA_API uint32_t ORVA_DeleteNodeInList(OrvaList *list, OrvaListNode *node);

/*
 * Unlinks a node without searching for it and frees its data block. No argument is checked.
 * list, node: the list and one of its nodes.
 * Kept: the node record is not freed. The caller has it back, unlinked and with a null data field, and frees it with
 * ORVA_DeleteNode.
 * Not locked.
 */
ORVA_API void ORVA_DeleteOneNodeDirectly(OrvaList *list, OrvaListNode *node);

/*
 * Removes the first node from the head whose id matches, and frees its data block and the node. Linear.
 * list: the list. id: any value.
 * Returns ORVA_OK; ORVA_ERR_LIST_DELETE_ID_NULL for a null list; ORVA_ERR_LIST_DELETE_ID_ABSENT when the list is
 * empty or has no such id.
 * Not locked.
 */
ORVA_API uint32_t ORVA_DeleteNodeInListById(OrvaList *list, uint32_t id);

/*
 * Inserts a data block before a node, or appends it at the tail. Constant time. The node's id is 0.
 * list: the list. data: a block of the library's partition; the list owns it from a successful insert on.
 * beforeNode: a node of this list, which is trusted and not searched for; null appends.
 * Returns ORVA_OK; ORVA_ERR_LIST_INSERT_NULL for a null list or data; ORVA_ERR_LIST_INSERT_MEMORY without a memory
 * handle and when the allocation fails.
 * Not locked.
 */
ORVA_API uint32_t ORVA_InsertDataToList(OrvaList *list, void *data, OrvaListNode *beforeNode);

/*
 * Like ORVA_InsertDataToList, with the caller's id.
 * list, data, beforeNode: as there. id: any value.
 * Kept: the id stands before the data here, after it in the head insert and the tail append.
 * Returns ORVA_OK; ORVA_ERR_LIST_INSERT_ID_NULL for a null list or data; ORVA_ERR_LIST_INSERT_ID_MEMORY without a
 * memory handle and when the allocation fails.
 * Not locked.
 */
ORVA_API uint32_t ORVA_InsertDataToListWithId(OrvaList *list, uint32_t id, void *data, OrvaListNode *beforeNode);

/*
 * Inserts a data block at the head. Constant time.
 * list: the list. data: as in ORVA_InsertDataToList. id: any value.
 * Returns ORVA_OK; ORVA_ERR_LIST_HEAD_NULL for a null list or data; ORVA_ERR_LIST_HEAD_MEMORY without a memory handle
 * and when the allocation fails.
 * Not locked.
 */
ORVA_API uint32_t ORVA_InsertDataAtHeadOfListWithId(OrvaList *list, void *data, uint32_t id);

/*
 * Appends a data block at the tail. Constant time.
 * list: the list. data: as in ORVA_InsertDataToList. id: any value.
 * Returns ORVA_OK; ORVA_ERR_LIST_APPEND_NULL for a null list or data; ORVA_ERR_LIST_APPEND_MEMORY without a memory
 * handle and when the allocation fails.
 * Not locked.
 */
ORVA_API uint32_t ORVA_AppendDataAtEndOfListWithId(OrvaList *list, void *data, uint32_t id);

/*
 * Appends a node without a data block at the tail. Constant time.
 * list: the list. id: any value.
 * Returns ORVA_OK; ORVA_ERR_LIST_APPEND_EMPTY_NULL for a null list; ORVA_ERR_LIST_APPEND_EMPTY_MEMORY without a
 * memory handle and when the allocation fails. Not locked.
 */
ORVA_API uint32_t ORVA_AppendNullNodeAtEndOfListWithId(OrvaList *list, uint32_t id);

/*
 * The first node of a list.
 * list: the list, or null.
 * Returns the head, null for a null or empty list. The node stays the list's.
 * Not locked.
 */
ORVA_API OrvaListNode *ORVA_GetNodeAtHeadOfList(const OrvaList *list);

/*
 * The node after a node of a list, whose membership is verified first. Linear.
 * list, node: the list and one of its nodes, or null.
 * Returns the next node; null at the tail, for a null list or node, and for a node that is not in the list.
 * Not locked.
 */
ORVA_API OrvaListNode *ORVA_GetNextNodeInList(const OrvaList *list, const OrvaListNode *node);

/*
 * Tells whether a node is in a list. Linear.
 * list, node: the list and the node looked for.
 * Returns ORVA_OK when it is; ORVA_ERR_LIST_MEMBER_NULL for a null list or node; ORVA_ERR_LIST_MEMBER_ABSENT when the
 * list is empty or the node is not in it.
 * Not locked.
 */
ORVA_API uint32_t ORVA_IsNodeInList(const OrvaList *list, const OrvaListNode *node);

/*
 * The first node from the head that holds a data block. The pointers are compared, not the contents. Linear.
 * list: the list. data: the block looked for.
 * Returns the node, null when there is none and for a null list or data.
 * Not locked.
 */
ORVA_API OrvaListNode *ORVA_SearchDataInList(const OrvaList *list, const void *data);

/*
 * The first node from the head with an id. Linear.
 * list: the list, or null. id: any value.
 * Returns the node, null when there is none and for a null list.
 * Not locked.
 */
ORVA_API OrvaListNode *ORVA_SearchIdInList(const OrvaList *list, uint32_t id);

/*
 * Tells whether a list has no node.
 * list: the list, or null.
 * Returns 1 for a null list and for a null head, else 0.
 * Not locked.
 */
ORVA_API uint32_t ORVA_IsListEmpty(const OrvaList *list);

ORVA_END_DECLS

#define ORVA_LAYOUT_LIST
#include "orva_layout.h"

#endif
