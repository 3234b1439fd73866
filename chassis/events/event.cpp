#include "events/event.h"

#include <algorithm>
#include <cstdio>

namespace chassis {

const Value *Event::find(std::string_view name) const {
    const auto found = std::ranges::find_if(fields, [&](const Field &field) { return name == field.name; });
    return found != fields.end() ? &found->value : nullptr;
}

bool Event::flag(std::string_view name) const {
    const Value *value = find(name);
    return value != nullptr && std::holds_alternative<bool>(*value) && std::get<bool>(*value);
}

std::int64_t Event::number_of(std::string_view name) const {
    const Value *value = find(name);
    return value != nullptr && std::holds_alternative<std::int64_t>(*value) ? std::get<std::int64_t>(*value) : 0;
}

std::string Event::text(std::string_view name) const {
    const Value *value = find(name);
    return value != nullptr && std::holds_alternative<std::string>(*value) ? std::get<std::string>(*value)
                                                                           : std::string();
}

Field number_field(const char *name, std::uint64_t value) {
    return {name, static_cast<std::int64_t>(value)};
}

Field text_field(const char *name, std::string value) {
    return {name, std::move(value)};
}

Field flag_field(const char *name, bool value) {
    return {name, value};
}

std::string value_text(const Value &value) {
    if (const auto *flag = std::get_if<bool>(&value)) {
        return *flag ? "true" : "false";
    }
    if (const auto *number = std::get_if<std::int64_t>(&value)) {
        return std::to_string(*number);
    }
    return std::get<std::string>(value);
}

std::string event_text(const Event &event) {
    char time[32];
    std::snprintf(time, sizeof time, "%.3f s ", static_cast<double>(whole_milliseconds(event.time)) / 1000);
    std::string text = std::string(time) + event_type(event.kind).name;
    if (event.slot != kNoBoard) {
        text += " slot=" + std::to_string(event.slot);
    }
    for (const Field &field : event.fields) {
        text += std::string(" ") + field.name + "=" + value_text(field.value);
    }
    return text;
}

} // namespace chassis
