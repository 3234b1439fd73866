// The host platform's ordered trees: the record that callers see, against std::map, and readers beside a writer.
#include "miro.h"
#include "miro_host.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Item {
    std::uint32_t key = 0;
    MIRO_AVL_NODE node{};
};

MIRO_AVL_NODE outside_node(Item *item) {
    return {.parent = nullptr,
            .left = nullptr,
            .right = nullptr,
            .leftHeight = -1,
            .rightHeight = -1,
            .self = item,
            .key = &item->key};
}

int32_t compare_keys(const void *a, const void *b) {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::memcpy(&x, a, sizeof x);
    std::memcpy(&y, b, sizeof y);
    return x < y ? -7 : x > y ? 9 : 0;
}

// A pointer of a node, copied: the node's own lies at a multiple of four, which no reference may be bound to.
template <typename Pointer>
Pointer copy_of(Pointer pointer) {
    return pointer;
}

bool is_outside(const MIRO_AVL_NODE &node) {
    return node.parent == nullptr && node.left == nullptr && node.right == nullptr && node.leftHeight == -1 &&
           node.rightHeight == -1;
}

class HostMiroTree : public testing::Test {
protected:
    HostMiroTree() {
        tree.compare = compare_keys;
        MIRO_HostSetReporter(
            [](const char *line, void *context) { static_cast<HostMiroTree *>(context)->lines.push_back(line); },
            this);
    }
    ~HostMiroTree() override {
        MIRO_HostSetReporter(nullptr, nullptr);
    }
    Item *make(std::uint32_t key) {
        items.push_back(std::make_unique<Item>());
        Item *item = items.back().get();
        item->key = key;
        item->node = outside_node(item);
        return item;
    }
    Item *insert(std::uint32_t key) {
        Item *item = make(key);
        EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&tree, &item->node), nullptr);
        return item;
    }
    Item *find(std::uint32_t key) {
        return static_cast<Item *>(MIRO_AVL_Find(&tree, &key));
    }

    MIRO_AVL_TREE tree{};
    std::vector<std::unique_ptr<Item>> items;
    std::vector<std::string> lines;
};

// The height below a node; checks links, order of heights and balance on the way.
int checked_height(MIRO_AVL_NODE *node, MIRO_AVL_NODE *parent) {
    if (node == nullptr) {
        return 0;
    }
    EXPECT_EQ(copy_of(node->parent), parent);
    const int left = checked_height(node->left, node);
    const int right = checked_height(node->right, node);
    EXPECT_LE(std::abs(left - right), 1);
    EXPECT_EQ(node->leftHeight, left);
    EXPECT_EQ(node->rightHeight, right);
    return 1 + std::max(left, right);
}

void check_against(MIRO_AVL_TREE &tree, const std::map<std::uint32_t, Item *> &model) {
    checked_height(tree.root, nullptr);
    if (model.empty()) {
        EXPECT_EQ(tree.root, nullptr);
        EXPECT_EQ(tree.first, nullptr);
        EXPECT_EQ(tree.last, nullptr);
        return;
    }
    ASSERT_NE(tree.root, nullptr);
    EXPECT_EQ(tree.first, &model.begin()->second->node);
    EXPECT_EQ(tree.last, &model.rbegin()->second->node);
    void *at = tree.first->self;
    for (const auto &[key, item] : model) {
        ASSERT_EQ(at, item) << key;
        at = MIRO_AVL_Next(&item->node);
    }
    EXPECT_EQ(at, nullptr);
}

TEST_F(HostMiroTree, Records_HaveTheSizesThatCallersReserve) {
    EXPECT_EQ(sizeof(MIRO_AVL_TREE), 32u);
    EXPECT_EQ(sizeof(MIRO_AVL_NODE), 44u);
    EXPECT_EQ(alignof(MIRO_AVL_NODE), 4u);
}

TEST_F(HostMiroTree, EmptyTree_FindsNothing) {
    EXPECT_EQ(find(1), nullptr);
    check_against(tree, {});
}

TEST_F(HostMiroTree, SingleItem_IsRootFirstAndLast) {
    Item *item = insert(5);
    EXPECT_EQ(tree.root, &item->node);
    EXPECT_EQ(tree.first, &item->node);
    EXPECT_EQ(tree.last, &item->node);
    EXPECT_EQ(copy_of(item->node.parent), nullptr);
    EXPECT_EQ(item->node.leftHeight, 0);
    EXPECT_EQ(item->node.rightHeight, 0);
    EXPECT_EQ(find(5), item);
    EXPECT_EQ(find(4), nullptr);
    EXPECT_EQ(find(6), nullptr);
    EXPECT_EQ(MIRO_AVL_Next(&item->node), nullptr);
    MIRO_AVL_Delete(&tree, &item->node);
    EXPECT_TRUE(is_outside(item->node));
    EXPECT_EQ(copy_of(item->node.self), item);
    EXPECT_EQ(copy_of(item->node.key), &item->key);
    check_against(tree, {});
}

