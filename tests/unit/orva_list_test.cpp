#include "orva_list.h"

#include <vector>

#include "orva_comm.h"
#include "platform_double.h"

namespace {

using namespace orva_test;

constexpr std::uint32_t kDataSize = 24;

// Nodes are packed: a comparison takes their links by value, where EXPECT_EQ would bind references to them.
class List : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        list_ = ORVA_CreateList(1);
        ASSERT_NE(list_, nullptr);
    }

    void TearDown() override {
        if (list_ != nullptr) {
            EXPECT_EQ(ORVA_DeleteList(list_), 0u);
        }
        PlatformTest::TearDown();
    }

    static void *block() {
        return MIRO_MemAlloc_F(ORVA_GetMemHandle(), static_cast<std::uint8_t>(ORVA_GetMemPtr()), kDataSize,
                               "src/comm/caller", 1);
    }

    static void free_block(void *data) {
        MIRO_MemFree_F(ORVA_GetMemHandle(), data, "src/comm/caller", 2);
    }

    void *append(std::uint32_t id) {
        void *const data = block();
        EXPECT_EQ(ORVA_AppendDataAtEndOfListWithId(list_, data, id), 0u);
        return data;
    }

    // The ids from head to tail; the way back and both ends are checked on the way.
    std::vector<std::uint32_t> ids() const {
        std::vector<std::uint32_t> result;
        const OrvaListNode *previous = nullptr;
        for (const OrvaListNode *node = list_->head; node != nullptr; node = node->next) {
            EXPECT_TRUE(node->prev == previous);
            result.push_back(node->id);
            previous = node;
        }
        EXPECT_EQ(list_->tail, previous);
        return result;
    }

    using Ids = std::vector<std::uint32_t>;

    OrvaList *list_ = nullptr;
};

TEST_F(List, CreateList_ZeroesTheRecordAndSetsTheKind) {
    EXPECT_EQ(list_->reserved, 0u);
    EXPECT_EQ(list_->kind, 1u);
    EXPECT_EQ(list_->head, nullptr);
    EXPECT_EQ(list_->tail, nullptr);
    ASSERT_EQ(platform().allocations.size(), 1u);
    EXPECT_EQ(platform().allocations[0].size, sizeof(OrvaList));
    EXPECT_EQ(platform().allocations[0].file, "src/comm/orva_list");
}

