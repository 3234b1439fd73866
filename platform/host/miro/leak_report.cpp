// Accounting as others see it: per partition, per call site, and what was not freed.
#include "miro_host.h"

#include "block_pool.h"
#include "host_internal.h"
#include "line_text.h"
#include "memory_table.h"

#include <algorithm>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

using host::Account;
using host::g_memory_lock;
using host::Partition;

using Guard = std::lock_guard<host::ShortLock>;

// A copy of one call site, so that nobody is called under the lock.
struct SiteCopy {
    std::uint8_t partition;
    std::string partition_name;
    bool has_file;
    std::string file;
    std::uint32_t line;
    Account account;
    const host::Site *site;
};

void copy_sites(std::uint8_t number, const Partition &partition, std::vector<SiteCopy> &copies) {
    if (partition.without_site.total_blocks != 0) {
        copies.push_back({number, partition.name, false, "", 0, partition.without_site, nullptr});
    }
    for (const host::Site &site : partition.sites) {
        const auto &[key, account] = site;
        if (account.total_blocks != 0) {
            copies.push_back({number, partition.name, true, key.file, key.line, account, &site});
        }
    }
}

// The area of the library whose blocks live as long as the process: its diagnostic manager has no end.
constexpr std::string_view kKeptArea = "src/comm/orva_diag";

// Blocks of that area, and those that they point to.
struct Kept {
    Account sum;
    std::map<const host::Site *, Account> by_site;
    std::set<const void *> starts;

    void add(const void *start, const host::Block &block) {
        if (starts.insert(start).second) {
            sum.add(block.size);
            by_site[block.site].add(block.size);
        }
    }
};

// Other threads may write a block meanwhile. A word that is read half written names no block or, at worst, keeps
// one more block out of the report.
__attribute__((no_sanitize("address", "thread"))) const void *word_at(const void *start, std::size_t index) {
    return static_cast<const void *const volatile *>(start)[index];
}

void keep_with_what_it_points_to(const void *start, const host::Block &block, void *context) {
    if (block.site == nullptr || block.site->first.file != kKeptArea) {
        return;
    }
    Kept &kept = *static_cast<Kept *>(context);
    kept.add(start, block);
    for (std::size_t i = 0; i < block.size / sizeof(void *); ++i) {
        const void *word = word_at(start, i);
        if (host::Block found; word != nullptr && host::find_block(word, found)) {
            kept.add(word, found);
        }
    }
}

// The sites of one partition, or of all for number 0. `kept`, if any, receives what is left out of a leak report.
std::vector<SiteCopy> sites_of(std::uint8_t number, Kept *kept = nullptr) {
    std::vector<SiteCopy> copies;
    {
        const Guard guard(g_memory_lock);
        if (kept != nullptr) {
            host::visit_blocks(keep_with_what_it_points_to, kept);
        }
        const auto &partitions = host::memory_table().partitions;
        for (std::size_t i = 1; i < partitions.size(); ++i) {
            if (partitions[i] && (number == 0 || number == i)) {
                copy_sites(static_cast<std::uint8_t>(i), *partitions[i], copies);
            }
        }
    }
    std::sort(copies.begin(), copies.end(), [](const SiteCopy &a, const SiteCopy &b) {
        return std::tie(a.partition, a.has_file, a.file, a.line) < std::tie(b.partition, b.has_file, b.file, b.line);
    });
    return copies;
}

template <std::size_t size>
void copy_cut(char (&to)[size], const std::string &from) {
    const std::size_t length = std::min(from.size(), size - 1);
    from.copy(to, length);
    to[length] = '\0';
}

void append_amount(std::string &line, std::uint64_t count, const char *noun) {
    line.append(std::to_string(count)).append(" ").append(noun).append(count == 1 ? "" : "s");
}

std::string leak_line(const SiteCopy &site) {
    std::string line = "leak: partition ";
    line.append(std::to_string(site.partition)).append(" \"");
    host::append_escaped(line, site.partition_name);
    line.append("\": ");
    if (site.has_file) {
        host::append_escaped(line, site.file);
        line.append(":").append(std::to_string(site.line));
    } else {
        line.append("call site not kept");
    }
    line.append(": ");
    append_amount(line, site.account.live_blocks, "block");
    line.append(", ");
    append_amount(line, site.account.live_bytes, "byte");
    return line;
}

