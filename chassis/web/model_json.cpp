#include "web/model_json.h"

#include "manager/faults.h"
#include "web/sentences.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace chassis {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostEvents = 100; // in one message
constexpr std::size_t kMostWords = 16;   // of a command

double in_seconds(std::int64_t ms) {
    return static_cast<double>(ms) / 1000;
}

// Bytes of a log that are not UTF-8 are replaced.
std::string text_of(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json run_json(const Model &model) {
    const RunView &run = model.run();
    return {{"scenario", run.scenario}, {"seed", run.seed},     {"time", run.time},
            {"step", run.step},         {"checks", run.checks}, {"failed", run.failed},
            {"skipped", run.skipped},   {"over", run.over},     {"version", ORVA_CHASSIS_VERSION}};
}

Json figures_json(const std::optional<Figures> &figures) {
    if (!figures) {
        return nullptr;
    }
    return {{"passed", figures->passed},
            {"dropped", figures->dropped},
            {"queue_messages", figures->queue_messages},
            {"queue_bytes", figures->queue_bytes},
            {"memory_bytes", figures->memory_bytes},
            {"memory_blocks", figures->memory_blocks},
            {"memory_failures", figures->memory_failures},
            {"descriptors", figures->descriptors}};
}

Json beat_json(const std::optional<BeatView> &beat) {
    if (!beat) {
        return nullptr;
    }
    return {{"beat", beat->beat},         {"uptime", beat->uptime},
            {"requests", beat->requests}, {"refused", beat->refused},
            {"online", beat->online},     {"online_pair", beat->online_pair},
            {"warm", beat->warm},         {"queue_refusals", beat->queue_refusals}};
}

Json sensor_json(const SensorView &view) {
    return {{"name", view.sensor.name},
            {"number", view.sensor.number},
            {"kind", view.sensor.kind == SensorKind::kTemperature ? "temperature" : "voltage"},
            {"stub", view.sensor.stub},
            {"low", view.sensor.low},
            {"high", view.sensor.high},
            {"known", view.known},
            {"value", view.value},
            {"hardware", view.hardware},
            {"state", view.state},
            {"source", view.source}};
}

Json board_json(const BoardView &board) {
    Json sensors = Json::array();
    for (const SensorView &sensor : board.sensors) {
        sensors.push_back(sensor_json(sensor));
    }
    Json faults = Json::array();
    for (const FaultView &fault : board.faults) {
        faults.push_back({{"fault", fault.fault}, {"sensor", fault.sensor}, {"text", fault.text}});
    }
    Json stages = Json::array();
    for (const StageView &stage : board.stages) {
        stages.push_back({{"stage", stage.stage},
                          {"count", stage.count},
                          {"min", stage.min_ns},
                          {"avg", stage.avg_ns},
                          {"max", stage.max_ns}});
    }
    const RequestCounts &requests = board.requests;
    return {{"slot", board.slot},
            {"type", board.type},
            {"state", board.state},
            {"reason", board.reason},
            {"address", board.address},
            {"process", board.process},
            {"status", board.status},
            {"starts", board.starts},
            {"requests",
             {{"answered", requests.answered},
              {"refused", requests.refused},
              {"unanswered", requests.unanswered},
              {"lost", requests.lost},
              {"repeats", requests.repeats}}},
            {"beat", beat_json(board.beat)},
            {"figures", figures_json(board.figures)},
            {"sensors", std::move(sensors)},
            {"faults", std::move(faults)},
            {"stages", std::move(stages)}};
}

Json event_json(const Event &event) {
    Json json = {{"n", event.number},
                 {"t", in_seconds(whole_milliseconds(event.time))},
                 {"event", event_type(event.kind).name},
                 {"mark", mark_of(event)},
                 {"text", sentence_of(event)}};
    if (event.slot != kNoBoard) {
        json["slot"] = event.slot;
    }
    return json;
}

template <typename Events>
void append_events(Json &list, const Events &events, std::uint64_t since, std::size_t skip = 0) {
    for (const KeptEvent &kept : events) {
        if (kept.revision <= since) {
            continue;
        }
        if (skip > 0) {
            --skip;
        } else {
            list.push_back(event_json(kept.event));
        }
    }
}

Json boards_json(const Model &model, std::uint64_t since) {
    Json boards = Json::array();
    for (const auto &[slot, board] : model.boards()) {
        if (board.revision >= since) {
            boards.push_back(board_json(board));
        }
    }
    return boards;
}

// [seconds, value, hardware, overridden]
Json points_json(const History &history) {
    Json points = Json::array();
    for (const HistoryPoint &point : history.points()) {
        points.push_back({in_seconds(point.ms), point.value, point.hardware, point.overridden ? 1 : 0});
    }
    return points;
}

Json courses_json(const BoardView &board) {
    Json courses = Json::object();
    for (const SensorView &sensor : board.sensors) {
        courses[sensor.sensor.name] = points_json(sensor.history);
    }
    return courses;
}

Json faults_json() {
    Json faults = Json::array();
    for (const FaultType &type : kFaultTypes) {
        faults.push_back({{"name", type.name},
                          {"sensor", type.target == FaultTarget::kSensor},
                          {"value", type.value},
                          {"value_help", type.value_help != nullptr ? Json(type.value_help) : Json()},
                          {"help", type.help}});
    }
    return faults;
}

Json counts_json(const Model &model) {
    Json counts = Json::object();
    for (const EventType &type : event_types()) {
        counts[type.name] = model.count(type.kind);
    }
    return counts;
}

Json state_json(const Model &model, std::uint64_t since) {
    return {{"now", in_seconds(model.now_ms())},
            {"run", run_json(model)},
            {"counts", counts_json(model)},
            {"manager", figures_json(model.manager_figures())},
            {"boards", boards_json(model, since)}};
}

} // namespace

