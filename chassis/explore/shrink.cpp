#include "explore/shrink.h"

#include <algorithm>
#include <map>

namespace chassis {

namespace {

class Shrinking {
public:
    Shrinking(Plan plan, std::uint32_t most, const std::function<bool(const Plan &)> &fails)
        : plan_(std::move(plan)), left_(most), fails_(fails) {}

    Plan run() {
        while (round() && left_ > 0) {
        }
        return plan_;
    }

private:
    // True when something became smaller.
    bool round() {
        bool smaller = drop_phases();
        smaller = drop_faults() || smaller;
        smaller = drop_boards() || smaller;
        smaller = drop_commands() || smaller;
        return shorten() || smaller;
    }

    bool take(const Plan &candidate) {
        if (left_ == 0) {
            return false;
        }
        --left_;
        const bool fails = fails_(candidate);
        if (fails) {
            plan_ = candidate;
        }
        return fails;
    }

    bool drop_phases() {
        bool smaller = false;
        for (std::size_t i = plan_.phases.size(); i-- > 0;) {
            Plan candidate = plan_;
            candidate.phases.erase(candidate.phases.begin() + static_cast<std::ptrdiff_t>(i));
            smaller = take(candidate) || smaller;
        }
        return smaller;
    }

    // First half of them at a time, then fewer, then one by one.
    bool drop_faults() {
        bool smaller = false;
        for (std::size_t chunk = (faults_of(plan_) + 1) / 2; chunk > 0; chunk /= 2) {
            for (std::size_t begin = 0; begin < faults_of(plan_);) {
                const bool dropped = take(without(begin, begin + chunk));
                smaller = smaller || dropped;
                begin += dropped ? 0 : chunk;
            }
        }
        return smaller;
    }

    Plan without(std::size_t begin, std::size_t end) const {
        Plan candidate = plan_;
        std::size_t number = 0;
        for (Phase &phase : candidate.phases) {
            std::erase_if(phase.faults, [&](const DrawnFault &) {
                const std::size_t own = number++;
                return own >= begin && own < end;
            });
        }
        return candidate;
    }

    // The boards that have faults, from slot 1 on; else one fewer at a time would take long.
    bool drop_boards() {
        Plan candidate = plan_;
        std::map<std::uint32_t, std::uint32_t> slots;
        for (Phase &phase : candidate.phases) {
            for (DrawnFault &fault : phase.faults) {
                slots.try_emplace(fault.slot, static_cast<std::uint32_t>(slots.size() + 1));
                fault.slot = slots[fault.slot];
            }
        }
        candidate.boards = std::max<std::uint32_t>(1, static_cast<std::uint32_t>(slots.size()));
        return candidate.boards < plan_.boards && take(candidate);
    }

    bool drop_commands() {
        bool smaller = false;
        for (std::size_t i = 0; i < plan_.phases.size(); ++i) {
            Plan candidate = plan_;
            candidate.phases[i].commands.clear();
            smaller = (!plan_.phases[i].commands.empty() && take(candidate)) || smaller;
        }
        return smaller;
    }

    // Faults at the begin of their phase, and phases that are no longer than their faults; then half of that.
    bool shorten() {
        bool smaller = false;
        for (std::size_t i = 0; i < plan_.phases.size(); ++i) {
            Plan early = plan_;
            Plan half = plan_;
            smaller = (tighten(early.phases[i]) && take(early)) || smaller;
            smaller = (halve(half.phases[i]) && take(half)) || smaller;
        }
        return smaller;
    }

    static bool tighten(Phase &phase) {
        const std::uint32_t before = phase.length_ms;
        std::uint32_t first = phase.length_ms;
        std::uint32_t end = kShortestMs;
        for (const DrawnFault &fault : phase.faults) {
            first = std::min(first, fault.at_ms);
        }
        for (DrawnFault &fault : phase.faults) {
            fault.at_ms -= first;
            end = std::max(end, fault.at_ms + fault.length_ms);
        }
        phase.length_ms = std::min(before, end);
        return phase.length_ms < before;
    }

    static bool halve(Phase &phase) {
        if (phase.length_ms < 2 * kShortestMs) {
            return false;
        }
        phase.length_ms /= 2;
        for (DrawnFault &fault : phase.faults) {
            fault.at_ms /= 2;
            fault.length_ms = std::max<std::uint32_t>(1, fault.length_ms / 2);
        }
        return true;
    }

    static constexpr std::uint32_t kShortestMs = 1000;

    Plan plan_;
    std::uint32_t left_;
    const std::function<bool(const Plan &)> &fails_;
};

} // namespace

Plan shrink(const Plan &plan, std::uint32_t most, const std::function<bool(const Plan &)> &fails) {
    return Shrinking(plan, most, fails).run();
}

} // namespace chassis
