// What a run shows on standard output: its steps, checks and commands, and the last line.
#ifndef CHASSIS_CONSOLE_H
#define CHASSIS_CONSOLE_H

#include "events/log.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace chassis {

// Subscribes to the log for as long as it lives.
class Console {
public:
    // `on_lost`: called once when standard output cannot be written any more.
    Console(EventLog &log, std::function<void()> on_lost);
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    std::uint32_t checks() const {
        return checks_;
    }
    std::uint32_t failed() const {
        return failed_;
    }
    // The titles of the steps that this machine does not allow.
    const std::vector<std::string> &skipped() const {
        return skipped_;
    }

private:
    void take(const Event &event);
    void show(const Event &event);
    void check(const std::string &text, bool ok);
    void show_action(const Event &event);
    void show_board(const Event &event);
    void show_stage(const Event &event);

    EventLog &log_;
    std::function<void()> on_lost_;
    int subscription_;
    std::uint32_t checks_ = 0;
    std::uint32_t failed_ = 0;
    std::vector<std::string> skipped_;
};

} // namespace chassis

#endif
