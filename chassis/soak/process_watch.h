// What a process uses, as the kernel tells it: it must not grow.
#ifndef CHASSIS_SOAK_PROCESS_WATCH_H
#define CHASSIS_SOAK_PROCESS_WATCH_H

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace chassis {

class ProcessWatch {
public:
    // The first looks, while the process warms up, are its measure. Says what has grown.
    std::optional<std::string> look(pid_t process);

private:
    std::uint32_t looks_ = 0;
    std::uint64_t descriptors_ = 0;
    std::uint64_t memory_kib_ = 0;
};

} // namespace chassis

#endif
