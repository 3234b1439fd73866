#include "manager/chassis.h"

#include "board/board_folder.h"
#include "board/sensor_file.h"

#include <random>
#include <stdexcept>

namespace chassis {

namespace {

SupervisorOptions supervisor_options(const ChassisPlan &plan, const Links &links) {
    return {plan.run_folder, plan.agent, plan.restart, links.port()};
}

// Two chassis of one machine have different numbers; two virtual runs of one seed write the same bytes.
std::uint32_t run_number(std::uint32_t seed, const Clock &clock) {
    return clock.is_virtual() ? seed : std::random_device()();
}

std::vector<SlotType> slot_types(const ChassisPlan &plan) {
    std::vector<SlotType> all = {{kMainSlot, default_type(kMainSlot)}};
    for (const BoardPlan &board : plan.boards) {
        all.push_back({board.slot, board.type});
    }
    return all;
}

void make_folder(Board &board, const SlotType &type, std::span<const SlotType> all, std::uint32_t seed) {
    make_board_folder(board.folder, type, all);
    write_hardware(hardware_file(board.folder), board.sensors, seed + board.slot);
}

} // namespace

Chassis::Chassis(const ChassisPlan &plan, const Clock &clock, EventLog &event_log, const Descriptor &signals)
    : log(event_log), loop(clock, signals), boards(log), links(loop, log, boards, run_number(plan.seed, clock)),
      supervisor(loop, log, boards, links, supervisor_options(plan, links)), poller(loop, log, boards, links),
      logs(loop, log, boards), faults(loop, log, boards, links, supervisor, plan.seed), run_folder(plan.run_folder),
      seed(plan.seed) {
    const auto types = slot_types(plan);
    for (const BoardPlan &planned : plan.boards) {
        Board &board = boards.add(planned.slot);
        board.folder = board_folder(run_folder, planned.slot);
        board.type = planned.type;
        board.sensors = planned.sensors;
        make_folder(board, {planned.slot, planned.type}, types, seed);
    }
    Board &backup = boards.backup();
    backup.backup = true;
    backup.folder = backup_folder(run_folder);
    make_folder(backup, types.front(), types, seed);
    links.on_stranger([this](std::uint32_t slot) { return take_stranger(slot); });
}

void Chassis::power_on() {
    supervisor.start_all();
    logs.start();
}

Leftovers Chassis::power_off() {
    poller.stop();
    const Leftovers left = supervisor.stop_all();
    logs.read_all();
    return left;
}

// Someone's own board joins.
Board *Chassis::take_stranger(std::uint32_t slot) {
    if (slot == kMainSlot || slot > kLastSlot) {
        return nullptr;
    }
    Board &board = boards.add(slot);
    board.foreign = true;
    board.sensors = default_sensors(slot);
    return &board;
}

} // namespace chassis
