// What a process of the chassis tells of itself: rate-limited records, queue, memory, descriptors.
#ifndef CHASSIS_BOARD_FIGURES_H
#define CHASSIS_BOARD_FIGURES_H

#include "wire/message_bodies.h"

namespace chassis {

// Fills the figures of the calling process; `queue` as the kernel numbers it, negative: it has none.
void measure_process(FiguresBody &figures, int queue);

} // namespace chassis

#endif
