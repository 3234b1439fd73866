#include "scenario/meaning.h"

#include "board/sensors.h"
#include "manager/faults.h"
#include "orva_api_stub.h"
#include "text.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>

namespace chassis {

namespace {

std::string near_text(const std::string &wrong, const std::vector<std::string> &names) {
    const std::string near = nearest(wrong, names);
    return near.empty() ? "" : "; did you mean \"" + near + "\"?";
}

class Meaning {
public:
    explicit Meaning(const toml::table &scenario) : scenario_(scenario) {}

    std::vector<Mistake> check() {
        each(scenario_, "board", "board",
             [this](const toml::table &board, const std::string &path) { check_board(board, path); });
        each(scenario_, "step", "step", [this](const toml::table &step, const std::string &path) {
            each(step, "fault", path + "fault",
                 [this](const toml::table &fault, const std::string &at) { check_fault(fault, at); });
            each(step, "expect", path + "expect",
                 [this](const toml::table &expect, const std::string &at) { check_expect(expect, at); });
        });
        return std::move(mistakes_);
    }

private:
    template <typename Check>
    static void each(const toml::table &table, const char *key, const std::string &path, Check check) {
        const toml::array *tables = table[key].as_array();
        for (std::size_t i = 0; tables != nullptr && i < tables->size(); ++i) {
            check(*tables->get(i)->as_table(), path + "[" + std::to_string(i) + "].");
        }
    }

    // At the key's value, or at the table where the key is missing.
    void add(const toml::table &table, const std::string &path, const char *key, const std::string &text) {
        const toml::node *node = table.get(key);
        const auto &begin = (node != nullptr ? node->source() : table.source()).begin;
        mistakes_.push_back({begin.line, begin.column, path + key, text});
    }

    void check_board(const toml::table &board, const std::string &path) {
        const auto slot = board["slot"].value_or<std::int64_t>(0);
        if (!slots_.insert(slot).second) {
            add(board, path, "slot", "expected another slot, since a board before has this one");
        }
        if (slot > scenario_["boards"].value<std::int64_t>().value_or(slot)) {
            add(board, path, "slot", "expected a slot of one of the scenario's `boards`");
        }
        std::set<std::string> names;
        each(board, "sensor", path + "sensor", [&](const toml::table &sensor, const std::string &at) {
            const auto name = sensor["name"].value_or<std::string>("");
            if (!names.insert(name).second) {
                add(sensor, at, "name", "expected another name, since a sensor before has this one");
            }
            check_stub(sensor, at);
        });
        if (!names.empty()) {
            sensors_[slot] = {names.begin(), names.end()};
        }
    }

    void check_stub(const toml::table &sensor, const std::string &path) {
        const auto name = sensor["stub"].value_or<std::string>("");
        std::uint32_t type = 0;
        if (!name.empty() && ORVA_STUB_GetStubType(name.c_str(), &type) != 1) {
            add(sensor, path, "stub", "expected the name of a stub");
        }
    }

    void check_fault(const toml::table &fault, const std::string &path) {
        const FaultType &type = *find_fault_type(fault["kind"].value_or<std::string>(""));
        if (type.target == FaultTarget::kSensor) {
            check_sensor(fault, path);
        } else if (fault.contains("sensor")) {
            add(fault, path, "sensor", std::string("expected none, since ") + type.name + " is of the whole board");
        }
        const auto value = fault["value"].value<std::int64_t>();
        const bool percent = type.value_help != nullptr && std::strcmp(type.value_help, "percent") == 0;
        if (value && type.value_help == nullptr) {
            add(fault, path, "value", std::string("expected none, since ") + type.name + " has no value");
        } else if (value && percent && (*value < 0 || *value > 100)) {
            add(fault, path, "value", "expected percent, from 0 to 100");
        } else if (value && *value < 0 && type.target != FaultTarget::kSensor) {
            add(fault, path, "value", std::string("expected ") + type.value_help + ", from 0 on");
        }
    }

    // A slot that is named by its number has the sensors of its board.
    void check_sensor(const toml::table &fault, const std::string &path) {
        const auto name = fault["sensor"].value_or<std::string>("");
        const auto slot = fault["slot"].value<std::int64_t>();
        if (name.empty()) {
            return add(fault, path, "sensor", "is missing; expected the sensor that fails");
        }
        std::vector<std::string> names;
        if (slot && sensors_.contains(*slot)) {
            names = sensors_[*slot];
        } else if (slot) {
            for (const Sensor &sensor : default_sensors(static_cast<std::uint32_t>(*slot))) {
                names.push_back(sensor.name);
            }
        }
        if (slot && std::ranges::find(names, name) == names.end()) {
            add(fault, path, "sensor", "expected a sensor of the board" + near_text(name, names));
        }
    }

    // How often is said once.
    void check_expect(const toml::table &expect, const std::string &path) {
        const bool never = expect["never"].value_or(false);
        for (const char *key : {"count", "at_least", "at_most", "every_board"}) {
            if (never && expect.contains(key)) {
                add(expect, path, key, "expected none beside `never`");
            }
        }
        if (expect.contains("count") && (expect.contains("at_least") || expect.contains("at_most"))) {
            add(expect, path, "count", "expected either an exact count or bounds");
        }
        const auto least = expect["at_least"].value<std::int64_t>();
        const auto most = expect["at_most"].value<std::int64_t>();
        if (least && most && *least > *most) {
            add(expect, path, "at_least", "expected no more than `at_most`");
        }
    }

    const toml::table &scenario_;
    std::set<std::int64_t> slots_;
    std::map<std::int64_t, std::vector<std::string>> sensors_; // of boards that are not like the others
    std::vector<Mistake> mistakes_;
};

} // namespace

std::vector<Mistake> check_meaning(const toml::table &scenario) {
    return Meaning(scenario).check();
}

} // namespace chassis
