// The story of a run, from power-on to the last table.
#ifndef CHASSIS_SCENARIO_H
#define CHASSIS_SCENARIO_H

#include "manager.h"
#include "options.h"
#include "report.h"

namespace chassis {

// Runs the steps; what was not seen is in the report. Throws Interrupted.
void run_scenario(Manager &manager, Report &report, const RunOptions &options);

} // namespace chassis

#endif
