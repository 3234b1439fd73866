#include "web/model.h"

#include <algorithm>

namespace chassis {

namespace {

constexpr std::size_t kLongestText = 2000; // of a kept event, bytes

std::vector<SensorView> sensor_views(std::span<const Sensor> sensors, const ModelLimits &limits) {
    std::vector<SensorView> views;
    for (const Sensor &sensor : sensors) {
        views.push_back({sensor, false, 0, 0, "normal", "hardware", History(limits.keep, limits.points)});
    }
    return views;
}

std::uint32_t count_of(const Event &event, const char *name) {
    return static_cast<std::uint32_t>(event.number_of(name));
}

Figures figures_of(const Event &event) {
    return {count_of(event, "passed"),          count_of(event, "dropped"),      count_of(event, "queue_messages"),
            count_of(event, "queue_bytes"),     count_of(event, "memory_bytes"), count_of(event, "memory_blocks"),
            count_of(event, "memory_failures"), count_of(event, "descriptors")};
}

BeatView beat_of(const Event &event) {
    return {event.number_of("beat"),    event.number_of("uptime"),         event.number_of("requests"),
            event.number_of("refused"), event.number_of("queue_refusals"), event.flag("online"),
            event.flag("online_pair"),  event.flag("private_mount"),       event.flag("warm")};
}

void take_stage(BoardView &board, const Event &event) {
    const StageView stage = {event.text("stage"), event.number_of("count"), event.number_of("min"),
                             event.number_of("avg"), event.number_of("max")};
    const auto found = std::ranges::find(board.stages, stage.stage, &StageView::stage);
    if (found != board.stages.end()) {
        *found = stage;
    } else {
        board.stages.push_back(stage);
    }
}

void take_fault(BoardView &board, const Event &event) {
    const FaultView fault = {event.text("fault"), event.text("sensor"), event.text("text")};
    std::erase_if(board.faults,
                  [&](const FaultView &each) { return each.fault == fault.fault && each.sensor == fault.sensor; });
    if (event.flag("on")) {
        board.faults.push_back(fault);
    }
}

void take_state(BoardView &board, const Event &event) {
    board.state = event.text("state");
    board.reason = event.text("reason");
    if (event.number_of("type") != 0) {
        board.type = event.number_of("type");
    }
    if (board.state == "online") {
        board.address = event.text("address");
    }
}

void take_process(BoardView &board, const Event &event) {
    board.process = event.text("state");
    board.status = event.number_of("status");
    board.starts = event.number_of("starts");
}

// Log records and tables may be of any length.
Event shortened(Event event) {
    for (Field &field : event.fields) {
        auto *text = std::get_if<std::string>(&field.value);
        if (text != nullptr && text->size() > kLongestText) {
            text->resize(kLongestText);
            *text += " ...";
        }
    }
    return event;
}

bool is_of_board(EventKind kind) {
    return kind == EventKind::kFault || kind == EventKind::kBoard || kind == EventKind::kProcess ||
           kind == EventKind::kRequest || kind == EventKind::kReading || kind == EventKind::kHeartBeat ||
           kind == EventKind::kFigures || kind == EventKind::kTrace;
}

} // namespace

void Model::add_board(std::uint32_t slot, std::uint32_t type, std::span<const Sensor> sensors) {
    BoardView &view = boards_[static_cast<std::int32_t>(slot)];
    view.slot = static_cast<std::int32_t>(slot);
    view.type = type;
    view.sensors = sensor_views(sensors, limits_);
}

// Someone's own board has joined, with the sensors that a board has of which nothing else is said.
BoardView &Model::board(std::int32_t slot) {
    if (!boards_.contains(slot)) {
        const auto number = static_cast<std::uint32_t>(slot);
        add_board(number, 0, slot != 0 ? default_sensors(number) : std::vector<Sensor>());
    }
    return boards_.at(slot);
}

void Model::take(const Event &event) {
    ++revision_;
    now_ms_ = whole_milliseconds(event.time);
    ++counts_[static_cast<std::size_t>(event.kind)];
    bool worth_keeping = true;
    if (is_of_board(event.kind) && event.slot != kNoBoard) {
        worth_keeping = take_board(board(event.slot), event);
    } else {
        take_run(event);
    }
    if (worth_keeping) {
        keep(event);
    }
}

// True when a reader of the log wants to see the event.
bool Model::take_board(BoardView &view, const Event &event) {
    touch(view);
    switch (event.kind) {
    case EventKind::kFault:
        take_fault(view, event);
        return true;
    case EventKind::kBoard:
        take_state(view, event);
        return true;
    case EventKind::kProcess:
        take_process(view, event);
        return true;
    case EventKind::kRequest:
        return take_request(view, event);
    case EventKind::kReading:
        return take_reading(view, event);
    case EventKind::kHeartBeat:
        view.beat = beat_of(event);
        return false;
    case EventKind::kFigures:
        view.figures = figures_of(event);
        return false;
    default:
        take_stage(view, event);
        return false;
    }
}

bool Model::take_request(BoardView &view, const Event &event) {
    const std::string result = event.text("result");
    RequestCounts &counts = view.requests;
    std::uint64_t &count = result == "answered"  ? counts.answered
                           : result == "refused" ? counts.refused
                           : result == "lost"    ? counts.lost
                                                 : counts.unanswered;
    ++count;
    const std::int64_t attempts = event.number_of("attempts");
    counts.repeats += attempts > 1 ? static_cast<std::uint64_t>(attempts - 1) : 0U;
    return result != "answered";
}

// A reading is worth a line when it begins or ceases to be normal, or is overridden or no longer so.
bool Model::take_reading(BoardView &view, const Event &event) {
    const std::string name = event.text("sensor");
    const auto found =
        std::ranges::find_if(view.sensors, [&](const SensorView &each) { return each.sensor.name == name; });
    if (found == view.sensors.end()) {
        return true;
    }
    const std::string state = event.text("state");
    const std::string source = event.text("source");
    const bool news = found->state != state || found->source != source;
    found->known = true;
    found->state = state;
    found->source = source;
    found->value = static_cast<std::int32_t>(event.number_of("value"));
    found->hardware = static_cast<std::int32_t>(event.number_of("hardware"));
    found->history.add({now_ms_, found->value, found->hardware, source != "hardware"});
    return news;
}

void Model::take_run(const Event &event) {
    run_.revision = revision_;
    switch (event.kind) {
    case EventKind::kRun:
        run_.scenario = event.text("scenario");
        run_.seed = event.number_of("seed");
        run_.time = event.text("time");
        return;
    case EventKind::kStep:
        run_.step = event.text("text");
        return;
    case EventKind::kCheck:
        ++run_.checks;
        run_.failed += event.flag("ok") ? 0U : 1U;
        return;
    case EventKind::kAction: // counts as a check, as the console has it
        ++run_.checks;
        run_.failed += event.number_of("status") == 0 ? 0U : 1U;
        return;
    case EventKind::kSkipped:
        ++run_.skipped;
        return;
    case EventKind::kEnd:
        run_.over = true;
        return;
    default:
        return;
    }
}

void Model::keep(const Event &event) {
    if (first_events_.size() < limits_.first_events) {
        first_events_.push_back({revision_, shortened(event)});
        return;
    }
    last_events_.push_back({revision_, shortened(event)});
    if (last_events_.size() > limits_.last_events) {
        last_events_.pop_front();
        ++left_out_;
    }
}

void Model::set_stages(std::int32_t slot, std::vector<StageView> stages) {
    ++revision_;
    BoardView &view = board(slot);
    view.stages = std::move(stages);
    touch(view);
}

void Model::set_backup_figures(const Figures &figures) {
    ++revision_;
    BoardView &view = board(0);
    view.figures = figures;
    touch(view);
}

void Model::set_manager_figures(const Figures &figures) {
    manager_figures_ = figures;
    run_.revision = ++revision_;
}

} // namespace chassis
