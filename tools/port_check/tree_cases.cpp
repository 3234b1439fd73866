// The ordered tree, whose nodes and trees belong to its callers.
#include "port_check.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace port_check {

namespace {

struct Item {
    MIRO_AVL_NODE node{};
    std::uint32_t key;

    explicit Item(std::uint32_t value) : key(value) {
        node.leftHeight = -1;
        node.rightHeight = -1;
        node.self = this;
        node.key = &key;
    }
};

std::int32_t compare(const void *a, const void *b) {
    const std::uint32_t left = *static_cast<const std::uint32_t *>(a);
    const std::uint32_t right = *static_cast<const std::uint32_t *>(b);
    return left < right ? -1 : left > right ? 1 : 0;
}

// Keys 0, 10, 20 ... in an order that makes the tree turn.
struct Tree {
    static constexpr std::uint32_t kItems = 200;

    MIRO_AVL_TREE tree{};
    std::vector<std::unique_ptr<Item>> items;

    explicit Tree(MIRO_AVL_COMPARE order = compare) {
        tree.compare = order;
        for (std::uint32_t i = 0; i < kItems; ++i) {
            items.push_back(std::make_unique<Item>(i * 10));
        }
        for (std::uint32_t i = 0; i < kItems; ++i) {
            insert(*items[i * 37 % kItems]);
        }
    }
    void *insert(Item &item) {
        return PORT_CHECK_IMPORT(MIRO_AVL_Insert_Or_Find)(&tree, &item.node);
    }
    void *find(std::uint32_t key) {
        return PORT_CHECK_IMPORT(MIRO_AVL_Find)(&tree, &key);
    }
    void remove(Item &item) {
        PORT_CHECK_IMPORT(MIRO_AVL_Delete)(&tree, &item.node);
    }
    bool has_ends(const Item *first, const Item *last) const {
        return tree.first == (first != nullptr ? &first->node : nullptr) &&
               tree.last == (last != nullptr ? &last->node : nullptr) && (tree.root == nullptr) == (first == nullptr);
    }
};

void insertion() {
    Tree tree;
    Item fresh(5);
    require(tree.insert(fresh) == nullptr, "the insertion of a new key gives an item");
}

void equal_key() {
    Tree tree;
    Item again(50);
    require(tree.insert(again) == tree.items[5].get(), "the insertion of a key that is there does not give its item");
}

void look_up() {
    Tree tree;
    for (const auto &item : tree.items) {
        require(tree.find(item->key) == item.get(), "key " + std::to_string(item->key) + " is not found");
    }
    require(tree.find(5) == nullptr, "a key that is not there is found");
}

void ends() {
    Tree tree;
    require(tree.has_ends(tree.items.front().get(), tree.items.back().get()), "after insertions");
    tree.remove(*tree.items.front());
    tree.remove(*tree.items.back());
    require(tree.has_ends(tree.items[1].get(), tree.items[Tree::kItems - 2].get()), "after deletions");
    for (std::uint32_t i = 1; i + 1 < Tree::kItems; ++i) {
        tree.remove(*tree.items[i]);
    }
    require(tree.has_ends(nullptr, nullptr), "root, first or last is not null in an empty tree");
}

void deletion() {
    Tree tree;
    tree.remove(*tree.items[70]);
    require(tree.find(700) == nullptr, "a deleted key is found");
    require(tree.find(690) != nullptr && tree.find(710) != nullptr, "its neighbours are not");
}

void order() {
    Tree tree;
    const auto next = PORT_CHECK_IMPORT(MIRO_AVL_Next);
    Item *item = tree.items.front().get();
    for (std::uint32_t i = 1; i < Tree::kItems; ++i) {
        item = static_cast<Item *>(next(&item->node));
        require(item == tree.items[i].get(), "the item after " + std::to_string((i - 1) * 10) + " is another");
    }
    require(next(&item->node) == nullptr, "the last item has a next one");
}

void next_alone() {
    Tree tree;
    std::memset(static_cast<void *>(&tree.tree), 0, sizeof tree.tree); // its owner keeps the nodes alone
    require(PORT_CHECK_IMPORT(MIRO_AVL_Next)(&tree.items[80]->node) == tree.items[81].get(),
            "the next item needs the tree");
}

std::vector<const void *> g_seen;

void key_passed() {
    Tree tree([](const void *a, const void *b) {
        g_seen.push_back(a);
        g_seen.push_back(b);
        return compare(a, b);
    });
    for (const void *seen : g_seen) {
        require(std::any_of(tree.items.begin(), tree.items.end(),
                            [seen](const auto &item) { return &item->key == seen; }),
                "compare gets what is not the key of a node");
    }
    needs(!g_seen.empty(), "tree-insert");
}

void lookups_change_nothing() {
    Tree tree;
    std::vector<MIRO_AVL_NODE> before;
    for (const auto &item : tree.items) {
        before.push_back(item->node);
    }
    const MIRO_AVL_TREE tree_before = tree.tree;
    for (const auto &item : tree.items) {
        tree.find(item->key);
        PORT_CHECK_IMPORT(MIRO_AVL_Next)(&item->node);
    }
    for (std::size_t i = 0; i < before.size(); ++i) {
        require(std::memcmp(&before[i], &tree.items[i]->node, sizeof before[i]) == 0, "a look-up changes a node");
    }
    require(std::memcmp(&tree_before, &tree.tree, sizeof tree_before) == 0, "a look-up changes the tree");
}

void side_by_side() {
    Tree stable;
    Tree changing;
    std::atomic<bool> stop{false};
    std::atomic<bool> wrong{false};
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([&] {
            while (!stop) {
                for (const auto &item : stable.items) {
                    wrong = wrong || stable.find(item->key) != item.get();
                }
            }
        });
    }
    for (int pass = 0; pass < 200; ++pass) {
        for (std::uint32_t i = 0; i < Tree::kItems; i += 3) {
            changing.remove(*changing.items[i]);
            changing.items[i] = std::make_unique<Item>(i * 10);
            changing.insert(*changing.items[i]);
        }
    }
    stop = true;
    for (std::thread &reader : readers) {
        reader.join();
    }
    require(!wrong, "a look-up fails while another tree changes");
}

constexpr Case kCases[] = {
    {"tree-insert", "the insertion of a new key gives null", insertion},
    {"tree-equal-key", "the insertion of a key that is there gives its item", equal_key},
    {"tree-find", "MIRO_AVL_Find gives the item of a key, or null", look_up},
    {"tree-ends", "first is the smallest node, last the largest, and root is null exactly when both are", ends},
    {"tree-delete", "a deleted node is gone, and no other", deletion},
    {"tree-order", "MIRO_AVL_Next walks all items in order", order},
    {"tree-next-alone", "MIRO_AVL_Next works from the node alone", next_alone},
    {"tree-key", "compare gets the key of a node", key_passed},
    {"tree-lookup-reads", "look-ups change nothing", lookups_change_nothing},
    {"tree-side-by-side", "look-ups run on several threads beside changes of other trees", side_by_side},
};

} // namespace

std::span<const Case> tree_cases() {
    return kCases;
}

} // namespace port_check