TEST_F(List, CreateList_RefusesOtherKindsAndMissingMemory) {
    EXPECT_EQ(ORVA_CreateList(2), nullptr);
    EXPECT_EQ(ORVA_CreateList(0), nullptr);
    EXPECT_EQ(ORVA_CreateList(-1), nullptr);
    EXPECT_EQ(platform().allocations.size(), 1u);
    fail("MIRO_MemAlloc_F", 1, 0);
    EXPECT_EQ(ORVA_CreateList(1), nullptr);
    ORVA_SetMemHandle(0);
    EXPECT_EQ(ORVA_CreateList(1), nullptr);
    ORVA_SetMemHandle(0x1234);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(List, EveryFunction_GivesItsOwnCodeForNullArguments) {
    int some = 0;
    auto *const node = reinterpret_cast<OrvaListNode *>(&some);
    EXPECT_EQ(ORVA_DeleteList(nullptr), ORVA_ERR_LIST_DELETE_NULL);
    EXPECT_EQ(ORVA_DeleteListAllNode(nullptr), ORVA_ERR_LIST_DELETE_ALL_NULL);
    EXPECT_EQ(ORVA_DeleteNode(nullptr), 0u);
    EXPECT_EQ(ORVA_DeleteNodeInList(nullptr, node), ORVA_ERR_LIST_DELETE_NODE_NULL);
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, nullptr), ORVA_ERR_LIST_DELETE_NODE_NULL);
    EXPECT_EQ(ORVA_DeleteNodeInListById(nullptr, 1), ORVA_ERR_LIST_DELETE_ID_NULL);
    EXPECT_EQ(ORVA_InsertDataToList(nullptr, &some, nullptr), ORVA_ERR_LIST_INSERT_NULL);
    EXPECT_EQ(ORVA_InsertDataToList(list_, nullptr, nullptr), ORVA_ERR_LIST_INSERT_NULL);
    EXPECT_EQ(ORVA_InsertDataToListWithId(nullptr, 1, &some, nullptr), ORVA_ERR_LIST_INSERT_ID_NULL);
    EXPECT_EQ(ORVA_InsertDataToListWithId(list_, 1, nullptr, nullptr), ORVA_ERR_LIST_INSERT_ID_NULL);
    EXPECT_EQ(ORVA_InsertDataAtHeadOfListWithId(nullptr, &some, 1), ORVA_ERR_LIST_HEAD_NULL);
    EXPECT_EQ(ORVA_InsertDataAtHeadOfListWithId(list_, nullptr, 1), ORVA_ERR_LIST_HEAD_NULL);
    EXPECT_EQ(ORVA_AppendDataAtEndOfListWithId(nullptr, &some, 1), ORVA_ERR_LIST_APPEND_NULL);
    EXPECT_EQ(ORVA_AppendDataAtEndOfListWithId(list_, nullptr, 1), ORVA_ERR_LIST_APPEND_NULL);
    EXPECT_EQ(ORVA_AppendNullNodeAtEndOfListWithId(nullptr, 1), ORVA_ERR_LIST_APPEND_EMPTY_NULL);
    EXPECT_EQ(ORVA_GetNodeAtHeadOfList(nullptr), nullptr);
    EXPECT_EQ(ORVA_GetNextNodeInList(nullptr, node), nullptr);
    EXPECT_EQ(ORVA_GetNextNodeInList(list_, nullptr), nullptr);
    EXPECT_EQ(ORVA_IsNodeInList(nullptr, node), ORVA_ERR_LIST_MEMBER_NULL);
    EXPECT_EQ(ORVA_IsNodeInList(list_, nullptr), ORVA_ERR_LIST_MEMBER_NULL);
    EXPECT_EQ(ORVA_SearchDataInList(nullptr, &some), nullptr);
    EXPECT_EQ(ORVA_SearchDataInList(list_, nullptr), nullptr);
    EXPECT_EQ(ORVA_SearchIdInList(nullptr, 1), nullptr);
    EXPECT_EQ(ORVA_IsListEmpty(nullptr), 1u);
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(live_blocks(), 1u);
}

