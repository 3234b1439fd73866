#include "soak/process_watch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace chassis {

namespace {

constexpr std::uint32_t kWarmUpLooks = 4;
constexpr std::uint64_t kMoreDescriptors = 64; // a timer or a child's handle is open for a moment
constexpr std::uint64_t kMoreKib = 16 << 10;

std::uint64_t descriptors_of(pid_t process) {
    std::error_code error;
    const std::filesystem::directory_iterator folder("/proc/" + std::to_string(process) + "/fd", error);
    return error ? 0 : static_cast<std::uint64_t>(std::distance(begin(folder), end(folder)));
}

// What is the process's own: neither files nor memory that it shares.
std::uint64_t memory_of(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("RssAnon:", 0) == 0) {
            return std::stoull(line.substr(line.find_first_of("0123456789")));
        }
    }
    return 0;
}

} // namespace

std::optional<std::string> ProcessWatch::look(pid_t process) {
    const std::uint64_t descriptors = descriptors_of(process);
    const std::uint64_t memory = memory_of(process);
    if (++looks_ <= kWarmUpLooks) {
        descriptors_ = std::max(descriptors_, descriptors);
        memory_kib_ = std::max(memory_kib_, memory);
        return std::nullopt;
    }
    if (descriptors > descriptors_ + kMoreDescriptors) {
        return std::to_string(descriptors_) + " descriptors grew to " + std::to_string(descriptors);
    }
    if (memory > memory_kib_ + memory_kib_ / 4 + kMoreKib) {
        return std::to_string(memory_kib_) + " KiB of memory grew to " + std::to_string(memory);
    }
    return std::nullopt;
}

} // namespace chassis