std::string sum_line(const Account &sum, std::size_t sites) {
    if (sites == 0) {
        return "leak report: every block was freed";
    }
    std::string line = "leak report: ";
    append_amount(line, sum.live_blocks, "block");
    line.append(", ");
    append_amount(line, sum.live_bytes, "byte");
    line.append(", ");
    append_amount(line, sites, "call site");
    return line;
}

std::string kept_line(const Account &sum) {
    std::string line = "leak report: left out: ";
    append_amount(line, sum.live_blocks, "block");
    line.append(", ");
    append_amount(line, sum.live_bytes, "byte");
    return line.append(", which ").append(kKeptArea).append(" keeps for the life of the process");
}

void write_to_standard_error(const char *line, void * /*context*/) {
    host::write_all(STDERR_FILENO, std::string("miro: ") + line + "\n");
}

std::uint64_t count_live_blocks() {
    const Guard guard(g_memory_lock);
    return host::live_blocks();
}

std::uint64_t report_leaks(MIRO_HOST_REPORTER sink, void *context) {
    Kept kept;
    std::vector<SiteCopy> sites = sites_of(0, &kept);
    for (SiteCopy &site : sites) {
        if (const auto found = kept.by_site.find(site.site); site.site != nullptr && found != kept.by_site.end()) {
            site.account.live_blocks -= found->second.live_blocks;
            site.account.live_bytes -= found->second.live_bytes;
        }
    }
    std::erase_if(sites, [](const SiteCopy &site) { return site.account.live_blocks == 0; });
    std::stable_sort(sites.begin(), sites.end(), [](const SiteCopy &a, const SiteCopy &b) {
        return a.account.live_bytes > b.account.live_bytes;
    });
    Account sum;
    for (const SiteCopy &site : sites) {
        sink(leak_line(site).c_str(), context);
        sum.live_blocks += site.account.live_blocks;
        sum.live_bytes += site.account.live_bytes;
    }
    sink(sum_line(sum, sites.size()).c_str(), context);
    if (kept.sum.live_blocks != 0) {
        sink(kept_line(kept.sum).c_str(), context);
    }
    return sum.live_blocks;
}

} // namespace

MIRO_EXPORT uint32_t MIRO_HostMemStats(uint8_t partition, MIRO_HOST_MEM_STATS *stats) {
    if (stats == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    const Guard guard(g_memory_lock);
    const Partition *found = host::memory_table().partitions[partition].get();
    if (found == nullptr) {
        return MIRO_HOST_ERR_NO_PARTITION;
    }
    *stats = {};
    copy_cut(stats->name, found->name);
    copy_cut(stats->owner, found->owner);
    stats->sizeBytes = found->size;
    stats->grows = found->grows ? 1 : 0;
    stats->growthLimitBytes = found->growth_limit;
    stats->debugOption = found->debug_option;
    stats->liveBytes = found->account.live_bytes;
    stats->peakBytes = found->account.peak_bytes;
    stats->liveBlocks = found->account.live_blocks;
    stats->totalBlocks = found->account.total_blocks;
    stats->failedAllocations = found->failed_allocations;
    return MIRO_HOST_OK;
}

MIRO_EXPORT uint32_t MIRO_HostMemWalk(uint8_t partition, MIRO_HOST_MEM_VISITOR visitor, void *context) {
    if (visitor == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    if (partition != 0) {
        const Guard guard(g_memory_lock);
        if (!host::memory_table().partitions[partition]) {
            return MIRO_HOST_ERR_NO_PARTITION;
        }
    }
    std::vector<SiteCopy> sites;
    try {
        sites = sites_of(partition);
    } catch (const std::exception &) {
        return MIRO_HOST_ERR_NO_MEMORY;
    }
    for (const SiteCopy &site : sites) {
        const MIRO_HOST_MEM_SITE record{
            .file = site.has_file ? site.file.c_str() : nullptr,
            .line = site.line,
            .partition = site.partition,
            .liveBytes = site.account.live_bytes,
            .peakBytes = site.account.peak_bytes,
            .liveBlocks = site.account.live_blocks,
            .totalBlocks = site.account.total_blocks,
        };
        visitor(&record, context);
    }
    return MIRO_HOST_OK;
}

MIRO_EXPORT uint64_t MIRO_HostLeakReport(MIRO_HOST_REPORTER sink, void *context) {
    try {
        return report_leaks(sink != nullptr ? sink : write_to_standard_error, context);
    } catch (const std::exception &) {
        host::g_reporter.line("no memory for the leak report");
        return count_live_blocks();
    }
}
