// The step in which another main board becomes the active one.
#ifndef CHASSIS_SWITCH_OVER_STEP_H
#define CHASSIS_SWITCH_OVER_STEP_H

#include "manager.h"
#include "report.h"

namespace chassis {

void switch_over(Manager &manager, Report &report);

} // namespace chassis

#endif
