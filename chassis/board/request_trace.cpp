#include "board/request_trace.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace chassis {

namespace {

std::uint32_t truncated(std::uint64_t nanoseconds) {
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(nanoseconds, kMax));
}

} // namespace

RequestTrace::RequestTrace() {
    if (ORVA_PerfTraceInit(&trace_, kStages) != ORVA_OK) {
        throw std::runtime_error("no memory for the trace");
    }
    trace_.active = 1;
}

RequestTrace::~RequestTrace() {
    ORVA_PerfTraceUnit(&trace_);
}

TracedStage RequestTrace::stage(Stage stage) const {
    const OrvaTracePoint *point = ORVA_PerfTraceGetNode(&trace_, static_cast<std::uint32_t>(stage));
    return point != nullptr
               ? TracedStage{point->count, truncated(point->min), truncated(point->avg), truncated(point->max)}
               : TracedStage{};
}

} // namespace chassis
