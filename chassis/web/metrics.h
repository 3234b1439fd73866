// The model in the text format of Prometheus, version 0.0.4. The names are an interface: alert rules and dashboards
// use them.
#ifndef CHASSIS_WEB_METRICS_H
#define CHASSIS_WEB_METRICS_H

#include "web/model.h"

#include <cstdint>
#include <string>

namespace chassis {

// What the server counts of itself.
struct ServerCounts {
    std::uint64_t clients = 0; // pages that are open now
    std::uint64_t requests = 0;
    std::uint64_t refused = 0; // of these, refused
    std::uint64_t dropped = 0; // clients that were too slow
};

std::string metrics_text(const Model &model, const ServerCounts &server);

} // namespace chassis

#endif
