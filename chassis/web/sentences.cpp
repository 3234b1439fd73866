#include "web/sentences.h"

#include "text.h"

#include <cstdint>

namespace chassis {

namespace {

std::string process_sentence(const Event &event) {
    const std::string state = event.text("state");
    if (state == "started") {
        return "process started, start " + std::to_string(event.number_of("starts"));
    }
    return "process " + state + ", status " + std::to_string(event.number_of("status"));
}

std::string request_sentence(const Event &event) {
    std::string text = event.text("message") + " " + event.text("result");
    if (event.number_of("code") != 0) {
        text += " with " + hex_text(static_cast<std::uint32_t>(event.number_of("code")));
    }
    if (event.number_of("attempts") > 1) {
        text += ", sent " + std::to_string(event.number_of("attempts")) + " times";
    }
    return text;
}

// The hardware's value is the only one that comes with its unit; the reading itself is in tenths or millivolts.
std::string reading_sentence(const Event &event) {
    const std::string source = event.text("source");
    const std::string state = event.text("state");
    if (source == "hardware") {
        return event.text("sensor") + " " + event.text("shown") + ", " + state;
    }
    return event.text("sensor") + " is overridden (" + source + "), " + state + "; the hardware says " +
           event.text("shown");
}

std::string sync_sentence(const Event &event) {
    if (event.number_of("code") != 0) {
        return event.text("record") + " record refused with " +
               hex_text(static_cast<std::uint32_t>(event.number_of("code")));
    }
    return event.text("record") + " record, " + (event.flag("in_step") ? "in step" : "not in step");
}

std::string with_detail(std::string text, const std::string &detail) {
    return detail.empty() ? text : text += "\n" + detail;
}

} // namespace

std::string sentence_of(const Event &event) {
    switch (event.kind) {
    case EventKind::kRun:
        return "scenario " + event.text("scenario") + ", seed " + std::to_string(event.number_of("seed")) + ", " +
               event.text("time") + " time";
    case EventKind::kEnd:
        return std::to_string(event.number_of("checks")) + " checks, " + std::to_string(event.number_of("failed")) +
               " failed";
    case EventKind::kCheck:
        return with_detail(event.text("text"), event.text("detail"));
    case EventKind::kSkipped:
        return event.text("text") + ": " + event.text("reason");
    case EventKind::kAction:
        return with_detail(event.text("command"), event.text("text"));
    case EventKind::kFault:
        return event.text("text") + (event.flag("on") ? " begins" : " ends");
    case EventKind::kBoard:
        return event.text("state") + ": " + event.text("reason");
    case EventKind::kProcess:
        return process_sentence(event);
    case EventKind::kRequest:
        return request_sentence(event);
    case EventKind::kReading:
        return reading_sentence(event);
    case EventKind::kSync:
        return sync_sentence(event);
    case EventKind::kLog:
        return event.text("log") + ": " + event.text("text");
    default:
        return event.text("text");
    }
}

const char *mark_of(const Event &event) {
    switch (event.kind) {
    case EventKind::kCheck:
        return event.flag("ok") ? "good" : "bad";
    case EventKind::kAction:
        return event.number_of("status") == 0 ? "plain" : "bad";
    case EventKind::kEnd:
        return event.number_of("failed") == 0 ? "good" : "bad";
    case EventKind::kBoard:
        return event.text("state") == "lost" ? "bad" : event.text("state") == "online" ? "good" : "plain";
    case EventKind::kProcess:
        return event.text("state") == "started" ? "plain" : "warn";
    case EventKind::kReading:
        return event.text("state") == "normal" ? "plain" : "warn";
    case EventKind::kFault:
        return event.flag("on") ? "warn" : "plain";
    case EventKind::kRequest:
    case EventKind::kSkipped:
        return "warn";
    default:
        return "plain";
    }
}

} // namespace chassis