TEST_F(HostMiroTree, InsertOrFind_GivesTheEqualItemAndLeavesTheNewOneOutside) {
    Item *present = insert(5);
    Item *equal = make(5);
    EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&tree, &equal->node), present);
    EXPECT_TRUE(is_outside(equal->node));
    EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&tree, &present->node), present);
    check_against(tree, {{5, present}});
}

TEST_F(HostMiroTree, InsertOrFind_WritesNothingBeyondTheTreeRecord) {
    struct {
        std::uint64_t before = 0x1122334455667788;
        MIRO_AVL_TREE tree{};
        std::uint64_t after = 0x99AABBCCDDEEFF00;
    } frame;
    frame.tree.compare = compare_keys;
    for (std::uint32_t key = 0; key < 20; ++key) {
        EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&frame.tree, &make(key)->node), nullptr);
    }
    for (const auto &item : items) {
        MIRO_AVL_Delete(&frame.tree, &item->node);
    }
    EXPECT_EQ(frame.before, 0x1122334455667788u);
    EXPECT_EQ(frame.after, 0x99AABBCCDDEEFF00u);
    EXPECT_EQ(frame.tree.compare, compare_keys);
}

TEST_F(HostMiroTree, Nodes_MayLieAtAnyMultipleOfFour) {
    alignas(8) std::uint32_t keys[16];
    alignas(8) unsigned char memory[16 * (sizeof(MIRO_AVL_NODE) + 4)];
    for (std::uint32_t i = 0; i < 16; ++i) {
        keys[i] = i * 7 % 16;
        auto *node = reinterpret_cast<MIRO_AVL_NODE *>(memory + i * (sizeof(MIRO_AVL_NODE) + 4) + i % 2 * 4);
        *node = {.parent = nullptr,
                 .left = nullptr,
                 .right = nullptr,
                 .leftHeight = -1,
                 .rightHeight = -1,
                 .self = &keys[i],
                 .key = &keys[i]};
        EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&tree, node), nullptr);
    }
    checked_height(tree.root, nullptr);
    for (std::uint32_t key = 0; key < 16; ++key) {
        EXPECT_EQ(*static_cast<std::uint32_t *>(MIRO_AVL_Find(&tree, &key)), key);
    }
}

TEST_F(HostMiroTree, AscendingAndDescendingInserts_StayBalanced) {
    std::map<std::uint32_t, Item *> model;
    for (std::uint32_t i = 0; i < 500; ++i) {
        model[1000 + i] = insert(1000 + i);
        model[999 - i] = insert(999 - i);
    }
    check_against(tree, model);
    EXPECT_LE(checked_height(tree.root, nullptr), 14);
}

TEST_F(HostMiroTree, RandomInsertsAndDeletes_AgreeWithAMap) {
    for (std::uint32_t seed = 1; seed <= 8; ++seed) {
        std::mt19937 random(seed);
        MIRO_AVL_TREE own{};
        own.compare = compare_keys;
        std::map<std::uint32_t, Item *> model;
        const std::uint32_t range = seed % 2 == 0 ? 60 : 1000;
        for (int step = 0; step < 4000; ++step) {
            const auto key = static_cast<std::uint32_t>(random() % range);
            const auto found = model.find(key);
            EXPECT_EQ(MIRO_AVL_Find(&own, &key), found != model.end() ? found->second : nullptr);
            // Phases that mostly grow and phases that mostly shrink.
            if (random() % 10 < (step / 500 % 2 == 0 ? 7u : 3u)) {
                Item *item = make(key);
                EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&own, &item->node), found != model.end() ? found->second : nullptr);
                model.try_emplace(key, item);
            } else if (found != model.end()) {
                MIRO_AVL_Delete(&own, &found->second->node);
                EXPECT_TRUE(is_outside(found->second->node));
                model.erase(found);
            }
            if (step % 16 == 0) {
                check_against(own, model);
            }
        }
        while (!model.empty()) {
            MIRO_AVL_Delete(&own, &model.begin()->second->node);
            model.erase(model.begin());
        }
        check_against(own, model);
    }
    EXPECT_TRUE(lines.empty());
}

