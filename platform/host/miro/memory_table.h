// The partitions, their call sites and their live blocks. Every access is made under the one lock.
#ifndef HOST_MEMORY_TABLE_H
#define HOST_MEMORY_TABLE_H

#include "short_lock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace host {

struct SiteKey {
    std::uint32_t line;
    std::string file;
};

struct SiteView {
    std::uint32_t line;
    std::string_view file;
};

// Orders by line first: lines of one file differ early, its name does not.
struct SiteOrder {
    using is_transparent = void;
    template <typename A, typename B>
    bool operator()(const A &a, const B &b) const {
        return a.line != b.line ? a.line < b.line : std::string_view(a.file) < std::string_view(b.file);
    }
};

struct Account {
    std::uint64_t live_bytes = 0;
    std::uint64_t peak_bytes = 0;
    std::uint64_t live_blocks = 0;
    std::uint64_t total_blocks = 0;
    void add(std::size_t bytes);
    void remove(std::size_t bytes);
};

using Sites = std::map<SiteKey, Account, SiteOrder>;
using Site = Sites::value_type;

// From this debug option on, blocks are accounted per call site. A new partition starts with it.
inline constexpr std::uint32_t kMaxDebugOption = 3;

struct Partition {
    std::string name;
    std::string owner;
    std::uint64_t size = 0;
    bool grows = false;
    std::uint32_t growth_limit = 0; // 0: none
    std::uint32_t debug_option = kMaxDebugOption;
    std::uint64_t failed_allocations = 0;
    Account account;
    Account without_site;
    Sites sites; // never shrinks while the partition lives: blocks point into it
};

// A live block.
struct Block {
    std::size_t size = 0;
    Site *site = nullptr; // null: allocated without accounting per call site
    std::uint8_t partition = 0;
};

// What became of the latest blocks, to tell a second free from a foreign pointer.
struct Freed {
    const void *block;
    std::uint32_t line;
    char file[64]; // its end, when it is longer
};

inline constexpr std::size_t kPartitionNumbers = 256;
inline constexpr std::size_t kFreedKept = 256;

// Call sites come in runs: the latest one for each hash is found without the tree.
struct KnownSite {
    Site *site = nullptr; // null: empty
    std::uint8_t partition = 0;
};

inline constexpr std::size_t kKnownSites = 256;

struct MemoryTable {
    std::array<std::unique_ptr<Partition>, kPartitionNumbers> partitions;
    std::array<KnownSite, kKnownSites> known_sites{};
    std::array<Freed, kFreedKept> freed{};
    std::size_t next_freed = 0;
    std::uint8_t last_number = 0;
};

extern ShortLock g_memory_lock;

// Never destroyed: blocks are freed until the process is gone.
MemoryTable &memory_table();

} // namespace host

#endif
