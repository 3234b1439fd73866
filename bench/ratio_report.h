// Ratios of two ways to do the same work. Both run in turns, in short batches, so that what
// disturbs the machine disturbs both; the ratio that is reported is the median over the turns, of the calling
// thread's processor time. Every pair is also registered with the benchmark library, which prints the plain times.
#ifndef ORVA_RATIO_REPORT_H
#define ORVA_RATIO_REPORT_H

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "instructions.h"

namespace orva_bench {

// What a ratio says, and what it is to be.
enum class Goal {
    kTime,        // our time in the peer's, no goal
    kSpeed,       // our speed in the peer's, no goal
    kAtMostTime,  // our time is at most `value` times the peer's
    kAtLeastSpeed // our speed is at least `value` times the peer's
};

// Does the work the given number of times.
using Work = std::function<void(std::uint64_t)>;

class RatioReport {
public:
    // Registers `ours` and `peer`; the work of one name is registered with the benchmark library once.
    void add(const std::string &name, const std::string &peerName, const Work &ours, const Work &peer,
             Goal goal = Goal::kTime, double value = 0) {
        register_work(name + "/orva", ours);
        register_work(name + "/" + peerName, peer);
        pairs_.push_back({name, peerName, ours, peer, goal, value});
    }

    // Runs the registered benchmarks and then the pairs, those that the library's filter names. Returns the process's
    // exit status: 0 when every goal holds.
    int run(int argc, char **argv) {
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
            return 2;
        }
        try {
            keep_named_pairs(benchmark::GetBenchmarkFilter());
        } catch (const std::regex_error &error) {
            std::fprintf(stderr, "filter: %s\n", error.what());
            return 2;
        }
        if (pairs_.empty()) {
            std::puts("no bench of that name");
            return 0;
        }
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        unsigned missed = 0;
        std::puts("");
        print_instructions();
        std::printf("%-44s %-16s %12s %12s %8s  %s\n", "work", "peer", "orva ns", "peer ns", "ratio", "goal");
        for (const Pair &pair : pairs_) {
            missed += print(pair) ? 0u : 1u;
        }
        std::printf("%zu ratios, %u goals missed\n", pairs_.size(), missed);
        return missed == 0 ? 0 : 1;
    }

private:
    struct Pair {
        std::string name;
        std::string peerName;
        Work ours;
        Work peer;
        Goal goal;
        double value;
    };

    static constexpr int kTurns = 201;
    static constexpr int kAgain = 2; // on a busy machine a single measurement may be off
    static constexpr double kBatchNs = 50e3;

    void keep_named_pairs(const std::string &filter) {
        if (filter.empty() || filter == "all") {
            return;
        }
        const std::regex wanted(filter, std::regex::extended);
        std::erase_if(pairs_, [&wanted](const Pair &pair) {
            return !std::regex_search(pair.name + "/orva", wanted) &&
                   !std::regex_search(pair.name + "/" + pair.peerName, wanted);
        });
    }

    static double thread_time_ns() {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
    }

    static double time_of(const Work &work, std::uint64_t times) {
        const double start = thread_time_ns();
        work(times);
        return thread_time_ns() - start;
    }

    // Of three runs the least counts: an interruption must not make a batch of a few calls look long enough.
    static std::uint64_t batch_size(const Work &work) {
        std::uint64_t times = 1;
        while (std::min({time_of(work, times), time_of(work, times), time_of(work, times)}) < kBatchNs) {
            times *= 2;
        }
        return times;
    }

    static double median(std::vector<double> &values) {
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        return *middle;
    }

    void register_work(const std::string &name, const Work &work) {
        if (std::find(registered_.begin(), registered_.end(), name) != registered_.end()) {
            return;
        }
        registered_.push_back(name);
        benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State &state) {
            constexpr benchmark::IterationCount kBatch = 64;
            while (state.KeepRunningBatch(kBatch)) {
                work(static_cast<std::uint64_t>(kBatch));
            }
        })->MinTime(0.02);
    }

    struct Measured {
        double ours;
        double peer;
        double ratio;
    };

    static Measured measure(const Pair &pair) {
        const bool isSpeed = pair.goal == Goal::kSpeed || pair.goal == Goal::kAtLeastSpeed;
        const std::uint64_t times = batch_size(pair.ours);
        std::vector<double> ours, peer, ratios;
        for (int turn = 0; turn < kTurns; ++turn) {
            const bool oursFirst = turn % 2 == 0;
            double first = time_of(oursFirst ? pair.ours : pair.peer, times);
            double second = time_of(oursFirst ? pair.peer : pair.ours, times);
            if (!oursFirst) {
                std::swap(first, second);
            }
            ours.push_back(first / static_cast<double>(times));
            peer.push_back(second / static_cast<double>(times));
            ratios.push_back(isSpeed ? second / first : first / second);
        }
        return {median(ours), median(peer), median(ratios)};
    }

    static bool holds(const Pair &pair, double ratio) {
        return (pair.goal != Goal::kAtMostTime || ratio <= pair.value) &&
               (pair.goal != Goal::kAtLeastSpeed || ratio >= pair.value);
    }

    // Measures a pair, again when its goal is missed, and prints its line; false when it is missed to the end.
    static bool print(const Pair &pair) {
        Measured measured = measure(pair);
        for (int again = 0; again < kAgain && !holds(pair, measured.ratio); ++again) {
            measured = measure(pair);
        }
        std::printf("%-44s %-16s %12.1f %12.1f %8.2f  ", pair.name.c_str(), pair.peerName.c_str(), measured.ours,
                    measured.peer, measured.ratio);
        const char *const verdict = holds(pair, measured.ratio) ? "ok" : "FAILED";
        switch (pair.goal) {
        case Goal::kAtMostTime:
            std::printf("time at most %.2f: %s\n", pair.value, verdict);
            break;
        case Goal::kAtLeastSpeed:
            std::printf("speed at least %.2f: %s\n", pair.value, verdict);
            break;
        default:
            std::printf("%s, no goal\n", pair.goal == Goal::kSpeed ? "speed" : "time");
        }
        return holds(pair, measured.ratio);
    }

    std::vector<Pair> pairs_;
    std::vector<std::string> registered_;
};

} // namespace orva_bench

#endif
