#include "events/json_lines.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace chassis {

namespace {

// Bytes of a log that are not UTF-8 are replaced, so that every line can be read.
std::string quoted(const std::string &text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string json_value(const Value &value) {
    return std::holds_alternative<std::string>(value) ? quoted(std::get<std::string>(value)) : value_text(value);
}

std::runtime_error cannot_write(const std::string &path) {
    return std::runtime_error("--events: " + path + " cannot be written: " + std::strerror(errno));
}

} // namespace

std::string json_line(const Event &event) {
    char time[32];
    std::snprintf(time, sizeof time, "%.3f", static_cast<double>(whole_milliseconds(event.time)) / 1000);
    std::string line = "{\"n\":" + std::to_string(event.number) + ",\"t\":" + time + ",\"event\":\"" +
                       event_type(event.kind).name + "\"";
    if (event.slot != kNoBoard) {
        line += ",\"slot\":" + std::to_string(event.slot);
    }
    for (const Field &field : event.fields) {
        line += std::string(",\"") + field.name + "\":" + json_value(field.value);
    }
    return line + "}";
}

EventFile::EventFile(EventLog &log, const std::string &path) : log_(log), path_(path), stream_(path) {
    if (!stream_) {
        throw cannot_write(path);
    }
    subscription_ = log.subscribe([this](const Event &event) {
        // How long a stage took differs from run to run.
        if (event.kind != EventKind::kTrace) {
            stream_ << json_line(event) << '\n';
        }
        // Whoever gave a command finds what came of it.
        if (event.kind == EventKind::kAction) {
            stream_.flush();
        }
    });
}

EventFile::~EventFile() {
    log_.unsubscribe(subscription_);
}

void EventFile::close() {
    if (stream_.is_open()) {
        stream_.close();
        if (!stream_) {
            throw cannot_write(path_);
        }
    }
}

} // namespace chassis