TEST_F(List, Inserts_GiveTheirCodeAndChangeNothingWithoutMemory) {
    append(1);
    void *const data = block();
    struct Case {
        const char *name;
        std::function<std::uint32_t()> insert;
        std::uint32_t code;
    };
    const Case cases[] = {
        {"insert", [&] { return ORVA_InsertDataToList(list_, data, nullptr); }, ORVA_ERR_LIST_INSERT_MEMORY},
        {"insert with id", [&] { return ORVA_InsertDataToListWithId(list_, 7, data, list_->head); },
         ORVA_ERR_LIST_INSERT_ID_MEMORY},
        {"head", [&] { return ORVA_InsertDataAtHeadOfListWithId(list_, data, 7); }, ORVA_ERR_LIST_HEAD_MEMORY},
        {"append", [&] { return ORVA_AppendDataAtEndOfListWithId(list_, data, 7); }, ORVA_ERR_LIST_APPEND_MEMORY},
        {"append null", [&] { return ORVA_AppendNullNodeAtEndOfListWithId(list_, 7); },
         ORVA_ERR_LIST_APPEND_EMPTY_MEMORY},
    };
    for (const Case &row : cases) {
        fail("MIRO_MemAlloc_F", 1, 0);
        EXPECT_EQ(row.insert(), row.code) << row.name;
        ORVA_SetMemHandle(0);
        EXPECT_EQ(row.insert(), row.code) << row.name << " without a handle";
        ORVA_SetMemHandle(0x1234);
        EXPECT_EQ(ids(), Ids{1}) << row.name;
    }
    free_block(data);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(List, InsertDataAtHead_DoesNotReadTheOldHeadsLink) {
    append(1);
    OrvaListNode stray{};
    list_->head->prev = &stray; // wrong, as a caller's own unlinking may leave it
    EXPECT_EQ(ORVA_InsertDataAtHeadOfListWithId(list_, block(), 2), 0u);
    EXPECT_EQ(ids(), (Ids{2, 1}));
    EXPECT_EQ(stray.next, nullptr);
    OrvaListNode *const head = list_->head;
    EXPECT_EQ(head->prev, nullptr);
    OrvaListNode *const second = head->next;
    EXPECT_EQ(second->prev, head);
    EXPECT_EQ(list_->tail, second);
}

TEST_F(List, InsertDataToList_OnAnEmptyListMakesTheNodeHeadAndTail) {
    void *const data = block();
    EXPECT_EQ(ORVA_InsertDataToList(list_, data, nullptr), 0u);
    EXPECT_EQ(ids(), Ids{0});
    EXPECT_EQ(list_->head, list_->tail);
    EXPECT_TRUE(list_->head->data == data);
    EXPECT_EQ(platform().allocations.back().size, 28u);
    EXPECT_EQ(ORVA_IsListEmpty(list_), 0u);
}

TEST_F(List, InsertDataToListWithId_GoesBeforeTheGivenNode) {
    append(1);
    append(2);
    EXPECT_EQ(ORVA_InsertDataToListWithId(list_, 3, block(), list_->tail), 0u);
    EXPECT_EQ(ids(), (Ids{1, 3, 2}));
    EXPECT_EQ(ORVA_InsertDataToListWithId(list_, 4, block(), list_->head), 0u);
    EXPECT_EQ(ids(), (Ids{4, 1, 3, 2}));
    EXPECT_EQ(ORVA_InsertDataToListWithId(list_, 5, block(), nullptr), 0u);
    EXPECT_EQ(ids(), (Ids{4, 1, 3, 2, 5}));
    EXPECT_EQ(ORVA_InsertDataToList(list_, block(), list_->head), 0u);
    EXPECT_EQ(ids(), (Ids{0, 4, 1, 3, 2, 5}));
}

TEST_F(List, HeadInsertAndAppend_WorkOnBothEnds) {
    EXPECT_EQ(ORVA_InsertDataAtHeadOfListWithId(list_, block(), 2), 0u);
    EXPECT_EQ(ids(), Ids{2});
    EXPECT_EQ(ORVA_InsertDataAtHeadOfListWithId(list_, block(), 1), 0u);
    EXPECT_EQ(ORVA_AppendDataAtEndOfListWithId(list_, block(), 3), 0u);
    EXPECT_EQ(ORVA_AppendNullNodeAtEndOfListWithId(list_, 4), 0u);
    EXPECT_EQ(ids(), (Ids{1, 2, 3, 4}));
    EXPECT_TRUE(list_->tail->data == nullptr);
}

TEST_F(List, DeleteNodeInList_FreesDataAndNodeWhereverItIs) {
    for (std::uint32_t id = 1; id <= 4; ++id) {
        append(id);
    }
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, list_->head->next), 0u);
    EXPECT_EQ(ids(), (Ids{1, 3, 4}));
    ASSERT_EQ(platform().frees.size(), 2u);
    EXPECT_EQ(platform().frees[0].size, kDataSize) << "the data first";
    EXPECT_EQ(platform().frees[1].size, sizeof(OrvaListNode));
    EXPECT_EQ(platform().frees[0].file, "src/comm/orva_list");
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, list_->head), 0u);
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, list_->tail), 0u);
    EXPECT_EQ(ids(), Ids{3});
    EXPECT_EQ(live_blocks(), 3u); // list, node, data
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, list_->head), 0u);
    EXPECT_EQ(ids(), Ids{});
    EXPECT_EQ(list_->head, nullptr);
    EXPECT_EQ(list_->tail, nullptr);
    EXPECT_EQ(ORVA_IsListEmpty(list_), 1u);
    EXPECT_EQ(live_blocks(), 1u);
}

TEST_F(List, DeleteNodeInList_RefusesNodesOfOtherLists) {
    OrvaList *const other = ORVA_CreateList(1);
    EXPECT_EQ(ORVA_AppendNullNodeAtEndOfListWithId(other, 1), 0u);
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, other->head), ORVA_ERR_LIST_DELETE_NODE_ABSENT) << "empty list";
    append(1);
    EXPECT_EQ(ORVA_DeleteNodeInList(list_, other->head), ORVA_ERR_LIST_DELETE_NODE_ABSENT);
    EXPECT_EQ(ORVA_IsNodeInList(list_, other->head), ORVA_ERR_LIST_MEMBER_ABSENT);
    EXPECT_EQ(ORVA_GetNextNodeInList(list_, other->head), nullptr);
    EXPECT_EQ(ids(), Ids{1});
    EXPECT_EQ(ORVA_DeleteList(other), 0u);
}

