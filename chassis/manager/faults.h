// The faults of a board, by name: of its sensors, its link, its process, its slot.
#ifndef CHASSIS_MANAGER_FAULTS_H
#define CHASSIS_MANAGER_FAULTS_H

#include "manager/link_faults.h"
#include "manager/links.h"
#include "manager/supervisor.h"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace chassis {

enum class FaultTarget : std::uint8_t { kSensor, kLink, kProcess };

struct FaultType {
    const char *name;
    FaultTarget target;
    std::int32_t value;     // when nothing else is said
    const char *value_help; // what the value is; null: it has none
    const char *help;
};

inline constexpr std::array kFaultTypes = {
    FaultType{"stuck", FaultTarget::kSensor, 0, nullptr, "the sensor keeps its last reading"},
    FaultType{"noise", FaultTarget::kSensor, 50, "to either side", "the sensor's reading jumps"},
    FaultType{"drift", FaultTarget::kSensor, 100, "in a minute", "the sensor's reading moves away"},
    FaultType{"no-answer", FaultTarget::kLink, 0, nullptr, "no answer of the board arrives"},
    FaultType{"late", FaultTarget::kLink, 700, "milliseconds", "answers arrive late"},
    FaultType{"lost", FaultTarget::kLink, 30, "percent", "packets are lost, in both directions"},
    FaultType{"doubled", FaultTarget::kLink, 50, "percent", "packets arrive twice"},
    FaultType{"out-of-order", FaultTarget::kLink, 300, "milliseconds", "an answer is overtaken by the next one"},
    FaultType{"bad-length", FaultTarget::kLink, 30, "percent", "requests are too long, answers have lost their end"},
    FaultType{"wrong-header", FaultTarget::kLink, 30, "percent", "a request says that it is a reply, and so on"},
    FaultType{"wrong-slot", FaultTarget::kLink, 30, "percent", "packets name another slot"},
    FaultType{"flood", FaultTarget::kProcess, 200, "packets a second", "the board gets packets that are too long"},
    FaultType{"killed", FaultTarget::kProcess, 0, nullptr, "the board's process ends at once (SIGKILL)"},
    FaultType{"stopped", FaultTarget::kProcess, 0, nullptr, "the board's process stands still (SIGSTOP)"},
    FaultType{"pulled", FaultTarget::kProcess, 0, nullptr, "the board is pulled, and plugged at the end"},
    FaultType{"partition-exhausted", FaultTarget::kProcess, 0, nullptr,
              "the memory partition of the process is full"},
    FaultType{"queue-deleted", FaultTarget::kProcess, 0, nullptr, "the queue of the process is deleted under it"},
};

inline constexpr std::array kFaultNames = [] {
    std::array<const char *, kFaultTypes.size()> names{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i] = kFaultTypes[i].name;
    }
    return names;
}();

// Null when there is none of that name.
const FaultType *find_fault_type(std::string_view name);

// One fault that begins or is on.
struct FaultSetting {
    std::uint32_t slot = 0;
    std::string kind;
    std::string sensor; // of a sensor's fault
    std::optional<std::int32_t> value;
};

class Faults {
public:
    Faults(Loop &loop, EventLog &log, Boards &boards, Links &links, Supervisor &supervisor, std::uint32_t seed);
    Faults(const Faults &) = delete;
    Faults &operator=(const Faults &) = delete;

    // Throws std::runtime_error when the board, the sensor or the fault does not exist, or the board refuses it.
    void start(const FaultSetting &setting);
    void end(const FaultSetting &setting);
    // Ends every fault that is on.
    void end_all();

private:
    void set_sensor_fault(Board &board, const FaultSetting &setting, bool on);
    void set_process_fault(Board &board, const FaultSetting &setting, bool on);
    bool takes_orders(const Board &board) const;
    void exhaust(Board &board);
    void free_memory(Board &board);
    void flood(Board &board, std::int32_t per_second);
    void note(const FaultSetting &setting, bool on);
    Board &board(const FaultSetting &setting);

    Loop &loop_;
    EventLog &log_;
    Boards &boards_;
    Links &links_;
    Supervisor &supervisor_;
    LinkFaults link_faults_;
    std::map<std::uint32_t, Loop::TimerId> floods_; // by slot
    std::map<std::uint32_t, pid_t> exhausted_;      // processes by slot
    std::vector<FaultSetting> on_;
};

} // namespace chassis

#endif
