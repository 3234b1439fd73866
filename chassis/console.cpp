#include "console.h"

#include "text.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <utility>

namespace chassis {

namespace {

void line(const std::string &text) {
    std::cout << "   " << text << std::endl;
}

void lines(const std::string &text, const char *indent) {
    for (const std::string &each : lines_of(text)) {
        std::cout << indent << each << std::endl;
    }
}

} // namespace

Console::Console(EventLog &log, std::function<void()> on_lost)
    : log_(log), on_lost_(std::move(on_lost)),
      subscription_(log.subscribe([this](const Event &event) { take(event); })) {}

Console::~Console() {
    log_.unsubscribe(subscription_);
}

void Console::check(const std::string &text, bool ok) {
    ++checks_;
    failed_ += ok ? 0U : 1U;
    line((ok ? "[ok]     " : "[FAILED] ") + text);
}

void Console::take(const Event &event) {
    show(event);
    if (!std::cout && on_lost_) {
        std::exchange(on_lost_, nullptr)();
    }
}

void Console::show(const Event &event) {
    switch (event.kind) {
    case EventKind::kStep:
        std::cout << "== " << event.text("text") << std::endl;
        return;
    case EventKind::kNote:
        return line(event.text("text"));
    case EventKind::kCheck:
        check(event.text("text"), event.flag("ok"));
        return lines(event.text("detail"), "            ");
    case EventKind::kSkipped:
        skipped_.push_back(event.text("text"));
        return line("[SKIPPED] " + event.text("reason"));
    case EventKind::kAction:
        return show_action(event);
    case EventKind::kBoard:
        return show_board(event);
    case EventKind::kTrace:
        return show_stage(event);
    case EventKind::kFault:
        return line("slot " + std::to_string(event.slot) + ": " + event.text("text") +
                    (event.flag("on") ? " begins" : " ends"));
    default:
        return;
    }
}

void Console::show_action(const Event &event) {
    const bool ok = event.number_of("status") == 0;
    std::cout << event.text("text") << std::flush;
    const std::string command = event.text("command");
    if (!ok && command.starts_with("wait ") && std::ranges::count(command, ' ') == 3) {
        return; // with AFTER it comes from a program that asks again: an answer, not a failure
    }
    check("orva-chassis " + command, ok);
}

void Console::show_board(const Event &event) {
    const std::string slot = "slot " + std::to_string(event.slot);
    if (event.text("state") == "online" && event.slot != 0) {
        line(slot + (event.text("reason") == "it has registered"
                         ? " has registered with address " + event.text("address")
                         : " is online: " + event.text("reason")));
    } else if (event.slot != 0 && event.text("state") != "starting") {
        line(slot + " is " + event.text("state") + ": " + event.text("reason"));
    }
}

void Console::show_stage(const Event &event) {
    char text[120];
    if (event.text("stage") == "queue read") {
        std::snprintf(text, sizeof text, "stage in slot %-8d       count       min       avg       max", event.slot);
        line(text);
    }
    std::snprintf(text, sizeof text, "%-22s  %8lld  %8lld  %8lld  %8lld", event.text("stage").c_str(),
                  static_cast<long long>(event.number_of("count")), static_cast<long long>(event.number_of("min")),
                  static_cast<long long>(event.number_of("avg")), static_cast<long long>(event.number_of("max")));
    line(text);
}

} // namespace chassis
