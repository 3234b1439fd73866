#include "scenario/model.h"

#include "board/board_folder.h"

#include <algorithm>

namespace chassis {

void set_boards(Scenario &scenario, std::uint32_t boards) {
    std::vector<BoardPlan> all;
    for (std::uint32_t slot = 1; slot <= boards; ++slot) {
        const auto planned = std::ranges::find(scenario.boards, slot, &BoardPlan::slot);
        all.push_back(planned != scenario.boards.end() ? *planned
                                                       : BoardPlan{slot, default_type(slot), default_sensors(slot)});
    }
    scenario.boards = std::move(all);
}

} // namespace chassis
