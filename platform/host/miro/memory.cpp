// Memory partitions: their bounds, and the accounting per partition and call site.
#include "miro_host.h"

#include "block_pool.h"
#include "host_internal.h"
#include "memory_table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>

namespace host {

constinit ShortLock g_memory_lock;

namespace {

constinit MemoryTable *g_table = nullptr;

[[gnu::noinline, gnu::cold]] void make_table() {
    g_table = new MemoryTable;
}

} // namespace

MemoryTable &memory_table() {
    if (g_table == nullptr) {
        make_table();
    }
    return *g_table;
}

void Account::add(std::size_t bytes) {
    live_bytes += bytes;
    peak_bytes = std::max(peak_bytes, live_bytes);
    ++live_blocks;
    ++total_blocks;
}

void Account::remove(std::size_t bytes) {
    live_bytes -= bytes;
    --live_blocks;
}

} // namespace host

namespace {

using host::Account;
using host::Block;
using host::Freed;
using host::g_memory_lock;
using host::g_reporter;
using host::kMaxDebugOption;
using host::MemoryTable;
using host::Partition;
using host::Site;

using Guard = std::lock_guard<host::ShortLock>;

constexpr char kNoFile[] = "(no file)";

[[gnu::constructor]] void prepare_fork() {
    host::keep_usable_after_fork(g_memory_lock);
}

Partition *find_partition(std::uint8_t number) {
    return host::memory_table().partitions[number].get();
}

// The number after the latest one, so that a number is not reused at once. 0 when all are in use.
std::uint8_t free_number(const MemoryTable &table) {
    std::uint8_t number = table.last_number;
    for (std::size_t tried = 1; tried < host::kPartitionNumbers; ++tried) {
        number = number == 255 ? std::uint8_t{1} : static_cast<std::uint8_t>(number + 1);
        if (!table.partitions[number]) {
            return number;
        }
    }
    return 0;
}

bool has_room(const Partition &partition, std::size_t size) {
    const std::uint64_t live = partition.account.live_bytes;
    if (partition.grows && partition.growth_limit == 0) {
        return true;
    }
    const std::uint64_t bound = partition.size + (partition.grows ? partition.growth_limit : 0);
    return live <= bound && size <= bound - live;
}

// The entry for that file and line. The caller compares the site in it: other sites may have the same entry.
host::KnownSite &known_site(std::uint8_t number, const char *file, std::uint32_t line) {
    const auto address = reinterpret_cast<std::uintptr_t>(file);
    const std::size_t hash = (address >> 4 ^ address >> 12 ^ std::size_t{line} * 31 ^ number) % host::kKnownSites;
    return host::memory_table().known_sites[hash];
}

// May throw.
Site *find_or_add_site(std::uint8_t number, Partition &partition, const char *file, std::uint32_t line) {
    if (partition.debug_option < kMaxDebugOption) {
        return nullptr;
    }
    const char *name = file != nullptr ? file : kNoFile;
    host::KnownSite &known = known_site(number, name, line);
    if (known.site != nullptr && known.partition == number && known.site->first.line == line &&
        std::strcmp(known.site->first.file.c_str(), name) == 0) {
        return known.site;
    }
    auto found = partition.sites.find(host::SiteView{line, name});
    if (found == partition.sites.end()) {
        found = partition.sites.emplace(host::SiteKey{line, name}, Account{}).first;
    }
    known = {&*found, number};
    return &*found;
}

void *allocate(std::uint8_t number, std::size_t size, const char *file, std::uint32_t line) {
    const Guard guard(g_memory_lock);
    Partition *partition = find_partition(number);
    if (partition == nullptr) {
        return nullptr;
    }
    try {
        const bool fits = has_room(*partition, size);
        Site *site = fits ? find_or_add_site(number, *partition, file, line) : nullptr;
        void *memory = fits ? host::add_block(size, site, number) : nullptr;
        if (memory != nullptr) {
            partition->account.add(size);
            (site != nullptr ? site->second : partition->without_site).add(size);
            return memory;
        }
    } catch (const std::exception &) {
        // No memory for a call site: there is none for the block.
    }
    ++partition->failed_allocations;
    return nullptr;
}

void remember_freed(MemoryTable &table, const void *block, const char *file, std::uint32_t line) {
    Freed &freed = table.freed[table.next_freed];
    table.next_freed = (table.next_freed + 1) % host::kFreedKept;
    freed.block = block;
    freed.line = line;
    const char *name = file != nullptr ? file : kNoFile;
    if (memccpy(freed.file, name, '\0', sizeof freed.file) == nullptr) {
        std::memcpy(freed.file, name + std::strlen(name) - (sizeof freed.file - 1), sizeof freed.file);
    }
}

// Frees a block; false when no live block starts there.
bool take_block(void *block, const char *file, std::uint32_t line) {
    const Guard guard(g_memory_lock);
    MemoryTable &table = host::memory_table();
    Block taken;
    if (!host::take_block(block, taken)) {
        return false;
    }
    Partition &partition = *table.partitions[taken.partition];
    partition.account.remove(taken.size);
    (taken.site != nullptr ? taken.site->second : partition.without_site).remove(taken.size);
    remember_freed(table, block, file, line);
    return true;
}

// Why no live block starts at `pointer`. Slow, and meant for the report only.
std::string explain_unknown(const void *pointer) {
    const Guard guard(g_memory_lock);
    const MemoryTable &table = host::memory_table();
    for (std::size_t back = 1; back <= host::kFreedKept; ++back) {
        const Freed &freed = table.freed[(table.next_freed + host::kFreedKept - back) % host::kFreedKept];
        if (freed.block == pointer) {
            return std::string("freed already at ") + freed.file + ":" + std::to_string(freed.line);
        }
    }
    const void *start = nullptr;
    if (Block block; host::find_around(pointer, start, block)) {
        const auto distance = static_cast<const char *>(pointer) - static_cast<const char *>(start);
        std::string text = std::to_string(distance) + " bytes into a block of " + std::to_string(block.size);
        if (block.site != nullptr) {
            text += " from " + block.site->first.file + ":" + std::to_string(block.site->first.line);
        }
        return text;
    }
    return "no block of any partition";
}

void report_free(const void *block, const char *file, std::uint32_t line, const char *why) {
    g_reporter.line("refused to free %p at %s:%u: %s", block, file != nullptr ? file : kNoFile, line, why);
}

} // namespace

