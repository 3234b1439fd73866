// The restraint decision against one lock and unlock of a recursive mutex. The decision takes and releases such a
// mutex, finds the node and the item of the record, and counts. Measured in a process of several threads, as every
// process is whose manager has a thread, and in one of a single thread, where the C library takes a mutex without a
// locked instruction.
#include "host_partition.h"
#include "orva_diag.h"
#include "ratio_report.h"

#include <cstdint>
#include <pthread.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::uint32_t kDiagId = 371;
constexpr std::uint32_t kManyKeys = 64;

void start_manager() {
    orva_bench::start_partition();
    if (ORVA_DiagInit(kDiagId + 2, 0) != ORVA_OK) {
        orva_bench::give_up("ORVA_DiagInit");
    }
}

std::uint32_t decide(std::uint32_t diagId, std::uint32_t keyId) {
    return ORVA_DiagMgrNeedRestrain(diagId, keyId, "diag_bench", 1,
                                    "Invalid packet length, module: %s, realLen: %u, pktLen: %u", "fan", 40u, 44u);
}

// A record that repeats: its quota is spent, as it is for all but 48 records of an hour.
void one_key(std::uint64_t times) {
    for (; times > 0; --times) {
        benchmark::DoNotOptimize(decide(kDiagId, 0));
    }
}

void many_keys(std::uint64_t times) {
    for (; times > 0; --times) {
        benchmark::DoNotOptimize(decide(kDiagId + 1, static_cast<std::uint32_t>(times) % kManyKeys));
    }
}

pthread_mutex_t g_mutex;

void lock_and_unlock(std::uint64_t times) {
    for (; times > 0; --times) {
        pthread_mutex_lock(&g_mutex);
        pthread_mutex_unlock(&g_mutex);
    }
}

int report_on(const std::string &threads, orva_bench::Goal goal, int argc, char **argv) {
    start_manager();
    pthread_mutexattr_t attribute;
    pthread_mutexattr_init(&attribute);
    pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&g_mutex, &attribute);
    orva_bench::RatioReport report;
    report.add("restraint decision, " + threads, "mutex", one_key, lock_and_unlock, goal, 2);
    report.add("the same, 64 keys in turn", "mutex", many_keys, lock_and_unlock);
    return report.run(argc, argv);
}

} // namespace

int main(int argc, char **argv) {
    const pid_t child = fork();
    if (child == 0) {
        return report_on("one thread", orva_bench::Goal::kTime, argc, argv);
    }
    int status = 1;
    waitpid(child, &status, 0);
    std::thread([] {
        for (;;) {
            pause();
        }
    }).detach();
    const int result = report_on("several threads", orva_bench::Goal::kAtMostTime, argc, argv);
    return status == 0 ? result : 1;
}