TEST_F(List, DeleteNodeInListById_RemovesTheOneNearerTheHead) {
    append(5);
    append(6);
    void *const second = append(5);
    EXPECT_EQ(ORVA_DeleteNodeInListById(list_, 5), 0u);
    EXPECT_EQ(ids(), (Ids{6, 5}));
    EXPECT_TRUE(ORVA_SearchIdInList(list_, 5)->data == second);
    EXPECT_EQ(ORVA_DeleteNodeInListById(list_, 9), ORVA_ERR_LIST_DELETE_ID_ABSENT);
    EXPECT_EQ(ORVA_DeleteListAllNode(list_), 0u);
    EXPECT_EQ(ORVA_DeleteNodeInListById(list_, 5), ORVA_ERR_LIST_DELETE_ID_ABSENT) << "empty list";
}

TEST_F(List, DeleteOneNodeDirectly_ReturnsTheNodeWithoutItsData) {
    append(1);
    append(2);
    OrvaListNode *const tail = list_->tail;
    ORVA_DeleteOneNodeDirectly(list_, tail);
    EXPECT_EQ(ids(), Ids{1});
    EXPECT_EQ(list_->tail, list_->head) << "its prev is the new tail";
    EXPECT_TRUE(tail->data == nullptr);
    EXPECT_EQ(tail->id, 2u);
    EXPECT_EQ(live_blocks(), 4u); // list, node 1 with its data, node 2
    EXPECT_EQ(ORVA_DeleteNode(tail), 0u);
    EXPECT_EQ(live_blocks(), 3u);
}

TEST_F(List, DeleteNode_ReturnsThePlatformsResult) {
    append(1);
    OrvaListNode *const node = list_->head;
    ORVA_DeleteOneNodeDirectly(list_, node);
    fail("MIRO_MemFree_F", 1, 0x33);
    EXPECT_EQ(ORVA_DeleteNode(node), 0x33u);
}

TEST_F(List, DeleteListAllNode_FreesEverythingButTheList) {
    append(1);
    EXPECT_EQ(ORVA_AppendNullNodeAtEndOfListWithId(list_, 2), 0u);
    append(3);
    EXPECT_EQ(ORVA_DeleteListAllNode(list_), 0u);
    EXPECT_EQ(ids(), Ids{});
    EXPECT_EQ(live_blocks(), 1u);
    EXPECT_EQ(ORVA_DeleteListAllNode(list_), 0u) << "an empty list";
}

TEST_F(List, DeleteList_FreesTheRecordOfAnEmptyListToo) {
    EXPECT_EQ(ORVA_DeleteList(list_), 0u);
    list_ = nullptr;
    EXPECT_EQ(live_blocks(), 0u);
}

TEST_F(List, WalkAndSearch_FindTheFirstMatch) {
    void *const first = append(1);
    append(2);
    void *const last = append(2);
    OrvaListNode *const head = ORVA_GetNodeAtHeadOfList(list_);
    EXPECT_EQ(head, list_->head);
    OrvaListNode *const middle = ORVA_GetNextNodeInList(list_, head);
    EXPECT_TRUE(middle == head->next);
    EXPECT_EQ(ORVA_GetNextNodeInList(list_, list_->tail), nullptr);
    EXPECT_EQ(ORVA_IsNodeInList(list_, list_->tail), 0u);
    EXPECT_EQ(ORVA_SearchIdInList(list_, 2), middle);
    EXPECT_EQ(ORVA_SearchIdInList(list_, 3), nullptr);
    EXPECT_EQ(ORVA_SearchDataInList(list_, first), head);
    EXPECT_EQ(ORVA_SearchDataInList(list_, last), list_->tail);
    EXPECT_EQ(ORVA_SearchDataInList(list_, &first), nullptr);
}

TEST_F(List, IsNodeInList_ReportsAnEmptyList) {
    OrvaListNode node{};
    EXPECT_EQ(ORVA_IsNodeInList(list_, &node), ORVA_ERR_LIST_MEMBER_ABSENT);
    EXPECT_EQ(ORVA_GetNodeAtHeadOfList(list_), nullptr);
}

} // namespace