TEST_F(HostMiroTree, Delete_OfANodeThatIsNotInTheTreeIsReportedAndRefused) {
    Item *inside = insert(1);
    Item *outside = make(2);
    MIRO_AVL_TREE other{};
    other.compare = compare_keys;
    Item *foreign = make(3);
    EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&other, &foreign->node), nullptr);
    MIRO_AVL_Delete(&tree, &outside->node);
    MIRO_AVL_Delete(&tree, &foreign->node);
    MIRO_AVL_Delete(&tree, nullptr);
    MIRO_AVL_Delete(nullptr, &inside->node);
    EXPECT_EQ(lines.size(), 4u);
    EXPECT_NE(lines[0].find("is not in tree"), std::string::npos) << lines[0];
    check_against(tree, {{1, inside}});
    check_against(other, {{3, foreign}});
}

TEST_F(HostMiroTree, UnusableArguments_FindAndInsertNothing) {
    Item *item = make(1);
    MIRO_AVL_TREE without_compare{};
    EXPECT_EQ(MIRO_AVL_Find(nullptr, &item->key), nullptr);
    EXPECT_EQ(MIRO_AVL_Find(&without_compare, &item->key), nullptr);
    EXPECT_EQ(MIRO_AVL_Next(nullptr), nullptr);
    EXPECT_EQ(MIRO_AVL_Next(&item->node), nullptr);
    EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&tree, nullptr), nullptr);
    EXPECT_EQ(MIRO_AVL_Insert_Or_Find(nullptr, &item->node), item);
    EXPECT_EQ(MIRO_AVL_Insert_Or_Find(&without_compare, &item->node), item);
    EXPECT_EQ(lines.size(), 3u);
    EXPECT_TRUE(is_outside(item->node));
    EXPECT_EQ(tree.root, nullptr);
}

thread_local bool t_pauses = false;

// Pauses in the middle of many lookups, so that others change the tree meanwhile.
int32_t compare_keys_slowly(const void *a, const void *b) {
    thread_local unsigned calls = 0;
    if (t_pauses && ++calls % 13 == 0) {
        std::this_thread::yield();
    }
    return compare_keys(a, b);
}

TEST_F(HostMiroTree, Readers_FindWhatStaysWhileOthersInsertAndDelete) {
    tree.compare = compare_keys_slowly;
    std::vector<Item *> stays;
    for (std::uint32_t key = 0; key < 8; ++key) {
        stays.push_back(insert(key * 100));
    }
    // Inserted in order, these make the tree rotate again and again.
    std::vector<Item *> moving;
    for (std::uint32_t key = 1; key < 700; key += 3) {
        if (key % 100 != 0) {
            moving.push_back(make(key));
        }
    }
    constexpr int kLookups = 3000;
    std::atomic<int> reading{2};
    std::atomic<int> missed{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 2; ++i) {
        threads.emplace_back([&, i] {
            t_pauses = true;
            std::mt19937 random(i);
            for (int lookup = 0; lookup < kLookups; ++lookup) {
                Item *item = stays[random() % stays.size()];
                missed += MIRO_AVL_Find(&tree, &item->key) != item ? 1 : 0;
                auto *next = static_cast<Item *>(MIRO_AVL_Next(&item->node));
                missed += item != stays.back() && (next == nullptr || next->key > item->key + 100) ? 1 : 0;
                missed += item == stays.back() && next != nullptr ? 1 : 0;
            }
            --reading;
        });
    }
    // A writer of another tree, which shares the version.
    threads.emplace_back([&] {
        MIRO_AVL_TREE own{};
        own.compare = compare_keys;
        Item local[8];
        while (reading != 0) {
            for (std::uint32_t i = 0; i < 8; ++i) {
                local[i].key = i;
                local[i].node = outside_node(&local[i]);
                missed += MIRO_AVL_Insert_Or_Find(&own, &local[i].node) != nullptr ? 1 : 0;
            }
            for (Item &item : local) {
                MIRO_AVL_Delete(&own, &item.node);
            }
        }
    });
    while (reading != 0) {
        for (Item *item : moving) {
            missed += MIRO_AVL_Insert_Or_Find(&tree, &item->node) != nullptr ? 1 : 0;
        }
        for (Item *item : moving) {
            MIRO_AVL_Delete(&tree, &item->node);
        }
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(missed, 0);
}

TEST_F(HostMiroTree, Writers_OfOneTreeLoseNothing) {
    constexpr std::uint32_t kEach = 500;
    for (std::uint32_t key = 0; key < 4 * kEach; ++key) {
        make(key);
    }
    std::vector<std::thread> writers;
    for (std::uint32_t i = 0; i < 4; ++i) {
        writers.emplace_back([&, i] {
            for (std::uint32_t n = 0; n < kEach; ++n) {
                MIRO_AVL_Insert_Or_Find(&tree, &items[n * 4 + i]->node);
            }
        });
    }
    for (std::thread &writer : writers) {
        writer.join();
    }
    std::map<std::uint32_t, Item *> model;
    for (const auto &item : items) {
        model[item->key] = item.get();
    }
    check_against(tree, model);
}

} // namespace
