// An insert and a delete of a list node against std::list with the same allocation calls. Both sides take a data
// block from the partition for every insert and free it at the delete; the library clears its node besides.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "host_partition.h"
#include "orva_list.h"
#include "ratio_report.h"

namespace {

using orva_bench::give_up;
using orva_bench::Work;

constexpr char kCaller[] = "bench/list_bench";
constexpr std::size_t kDataBytes = 64;
constexpr std::uint32_t kStanding[] = {0, 256}; // nodes in the list before the insert
constexpr std::uint32_t kSearched = 64;         // nodes that a search by id walks over

void *make_data() {
    return orva_bench::allocate(kDataBytes, kCaller);
}

// ---- The library's list

struct DeleteList {
    void operator()(OrvaList *list) const {
        ORVA_DeleteList(list);
    }
};

using OurList = std::shared_ptr<OrvaList>;

void append(OrvaList *list, std::uint32_t id) {
    if (ORVA_AppendDataAtEndOfListWithId(list, make_data(), id) != ORVA_OK) {
        give_up("ORVA_AppendDataAtEndOfListWithId");
    }
}

OurList our_list(std::uint32_t count) {
    OurList list(ORVA_CreateList(ORVA_LIST_KIND), DeleteList{});
    if (list == nullptr) {
        give_up("ORVA_CreateList");
    }
    for (std::uint32_t id = 0; id < count; ++id) {
        append(list.get(), id);
    }
    return list;
}

Work our_first_in_first_out(std::uint32_t standing) {
    return [list = our_list(standing)](std::uint64_t times) {
        for (; times > 0; --times) {
            append(list.get(), static_cast<std::uint32_t>(times));
            OrvaListNode *const first = ORVA_GetNodeAtHeadOfList(list.get());
            ORVA_DeleteOneNodeDirectly(list.get(), first);
            ORVA_DeleteNode(first);
        }
    };
}

Work our_delete_by_id(std::uint32_t standing) {
    return [standing, list = our_list(standing)](std::uint64_t times) {
        for (; times > 0; --times) {
            append(list.get(), standing);
            if (ORVA_DeleteNodeInListById(list.get(), standing) != ORVA_OK) {
                give_up("ORVA_DeleteNodeInListById");
            }
        }
    };
}

// ---- Its peer

template <typename T>
struct PartitionAllocator {
    using value_type = T;
    PartitionAllocator() = default;
    template <typename U>
    PartitionAllocator(const PartitionAllocator<U> &) {}
    T *allocate(std::size_t count) {
        return static_cast<T *>(orva_bench::allocate(count * sizeof(T), kCaller));
    }
    void deallocate(T *block, std::size_t) {
        orva_bench::release(block, kCaller);
    }
    template <typename U>
    bool operator==(const PartitionAllocator<U> &) const {
        return true;
    }
};

struct Item {
    explicit Item(std::uint32_t number) : id(number), data(make_data()) {}
    ~Item() {
        orva_bench::release(data, kCaller);
    }
    Item(const Item &) = delete;
    Item &operator=(const Item &) = delete;
    std::uint32_t id;
    void *data;
};

using StdList = std::list<Item, PartitionAllocator<Item>>;

std::shared_ptr<StdList> std_list(std::uint32_t count) {
    auto list = std::make_shared<StdList>();
    for (std::uint32_t id = 0; id < count; ++id) {
        list->emplace_back(id);
    }
    return list;
}

Work std_first_in_first_out(std::uint32_t standing) {
    return [list = std_list(standing)](std::uint64_t times) {
        for (; times > 0; --times) {
            list->emplace_back(static_cast<std::uint32_t>(times));
            list->pop_front();
        }
    };
}

Work std_delete_by_id(std::uint32_t standing) {
    return [standing, list = std_list(standing)](std::uint64_t times) {
        for (; times > 0; --times) {
            list->emplace_back(standing);
            const auto found = std::find_if(list->begin(), list->end(),
                                            [standing](const Item &item) { return item.id == standing; });
            if (found == list->end()) {
                give_up("std::find_if");
            }
            list->erase(found);
        }
    };
}

} // namespace

int main(int argc, char **argv) {
    orva_bench::start_partition();
    orva_bench::RatioReport report;
    for (const std::uint32_t standing : kStanding) {
        report.add("append + delete first, " + std::to_string(standing) + " standing", "std::list",
                   our_first_in_first_out(standing), std_first_in_first_out(standing));
    }
    report.add("append + delete by id, " + std::to_string(kSearched) + " standing", "std::list",
               our_delete_by_id(kSearched), std_delete_by_id(kSearched));
    return report.run(argc, argv);
}
