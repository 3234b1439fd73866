#include "virtual_time.h"

#include "miro_host_clock.h"

#include <stdexcept>

namespace chassis {

void start_virtual_time(const std::string &who) {
    if (MIRO_HostClockStart(nullptr) != MIRO_HOST_OK) {
        throw std::runtime_error(who + ": this build cannot follow the stepped clock");
    }
}

Clock virtual_clock() {
    return Clock([] { MIRO_HostClockStep(0); });
}

} // namespace chassis
