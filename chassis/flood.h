// The step that floods a board with packets that are too long, and counts what its diagnostic log made of them.
#ifndef CHASSIS_FLOOD_H
#define CHASSIS_FLOOD_H

#include "manager.h"
#include "report.h"

namespace chassis {

// The code of a result, or 0 for another reply or none.
std::uint32_t result_code(const std::optional<Frame> &reply);

// `board`: null when none is online.
void flood(Manager &manager, Board *board, Report &report);

} // namespace chassis

#endif
