// Ordered trees with embedded nodes, balanced by the AVL algorithms of Boost.Intrusive. Those want a header node,
// which the caller's 32-byte tree has no room for: each change splices one in on the stack and out again.
//
// One lock covers the changes of all trees. Lookups take none: they watch a version that every change steps, check it
// again before they follow a link, and only when it moved do they repeat the walk under the lock.
#include "miro_host.h"

#include "host_internal.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <boost/intrusive/avltree_algorithms.hpp>
#include <cstddef>
#include <mutex>

namespace {

using Node = MIRO_AVL_NODE;
using Guard = std::lock_guard<std::mutex>;

std::mutex g_tree_lock;
std::atomic<std::uint64_t> g_version{0}; // odd while a tree is being changed

[[gnu::constructor]] void prepare_fork() {
    host::keep_usable_after_fork(g_tree_lock);
}

// Links lie at multiples of four bytes, where access to a whole pointer is not atomic: each is read and written
// as two words. The version shows a reader that it has the halves of two pointers.
using Word __attribute__((may_alias)) = std::uint32_t;
using Words = std::array<std::uint32_t, 2>;
static_assert(sizeof(Words) == sizeof(Node *));

enum class Link : std::size_t {
    parent = offsetof(Node, parent),
    left = offsetof(Node, left),
    right = offsetof(Node, right),
};

// Acquire and release order each link against the version, so that no fences are needed.
Node *load_link(const Node *node, Link link) {
    const char *at = reinterpret_cast<const char *>(node) + static_cast<std::size_t>(link);
    const Word *words = reinterpret_cast<const Word *>(at);
    return std::bit_cast<Node *>(
        Words{__atomic_load_n(words, __ATOMIC_ACQUIRE), __atomic_load_n(words + 1, __ATOMIC_ACQUIRE)});
}

void store_link(Node *node, Link link, Node *to) {
    Word *words = reinterpret_cast<Word *>(reinterpret_cast<char *>(node) + static_cast<std::size_t>(link));
    const auto halves = std::bit_cast<Words>(to);
    __atomic_store_n(words, halves[0], __ATOMIC_RELEASE);
    __atomic_store_n(words + 1, halves[1], __ATOMIC_RELEASE);
}

struct NodeTraits {
    using node = Node;
    using node_ptr = Node *;
    using const_node_ptr = const Node *;
    using balance = int;

