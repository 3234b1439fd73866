// How a run of a scenario ended, as its event file and its exit status say.
#ifndef CHASSIS_EXPLORE_OUTCOME_H
#define CHASSIS_EXPLORE_OUTCOME_H

#include <string>

namespace chassis {

struct Outcome {
    std::string failure; // the first check that failed, or how the process ended; empty: all was ok
    std::string detail;
};

// `status`: of the process that ran it. Throws std::runtime_error when the run was refused: `output` says why.
Outcome read_outcome(int status, const std::string &events, const std::string &output);

// Whether two runs failed in the same way; numbers, such as those of slots, may differ.
bool same_failure(const Outcome &a, const Outcome &b);

} // namespace chassis

#endif
