// What holds in every chassis, whatever is done to it. Subscribes to the log and checks as events come; the first
// time that something does not hold is a failed check at once.
#ifndef CHASSIS_SCENARIO_INVARIANTS_H
#define CHASSIS_SCENARIO_INVARIANTS_H

#include "events/log.h"

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace chassis {

enum class Invariant : std::uint8_t { kRequests, kProcesses, kOnline, kRecords, kBackup, kLeaks };
inline constexpr std::size_t kInvariants = 6;

// What the check says.
const char *invariant_text(Invariant invariant);

// How long the trace of a fault may last: after that, all is as if it had not been.
inline constexpr std::chrono::seconds kCalmAfter{10};

class Invariants {
public:
    explicit Invariants(EventLog &log);
    ~Invariants();
    Invariants(const Invariants &) = delete;
    Invariants &operator=(const Invariants &) = delete;

    // After the end: adds a check for each that was never broken.
    void finish();

private:
    // Drops of a process are in `seen` until its manager has written the summary.
    struct Drops {
        std::int64_t seen = 0;
        std::int64_t expected = 0; // in summaries
        std::int64_t summarized = 0;
    };
    struct Slot {
        std::string state;
        std::set<std::string> faults;      // that are on
        std::map<std::string, Time> ended; // when each was on last
        Time calm{0};                      // no fault has left a trace from here on
        bool awaited = false;              // the board must be online at that time
        std::optional<Event> figures;      // the first of the process
        std::map<std::string, std::deque<Time>> records;
        Time records_from{0}; // earlier lines may be of an hour or of a process before
        Drops drops;
    };

    void see(const Event &event);
    void see_awaited(Time now);
    void see_fault(Slot &slot, const Event &event);
    void see_board(Slot &slot, const Event &event);
    void see_process(Slot &slot, const Event &event);
    void see_request(const Slot &slot, const Event &event);
    void see_figures(Slot &slot, const Event &event);
    void see_log(Slot &slot, const Event &event);
    void see_action(const Event &event);
    void see_sync(const Event &event);
    bool may_end_by(const Slot &slot, const std::string &fault, Time now) const;
    void broken(Invariant invariant, std::int32_t slot, const std::string &detail);

    EventLog &log_;
    std::map<std::int32_t, Slot> slots_;
    std::array<bool, kInvariants> broken_{};
    std::optional<Event> refused_sync_; // that no command has explained yet
    int subscription_;
};

} // namespace chassis

#endif
