// The steps of a service engineer: a restarted process, dead-loop hooks, a black box, the fan log, the request road.
#ifndef CHASSIS_SERVICE_STEP_H
#define CHASSIS_SERVICE_STEP_H

#include "manager.h"
#include "report.h"

namespace chassis {

// `board`: null when none is online.
void restart_agent(Manager &manager, Board *board, Report &report);
void look_at_hooks(Manager &manager, Report &report);
void read_black_box(Manager &manager, Board *board, Report &report);
void write_fan_log(Manager &manager, Board *board, Report &report);
void show_request_road(Manager &manager, Board *board, Report &report);

} // namespace chassis

#endif
