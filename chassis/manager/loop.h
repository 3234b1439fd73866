// The management process's loop: descriptors, timers, work from other threads, signals.
#ifndef CHASSIS_MANAGER_LOOP_H
#define CHASSIS_MANAGER_LOOP_H

#include "clock.h"
#include "descriptor.h"

#include <functional>
#include <map>
#include <mutex>
#include <vector>

namespace chassis {

// Thrown from `wait` when the process is told to stop.
struct Interrupted {
    int signal = 0;
};

class Loop {
public:
    using Work = std::function<void()>;
    using TimerId = std::uint64_t;

    // `signals`: a descriptor that reads the process's signals; SIGCHLD is served, every other one interrupts.
    Loop(const Clock &clock, const Descriptor &signals);
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;

    const Clock &clock() const {
        return clock_;
    }
    Time now() const {
        return clock_.now();
    }

    // Calls `serve` whenever the descriptor is readable, except while that call is under way.
    void watch(int descriptor, Work serve);
    void unwatch(int descriptor);
    void watch_children(Work serve) {
        serve_children_ = std::move(serve);
    }

    // Calls `work` once. Timers of one time run in the order in which they were set.
    TimerId at(Time time, Work work);
    TimerId after(Duration duration, Work work) {
        return at(now() + duration, std::move(work));
    }
    void cancel(TimerId timer);

    // Any thread: the loop calls `work` soon.
    void post(Work work);

    // Serves whatever comes until `done` or the deadline. May be called from whatever it serves.
    void wait(Time deadline, const std::function<bool()> &done);
    void wait_for(Duration duration);
    // Serves whatever comes from outside until `done`. Virtual time stands still, except while something is served.
    void hold(const std::function<bool()> &done);
    // Serves what everyone does at this instant; in real time what has come.
    void serve_instant();

private:
    struct Watched {
        int descriptor;
        bool busy;
        Work serve;
    };
    using TimerKey = std::pair<Time, TimerId>;

    std::vector<pollfd> sources() const;
    void serve_descriptors(Duration patience);
    void serve_signals();
    void serve_posted();
    bool serve_timer();
    void serve(int descriptor);

    const Clock &clock_;
    const Descriptor &signals_;
    Descriptor posted_event_;
    std::vector<Watched> watched_;
    Work serve_children_;
    std::map<TimerKey, Work> timers_;
    TimerId next_timer_ = 1;
    std::mutex posted_mutex_;
    std::vector<Work> posted_;
};

} // namespace chassis

#endif
