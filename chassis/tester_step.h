// The steps in which a tester and an operator give their commands to the running chassis.
#ifndef CHASSIS_TESTER_STEP_H
#define CHASSIS_TESTER_STEP_H

#include "manager.h"
#include "report.h"

namespace chassis {

// `board`: null when none is online.
void operate(Manager &manager, Board *board, Report &report);

} // namespace chassis

#endif
