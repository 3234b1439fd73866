#include "web/metrics.h"

#include <array>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>

namespace chassis {

namespace {

using Labels = std::initializer_list<std::pair<const char *, std::string>>;

constexpr double kNanosecond = 1e-9;

std::string escaped(std::string_view text) {
    std::string out;
    for (const char each : text) {
        if (each == '\n') {
            out += "\\n";
            continue;
        }
        if (each == '"' || each == '\\') {
            out += '\\';
        }
        out += each;
    }
    return out;
}

std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

// One family of samples: its two comment lines, then the samples.
class Family {
public:
    Family(std::string &out, const char *name, const char *type, const char *help) : out_(out), name_(name) {
        out_ += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
    }
    void add(Labels labels, double value) {
        out_ += name_;
        const char *separator = "{";
        for (const auto &[name, text] : labels) {
            out_ += std::string(separator) + name + "=\"" + escaped(text) + "\"";
            separator = ",";
        }
        out_ += (labels.size() != 0 ? "} " : " ") + number_text(value) + "\n";
    }

private:
    std::string &out_;
    const char *name_;
};

std::string slot_of(const BoardView &board) {
    return std::to_string(board.slot);
}

bool is_agent(const BoardView &board) {
    return board.slot != 0;
}

const char *process_name(const BoardView &board) {
    return is_agent(board) ? "agent" : "backup";
}

void add_run(std::string &out, const Model &model) {
    const RunView &run = model.run();
    Family(out, "orva_chassis_info", "gauge", "The run; always 1.")
        .add({{"version", ORVA_CHASSIS_VERSION},
              {"scenario", run.scenario},
              {"seed", std::to_string(run.seed)},
              {"time", run.time}},
             1);
    Family(out, "orva_chassis_uptime_seconds", "gauge", "Chassis time of the last event, since power-on.")
        .add({}, static_cast<double>(model.now_ms()) / 1000);
    Family checks(out, "orva_checks_total", "counter", "Expectations of the scenario and commands, by result.");
    checks.add({{"result", "ok"}}, static_cast<double>(run.checks - run.failed));
    checks.add({{"result", "failed"}}, static_cast<double>(run.failed));
    checks.add({{"result", "skipped"}}, static_cast<double>(run.skipped));
    Family events(out, "orva_events_total", "counter", "Events of the run, by kind.");
    for (const EventType &type : event_types()) {
        events.add({{"kind", type.name}}, static_cast<double>(model.count(type.kind)));
    }
}

void add_states(std::string &out, const Model &model) {
    static constexpr std::array kStates = {"starting", "online", "lost", "pulled"};
    Family states(out, "orva_board_state", "gauge", "1 for the state that the board is in, 0 for the others.");
    for (const auto &[slot, board] : model.boards()) {
        for (const char *state : kStates) {
            if (is_agent(board)) {
                states.add({{"slot", slot_of(board)}, {"state", state}}, board.state == state ? 1 : 0);
            }
        }
    }
    Family faults(out, "orva_board_faults", "gauge", "Faults that somebody made and that are on.");
    for (const auto &[slot, board] : model.boards()) {
        if (is_agent(board)) {
            faults.add({{"slot", slot_of(board)}}, static_cast<double>(board.faults.size()));
        }
    }
    Family starts(out, "orva_process_starts_total", "counter", "How often a process was started.");
    for (const auto &[slot, board] : model.boards()) {
        starts.add({{"slot", slot_of(board)}, {"process", process_name(board)}}, static_cast<double>(board.starts));
    }
}

struct SensorFamily {
    const char *name;
    const char *help;
    SensorKind kind;
    double unit;
    std::int32_t (*value)(const SensorView &view);
    bool only_known;
};

constexpr std::array kSensorFamilies = {
    SensorFamily{"orva_sensor_temperature_celsius", "Reading of a temperature sensor, with its override.",
                 SensorKind::kTemperature, 0.1, [](const SensorView &view) { return view.value; }, true},
    SensorFamily{"orva_sensor_hardware_temperature_celsius", "What the hardware of a temperature sensor says.",
                 SensorKind::kTemperature, 0.1, [](const SensorView &view) { return view.hardware; }, true},
    SensorFamily{"orva_sensor_low_temperature_celsius", "A temperature below this is low.", SensorKind::kTemperature,
                 0.1, [](const SensorView &view) { return view.sensor.low; }, false},
    SensorFamily{"orva_sensor_high_temperature_celsius", "A temperature above this is high.",
                 SensorKind::kTemperature, 0.1, [](const SensorView &view) { return view.sensor.high; }, false},
    SensorFamily{"orva_sensor_voltage_volts", "Reading of a voltage sensor, with its override.", SensorKind::kVoltage,
                 0.001, [](const SensorView &view) { return view.value; }, true},
    SensorFamily{"orva_sensor_hardware_voltage_volts", "What the hardware of a voltage sensor says.",
                 SensorKind::kVoltage, 0.001, [](const SensorView &view) { return view.hardware; }, true},
    SensorFamily{"orva_sensor_low_voltage_volts", "A voltage below this is low.", SensorKind::kVoltage, 0.001,
                 [](const SensorView &view) { return view.sensor.low; }, false},
    SensorFamily{"orva_sensor_high_voltage_volts", "A voltage above this is high.", SensorKind::kVoltage, 0.001,
                 [](const SensorView &view) { return view.sensor.high; }, false},
};

using OnSensor = std::function<void(const BoardView &, const SensorView &)>;

void for_each_sensor(const Model &model, const OnSensor &call) {
    for (const auto &[slot, board] : model.boards()) {
        for (const SensorView &view : board.sensors) {
            call(board, view);
        }
    }
}

void add_sensors(std::string &out, const Model &model) {
    for (const SensorFamily &row : kSensorFamilies) {
        Family family(out, row.name, "gauge", row.help);
        for_each_sensor(model, [&](const BoardView &board, const SensorView &view) {
            if (view.sensor.kind == row.kind && (view.known || !row.only_known)) {
                family.add({{"slot", slot_of(board)}, {"sensor", view.sensor.name}}, row.value(view) * row.unit);
            }
        });
    }
    Family normal(out, "orva_sensor_normal", "gauge", "1 while the reading is between its thresholds, else 0.");
    for_each_sensor(model, [&](const BoardView &board, const SensorView &view) {
        if (view.known) {
            normal.add({{"slot", slot_of(board)}, {"sensor", view.sensor.name}}, view.state == "normal" ? 1 : 0);
        }
    });
    Family overridden(out, "orva_sensor_overridden", "gauge", "1 while a tester overrides the reading, else 0.");
    for_each_sensor(model, [&](const BoardView &board, const SensorView &view) {
        if (view.known) {
            overridden.add({{"slot", slot_of(board)}, {"sensor", view.sensor.name}},
                           view.source == "hardware" ? 0 : 1);
        }
    });
}

void add_requests(std::string &out, const Model &model) {
    Family requests(out, "orva_requests_total", "counter", "Requests to a board, by how they ended.");
    for (const auto &[slot, board] : model.boards()) {
        const auto add = [&requests, at = slot_of(board)](const char *result, std::uint64_t count) {
            requests.add({{"slot", at}, {"result", result}}, static_cast<double>(count));
        };
        add("answered", board.requests.answered);
        add("refused", board.requests.refused);
        add("unanswered", board.requests.unanswered);
        add("lost", board.requests.lost);
    }
    Family repeats(out, "orva_request_repeats_total", "counter", "Requests that were sent again.");
    for (const auto &[slot, board] : model.boards()) {
        repeats.add({{"slot", slot_of(board)}}, static_cast<double>(board.requests.repeats));
    }
}

struct BeatFamily {
    const char *name;
    const char *type;
    const char *help;
    std::int64_t BeatView::*value;
};

constexpr std::array kBeatFamilies = {
    BeatFamily{"orva_agent_uptime_seconds", "gauge", "Since the process was started.", &BeatView::uptime},
    BeatFamily{"orva_agent_heartbeats_total", "counter", "Heartbeats that the process has answered.",
               &BeatView::beat},
    BeatFamily{"orva_agent_packets_handled_total", "counter", "Packets that the process has handled.",
               &BeatView::requests},
    BeatFamily{"orva_agent_packets_refused_total", "counter", "Packets that the process has refused.",
               &BeatView::refused},
    BeatFamily{"orva_agent_queue_refusals_total", "counter", "Packets that the queue of the process did not take.",
               &BeatView::queue_refusals},
};

void add_beats(std::string &out, const Model &model) {
    for (const BeatFamily &row : kBeatFamilies) {
        Family family(out, row.name, row.type, row.help);
        for (const auto &[slot, board] : model.boards()) {
            if (board.beat) {
                family.add({{"slot", slot_of(board)}}, static_cast<double>((*board.beat).*row.value));
            }
        }
    }
}

struct FigureFamily {
    const char *name;
    const char *type;
    const char *help;
    std::uint32_t Figures::*value;
};

constexpr std::array kFigureFamilies = {
    FigureFamily{"orva_log_records_passed", "gauge", "Rate-limited records let through in the last hour.",
                 &Figures::passed},
    FigureFamily{"orva_log_records_dropped", "gauge", "Rate-limited records dropped since the last summary.",
                 &Figures::dropped},
    FigureFamily{"orva_queue_messages", "gauge", "Messages in the queue of the process.", &Figures::queue_messages},
    FigureFamily{"orva_queue_bytes", "gauge", "Bytes in the queue of the process.", &Figures::queue_bytes},
    FigureFamily{"orva_memory_bytes", "gauge", "Live bytes of the memory partition.", &Figures::memory_bytes},
    FigureFamily{"orva_memory_blocks", "gauge", "Live blocks of the memory partition.", &Figures::memory_blocks},
    FigureFamily{"orva_memory_failures_total", "counter", "Allocations that the memory partition refused.",
                 &Figures::memory_failures},
    FigureFamily{"orva_descriptors", "gauge", "Open descriptors of the process.", &Figures::descriptors},
};

void add_figures(std::string &out, const Model &model) {
    for (const FigureFamily &row : kFigureFamilies) {
        Family family(out, row.name, row.type, row.help);
        if (model.manager_figures()) {
            family.add({{"slot", "0"}, {"process", "manager"}}, (*model.manager_figures()).*row.value);
        }
        for (const auto &[slot, board] : model.boards()) {
            if (board.figures) {
                family.add({{"slot", slot_of(board)}, {"process", process_name(board)}}, (*board.figures).*row.value);
            }
        }
    }
}

void add_stages(std::string &out, const Model &model) {
    Family runs(out, "orva_request_path_runs_total", "counter",
                "How often a stage of the request path was measured.");
    for (const auto &[slot, board] : model.boards()) {
        for (const StageView &stage : board.stages) {
            runs.add({{"slot", slot_of(board)}, {"stage", stage.stage}}, static_cast<double>(stage.count));
        }
    }
    Family times(out, "orva_request_path_seconds", "gauge",
                 "Processor time of a stage of the request path: its minimum, mean and maximum.");
    for (const auto &[slot, board] : model.boards()) {
        for (const StageView &stage : board.stages) {
            const auto add = [&times, &stage, at = slot_of(board)](const char *statistic, std::int64_t ns) {
                times.add({{"slot", at}, {"stage", stage.stage}, {"statistic", statistic}},
                          static_cast<double>(ns) * kNanosecond);
            };
            add("min", stage.min_ns);
            add("mean", stage.avg_ns);
            add("max", stage.max_ns);
        }
    }
}

void add_server(std::string &out, const ServerCounts &server) {
    Family(out, "orva_web_clients", "gauge", "Pages that are open.").add({}, static_cast<double>(server.clients));
    Family(out, "orva_web_requests_total", "counter", "HTTP requests.").add({}, static_cast<double>(server.requests));
    Family(out, "orva_web_refused_total", "counter", "HTTP requests that were refused.")
        .add({}, static_cast<double>(server.refused));
    Family(out, "orva_web_dropped_clients_total", "counter", "Pages that were dropped since they were too slow.")
        .add({}, static_cast<double>(server.dropped));
}

} // namespace

std::string metrics_text(const Model &model, const ServerCounts &server) {
    std::string out;
    add_run(out, model);
    add_states(out, model);
    add_sensors(out, model);
    add_requests(out, model);
    add_beats(out, model);
    add_figures(out, model);
    add_stages(out, model);
    add_server(out, server);
    return out;
}

} // namespace chassis