MIRO_EXPORT uint32_t MIRO_MemPtCreateEx(const char *name, const char *owner, void *start, const void *config,
                                        uint32_t size, uint8_t *number) {
    if (name == nullptr || number == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (start != nullptr || config != nullptr) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    try {
        auto partition = std::make_unique<Partition>();
        partition->name = name;
        partition->owner = owner != nullptr ? owner : "";
        partition->size = size;
        const Guard guard(g_memory_lock);
        MemoryTable &table = host::memory_table();
        const std::uint8_t chosen = free_number(table);
        if (chosen == 0) {
            return MIRO_HOST_ERR_PARTITIONS_USED_UP;
        }
        table.partitions[chosen] = std::move(partition);
        table.last_number = chosen;
        *number = chosen;
        return MIRO_HOST_OK;
    } catch (const std::exception &) {
        return MIRO_HOST_ERR_NO_MEMORY;
    }
}

MIRO_EXPORT uint32_t MIRO_MemDbgOptSet(uint8_t number, uint32_t option) {
    if (option > kMaxDebugOption) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    const Guard guard(g_memory_lock);
    Partition *partition = find_partition(number);
    if (partition == nullptr) {
        return MIRO_HOST_ERR_NO_PARTITION;
    }
    partition->debug_option = option;
    return MIRO_HOST_OK;
}

MIRO_EXPORT uint32_t MIRO_MemPtAutoFlexSetEx(uint8_t number, uint32_t enable, uint32_t limit, void *r1, void *r2,
                                             void *r3) {
    if (enable > 1) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (r1 != nullptr || r2 != nullptr || r3 != nullptr) {
        return MIRO_HOST_ERR_UNSUPPORTED;
    }
    const Guard guard(g_memory_lock);
    Partition *partition = find_partition(number);
    if (partition == nullptr) {
        return MIRO_HOST_ERR_NO_PARTITION;
    }
    partition->grows = enable == 1;
    partition->growth_limit = limit;
    return MIRO_HOST_OK;
}

MIRO_EXPORT uint32_t MIRO_MemPtDelete(uint8_t number) {
    const Guard guard(g_memory_lock);
    MemoryTable &table = host::memory_table();
    if (!table.partitions[number]) {
        return MIRO_HOST_ERR_NO_PARTITION;
    }
    host::remove_blocks_of(number);
    table.known_sites.fill({});
    table.partitions[number].reset();
    return MIRO_HOST_OK;
}

MIRO_EXPORT void *MIRO_MemAlloc_F(uint32_t handle, uint8_t partition, size_t size, const char *file, uint32_t line) {
    return handle != 0 ? allocate(partition, size, file, line) : nullptr;
}

MIRO_EXPORT uint32_t MIRO_MemFree_F(uint32_t handle, void *block, const char *file, uint32_t line) {
    if (handle == 0 || block == nullptr) {
        report_free(block, file, line, handle == 0 ? "no memory handle" : "a null pointer");
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (take_block(block, file, line)) {
        return MIRO_HOST_OK;
    }
    try {
        report_free(block, file, line, explain_unknown(block).c_str());
    } catch (const std::exception &) {
        report_free(block, file, line, "no live block");
    }
    return MIRO_HOST_ERR_UNKNOWN_BLOCK;
}
