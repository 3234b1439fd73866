/**
 * @file
 * Doubly linked list. It owns the data blocks of its nodes: a delete that removes a node frees its block too, so
 * blocks come from the library's partition.
 *
 * No function logs and none locks: a list that threads share is guarded by the caller's mutex. Bad arguments and
 * failed allocations change nothing.
 */
#ifndef ORVA_LIST_H
#define ORVA_LIST_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

#define ORVA_LIST_KIND 1 /**< The only kind of list. */

#define ORVA_ERR_LIST_DELETE_NULL ORVA_RESULT(0x44u, ORVA_REASON_OTHER)          /**< Null list to destroy. */
#define ORVA_ERR_LIST_DELETE_ALL_NULL ORVA_RESULT(0x5Au, ORVA_REASON_OTHER)      /**< Null list to empty. */
#define ORVA_ERR_LIST_DELETE_NODE_NULL ORVA_RESULT(0x7Cu, ORVA_REASON_OTHER)     /**< Null list or node to delete. */
#define ORVA_ERR_LIST_DELETE_NODE_ABSENT ORVA_RESULT(0xAAu, ORVA_REASON_OTHER)   /**< Node to delete not found. */
#define ORVA_ERR_LIST_DELETE_ID_NULL ORVA_RESULT(0xD5u, ORVA_REASON_OTHER)       /**< Null list to delete from. */
#define ORVA_ERR_LIST_DELETE_ID_ABSENT ORVA_RESULT(0x103u, ORVA_REASON_OTHER)    /**< Id to delete not found. */
#define ORVA_ERR_LIST_INSERT_NULL ORVA_RESULT(0x115u, ORVA_REASON_OTHER)         /**< Null list or data to insert. */
#define ORVA_ERR_LIST_INSERT_MEMORY ORVA_RESULT(0x11Bu, ORVA_REASON_OTHER)       /**< No memory for the node. */
#define ORVA_ERR_LIST_INSERT_ID_NULL ORVA_RESULT(0x150u, ORVA_REASON_OTHER)      /**< The same, with an id. */
#define ORVA_ERR_LIST_INSERT_ID_MEMORY ORVA_RESULT(0x156u, ORVA_REASON_OTHER)    /**< The same, with an id. */
#define ORVA_ERR_LIST_HEAD_NULL ORVA_RESULT(0x18Bu, ORVA_REASON_OTHER)           /**< The same, at the head. */
#define ORVA_ERR_LIST_HEAD_MEMORY ORVA_RESULT(0x191u, ORVA_REASON_OTHER)         /**< The same, at the head. */
#define ORVA_ERR_LIST_APPEND_NULL ORVA_RESULT(0x1B8u, ORVA_REASON_OTHER)         /**< The same, at the tail. */
#define ORVA_ERR_LIST_APPEND_MEMORY ORVA_RESULT(0x1BEu, ORVA_REASON_OTHER)       /**< The same, at the tail. */
#define ORVA_ERR_LIST_APPEND_EMPTY_NULL ORVA_RESULT(0x1DEu, ORVA_REASON_OTHER)   /**< The same, without data. */
#define ORVA_ERR_LIST_APPEND_EMPTY_MEMORY ORVA_RESULT(0x1E4u, ORVA_REASON_OTHER) /**< The same, without data. */
#define ORVA_ERR_LIST_MEMBER_NULL ORVA_RESULT(0x23Du, ORVA_REASON_OTHER)         /**< Null list or node to find. */
#define ORVA_ERR_LIST_MEMBER_ABSENT ORVA_RESULT(0x24Du, ORVA_REASON_OTHER)       /**< Node not found. */

#pragma pack(push, 4)
/** A node, packed to 4 bytes so that it takes as little of the partition as possible. */
typedef struct OrvaListNode {
    uint32_t id; /**< The caller's; 0 for nodes of ORVA_InsertDataToList; need not be unique. */
    void *data;  /**< Owned by the list; null only in nodes of ORVA_AppendNullNodeAtEndOfListWithId and in
                      nodes that ORVA_DeleteOneNodeDirectly gave back. */
    struct OrvaListNode *next; /**< Toward the tail. */
    struct OrvaListNode *prev; /**< Toward the head. */
} OrvaListNode;
#pragma pack(pop)

/** A list. head and tail are both null or both set; head's prev and tail's next are null. */
typedef struct OrvaList {
    uint32_t reserved;  /**< 0. */
    uint32_t kind;      /**< ORVA_LIST_KIND. */
    OrvaListNode *head; /**< First node, null when empty. */
    OrvaListNode *tail; /**< Last node, null when empty. */
} OrvaList;

