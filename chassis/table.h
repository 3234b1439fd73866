// The one table of a run: what every board answered last.
#ifndef CHASSIS_TABLE_H
#define CHASSIS_TABLE_H

#include "manager/board.h"

#include <deque>
#include <string>

namespace chassis {

// Columns slot, board type, sensor, value, state; every line ends with a newline.
std::string table_text(const std::deque<Board> &boards);

} // namespace chassis

#endif