    static node_ptr get_parent(const_node_ptr n) {
        return load_link(n, Link::parent);
    }
    static void set_parent(node_ptr n, node_ptr to) {
        store_link(n, Link::parent, to);
    }
    static node_ptr get_left(const_node_ptr n) {
        return load_link(n, Link::left);
    }
    static void set_left(node_ptr n, node_ptr to) {
        store_link(n, Link::left, to);
    }
    static node_ptr get_right(const_node_ptr n) {
        return load_link(n, Link::right);
    }
    static void set_right(node_ptr n, node_ptr to) {
        store_link(n, Link::right, to);
    }
    // Boost keeps the difference alone: while a change goes on, the heights of the nodes that it rotates count from
    // the shallower side. restore_heights() corrects them.
    static balance get_balance(const_node_ptr n) {
        return n->rightHeight - n->leftHeight;
    }
    static void set_balance(node_ptr n, balance b) {
        n->leftHeight = static_cast<std::int16_t>(b < 0);
        n->rightHeight = static_cast<std::int16_t>(b > 0);
    }
    static balance negative() {
        return -1;
    }
    static balance zero() {
        return 0;
    }
    static balance positive() {
        return 1;
    }
};

using Algorithms = boost::intrusive::avltree_algorithms<NodeTraits>;
using Place = Algorithms::insert_commit_data;

std::atomic_ref<Node *> root_of(MIRO_AVL_TREE *tree) {
    return std::atomic_ref<Node *>(tree->root);
}

int height(const Node *node) {
    return node == nullptr ? 0 : 1 + std::max(node->leftHeight, node->rightHeight);
}

void measure(Node *node) {
    if (node != nullptr) {
        node->leftHeight = static_cast<std::int16_t>(height(load_link(node, Link::left)));
        node->rightHeight = static_cast<std::int16_t>(height(load_link(node, Link::right)));
    }
}

// Corrects the heights after a change whose deepest node is `node`. Every rotated node is an ancestor of it or the
// child of one.
void restore_heights(Node *node) {
    for (; node != nullptr; node = load_link(node, Link::parent)) {
        measure(load_link(node, Link::left));
        measure(load_link(node, Link::right));
        measure(node);
    }
}

// The deepest node that changes when `node` is removed: the parent of the place that becomes empty.
Node *deepest_changed(Node *node) {
    Node *right = load_link(node, Link::right);
    if (load_link(node, Link::left) == nullptr || right == nullptr) {
        return load_link(node, Link::parent);
    }
    Node *successor = Algorithms::next_node(node);
    return successor == right ? successor : load_link(successor, Link::parent);
}

// One change of one tree, made under the lock: readers see the version odd until it ends.
class Change {
public:
    explicit Change(MIRO_AVL_TREE *tree) : tree_(tree) {
        g_version.store(g_version.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        Algorithms::init_header(&header_);
        Node *root = root_of(tree).load(std::memory_order_relaxed);
        if (root != nullptr) {
            NodeTraits::set_parent(&header_, root);
            NodeTraits::set_left(&header_, tree->first);
            NodeTraits::set_right(&header_, tree->last);
            NodeTraits::set_parent(root, &header_);
        }
    }
    ~Change() {
        Node *root = NodeTraits::get_parent(&header_);
        if (root != nullptr) {
            NodeTraits::set_parent(root, nullptr);
        }
        tree_->first = root != nullptr ? NodeTraits::get_left(&header_) : nullptr;
        tree_->last = root != nullptr ? NodeTraits::get_right(&header_) : nullptr;
        root_of(tree_).store(root, std::memory_order_release);
        g_version.store(g_version.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    Change(const Change &) = delete;
    Change &operator=(const Change &) = delete;
    Node *header() {
        return &header_;
    }

private:
    MIRO_AVL_TREE *tree_;
    Node header_{};
};

// The two views of a walk. An unlocked one becomes invalid as soon as its links cannot be trusted.
struct LockedView {
    bool valid() const {
        return true;
    }
};

class UnlockedView {
public:
    UnlockedView() : version_(g_version.load(std::memory_order_acquire)) {}
    bool valid() const {
        return version_ % 2 == 0 && g_version.load(std::memory_order_relaxed) == version_;
    }

private:
    std::uint64_t version_;
};

// Stores the node whose key equals `key`, or null. False when the view became invalid on the way.
template <typename View>
bool find_node(const View &view, MIRO_AVL_TREE *tree, const void *key, Node *&found) {
    found = root_of(tree).load(std::memory_order_acquire);
    while (view.valid()) {
        if (found == nullptr) {
            return true;
        }
        const std::int32_t order = tree->compare(key, found->key);
        if (order == 0) {
            return true;
        }
        found = load_link(found, order < 0 ? Link::left : Link::right);
    }
    return false;
}

// Stores the node after `node`, or null. False when the view became invalid on the way.
template <typename View>
bool next_node(const View &view, const Node *node, Node *&next) {
    next = load_link(node, Link::right);
    if (!view.valid()) {
        return false;
    }
    if (next != nullptr) {
        for (Node *left = next; left != nullptr; left = load_link(next, Link::left)) {
            if (!view.valid()) {
                return false;
            }
            next = left;
        }
        return view.valid();
    }
    for (next = load_link(node, Link::parent); view.valid(); next = load_link(next, Link::parent)) {
        if (next == nullptr || load_link(next, Link::left) == node) {
            return view.valid();
        }
        node = next;
    }
    return false;
}

// Where a key belongs: stores the place and returns null, or returns the node with an equal key.
Node *find_place(MIRO_AVL_TREE *tree, const void *key, Place &place) {
    Node *parent = nullptr;
    bool left = true;
    for (Node *node = root_of(tree).load(std::memory_order_relaxed); node != nullptr;) {
        const std::int32_t order = tree->compare(key, node->key);
        if (order == 0) {
            return node;
        }
        parent = node;
        left = order < 0;
        node = load_link(node, left ? Link::left : Link::right);
    }
    place.link_left = left;
    place.node = parent;
    return nullptr;
}

bool is_in_tree(MIRO_AVL_TREE *tree, const Node *node) {
    while (const Node *parent = load_link(node, Link::parent)) {
        node = parent;
    }
    return node == root_of(tree).load(std::memory_order_relaxed);
}

} // namespace

MIRO_EXPORT void *MIRO_AVL_Find(MIRO_AVL_TREE *tree, const void *key) {
    if (tree == nullptr || tree->compare == nullptr) {
        return nullptr;
    }
    Node *found = nullptr;
    if (!find_node(UnlockedView(), tree, key, found)) {
        const Guard guard(g_tree_lock);
        find_node(LockedView(), tree, key, found);
    }
    return found != nullptr ? found->self : nullptr;
}

MIRO_EXPORT void *MIRO_AVL_Insert_Or_Find(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) {
    if (tree == nullptr || node == nullptr || tree->compare == nullptr) {
        host::g_reporter.line("nothing inserted: a tree needs a compare function, and an item its node");
        return node != nullptr ? node->self : nullptr;
    }
    const Guard guard(g_tree_lock);
    Place place;
    const Node *equal = find_place(tree, node->key, place);
    if (equal != nullptr) {
        return equal->self;
    }
    {
        Change change(tree);
        if (place.node == nullptr) {
            place.node = change.header();
        }
        Algorithms::insert_unique_commit(change.header(), node, place);
    }
    restore_heights(node);
    return nullptr;
}

MIRO_EXPORT void MIRO_AVL_Delete(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) {
    bool member = false;
    if (tree != nullptr && node != nullptr) {
        const Guard guard(g_tree_lock);
        member = is_in_tree(tree, node);
        if (member) {
            Node *deepest = deepest_changed(node);
            {
                Change change(tree);
                Algorithms::erase(change.header(), node);
                Algorithms::init(node);
            }
            restore_heights(deepest);
            node->leftHeight = -1;
            node->rightHeight = -1;
        }
    }
    if (!member) {
        host::g_reporter.line("nothing deleted: node %p is not in tree %p", static_cast<void *>(node),
                              static_cast<void *>(tree));
    }
}

MIRO_EXPORT void *MIRO_AVL_Next(MIRO_AVL_NODE *node) {
    if (node == nullptr) {
        return nullptr;
    }
    Node *next = nullptr;
    if (!next_node(UnlockedView(), node, next)) {
        const Guard guard(g_tree_lock);
        next_node(LockedView(), node, next);
    }
    return next != nullptr ? next->self : nullptr;
}
