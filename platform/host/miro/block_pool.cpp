#include "block_pool.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <unordered_map>
#include <vector>

namespace host {

namespace {

constexpr std::size_t kSlabBytes = 64 * 1024;
constexpr std::size_t kRegionSlabs = 16; // taken from the kernel at once
constexpr std::size_t kGrain = 16;
constexpr std::size_t kFineBytes =
    512; // up to here the slot sizes are multiples of the grain, then eighths of powers
constexpr std::size_t kFineClasses = kFineBytes / kGrain;
constexpr std::size_t kStepsPerPower = 8;
// Sanitizers watch the C library's blocks: with them all blocks are such.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kMaxPooledBytes = 0;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr std::size_t kMaxPooledBytes = 0;
#else
constexpr std::size_t kMaxPooledBytes = 8192;
#endif
#else
constexpr std::size_t kMaxPooledBytes = 8192;
#endif
constexpr std::size_t kClasses = kFineClasses + kStepsPerPower * 4;

constexpr std::uint32_t kNoSlot = 0xFFFFFFFFu;

// Four to a cache line: with many live blocks the look at one is what takes the time.
struct Slot {
    Site *site;
    std::uint32_t size;     // of a free slot: the next free one, or kNoSlot
    std::uint8_t partition; // 0: free
};

static_assert(sizeof(Slot) == 16);

Block block_of(const Slot &slot) {
    return {slot.size, slot.site, slot.partition};
}

struct Slab {
    std::byte *base;
    Slab *next; // among those of its class with room
    std::uint32_t slot_bytes;
    std::uint32_t reciprocal; // of slot_bytes, in 2^-32
    std::uint32_t slots;
    std::uint32_t fresh;     // slots from here on were never used
    std::uint32_t free_slot; // the first of the list of used ones, or kNoSlot
    std::uint32_t live;
    std::unique_ptr<Slot[]> slot;
};

// Address bits 16 to 31 name a slab in a leaf, 32 to 47 the leaf.
constexpr std::size_t kLeafSlabs = std::size_t{1} << 16;
using Leaf = std::array<Slab *, kLeafSlabs>;

struct Pool {
    std::array<Slab *, kClasses> with_room{};
    std::array<Leaf *, kLeafSlabs> leaves{};
    std::vector<Slab *> slabs;
    std::byte *region = nullptr;
    std::size_t region_slabs = 0;
    std::unordered_map<const void *, Block> large;
    std::uint64_t live = 0;
};

// Never destroyed: blocks are freed until the process is gone. A pointer costs less at each call than a static
// object.
constinit Pool *g_pool = nullptr;

[[gnu::noinline, gnu::cold]] void make_pool() {
    g_pool = new Pool;
}

Pool &pool() {
    if (g_pool == nullptr) {
        make_pool();
    }
    return *g_pool;
}

std::size_t class_of(std::size_t bytes) {
    if (bytes <= kFineBytes) {
        return (std::max<std::size_t>(bytes, 1) - 1) / kGrain;
    }
    const auto power = static_cast<std::size_t>(std::bit_width(bytes - 1)) - 1; // of the power below
    const std::size_t step = (bytes - 1 - (std::size_t{1} << power)) >> (power - 3);
    return kFineClasses + (power - 9) * kStepsPerPower + step;
}

constexpr std::size_t bytes_of_class(std::size_t index) {
    if (index < kFineClasses) {
        return (index + 1) * kGrain;
    }
    const std::size_t power = 9 + (index - kFineClasses) / kStepsPerPower;
    const std::size_t step = (index - kFineClasses) % kStepsPerPower + 1;
    return (std::size_t{1} << power) + (step << (power - 3));
}

static_assert(bytes_of_class(kClasses - 1) == 8192);

Slab *slab_of(const Pool &all, const void *address) {
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    if (number >> 48 != 0) {
        return nullptr;
    }
    const Leaf *leaf = all.leaves[number >> 32];
    return leaf != nullptr ? (*leaf)[number >> 16 & (kLeafSlabs - 1)] : nullptr;
}

std::byte *take_slab_memory(Pool &all) {
    if (all.region_slabs == 0) {
        constexpr std::size_t kBytes = (kRegionSlabs + 1) * kSlabBytes; // one more, to begin at a multiple
        void *memory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            return nullptr;
        }
        const auto start = reinterpret_cast<std::uintptr_t>(memory);
        const std::uintptr_t aligned = (start + kSlabBytes - 1) / kSlabBytes * kSlabBytes;
        all.region = reinterpret_cast<std::byte *>(aligned);
        all.region_slabs = kRegionSlabs;
    }
    --all.region_slabs;
    return all.region + all.region_slabs * kSlabBytes;
}

// Enters the slab where lookups find it. May throw.
void enter_slab(Pool &all, Slab *slab) {
    const auto number = reinterpret_cast<std::uintptr_t>(slab->base);
    Leaf *&leaf = all.leaves.at(number >> 32);
    if (leaf == nullptr) {
        leaf = new Leaf{};
    }
    all.slabs.push_back(slab);
    (*leaf)[number >> 16 & (kLeafSlabs - 1)] = slab;
}

Slab *make_slab(Pool &all, std::size_t index) {
    auto slab = std::make_unique<Slab>();
    const std::size_t bytes = bytes_of_class(index);
    slab->slot_bytes = static_cast<std::uint32_t>(bytes);
    slab->reciprocal = static_cast<std::uint32_t>((std::uint64_t{1} << 32) / bytes + 1);
    slab->slots = static_cast<std::uint32_t>(kSlabBytes / bytes);
    slab->free_slot = kNoSlot;
    slab->slot = std::make_unique<Slot[]>(slab->slots);
    slab->base = take_slab_memory(all);
    if (slab->base == nullptr) {
        return nullptr;
    }
    try {
        enter_slab(all, slab.get());
    } catch (const std::exception &) {
        ++all.region_slabs; // it was the last one taken
        throw;
    }
    all.with_room[index] = slab.get();
    return slab.release();
}

void *add_pooled(Pool &all, std::size_t size, Site *site, std::uint8_t partition) {
    const std::size_t index = class_of(size);
    Slab *slab = all.with_room[index];
    if (slab == nullptr && (slab = make_slab(all, index)) == nullptr) {
        return nullptr;
    }
    const std::uint32_t at = slab->free_slot != kNoSlot ? slab->free_slot : slab->fresh++;
    Slot &slot = slab->slot[at];
    if (slab->free_slot == at) {
        slab->free_slot = slot.size;
    }
    slot = {site, static_cast<std::uint32_t>(size), partition};
    if (++slab->live == slab->slots) {
        all.with_room[index] = slab->next;
        slab->next = nullptr;
    }
    return slab->base + std::size_t{at} * slab->slot_bytes;
}

void *add_large(Pool &all, std::size_t size, Site *site, std::uint8_t partition) {
    void *memory = std::malloc(std::max<std::size_t>(size, 1));
    if (memory == nullptr) {
        return nullptr;
    }
    try {
        all.large.emplace(memory, Block{size, site, partition});
    } catch (const std::exception &) {
        std::free(memory);
        return nullptr;
    }
    return memory;
}

// The slot's number for an offset in the slab: exact below 2^16.
std::uint32_t slot_at(const Slab &slab, std::size_t offset) {
    return static_cast<std::uint32_t>(offset * slab.reciprocal >> 32);
}

// The live slot that begins there, or kNoSlot.
std::uint32_t live_slot_at(const Slab &slab, const void *start) {
    const auto offset = static_cast<std::size_t>(static_cast<const std::byte *>(start) - slab.base);
    const std::uint32_t at = slot_at(slab, offset);
    const bool is_live =
        at < slab.fresh && std::size_t{at} * slab.slot_bytes == offset && slab.slot[at].partition != 0;
    return is_live ? at : kNoSlot;
}

void free_slot(Pool &all, Slab &slab, std::uint32_t at) {
    Slot &slot = slab.slot[at];
    slot.partition = 0;
    slot.size = slab.free_slot;
    slab.free_slot = at;
    if (slab.live-- == slab.slots) {
        Slab *&first = all.with_room[class_of(slab.slot_bytes)];
        slab.next = first;
        first = &slab;
    }
}

} // namespace

