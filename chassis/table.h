// The one table of a run: what every board answered last.
#ifndef CHASSIS_TABLE_H
#define CHASSIS_TABLE_H

#include "board.h"

#include <span>
#include <string>

namespace chassis {

// Columns slot, board type, sensor, value, state; every line ends with a newline.
std::string table_text(std::span<const Board> boards);

} // namespace chassis

#endif
