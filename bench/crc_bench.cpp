// The checksums against a byte-wise loop over the exported table, Boost.CRC, zlib, libdeflate and ISA-L, by size.
#include <boost/crc.hpp>
#include <cstdint>
#include <cstdio>
#include <isa-l/crc.h>
#include <libdeflate.h>
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

// Goals of 0 are none. Those over the faster peers are of our time in theirs, which includes the compare of the
// exported table; the others are of speed.
struct Size {
    const char *name;
    std::uint32_t bytes;
    double boostGoal = 0;
    double zlibGoal = 0;
    double libdeflateGoal = 0;
    double isalGoal = 0;
};

constexpr Size kSizes[] = {
    {.name = "16 B", .bytes = 16},
    {.name = "24 B", .bytes = 24},
    {.name = "48 B", .bytes = 48},
    {.name = "64 B", .bytes = 64, .zlibGoal = 1.5, .libdeflateGoal = 2.5},
    {.name = "256 B", .bytes = 256, .libdeflateGoal = 1.5},
    {.name = "1500 B", .bytes = 1500, .libdeflateGoal = 1.0},
    {.name = "4 KiB", .bytes = 4096, .boostGoal = 5, .zlibGoal = 0.8, .libdeflateGoal = 1.0, .isalGoal = 2.0},
    {.name = "64 KiB", .bytes = 1u << 16, .libdeflateGoal = 1.0},
    {.name = "1 MiB", .bytes = 1u << 20, .libdeflateGoal = 1.0, .isalGoal = 1.5},
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

std::uint32_t libdeflate_crc(const std::uint8_t *data, std::uint32_t length) {
    return libdeflate_crc32(0, data, length);
}

std::uint32_t isal_crc32(const std::uint8_t *data, std::uint32_t length) {
    return crc32_gzip_refl(0, data, length);
}

// Another polynomial, so that only its time can be compared.
std::uint16_t isal_crc16(const std::uint8_t *data, std::uint32_t length) {
    return crc16_t10dif(0xFFFF, data, length);
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
           crc32 == ::crc32(0, data.data(), length) && crc32 == libdeflate_crc(data.data(), length) &&
           crc32 == isal_crc32(data.data(), length);
}

void add_size(orva_bench::RatioReport &report, const std::vector<std::uint8_t> &data, const Size &size) {
    const auto goal = [](double value) { return value > 0 ? Goal::kAtLeastSpeed : Goal::kSpeed; };
    const auto timeGoal = [](double value) { return value > 0 ? Goal::kAtMostTime : Goal::kTime; };
    const std::string name16 = std::string("CRC-16 ") + size.name;
    const Work ours16 = repeated(data, size.bytes, our_crc16);
    report.add(
        name16, "byte-wise", ours16,
        repeated(data, size.bytes,
                 [](const std::uint8_t *at, std::uint32_t n) { return orva_bench_bytewise_crc16(at, n, 0xFFFF); }),
        Goal::kAtLeastSpeed, kEqual);
    report.add(name16, "Boost.CRC", ours16, repeated(data, size.bytes, boost_crc16), goal(size.boostGoal),
               size.boostGoal);
    report.add(name16, "ISA-L t10dif", ours16, repeated(data, size.bytes, isal_crc16), timeGoal(size.isalGoal),
               size.isalGoal);
    const std::string name32 = std::string("CRC-32 ") + size.name;
    const Work ours32 = repeated(data, size.bytes, ORVA_COMM_Crc32CheckSum);
    report.add(name32, "byte-wise", ours32, repeated(data, size.bytes, orva_bench_bytewise_crc32),
               Goal::kAtLeastSpeed, kEqual);
    report.add(name32, "zlib", ours32,
               repeated(data, size.bytes, [](const std::uint8_t *at, std::uint32_t n) { return ::crc32(0, at, n); }),
               goal(size.zlibGoal), size.zlibGoal);
    report.add(name32, "libdeflate", ours32, repeated(data, size.bytes, libdeflate_crc),
               timeGoal(size.libdeflateGoal), size.libdeflateGoal);
    report.add(name32, "ISA-L", ours32, repeated(data, size.bytes, isal_crc32), timeGoal(size.isalGoal),
               size.isalGoal);
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