/**
 * Makes an empty list. Thread-safe.
 *
 * @param[in] kind ORVA_LIST_KIND.
 * @return The list, which the caller destroys with ORVA_DeleteList; null for another kind, without a memory handle,
 *         and without memory.
 */
ORVA_API OrvaList *ORVA_CreateList(int32_t kind);

/**
 * Destroys a list with all nodes and data blocks, also an empty one. Thread-safe for distinct objects.
 *
 * @param[in] list The list, not to be used afterwards.
 * @retval ORVA_OK                   The list is freed.
 * @retval ORVA_ERR_LIST_DELETE_NULL `list` is null.
 */
ORVA_API uint32_t ORVA_DeleteList(OrvaList *list);

/**
 * Empties a list: frees every node and data block, from the head on. The list itself stays. Thread-safe for distinct
 * objects.
 *
 * @param[in,out] list The list.
 * @retval ORVA_OK                       The list is empty.
 * @retval ORVA_ERR_LIST_DELETE_ALL_NULL `list` is null.
 */
ORVA_API uint32_t ORVA_DeleteListAllNode(OrvaList *list);

/**
 * Frees a node record that is in no list, and never its data block. Thread-safe for distinct objects.
 *
 * @param[in] node Node of ORVA_DeleteOneNodeDirectly, or null.
 * @retval ORVA_OK The node is freed, or null.
 * @retval other   The platform's result of the release.
 */
ORVA_API uint32_t ORVA_DeleteNode(OrvaListNode *node);

/**
 * Searches for a node, removes it, and frees its data block and the node. Linear. Thread-safe for distinct objects.
 *
 * @param[in,out] list The list.
 * @param[in]     node Node of the list.
 * @retval ORVA_OK                          The node is freed.
 * @retval ORVA_ERR_LIST_DELETE_NODE_NULL   `list` or `node` is null.
 * @retval ORVA_ERR_LIST_DELETE_NODE_ABSENT The list is empty, or the node is not in it.
 */
ORVA_API uint32_t ORVA_DeleteNodeInList(OrvaList *list, OrvaListNode *node);

/**
 * Unlinks a node without searching for it and frees its data block. Thread-safe for distinct objects.
 *
 * The node record is not freed: the caller owns it again, unlinked and with a null data field, and frees it with
 * ORVA_DeleteNode.
 *
 * @param[in,out] list The list; not checked for null.
 * @param[in,out] node Node of the list; not checked.
 */
ORVA_API void ORVA_DeleteOneNodeDirectly(OrvaList *list, OrvaListNode *node);

/**
 * Removes the first node from the head whose id matches, and frees its data block and the node. Linear. Thread-safe
 * for distinct objects.
 *
 * @param[in,out] list The list.
 * @param[in]     id   Id to search for.
 * @retval ORVA_OK                        The node is freed.
 * @retval ORVA_ERR_LIST_DELETE_ID_NULL   `list` is null.
 * @retval ORVA_ERR_LIST_DELETE_ID_ABSENT The list is empty or has no such id.
 */
ORVA_API uint32_t ORVA_DeleteNodeInListById(OrvaList *list, uint32_t id);

/**
 * Inserts a data block before a node, or appends it at the tail. Constant time. The node's id is 0. Thread-safe for
 * distinct objects.
 *
 * @param[in,out] list       The list.
 * @param[in]     data       Block of the library's partition; the list owns it from a successful insert on.
 * @param[in]     beforeNode Node of this list, which is trusted and not searched for; null appends at the tail.
 * @retval ORVA_OK                     The node is in the list.
 * @retval ORVA_ERR_LIST_INSERT_NULL   `list` or `data` is null.
 * @retval ORVA_ERR_LIST_INSERT_MEMORY There is no memory handle or no memory.
 */
ORVA_API uint32_t ORVA_InsertDataToList(OrvaList *list, void *data, OrvaListNode *beforeNode);

/**
 * Inserts a data block with an id before a node, or appends it at the tail. Constant time. Thread-safe for distinct
 * objects.
 *
 * Compat: callers' code. The id is before the data here, after it in the head insert and the tail append.
 *
 * @param[in,out] list       The list.
 * @param[in]     id         The node's id, any value.
 * @param[in]     data       Block of the library's partition; the list owns it from a successful insert on.
 * @param[in]     beforeNode Node of this list, which is trusted and not searched for; null appends at the tail.
 * @retval ORVA_OK                        The node is in the list.
 * @retval ORVA_ERR_LIST_INSERT_ID_NULL   `list` or `data` is null.
 * @retval ORVA_ERR_LIST_INSERT_ID_MEMORY There is no memory handle or no memory.
 */
