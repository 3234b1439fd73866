#include "scenario/invariants.h"

#include "manager/processes.h"
#include "wire/message_bodies.h"

#include "orva_diag.h"

#include <algorithm>
#include <csignal>
#include <sstream>
#include <utility>

namespace chassis {

namespace {

constexpr std::array<const char *, kInvariants> kTexts = {
    "every request is answered, refused with its code, or accounted for by a fault",
    "no process ends by itself",
    "every board is online again in time after its last fault",
    "at most 48 records an hour of a key pass, and every dropped one is in a summary",
    "the backup stays in step",
    "no process gathers memory, descriptors or messages",
};

// These leave every packet of the board as it is, or let it arrive.
constexpr std::array kHarmless = {"stuck", "noise", "drift", "doubled"};

// What a process may have more of than at its start: an item for each key, a descriptor for each log, the requests of
// a round.
constexpr std::int64_t kMoreBlocks = 64;
constexpr std::int64_t kMoreDescriptors = 16;
constexpr std::int64_t kMostMessages = 8;

// A record is seen when the logs are read next.
constexpr std::chrono::milliseconds kReadAfter{1200};
// The manager forgets an hour by its twelfths.
constexpr std::chrono::seconds kShortestHour{ORVA_DIAG_HOUR_SECONDS - ORVA_DIAG_ZONE_SECONDS - 2};
constexpr const char *kSummary = "[OrvaDiagMgr] DiagID:";
constexpr const char *kDropped = " drop: ";

constexpr int kKilled = kSignalStatus + SIGKILL;

bool accounts(const std::string &fault) {
    return std::ranges::none_of(kHarmless, [&](const char *name) { return fault == name; });
}

// The text of a record's first line; empty for any other line.
std::string record_of(const std::string &line) {
    const std::size_t position = line.find("[Position: 1/");
    const std::size_t end = position == std::string::npos ? position : line.find(']', position);
    return end == std::string::npos ? std::string() : line.substr(end + 1);
}

// What records of one key have in common: the text before its first value.
std::string key_of(const std::string &record) {
    return record.substr(0, record.find_first_of(",:[=0123456789"));
}

std::int64_t drops_in(const std::string &summary) {
    const std::size_t at = summary.find(kDropped);
    return at == std::string::npos ? 0
                                   : std::strtoll(summary.c_str() + at + std::string(kDropped).size(), nullptr, 10);
}

} // namespace

const char *invariant_text(Invariant invariant) {
    return kTexts.at(static_cast<std::size_t>(invariant));
}

Invariants::Invariants(EventLog &log)
    : log_(log), subscription_(log.subscribe([this](const Event &event) { see(event); })) {}

Invariants::~Invariants() {
    log_.unsubscribe(subscription_);
}

void Invariants::broken(Invariant invariant, std::int32_t slot, const std::string &detail) {
    if (std::exchange(broken_[static_cast<std::size_t>(invariant)], true)) {
        return;
    }
    log_.add(EventKind::kCheck, slot,
             {text_field("text", invariant_text(invariant)), flag_field("ok", false), text_field("detail", detail)});
}

void Invariants::finish() {
    log_.add(EventKind::kStep, kNoBoard, {text_field("text", "what holds in every chassis")});
    for (const auto &[number, slot] : slots_) {
        if (slot.drops.summarized < slot.drops.expected) {
            broken(Invariant::kRecords, number,
                   "slot " + std::to_string(number) + ": of " + std::to_string(slot.drops.expected) +
                       " dropped records that are counted no more, " + std::to_string(slot.drops.summarized) +
                       " are in summaries");
        }
    }
    for (std::size_t i = 0; i < kInvariants; ++i) {
        if (!broken_[i]) {
            log_.add(EventKind::kCheck, kNoBoard,
                     {text_field("text", kTexts[i]), flag_field("ok", true), text_field("detail", "")});
        }
    }
}

void Invariants::see(const Event &event) {
    see_awaited(event.time);
    if (event.kind == EventKind::kAction) {
        return see_action(event);
    }
    if (event.slot == kNoBoard) {
        return;
    }
    Slot &slot = slots_[event.slot];
    switch (event.kind) {
    case EventKind::kFault:
        return see_fault(slot, event);
    case EventKind::kBoard:
        return see_board(slot, event);
    case EventKind::kProcess:
        return see_process(slot, event);
    case EventKind::kRequest:
        return see_request(slot, event);
    case EventKind::kFigures:
        return see_figures(slot, event);
    case EventKind::kLog:
        return see_log(slot, event);
    case EventKind::kSync:
        return see_sync(event);
    default:
        return;
    }
}

// ---- Faults and what they account for

void Invariants::see_fault(Slot &slot, const Event &event) {
    const std::string fault = event.text("fault");
    if (event.time > slot.calm) {
        slot.ended.clear();
    }
    if (event.flag("on")) {
        slot.faults.insert(fault);
    } else {
        slot.faults.erase(fault);
        slot.ended[fault] = event.time;
    }
    slot.calm = slot.faults.empty() ? event.time + kCalmAfter : Time::max();
    slot.awaited = slot.faults.empty();
}

// A process that another fault holds up may feel it later.
bool Invariants::may_end_by(const Slot &slot, const std::string &fault, Time now) const {
    return slot.faults.contains(fault) || (slot.ended.contains(fault) && now <= slot.calm);
}

void Invariants::see_awaited(Time now) {
    for (auto &[number, slot] : slots_) {
        if (slot.awaited && now >= slot.calm) {
            slot.awaited = false;
            if (slot.state != "online") {
                broken(Invariant::kOnline, number,
                       "slot " + std::to_string(number) + " is " + slot.state + " " +
                           std::to_string(kCalmAfter.count()) + " s after its last fault");
            }
        }
    }
}

void Invariants::see_board(Slot &slot, const Event &event) {
    slot.state = event.text("state");
    if (slot.state == "lost" && event.time > slot.calm) {
        broken(Invariant::kOnline, event.slot, "without a fault: " + event_text(event));
    }
}

void Invariants::see_process(Slot &slot, const Event &event) {
    const std::string state = event.text("state");
    const auto status = static_cast<int>(event.number_of("status"));
    if (state == "started") {
        slot.figures.reset();
        slot.records.clear();
        slot.records_from = event.time + kReadAfter;
        slot.drops.seen = 0;
        return;
    }
    if (state == "killed") {
        return; // how it ends follows
    }
    const bool told = state == "stopped" && stopped_as_told(status);
    const bool killed = status == kKilled && may_end_by(slot, "killed", event.time);
    if (!told && !killed && !may_end_by(slot, "queue-deleted", event.time)) {
        broken(Invariant::kProcesses, event.slot, event_text(event));
    }
}

void Invariants::see_request(const Slot &slot, const Event &event) {
    const std::string result = event.text("result");
    if (result == "answered" || result == "refused") {
        return;
    }
    const Time sent = event.time - std::chrono::milliseconds(event.number_of("ms"));
    const bool on = std::ranges::any_of(slot.faults, accounts);
    const bool was = std::ranges::any_of(
        slot.ended, [&](const auto &ended) { return accounts(ended.first) && sent <= ended.second + kCalmAfter; });
    if (!on && !was) {
        broken(Invariant::kRequests, event.slot, event_text(event));
    }
}

// ---- Figures, records and the backup

void Invariants::see_figures(Slot &slot, const Event &event) {
    const std::int64_t dropped = event.number_of("dropped");
    slot.drops.expected += dropped < slot.drops.seen ? slot.drops.seen : 0;
    slot.drops.seen = dropped;
    if (event.time <= slot.calm && slot.calm != Time(0)) {
        return;
    }
    if (!slot.figures) {
        slot.figures = event;
    }
    const auto grown = [&](const char *name, std::int64_t most) {
        return event.number_of(name) > slot.figures->number_of(name) + most;
    };
    if (grown("memory_blocks", kMoreBlocks) || grown("descriptors", kMoreDescriptors) ||
        event.number_of("queue_messages") > kMostMessages) {
        broken(Invariant::kLeaks, event.slot,
               "first: " + event_text(*slot.figures) + "\nnow:   " + event_text(event));
    }
}

void Invariants::see_log(Slot &slot, const Event &event) {
    const std::string record = event.text("log") == "diagnostic" ? record_of(event.text("text")) : "";
    if (record.rfind(kSummary, 0) == 0) {
        slot.drops.summarized += drops_in(record);
        return;
    }
    if (record.empty() || event.time <= slot.records_from) {
        return;
    }
    std::deque<Time> &times = slot.records[key_of(record)];
    times.push_back(event.time);
    while (times.front() + kShortestHour < event.time) {
        times.pop_front();
    }
    if (times.size() > ORVA_DIAG_MAX_RECORDS) {
        broken(Invariant::kRecords, event.slot,
               std::to_string(times.size()) + " records in an hour: " + event_text(event));
    }
}

// An hour of a board's diagnostic clock passes by a command. A block that was sent without its last byte is refused.
void Invariants::see_action(const Event &event) {
    std::istringstream words(event.text("command"));
    std::string command;
    std::int32_t slot = 0;
    std::int64_t seconds = 0;
    words >> command;
    if (command == "advance" && words >> slot >> seconds && seconds >= ORVA_DIAG_HOUR_SECONDS) {
        slots_[slot].records.clear();
        slots_[slot].records_from = event.time + kReadAfter;
    }
    if (refused_sync_ && command != "sync-truncated") {
        broken(Invariant::kBackup, refused_sync_->slot, event_text(*refused_sync_));
    }
    refused_sync_.reset();
}

void Invariants::see_sync(const Event &event) {
    if (event.number_of("code") == kRefusedBlock) {
        refused_sync_ = event;
    } else if (!event.flag("in_step")) {
        broken(Invariant::kBackup, event.slot, event_text(event));
    }
}

} // namespace chassis
