#include "scenario/watch.h"

#include <algorithm>

namespace chassis {

namespace {

constexpr std::uint64_t kEventsAround = 3;

const char *comparison_text(Comparison comparison) {
    switch (comparison) {
    case Comparison::kEqual:
        return " = ";
    case Comparison::kNot:
        return " != ";
    case Comparison::kMin:
        return " >= ";
    case Comparison::kMax:
        return " <= ";
    case Comparison::kContains:
        return " contains ";
    }
    return " ? ";
}

bool holds(const Value &value, const Condition &condition) {
    const auto *number = std::get_if<std::int64_t>(&value);
    const auto *bound = std::get_if<std::int64_t>(&condition.value);
    switch (condition.comparison) {
    case Comparison::kEqual:
        return value == condition.value;
    case Comparison::kNot:
        return value != condition.value;
    case Comparison::kMin:
        return number != nullptr && bound != nullptr && *number >= *bound;
    case Comparison::kMax:
        return number != nullptr && bound != nullptr && *number <= *bound;
    case Comparison::kContains:
        return value_text(value).find(value_text(condition.value)) != std::string::npos;
    }
    return false;
}

std::string condition_text(const Condition &condition) {
    return condition.field + comparison_text(condition.comparison) + value_text(condition.value);
}

void replace_all(std::string &text, const std::string &from, const std::string &to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

std::string seconds_text(Time time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g s", static_cast<double>(whole_milliseconds(time)) / 1000);
    return text;
}

} // namespace

Watch::Watch(const Expectation &expectation, std::int32_t slot, std::set<std::int32_t> slots)
    : expectation_(expectation), slot_(slot), slots_(std::move(slots)), all_slots_(slots_.size()) {}

std::size_t Watch::conditions_met(const Event &event, std::string &first_failed) const {
    std::size_t met = 0;
    for (const Condition &condition : expectation_.where) {
        const Value *value = event.find(condition.field);
        if (value != nullptr && holds(*value, condition)) {
            ++met;
        } else if (first_failed.empty()) {
            first_failed = condition_text(condition);
        }
    }
    return met;
}

void Watch::see(const Event &event) {
    if (event.kind != expectation_.kind || event.time > end_) {
        return;
    }
    std::string failed;
    std::size_t score = 1 + conditions_met(event, failed);
    const bool right_slot = slot_ == kNoBoard || event.slot == slot_;
    score += right_slot ? 1U : 0U;
    if (right_slot && failed.empty()) {
        ++count_;
        slots_.erase(event.slot);
        last_ = event;
    } else if (score >= nearest_score_) {
        nearest_score_ = score;
        nearest_ = event;
        nearest_failed_ = right_slot ? failed : "slot = " + std::to_string(slot_);
    }
}

// What is enough stays enough; what is too often stays too often.
bool Watch::can_end_early() const {
    if (expectation_.at_most) {
        return count_ > *expectation_.at_most;
    }
    if (expectation_.every_board) {
        return slots_.empty();
    }
    return count_ >= expectation_.count.value_or(expectation_.at_least.value_or(1));
}

bool Watch::decided(Time now) const {
    return now >= end_ || can_end_early();
}

bool Watch::met() const {
    if (expectation_.at_most && count_ > *expectation_.at_most) {
        return false;
    }
    if (expectation_.count && count_ != *expectation_.count) {
        return false;
    }
    if (expectation_.every_board) {
        return slots_.empty();
    }
    const std::uint32_t least = expectation_.at_most || expectation_.count ? 0 : 1;
    return count_ >= expectation_.at_least.value_or(least);
}

std::string Watch::how_often() const {
    std::string text;
    if (expectation_.every_board) {
        text = "once for each board";
    } else if (expectation_.count) {
        text = "exactly " + std::to_string(*expectation_.count) + " times";
    } else if (expectation_.at_most) {
        text = *expectation_.at_most == 0 ? "never" : "at most " + std::to_string(*expectation_.at_most) + " times";
    } else {
        text = "at least " + std::to_string(expectation_.at_least.value_or(1)) + " times";
    }
    return text + " within " + seconds_text(expectation_.by);
}

std::string Watch::expected() const {
    std::string text = event_type(expectation_.kind).name;
    if (slot_ != kNoBoard) {
        text += " slot=" + std::to_string(slot_);
    }
    for (const Condition &condition : expectation_.where) {
        text += ", " + condition_text(condition);
    }
    return text + ", " + how_often();
}

std::string Watch::text() const {
    if (expectation_.text.empty()) {
        return expected();
    }
    std::string text = expectation_.text;
    const std::size_t seen = expectation_.every_board ? all_slots_ - slots_.size() : count_;
    replace_all(text, "{count}", std::to_string(seen));
    if (slot_ != kNoBoard) {
        replace_all(text, "{slot}", std::to_string(slot_));
    }
    if (last_) {
        replace_all(text, "{slot}", std::to_string(last_->slot));
        for (const Field &field : last_->fields) {
            replace_all(text, std::string("{") + field.name + "}", value_text(field.value));
        }
    }
    return text;
}

std::string Watch::failure(const EventLog &log) const {
    std::string text = "expected: " + expected() + "\ncame: " + std::to_string(count_) + " times";
    const std::optional<Event> &shown = count_ != 0 ? last_ : nearest_;
    if (count_ == 0 && nearest_) {
        text += "\nnearest: " + event_text(*nearest_) + " (not " + nearest_failed_ + ")";
    } else if (last_) {
        text += "\nthe last: " + event_text(*last_);
    }
    const std::uint64_t middle = shown ? shown->number : log.count();
    for (const Event &event : log.recent()) {
        const bool near = event.number + kEventsAround >= middle && event.number <= middle + kEventsAround;
        text += near ? "\n" + std::string(event.number == middle ? "> " : "  ") + event_text(event) : "";
    }
    return text;
}

} // namespace chassis
