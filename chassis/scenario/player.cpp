#include "scenario/player.h"

#include "board/board_folder.h"
#include "control/commands.h"
#include "text.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::chrono::seconds kPowerOnPatience{30};

std::string first_line(const std::filesystem::path &file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

} // namespace

Player::Player(Chassis &chassis, const Scenario &scenario)
    : chassis_(chassis), scenario_(scenario), subscription_(chassis.log.subscribe([this](const Event &event) {
          for (Watch &watch : watches_) {
              watch.see(event);
          }
      })) {}

Player::~Player() {
    chassis_.log.unsubscribe(subscription_);
}

void Player::play() {
    for (const Step &step : scenario_.steps) {
        play(step);
    }
    if (!powered_) {
        power_on();
    }
}

// The first step's expectations see how the boards register; its commands find them registered.
void Player::power_on() {
    powered_ = true;
    chassis_.power_on();
    chassis_.loop.wait(chassis_.loop.now() + kPowerOnPatience, [this] { return !chassis_.boards.any_starting(); });
    if (scenario_.poll.count() != 0) {
        chassis_.poller.start(scenario_.poll);
    }
}

// "first" and "last" are the boards that are online at the step's begin.
std::uint32_t Player::resolved(const std::string &slot) const {
    const auto online = [](const Board &board) { return board.state == BoardState::kOnline; };
    const auto &boards = chassis_.boards.all();
    if (slot == "first") {
        const auto found = std::ranges::find_if(boards, online);
        return found != boards.end() ? found->slot : 1;
    }
    if (slot == "last") {
        const auto found = std::find_if(boards.rbegin(), boards.rend(), online);
        return found != boards.rend() ? found->slot : 1;
    }
    return static_cast<std::uint32_t>(std::stoul(slot));
}

void Player::play(const Step &step) {
    if (step.at) {
        chassis_.loop.wait(*step.at, [] { return false; });
    }
    chassis_.log.add(EventKind::kStep, kNoBoard, {text_field("text", step.title)});
    if (skipped(step)) {
        return;
    }
    const Time begin = chassis_.loop.now();
    std::set<std::int32_t> slots;
    for (const Board &board : chassis_.boards.all()) {
        slots.insert(board.number());
    }
    for (const Expectation &expectation : step.expectations) {
        const std::int32_t slot =
            expectation.slot.empty() ? kNoBoard : static_cast<std::int32_t>(resolved(expectation.slot));
        watches_.emplace_back(expectation, slot, slots);
    }
    if (!powered_) {
        power_on();
    }
    begin_faults(step, begin);
    run_commands(step);
    wait_for_expectations(step);
    end_faults();
    check_expectations();
}

bool Player::skipped(const Step &step) {
    if (!step.needs_private_mount) {
        return false;
    }
    for (const Board &board : chassis_.boards.all()) {
        const std::string refusal = first_line(refusal_file(board.folder));
        if (!refusal.empty()) {
            chassis_.log.add(EventKind::kSkipped, board.number(),
                             {text_field("text", step.title),
                              text_field("reason", "the boards have no private mount of the fixed paths, and the "
                                                   "machine's are not touched: " +
                                                       refusal)});
            return true;
        }
    }
    return false;
}

void Player::begin_faults(const Step &step, Time begin) {
    for (const PlannedFault &fault : step.faults) {
        begin_fault(fault, begin);
    }
}

void Player::begin_fault(const PlannedFault &fault, Time begin) {
    FaultSetting setting = fault.setting;
    setting.slot = resolved(fault.slot);
    timers_.push_back(chassis_.loop.at(begin + fault.at, [this, setting] { start_fault(setting); }));
    if (fault.length) {
        timers_.push_back(
            chassis_.loop.at(begin + fault.at + *fault.length, [this, setting] { end_fault(setting); }));
    } else {
        open_faults_.push_back(setting);
    }
}

void Player::start_fault(const FaultSetting &setting) {
    try {
        chassis_.faults.start(setting);
    } catch (const std::runtime_error &error) {
        chassis_.log.add(EventKind::kCheck, static_cast<std::int32_t>(setting.slot),
                         {text_field("text", "fault " + setting.kind), flag_field("ok", false),
                          text_field("detail", error.what())});
    }
}

void Player::end_fault(const FaultSetting &setting) {
    try {
        chassis_.faults.end(setting);
    } catch (const std::runtime_error &) {
        // it could not begin either, and that was said
    }
}

void Player::end_faults() {
    for (const FaultSetting &setting : open_faults_) {
        end_fault(setting);
    }
    open_faults_.clear();
}

void Player::run_commands(const Step &step) {
    for (const std::string &line : step.commands) {
        execute(chassis_, words_of(line));
    }
}

void Player::wait_for_expectations(const Step &step) {
    const Time begin = chassis_.loop.now();
    for (Watch &watch : watches_) {
        watch.begin(begin);
    }
    Time end = begin;
    for (const PlannedFault &fault : step.faults) {
        end = std::max(end, begin + fault.at + fault.length.value_or(Duration(0)));
    }
    if (step.rest) {
        end = std::max(end, Time(std::chrono::seconds(scenario_.seconds)));
    }
    Time latest = end;
    for (const Expectation &expectation : step.expectations) {
        latest = std::max(latest, begin + expectation.by);
    }
    chassis_.loop.wait(latest, [&] {
        const Time now = chassis_.loop.now();
        return now >= end && std::ranges::all_of(watches_, [=](const Watch &watch) { return watch.decided(now); });
    });
}

void Player::check_expectations() {
    // Taken out first: the checks are events too.
    std::list<Watch> watches;
    watches.swap(watches_);
    for (const Watch &watch : watches) {
        const bool met = watch.met();
        chassis_.log.add(EventKind::kCheck, kNoBoard,
                         {text_field("text", watch.text()), flag_field("ok", met),
                          text_field("detail", met ? "" : watch.failure(chassis_.log))});
    }
}

} // namespace chassis
