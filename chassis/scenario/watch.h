// One expectation while its step runs: counts the events that meet it, and keeps the one that came nearest.
#ifndef CHASSIS_SCENARIO_WATCH_H
#define CHASSIS_SCENARIO_WATCH_H

#include "events/log.h"
#include "scenario/model.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace chassis {

class Watch {
public:
    // `slots`: the boards that count for `every_board`; `slot`: the board meant, kNoBoard for any.
    Watch(const Expectation &expectation, std::int32_t slot, std::set<std::int32_t> slots);

    // Its time begins to run: the step's commands are done. Events before count too.
    void begin(Time now) {
        end_ = now + expectation_.by;
    }

    void see(const Event &event);

    // True when nothing that may still come changes the answer, or its time is over.
    bool decided(Time now) const;
    // To be asked when it is decided, or at the end of the step.
    bool met() const;

    // What is shown: the expectation's text with its values, or what was expected in words.
    std::string text() const;
    // After a failure: what was expected, what came nearest, and the events around it.
    std::string failure(const EventLog &log) const;

private:
    bool can_end_early() const;
    std::size_t conditions_met(const Event &event, std::string &first_failed) const;
    std::string expected() const;
    std::string how_often() const;

    const Expectation &expectation_;
    Time end_ = Time::max();
    std::int32_t slot_;
    std::set<std::int32_t> slots_; // that have not been seen yet
    std::size_t all_slots_;
    std::uint32_t count_ = 0;
    std::optional<Event> last_; // that met it
    std::optional<Event> nearest_;
    std::size_t nearest_score_ = 0;
    std::string nearest_failed_;
};

} // namespace chassis

#endif
