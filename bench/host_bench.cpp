// The host platform: allocation beside the C library's under a lock, its growth with the live blocks, and the rate
// that the log sinks keep up with.
#include "miro.h"
#include "miro_host.h"
#include "orva_write_log.h"
#include "ratio_report.h"
#include "tova.h"
#include "tova_host.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kFile[] = "bench/host_bench";
constexpr std::size_t kBlockBytes = 64;
constexpr std::array<std::size_t, 3> kLiveBlocks = {10, 10'000, 1'000'000};

std::uint32_t g_handle = 0;
std::uint8_t g_partition = 0;
std::mutex g_lock;

void start_partition() {
    MIRO_HostStart(nullptr, &g_handle);
    MIRO_MemPtCreateEx("bench", "bench", nullptr, nullptr, 1, &g_partition);
    MIRO_MemPtAutoFlexSetEx(g_partition, 1, 0, nullptr, nullptr, nullptr);
}

void *platform_allocate() {
    return MIRO_MemAlloc_F(g_handle, g_partition, kBlockBytes, kFile, 1);
}

void platform_free(void *block) {
    MIRO_MemFree_F(g_handle, block, kFile, 2);
}

void *locked_malloc() {
    const std::lock_guard<std::mutex> guard(g_lock);
    return std::malloc(kBlockBytes);
}

void locked_free(void *block) {
    const std::lock_guard<std::mutex> guard(g_lock);
    std::free(block);
}

// Live blocks of one allocator.
class Working {
public:
    Working(std::size_t count, void *(*allocate)(), void (*release)(void *))
        : blocks_(count), allocate_(allocate), release_(release) {
        for (void *&block : blocks_) {
            block = allocate_();
        }
    }
    ~Working() {
        for (void *block : blocks_) {
            release_(block);
        }
    }
    Working(const Working &) = delete;
    Working &operator=(const Working &) = delete;

    // Allocates and frees beside them: the cost of the look-up and the accounting.
    void beside(std::uint64_t times) {
        for (; times > 0; --times) {
            void *block = allocate_();
            benchmark::DoNotOptimize(block);
            release_(block);
        }
    }

    // Replaces one after the other in an order without a pattern: with many of them the memory's own speed.
    void replace(std::uint64_t times) {
        for (; times > 0; --times) {
            random_ = random_ * 6364136223846793005u + 1442695040888963407u;
            void *&block = blocks_[(random_ >> 33) % blocks_.size()];
            release_(block);
            block = allocate_();
            benchmark::DoNotOptimize(block);
        }
    }

private:
    std::vector<void *> blocks_;
    void *(*allocate_)();
    void (*release_)(void *);
    std::uint64_t random_ = 1;
};

constexpr unsigned kLogThreads = 8;
constexpr unsigned kRecordsPerThread = 50'000;
constexpr double kRecordsPerSecond = 100'000;

std::size_t lines_in(const std::filesystem::path &folder) {
    std::size_t lines = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);) {
            ++lines;
        }
    }
    return lines;
}

// False when records are lost or the sinks are too slow.
bool measure_sinks() {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("orva_host_bench_" + std::to_string(getpid()));
    const std::string path = folder.string();
    TovaHostConfig config{};
    config.folder = path.c_str();
    config.fileBytes = TOVA_HOST_MAX_FILE_BYTES;
    if (TOVA_HostStart(&config) != TOVA_HOST_OK) {
        std::puts("log sinks: no folder");
        return false;
    }
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < kLogThreads; ++thread) {
        threads.emplace_back([thread] {
            for (unsigned i = 0; i < kRecordsPerThread; ++i) {
                TOVA_DLog(0, 0xCE41001, 3, thread, i, "sensor %u of board %u is at %d", i, thread, -5);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    const std::uint64_t failed = TOVA_HostFailedRecords();
    TOVA_HostStop();
    const std::size_t written = lines_in(folder);
    std::filesystem::remove_all(folder);
    constexpr std::size_t kAll = std::size_t{kLogThreads} * kRecordsPerThread;
    const double rate = static_cast<double>(kAll) / took.count();
    const bool holds = rate >= kRecordsPerSecond && failed == 0 && written == kAll;
    std::printf("log sinks: %zu records from %u threads, %zu lost, %.0f a second; at least %.0f without a loss: %s\n",
                kAll, kLogThreads, kAll - written, rate, kRecordsPerSecond, holds ? "holds" : "MISSED");
    return holds;
}

} // namespace

int main(int argc, char **argv) {
    start_partition();
    // A process has threads: without a second one the C library leaves the locking of both sides out.
    std::atomic<bool> stop{false};
    std::thread idle([&stop] { stop.wait(false); });
    orva_bench::RatioReport report;
    std::vector<std::unique_ptr<Working>> kept;
    const auto working = [&kept](std::size_t count, void *(*allocate)(), void (*release)(void *)) {
        return kept.emplace_back(std::make_unique<Working>(count, allocate, release)).get();
    };
    const auto beside = [](Working *blocks) { return [blocks](std::uint64_t times) { blocks->beside(times); }; };
    const auto replace = [](Working *blocks) { return [blocks](std::uint64_t times) { blocks->replace(times); }; };
    Working *const few = working(kLiveBlocks.front(), platform_allocate, platform_free);
    for (const std::size_t count : kLiveBlocks) {
        Working *const ours = working(count, platform_allocate, platform_free);
        Working *const peer = working(count, locked_malloc, locked_free);
        const std::string live = std::to_string(count) + " live blocks";
        report.add("partition, " + live, "malloc, lock", beside(ours), beside(peer), orva_bench::Goal::kAtMostTime,
                   1.0);
        report.add("partition, any of " + live, "malloc, lock", replace(ours), replace(peer));
        // The logarithm of the number in the one of 10, and half of that for a busy machine.
        report.add("partition, growth to " + live, "10 live blocks", beside(ours), beside(few),
                   orva_bench::Goal::kAtMostTime, std::log10(static_cast<double>(count)) + 0.5);
    }
    const int status = report.run(argc, argv);
    stop = true;
    stop.notify_one();
    idle.join();
    return measure_sinks() && status == 0 ? 0 : 1;
}