std::string snapshot_json(const Model &model) {
    Json json = state_json(model, 0);
    json["faults"] = faults_json();
    json["left_out"] = model.left_out();
    json["events"] = Json::array();
    append_events(json["events"], model.last_events(), 0);
    return text_of(json);
}

std::string changes_json(const Model &model, std::uint64_t since) {
    Json json = state_json(model, since + 1);
    const auto &events = model.last_events();
    const auto fresh = static_cast<std::size_t>(
        std::ranges::count_if(events, [=](const KeptEvent &kept) { return kept.revision > since; }));
    const std::size_t skip = fresh > kMostEvents ? fresh - kMostEvents : 0;
    json["left_out"] = skip;
    json["events"] = Json::array();
    append_events(json["events"], events, since, skip);
    return text_of(json);
}

std::optional<std::string> history_json(const Model &model, std::int32_t slot) {
    const auto found = model.boards().find(slot);
    return found != model.boards().end() ? std::optional(text_of(courses_json(found->second))) : std::nullopt;
}

std::string report_json(const Model &model, const std::string &scenario) {
    Json json = state_json(model, 0);
    json["scenario_text"] = scenario;
    json["left_out"] = model.left_out();
    json["first"] = model.first_events().size();
    json["events"] = Json::array();
    append_events(json["events"], model.first_events(), 0);
    append_events(json["events"], model.last_events(), 0);
    json["courses"] = Json::object();
    for (const auto &[slot, board] : model.boards()) {
        json["courses"][std::to_string(slot)] = courses_json(board);
    }
    std::string text;
    for (const char each : text_of(json)) {
        text += each == '<' ? std::string("\\u003c") : std::string(1, each);
    }
    return text;
}

std::optional<std::vector<std::string>> command_words(const std::string &body) {
    const Json json = Json::parse(body, nullptr, false);
    const auto list = json.is_object() ? json.find("words") : json.end();
    if (!json.is_object() || list == json.end() || !list->is_array() || list->size() > kMostWords) {
        return std::nullopt;
    }
    std::vector<std::string> words;
    for (const Json &word : *list) {
        if (!word.is_string()) {
            return std::nullopt;
        }
        words.push_back(word.get<std::string>());
    }
    return words;
}

std::string reply_json(int status, const std::string &text) {
    return text_of({{"status", status}, {"text", text}});
}

} // namespace chassis