void *add_block(std::size_t size, Site *site, std::uint8_t partition) {
    Pool &all = pool();
    void *start = nullptr;
    try {
        start = size <= kMaxPooledBytes && kMaxPooledBytes != 0 ? add_pooled(all, size, site, partition)
                                                                : add_large(all, size, site, partition);
    } catch (const std::exception &) {
        return nullptr;
    }
    all.live += start != nullptr ? 1u : 0u;
    return start;
}

bool find_block(const void *start, Block &found) {
    const Pool &all = pool();
    if (const Slab *slab = slab_of(all, start); slab != nullptr) {
        const std::uint32_t at = live_slot_at(*slab, start);
        found = at != kNoSlot ? block_of(slab->slot[at]) : Block{};
        return at != kNoSlot;
    }
    const auto large = all.large.find(start);
    found = large != all.large.end() ? large->second : Block{};
    return large != all.large.end();
}

bool take_block(void *start, Block &taken) {
    Pool &all = pool();
    if (Slab *slab = slab_of(all, start); slab != nullptr) {
        const std::uint32_t at = live_slot_at(*slab, start);
        if (at == kNoSlot) {
            return false;
        }
        taken = block_of(slab->slot[at]);
        free_slot(all, *slab, at);
        --all.live;
        return true;
    }
    const auto found = all.large.find(start);
    if (found == all.large.end()) {
        return false;
    }
    taken = found->second;
    all.large.erase(found);
    std::free(start);
    --all.live;
    return true;
}