ORVA_API uint32_t ORVA_InsertDataToListWithId(OrvaList *list, uint32_t id, void *data, OrvaListNode *beforeNode);

/**
 * Inserts a data block at the head. Constant time. Thread-safe for distinct objects.
 *
 * @param[in,out] list The list.
 * @param[in]     data Block of the library's partition; the list owns it from a successful insert on.
 * @param[in]     id   The node's id, any value.
 * @retval ORVA_OK                   The node is in the list.
 * @retval ORVA_ERR_LIST_HEAD_NULL   `list` or `data` is null.
 * @retval ORVA_ERR_LIST_HEAD_MEMORY There is no memory handle or no memory.
 */
ORVA_API uint32_t ORVA_InsertDataAtHeadOfListWithId(OrvaList *list, void *data, uint32_t id);

/**
 * Appends a data block at the tail. Constant time. Thread-safe for distinct objects.
 *
 * @param[in,out] list The list.
 * @param[in]     data Block of the library's partition; the list owns it from a successful insert on.
 * @param[in]     id   The node's id, any value.
 * @retval ORVA_OK                     The node is in the list.
 * @retval ORVA_ERR_LIST_APPEND_NULL   `list` or `data` is null.
 * @retval ORVA_ERR_LIST_APPEND_MEMORY There is no memory handle or no memory.
 */
ORVA_API uint32_t ORVA_AppendDataAtEndOfListWithId(OrvaList *list, void *data, uint32_t id);

/**
 * Appends a node without a data block at the tail. Constant time. Thread-safe for distinct objects.
 *
 * @param[in,out] list The list.
 * @param[in]     id   The node's id, any value.
 * @retval ORVA_OK                           The node is in the list.
 * @retval ORVA_ERR_LIST_APPEND_EMPTY_NULL   `list` is null.
 * @retval ORVA_ERR_LIST_APPEND_EMPTY_MEMORY There is no memory handle or no memory.
 */
ORVA_API uint32_t ORVA_AppendNullNodeAtEndOfListWithId(OrvaList *list, uint32_t id);

/**
 * First node of a list. Thread-safe for distinct objects.
 *
 * @param[in] list The list, or null.
 * @return The head, which stays the list's; null for a null or empty list.
 */
ORVA_API OrvaListNode *ORVA_GetNodeAtHeadOfList(const OrvaList *list);

/**
 * Node after a node of a list, whose membership is checked first. Linear. Thread-safe for distinct objects.
 *
 * @param[in] list The list, or null.
 * @param[in] node Node of the list, or null.
 * @return The next node; null at the tail, for a null argument, and for a node that is not in the list.
 */
ORVA_API OrvaListNode *ORVA_GetNextNodeInList(const OrvaList *list, const OrvaListNode *node);

/**
 * Tells whether a node is in a list. Linear. Thread-safe for distinct objects.
 *
 * @param[in] list The list.
 * @param[in] node Node to search for.
 * @retval ORVA_OK                     It is.
 * @retval ORVA_ERR_LIST_MEMBER_NULL   `list` or `node` is null.
 * @retval ORVA_ERR_LIST_MEMBER_ABSENT The list is empty, or the node is not in it.
 */
ORVA_API uint32_t ORVA_IsNodeInList(const OrvaList *list, const OrvaListNode *node);

/**
 * First node from the head that holds a data block. Linear. Pointers are compared, not contents. Thread-safe for
 * distinct objects.
 *
 * @param[in] list The list, or null.
 * @param[in] data Block to search for, or null.
 * @return The node; null when there is none and for a null argument.
 */
ORVA_API OrvaListNode *ORVA_SearchDataInList(const OrvaList *list, const void *data);

/**
 * First node from the head with an id. Linear. Thread-safe for distinct objects.
 *
 * @param[in] list The list, or null.
 * @param[in] id   Id to search for.
 * @return The node; null when there is none and for a null list.
 */
ORVA_API OrvaListNode *ORVA_SearchIdInList(const OrvaList *list, uint32_t id);

/**
 * Tells whether a list has no node. Thread-safe for distinct objects.
 *
 * @param[in] list The list, or null.
 * @retval 1 `list` is null or has no head.
 * @retval 0 It has a node.
 */
ORVA_API uint32_t ORVA_IsListEmpty(const OrvaList *list);

ORVA_END_DECLS

#define ORVA_LAYOUT_LIST
#include "orva_layout.h"

#endif
