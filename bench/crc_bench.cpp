// The checksums against a byte-wise loop over the exported table, Boost.CRC and zlib, by size.
#include <boost/crc.hpp>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>
#include <zlib.h>

#include "hand_checksums.h"
#include "orva_comm.h"
#include "ratio_report.h"

namespace {

using orva_bench::Goal;
using orva_bench::Work;

// Equal loops differ by some hundredths from run to run.
constexpr double kEqual = 0.97;

struct Size {
    const char *name;
    std::uint32_t bytes;
    double boostGoal; // speed of CRC-16 over Boost.CRC, 0 for none
    double zlibGoal;  // speed of CRC-32 over zlib, 0 for none
};

constexpr Size kSizes[] = {
    {"16 B", 16, 0, 0},      {"64 B", 64, 0, 1.5},      {"256 B", 256, 0, 0},
    {"4 KiB", 4096, 5, 0.8}, {"1 MiB", 1u << 20, 0, 0},
};

[[gnu::noinline]] std::uint16_t boost_crc16(const std::uint8_t *data, std::uint32_t length) {
    boost::crc_optimal<16, 0x1021, 0xFFFF, 0, false, false> crc;
    crc.process_bytes(data, length);
    return crc.checksum();
}

std::uint16_t our_crc16(const std::uint8_t *data, std::uint32_t length) {
    std::uint16_t crc = 0xFFFF;
    ORVA_COMM_Crc16CheckSum(data, length, &crc);
    return crc;
}

template <typename Sum>
Work repeated(const std::vector<std::uint8_t> &data, std::uint32_t length, Sum sum) {
    return [&data, length, sum](std::uint64_t times) {
        for (; times > 0; --times) {
            benchmark::DoNotOptimize(sum(data.data(), length));
            benchmark::ClobberMemory();
        }
    };
}

bool all_agree(const std::vector<std::uint8_t> &data, std::uint32_t length) {
    const std::uint16_t crc16 = our_crc16(data.data(), length);
    const std::uint32_t crc32 = ORVA_COMM_Crc32CheckSum(data.data(), length);
    return crc16 == orva_bench_bytewise_crc16(data.data(), length, 0xFFFF) &&
           crc16 == boost_crc16(data.data(), length) && crc32 == orva_bench_bytewise_crc32(data.data(), length) &&
           crc32 == ::crc32(0, data.data(), length);
}

void add_size(orva_bench::RatioReport &report, const std::vector<std::uint8_t> &data, const Size &size) {
    const auto goal = [](double value) { return value > 0 ? Goal::kAtLeastSpeed : Goal::kSpeed; };
    const std::string name16 = std::string("CRC-16 ") + size.name;
    const Work ours16 = repeated(data, size.bytes, our_crc16);
    report.add(
        name16, "byte-wise", ours16,
        repeated(data, size.bytes,
                 [](const std::uint8_t *at, std::uint32_t n) { return orva_bench_bytewise_crc16(at, n, 0xFFFF); }),
        Goal::kAtLeastSpeed, kEqual);
    report.add(name16, "Boost.CRC", ours16, repeated(data, size.bytes, boost_crc16), goal(size.boostGoal),
               size.boostGoal);
    const std::string name32 = std::string("CRC-32 ") + size.name;
    const Work ours32 = repeated(data, size.bytes, ORVA_COMM_Crc32CheckSum);
    report.add(name32, "byte-wise", ours32, repeated(data, size.bytes, orva_bench_bytewise_crc32),
               Goal::kAtLeastSpeed, kEqual);
    report.add(name32, "zlib", ours32,
               repeated(data, size.bytes, [](const std::uint8_t *at, std::uint32_t n) { return ::crc32(0, at, n); }),
               goal(size.zlibGoal), size.zlibGoal);
}

} // namespace

int main(int argc, char **argv) {
    ORVA_COMM_InitCrc16Table();
    ORVA_COMM_InitCrc32Table();
    std::mt19937 random(1);
    std::vector<std::uint8_t> data(1u << 20);
    for (std::uint8_t &byte : data) {
        byte = static_cast<std::uint8_t>(random());
    }
    orva_bench::RatioReport report;
    for (const Size &size : kSizes) {
        if (!all_agree(data, size.bytes)) {
            std::fprintf(stderr, "%s: the checksums differ\n", size.name);
            return 2;
        }
        add_size(report, data, size);
    }
    return report.run(argc, argv);
}
