// The step in which the management process keeps its backup in step.
#ifndef CHASSIS_BACKUP_STEP_H
#define CHASSIS_BACKUP_STEP_H

#include "manager.h"
#include "report.h"

namespace chassis {

void keep_in_step(Manager &manager, Report &report);

} // namespace chassis

#endif
