// How cost grows with work. Each figure is processor time for one call, the median of several batches; it has no
// goal. The figures go to the standard output as a table, and to a file of values separated by semicolons that
// growth_pictures.py draws.
#include <algorithm>
#include <barrier>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <getopt.h>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "host_partition.h"
#include "instructions.h"
#include "orva_api_stub.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_list.h"
#include "orva_simulate_comm.h"

namespace {

using orva_bench::give_up;

constexpr char kCaller[] = "bench/growth_bench";
constexpr int kBatches = 9;
constexpr double kBatchNs = 300e3;
constexpr std::uint64_t kLeastCalls = 64; // so that a batch of random picks is like the next

struct Figure {
    std::string picture;
    std::string curve;
    std::uint64_t work;
    double ns;
};

double thread_time_ns() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Does the call the given number of times.
using Calls = std::function<void(std::uint64_t)>;

double time_of(const Calls &calls, std::uint64_t times) {
    const double start = thread_time_ns();
    calls(times);
    return thread_time_ns() - start;
}

double median(std::vector<double> &values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double time_per_call(const Calls &calls) {
    std::uint64_t times = kLeastCalls;
    while (time_of(calls, times) < kBatchNs) {
        times *= 2;
    }
    std::vector<double> batches;
    for (int batch = 0; batch < kBatches; ++batch) {
        batches.push_back(time_of(calls, times));
    }
    return median(batches) / static_cast<double>(times);
}

class Growth {
public:
    explicit Growth(const std::string &filter) : wanted_(filter.empty() ? "." : filter, std::regex::extended) {}

    [[nodiscard]] bool wants(const std::string &picture) const {
        return std::regex_search(picture, wanted_);
    }
    void add(const char *picture, const std::string &curve, std::uint64_t work, double ns) {
        std::printf("%-22s %-32s %10llu %14.1f\n", picture, curve.c_str(), static_cast<unsigned long long>(work), ns);
        std::fflush(stdout);
        figures_.push_back({picture, curve, work, ns});
    }
    void add(const char *picture, const std::string &curve, std::uint64_t work, const Calls &calls) {
        add(picture, curve, work, time_per_call(calls));
    }
    [[nodiscard]] bool write(const std::string &path) const {
        std::FILE *const file = std::fopen(path.c_str(), "w");
        if (file == nullptr) {
            return false;
        }
        std::fputs("picture;curve;work;ns\n", file);
        for (const Figure &figure : figures_) {
            std::fprintf(file, "%s;%s;%llu;%.2f\n", figure.picture.c_str(), figure.curve.c_str(),
                         static_cast<unsigned long long>(figure.work), figure.ns);
        }
        return std::fclose(file) == 0;
    }

private:
    std::regex wanted_;
    std::vector<Figure> figures_;
};

// ---- Restraint: the decision, with every key's quota spent

constexpr std::uint32_t kIds = ORVA_DIAG_MAX_NODES;
constexpr unsigned kThreadCounts[] = {1, 2, 4, 8};

void decide(std::uint32_t id, std::uint32_t key) {
    benchmark::DoNotOptimize(ORVA_DiagMgrNeedRestrain(id, key, "growth_bench", 1, "length %u", 40u));
}

void spend_quota(std::uint32_t id, std::uint32_t keys) {
    for (std::uint32_t key = 0; key < keys; ++key) {
        for (std::uint32_t i = 0; i <= ORVA_DIAG_MAX_RECORDS; ++i) {
            decide(id, key);
        }
    }
}

// Processor time of all threads together for one decision.
template <typename Decide>
double time_with_threads(unsigned threads, Decide decide_nth) {
    constexpr std::uint32_t kDecisions = 40000;
    std::vector<double> batches;
    for (int batch = 0; batch < kBatches; ++batch) {
        std::barrier start(static_cast<std::ptrdiff_t>(threads));
        std::vector<double> times(threads);
        std::vector<std::thread> running;
        for (unsigned thread = 0; thread < threads; ++thread) {
            running.emplace_back([&, thread] {
                start.arrive_and_wait();
                const double before = thread_time_ns();
                for (std::uint32_t i = 0; i < kDecisions; ++i) {
                    decide_nth(i + thread * 7919);
                }
                times[thread] = thread_time_ns() - before;
            });
        }
        double sum = 0;
        for (unsigned thread = 0; thread < threads; ++thread) {
            running[thread].join();
            sum += times[thread];
        }
        batches.push_back(sum);
    }
    return median(batches) / kDecisions / threads;
}

std::string of_threads(unsigned threads) {
    return std::to_string(threads) + (threads == 1 ? " thread" : " threads");
}

void restraint(Growth &growth) {
    if (!growth.wants("restraint-keys") && !growth.wants("restraint-ids")) {
        return;
    }
    constexpr std::uint32_t kKeys[] = {1, 16, 256, 4096};
    if (ORVA_DiagInit(kIds + std::size(kKeys), 0) != ORVA_OK) {
        give_up("ORVA_DiagInit");
    }
    for (std::uint32_t id = 0; id < kIds; ++id) {
        spend_quota(id, 1);
    }
    for (const unsigned threads : kThreadCounts) {
        std::uint32_t id = kIds;
        for (const std::uint32_t keys : kKeys) {
            spend_quota(id, keys);
            growth.add("restraint-keys", of_threads(threads), keys,
                       time_with_threads(threads, [&](std::uint32_t i) { decide(id, i * 2654435761u % keys); }));
            ++id;
        }
        for (const std::uint32_t ids : {1u, kIds}) {
            growth.add("restraint-ids", of_threads(threads), ids,
                       time_with_threads(threads, [ids](std::uint32_t i) { decide(i * 2654435761u % ids, 0); }));
        }
    }
}

// ---- Mutex table

void mutex_table(Growth &growth) {
    std::uint32_t made = 0;
    std::vector<std::uint64_t> keys;
    for (const std::uint32_t mutexes : {1u, 128u, 1024u}) {
        // What start-up registered stays in front; it counts with the others.
        for (; made < mutexes; ++made) {
            const std::uint64_t key = 0x1000 + made * 8;
            if (g_orvaCommLocal.semTable[made].inUse == 0) {
                ORVA_AddSemTable(key, made);
                keys.push_back(key);
            } else {
                keys.push_back(g_orvaCommLocal.semTable[made].key);
            }
        }
        const auto look_up = [&keys, mutexes](std::uint64_t times) {
            for (; times > 0; --times) {
                benchmark::DoNotOptimize(ORVA_FindSemById(keys[times * 2654435761u % mutexes]));
            }
        };
        growth.add("mutex-table", "look-up, any entry", mutexes, look_up);
    }
}

// ---- List

void lists(Growth &growth) {
    for (const std::uint32_t nodes : {10u, 1000u, 100000u}) {
        OrvaList *const list = ORVA_CreateList(ORVA_LIST_KIND);
        for (std::uint32_t id = 0; id < nodes; ++id) {
            if (ORVA_AppendNullNodeAtEndOfListWithId(list, id) != ORVA_OK) {
                give_up("ORVA_AppendNullNodeAtEndOfListWithId");
            }
        }
        std::mt19937 random(1);
        const auto any_id = [&random, nodes] { return static_cast<std::uint32_t>(random() % nodes); };
        growth.add("list", "look-up by id, any node", nodes, [list, &any_id](std::uint64_t times) {
            for (; times > 0; --times) {
                benchmark::DoNotOptimize(ORVA_SearchIdInList(list, any_id()));
            }
        });
        growth.add("list", "delete by id, and append", nodes, [list, &any_id](std::uint64_t times) {
            for (; times > 0; --times) {
                const std::uint32_t id = any_id();
                if (ORVA_DeleteNodeInListById(list, id) != ORVA_OK) {
                    give_up("ORVA_DeleteNodeInListById");
                }
                ORVA_AppendNullNodeAtEndOfListWithId(list, id);
            }
        });
        growth.add("list", "delete first, and append", nodes, [list](std::uint64_t times) {
            for (; times > 0; --times) {
                OrvaListNode *const first = ORVA_GetNodeAtHeadOfList(list);
                const std::uint32_t id = first->id;
                ORVA_DeleteOneNodeDirectly(list, first);
                ORVA_DeleteNode(first);
                ORVA_AppendNullNodeAtEndOfListWithId(list, id);
            }
        });
        ORVA_DeleteList(list);
    }
}

// ---- Stubs

void stub_values(Growth &growth) {
    const auto root = std::make_unique<OrvaSimulateRoot>();
    ORVA_simulateSetRoot(root.get());
    for (const std::uint32_t entries : {1u, 32u}) {
        for (; root->stubCount < entries; ++root->stubCount) {
            OrvaStubItem &entry = root->stubs[root->stubCount];
            entry.stubType = root->stubCount;
            std::snprintf(entry.stubName, sizeof entry.stubName, "%.*s", static_cast<int>(sizeof entry.stubName - 1),
                          g_acStubParaBuf[root->stubCount]);
        }
        growth.add("stub-values", "value of the last entry", entries, [entries](std::uint64_t times) {
            for (std::uint32_t value = 0; times > 0; --times) {
                benchmark::DoNotOptimize(ORVA_STUB_GetStubValue(entries - 1, &value, ORVA_STUB_WIDTH_32));
            }
        });
        growth.add("stub-values", "value, all 213 types in turn", entries, [](std::uint64_t times) {
            for (std::uint32_t value = 0; times > 0; --times) {
                const auto type = static_cast<std::uint32_t>(times % ORVA_STUB_TYPES);
                benchmark::DoNotOptimize(ORVA_STUB_GetStubValue(type, &value, ORVA_STUB_WIDTH_32));
            }
        });
    }
    ORVA_simulateSetRoot(nullptr);
}

void stub_names(Growth &growth) {
    for (const std::uint32_t row : {1u, 53u, 107u, 160u, 213u}) {
        growth.add("stub-names", "name found at row", row, [row](std::uint64_t times) {
            for (std::uint32_t type = 0; times > 0; --times) {
                benchmark::DoNotOptimize(ORVA_STUB_GetStubType(g_acStubParaBuf[row - 1], &type));
            }
        });
        growth.add("stub-names", "all names up to row in turn", row, [row](std::uint64_t times) {
            for (std::uint32_t type = 0; times > 0; --times) {
                benchmark::DoNotOptimize(ORVA_STUB_GetStubType(g_acStubParaBuf[times % row], &type));
            }
        });
    }
}

// ---- Simulated sensors

void sensors(Growth &growth) {
    for (const std::uint32_t count : {1u, 64u}) {
        OrvaSimulateRoot root{};
        root.sensorTree.compare = ORVA_simulateSensorCompare;
        const auto request = [](std::uint64_t number) {
            return OrvaSimulateSensorReq{.lead = 0,
                                         .slotId = 3,
                                         .keyExtra = 0,
                                         .sensorType = 1,
                                         .sensorNum = static_cast<std::uint32_t>(number),
                                         .gap = 0,
                                         .sensorMask = 1};
        };
        for (std::uint32_t i = 0; i < count; ++i) {
            const OrvaSimulateSensorReq req = request(i);
            ORVA_SimulateSensorAddItem(&root, &req, 5);
        }
        growth.add("sensors", "update one that is present", count, [&](std::uint64_t times) {
            for (; times > 0; --times) {
                const OrvaSimulateSensorReq req = request(times * 2654435761u % count);
                ORVA_SimulateSensorAddItem(&root, &req, 5);
            }
        });
        growth.add("sensors", "delete and add", count, [&](std::uint64_t times) {
            for (std::int32_t value = 0; times > 0; --times) {
                const OrvaSimulateSensorReq req = request(times * 2654435761u % count);
                if (ORVA_SimulateSensorDelItem(&root, &req, &value) != ORVA_OK) {
                    give_up("ORVA_SimulateSensorDelItem");
                }
                ORVA_SimulateSensorAddItem(&root, &req, value);
            }
        });
        std::int32_t value = 0;
        for (std::uint32_t i = 0; i < count; ++i) {
            const OrvaSimulateSensorReq req = request(i);
            ORVA_SimulateSensorDelItem(&root, &req, &value);
        }
    }
}

// ---- Packet dump

void packet_dump(Growth &growth) {
    for (const std::uint32_t bytes : {16u, 128u, 1024u, 32768u}) {
        const std::vector<std::uint8_t> packet(bytes, 0xA5);
        growth.add("packet-dump", "dump without a sink", bytes, [&packet, bytes](std::uint64_t times) {
            for (; times > 0; --times) {
                ORVA_DEBUG_OutPacket(ORVA_DUMP_MODULE_UDP, "fan", packet.data(), bytes);
            }
        });
    }
}

// ---- The host platform's partition

void partition(Growth &growth) {
    std::mt19937 random(2);
    const auto size = [&random] { return std::size_t{16} + random() % 240; };
    std::vector<void *> blocks;
    for (const std::uint32_t live : {10u, 10000u, 1000000u}) {
        while (blocks.size() < live) {
            blocks.push_back(orva_bench::allocate(size(), kCaller));
        }
        growth.add("host-partition", "free any block, and allocate", live, [&](std::uint64_t times) {
            for (; times > 0; --times) {
                void *&block = blocks[random() % live];
                orva_bench::release(block, kCaller);
                block = orva_bench::allocate(size(), kCaller);
            }
        });
        growth.add("host-partition", "allocate and free the same", live, [&](std::uint64_t times) {
            for (; times > 0; --times) {
                orva_bench::release(orva_bench::allocate(64, kCaller), kCaller);
            }
        });
    }
    for (void *const block : blocks) {
        orva_bench::release(block, kCaller);
    }
}

struct Picture {
    const char *name;
    void (*measure)(Growth &);
};

constexpr Picture kPictures[] = {
    {"mutex-table", mutex_table},  {"list", lists},      {"stub-values", stub_values},
    {"stub-names", stub_names},    {"sensors", sensors}, {"packet-dump", packet_dump},
    {"host-partition", partition},
};

} // namespace

int main(int argc, char **argv) {
    std::string csv;
    std::string filter;
    constexpr option kOptions[] = {
        {"csv", required_argument, nullptr, 'c'}, {"benchmark_filter", required_argument, nullptr, 'f'}, {}};
    for (int found = 0; (found = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        if (found != 'c' && found != 'f') {
            std::fputs("usage: orva_bench_growth [--csv=FILE] [--benchmark_filter=REGEX]\n", stderr);
            return 2;
        }
        (found == 'c' ? csv : filter) = optarg;
    }
    orva_bench::start_partition();
    // A process of several threads, as every process is whose diagnostic manager has a thread.
    std::thread([] {
        for (;;) {
            pause();
        }
    }).detach();
    Growth growth(filter);
    orva_bench::print_instructions();
    std::printf("%-22s %-32s %10s %14s\n", "picture", "curve", "work", "ns per call");
    restraint(growth);
    for (const Picture &picture : kPictures) {
        if (growth.wants(picture.name)) {
            picture.measure(growth);
        }
    }
    if (!csv.empty() && !growth.write(csv)) {
        give_up(csv.c_str());
    }
    return 0;
}