void remove_blocks_of(std::uint8_t partition) {
    Pool &all = pool();
    for (Slab *slab : all.slabs) {
        for (std::uint32_t at = 0; at < slab->fresh; ++at) {
            if (slab->slot[at].partition == partition) {
                free_slot(all, *slab, at);
                --all.live;
            }
        }
    }
    all.live -= std::erase_if(all.large, [partition](const auto &entry) {
        if (entry.second.partition != partition) {
            return false;
        }
        std::free(const_cast<void *>(entry.first));
        return true;
    });
}

bool find_around(const void *address, const void *&start, Block &found) {
    const Pool &all = pool();
    const auto lies_in = [&] {
        return reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(start) < found.size;
    };
    if (const Slab *slab = slab_of(all, address); slab != nullptr) {
        const auto offset = static_cast<std::size_t>(static_cast<const std::byte *>(address) - slab->base);
        const std::uint32_t at = slot_at(*slab, offset);
        start = slab->base + std::size_t{at} * slab->slot_bytes;
        return find_block(start, found) && lies_in();
    }
    for (const auto &[block_start, block] : all.large) {
        start = block_start;
        found = block;
        if (lies_in()) {
            return true;
        }
    }
    return false;
}

void visit_blocks(void (*visit)(const void *start, const Block &block, void *context), void *context) {
    const Pool &all = pool();
    for (const Slab *slab : all.slabs) {
        for (std::uint32_t at = 0; at < slab->fresh; ++at) {
            if (slab->slot[at].partition != 0) {
                visit(slab->base + std::size_t{at} * slab->slot_bytes, block_of(slab->slot[at]), context);
            }
        }
    }
    for (const auto &[start, block] : all.large) {
        visit(start, block, context);
    }
}

std::uint64_t live_blocks() {
    return pool().live;
}

} // namespace host
