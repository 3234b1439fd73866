// How long the stages of the request path take: the library's performance trace, for one thread.
#ifndef CHASSIS_BOARD_REQUEST_TRACE_H
#define CHASSIS_BOARD_REQUEST_TRACE_H

#include "wire/message_bodies.h"

#include "orva_perftrace_comm.h"

namespace chassis {

class RequestTrace {
public:
    RequestTrace();
    ~RequestTrace();
    RequestTrace(const RequestTrace &) = delete;
    RequestTrace &operator=(const RequestTrace &) = delete;

    void begin(Stage stage) {
        ORVA_PerfTraceRecordBegin(&trace_, static_cast<std::uint32_t>(stage));
    }
    void end(Stage stage) {
        ORVA_PerfTraceRecordEnd(&trace_, static_cast<std::uint32_t>(stage));
    }

    template <typename Work>
    auto measure(Stage stage, Work work) {
        begin(stage);
        auto result = work();
        end(stage);
        return result;
    }

    TracedStage stage(Stage stage) const;

private:
    OrvaTrace trace_{};
};

} // namespace chassis

#endif
