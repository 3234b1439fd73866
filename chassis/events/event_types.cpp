// The table of what can happen.
#include "events/event.h"

#include <algorithm>
#include <array>

namespace chassis {

namespace {

constexpr ValueType kBool = ValueType::kBool;
constexpr ValueType kNumber = ValueType::kNumber;
constexpr ValueType kText = ValueType::kText;

constexpr std::array kRun = {
    FieldType{"scenario", kText, "name of the scenario"},
    FieldType{"seed", kNumber, "what every random number of the run comes from"},
    FieldType{"boards", kNumber, "boards beside the main board"},
    FieldType{"time", kText, "real or virtual"},
};
constexpr std::array kEnd = {
    FieldType{"checks", kNumber, "checks that were made"},
    FieldType{"failed", kNumber, "of these, failed"},
    FieldType{"skipped", kNumber, "checks that this machine does not allow"},
    FieldType{"processes_left", kNumber, "processes of the run that still exist"},
    FieldType{"queues_left", kNumber, "queues of the run that still exist"},
};
constexpr std::array kTextOnly = {FieldType{"text", kText, "what is shown"}};
constexpr std::array kCheck = {
    FieldType{"text", kText, "what was expected"},
    FieldType{"ok", kBool, "whether it was so"},
    FieldType{"detail", kText, "after a failure: what came nearest, and what happened around it"},
};
constexpr std::array kSkipped = {
    FieldType{"text", kText, "what was not tried"},
    FieldType{"reason", kText, "why this machine does not allow it"},
};
constexpr std::array kAction = {
    FieldType{"command", kText, "the command as it is typed"},
    FieldType{"status", kNumber, "0 done, 1 refused, 2 a bad command line"},
    FieldType{"text", kText, "its output"},
};
constexpr std::array kFault = {
    FieldType{"fault", kText, "kind of the fault"},
    FieldType{"on", kBool, "true at its start, false at its end"},
    FieldType{"sensor", kText, "sensor that it is on, empty for a fault of the whole board"},
    FieldType{"text", kText, "its values"},
};
constexpr std::array kBoard = {
    FieldType{"state", kText, "starting, online, lost or pulled"},
    FieldType{"reason", kText, "why it is in this state"},
    FieldType{"type", kNumber, "board type"},
    FieldType{"address", kText, "IPv4 address that it registered"},
};
constexpr std::array kProcess = {
    FieldType{"state", kText, "started, killed (by the chassis), ended (by itself) or stopped (it was told to)"},
    FieldType{"status", kNumber, "exit status, 128 plus the number of a signal that ended it"},
    FieldType{"starts", kNumber, "how often it has been started"},
};
constexpr std::array kRequest = {
    FieldType{"message", kText, "name of the request"},
    FieldType{"result", kText, "answered, refused, unanswered or lost (the board was lost meanwhile)"},
    FieldType{"code", kNumber, "result code of the answer, 0 when it has none"},
    FieldType{"attempts", kNumber, "how often it was sent"},
    FieldType{"ms", kNumber, "milliseconds until the answer"},
    FieldType{"sequence", kNumber, "its sequence number"},
};
constexpr std::array kReading = {
    FieldType{"sensor", kText, "name of the sensor"},
    FieldType{"value", kNumber, "tenths of a degree Celsius, or millivolts"},
    FieldType{"state", kText, "normal, low or high"},
    FieldType{"source", kText, "hardware, stub or simulated"},
    FieldType{"hardware", kNumber, "what the hardware says"},
    FieldType{"shown", kText, "the hardware's value with its unit"},
};
constexpr std::array kHeartBeat = {
    FieldType{"beat", kNumber, "heartbeats that the process has answered"},
    FieldType{"uptime", kNumber, "seconds since the process was started"},
    FieldType{"requests", kNumber, "packets that it has handled"},
    FieldType{"refused", kNumber, "of these, refused"},
    FieldType{"queue_refusals", kNumber, "packets that its queue did not take"},
    FieldType{"online", kBool, "what the board says of itself"},
    FieldType{"online_pair", kBool, "an online pair decides that"},
    FieldType{"private_mount", kBool, "the fixed paths are the board's own"},
    FieldType{"warm", kBool, "not the first start of the process since power-on"},
};
constexpr std::array kFigures = {
    FieldType{"passed", kNumber, "rate-limited records that were let through in the last hour"},
    FieldType{"dropped", kNumber, "rate-limited records that were dropped since the last summary"},
    FieldType{"queue_messages", kNumber, "messages in the process's queue"},
    FieldType{"queue_bytes", kNumber, "bytes in the process's queue"},
    FieldType{"memory_bytes", kNumber, "live bytes of its memory partition"},
    FieldType{"memory_blocks", kNumber, "live blocks of its memory partition"},
    FieldType{"memory_failures", kNumber, "allocations that were refused"},
    FieldType{"descriptors", kNumber, "open descriptors of the process"},
};
constexpr std::array kTrace = {
    FieldType{"stage", kText, "stage of the request path in the board's process"},
    FieldType{"count", kNumber, "how often it was measured"},
    FieldType{"min", kNumber, "nanoseconds of processor time"},
    FieldType{"avg", kNumber, "nanoseconds of processor time"},
    FieldType{"max", kNumber, "nanoseconds of processor time"},
};
constexpr std::array kSync = {
    FieldType{"record", kText, "name of the record"},
    FieldType{"bytes", kNumber, "length of its block"},
    FieldType{"stored", kNumber, "members that the backup compared"},
    FieldType{"differing", kNumber, "of these, different"},
    FieldType{"in_step", kBool, "every stored member was equal"},
    FieldType{"code", kNumber, "code of a refusal, 0 when there was none"},
    FieldType{"text", kText, "the backup's report"},
};
constexpr std::array kLog = {
    FieldType{"log", kText, "diagnostic, process, system, interface_manager, dead_loop or fan"},
    FieldType{"text", kText, "the record without its stamp"},
};
constexpr std::array kPacket = {
    FieldType{"direction", kText, "to or from the board"},
    FieldType{"message", kText, "name of the message, empty when it is unknown"},
    FieldType{"port", kNumber, "UDP port of the board's end"},
};

constexpr std::array kTypes = {
    EventType{EventKind::kRun, "run", "the run has begun", kRun},
    EventType{EventKind::kEnd, "end", "the run is over; nothing follows", kEnd},
    EventType{EventKind::kStep, "step", "a step of the scenario begins", kTextOnly},
    EventType{EventKind::kNote, "note", "a line for the reader", kTextOnly},
    EventType{EventKind::kCheck, "check", "an expectation was met or failed", kCheck},
    EventType{EventKind::kSkipped, "skipped", "this machine does not allow something", kSkipped},
    EventType{EventKind::kAction, "action", "a command was carried out", kAction},
    EventType{EventKind::kFault, "fault", "a fault begins or ends", kFault},
    EventType{EventKind::kBoard, "board", "a board changes its state", kBoard},
    EventType{EventKind::kProcess, "process", "a board's process was started or has ended", kProcess},
    EventType{EventKind::kRequest, "request", "a request was answered, refused or is given up", kRequest},
    EventType{EventKind::kReading, "reading", "a sensor's reading has changed", kReading},
    EventType{EventKind::kHeartBeat, "heartbeat", "a board answered a heartbeat request", kHeartBeat},
    EventType{EventKind::kFigures, "figures", "a process has told its figures", kFigures},
    EventType{EventKind::kTrace, "trace", "a board has told how long a stage takes", kTrace},
    EventType{EventKind::kSync, "sync", "the backup has answered a sync block", kSync},
    EventType{EventKind::kLog, "log", "a process wrote a log record", kLog},
    EventType{EventKind::kPacket, "packet", "a datagram was sent or received; not in event files", kPacket},
};
static_assert([] {
    for (std::size_t i = 0; i < kTypes.size(); ++i) {
        if (static_cast<std::size_t>(kTypes[i].kind) != i) {
            return false;
        }
    }
    return true;
}());

constexpr std::array kNames = [] {
    std::array<const char *, kTypes.size()> names{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i] = kTypes[i].name;
    }
    return names;
}();

} // namespace

std::span<const char *const> event_names() {
    return kNames;
}

std::span<const EventType> event_types() {
    return kTypes;
}

const EventType &event_type(EventKind kind) {
    return kTypes[static_cast<std::size_t>(kind)];
}

const EventType *find_event_type(std::string_view name) {
    const auto found = std::ranges::find_if(kTypes, [&](const EventType &type) { return name == type.name; });
    return found != kTypes.end() ? &*found : nullptr;
}

const FieldType *find_field(const EventType &type, std::string_view name) {
    const auto found = std::ranges::find_if(type.fields, [&](const FieldType &field) { return name == field.name; });
    return found != type.fields.end() ? &*found : nullptr;
}

} // namespace chassis
