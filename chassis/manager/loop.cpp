#include "manager/loop.h"

#include "runtime.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace chassis {

namespace {

constexpr Duration kLongestPoll = std::chrono::seconds(60);
// Others are let look whether something came from outside, and see that the clock is not stuck.
constexpr std::chrono::seconds kLongestHold{1};

} // namespace

Loop::Loop(const Clock &clock, const Descriptor &signals)
    : clock_(clock), signals_(signals), posted_event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (posted_event_.get() < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void Loop::watch(int descriptor, Work serve) {
    watched_.push_back({descriptor, false, std::move(serve)});
}

void Loop::unwatch(int descriptor) {
    std::erase_if(watched_, [=](const Watched &watched) { return watched.descriptor == descriptor; });
}

Loop::TimerId Loop::at(Time time, Work work) {
    timers_.emplace(TimerKey{time, next_timer_}, std::move(work));
    return next_timer_++;
}

void Loop::cancel(TimerId timer) {
    std::erase_if(timers_, [=](const auto &entry) { return entry.first.second == timer; });
}

void Loop::post(Work work) {
    {
        const std::scoped_lock lock(posted_mutex_);
        posted_.push_back(std::move(work));
    }
    eventfd_write(posted_event_.get(), 1);
}

void Loop::wait(Time deadline, const std::function<bool()> &done) {
    while (!done()) {
        if (serve_timer()) {
            continue;
        }
        const Time now = clock_.now();
        if (now >= deadline) {
            return;
        }
        const Time next = timers_.empty() ? deadline : std::min(deadline, timers_.begin()->first.first);
        serve_descriptors(std::clamp<Duration>(next - now, Duration(0), kLongestPoll));
    }
}

void Loop::wait_for(Duration duration) {
    wait(now() + duration, [] { return false; });
}

void Loop::serve_instant() {
    clock_.settle();
    serve_descriptors(Duration(0));
}

void Loop::hold(const std::function<bool()> &done) {
    if (!clock_.is_virtual()) {
        return wait(Time::max(), done);
    }
    while (!done()) {
        auto from_outside = sources();
        if (poll_outside(from_outside, kLongestHold) > 0) {
            serve_descriptors(Duration(0));
        } else {
            clock_.settle();
        }
    }
}

std::vector<pollfd> Loop::sources() const {
    std::vector<pollfd> all = {{signals_.get(), POLLIN, 0}, {posted_event_.get(), POLLIN, 0}};
    for (const Watched &watched : watched_) {
        all.push_back({watched.busy ? -1 : watched.descriptor, POLLIN, 0});
    }
    return all;
}

void Loop::serve_descriptors(Duration patience) {
    auto sources = this->sources();
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(patience).count();
    if (poll(sources.data(), sources.size(), static_cast<int>(ms)) <= 0) {
        return;
    }
    if (clock_.is_virtual()) {
        // What else comes at this instant is served together, so that who came first decides nothing.
        clock_.settle();
        poll(sources.data(), sources.size(), 0);
    }
    serve_signals();
    serve_posted();
    for (std::size_t i = 2; i < sources.size(); ++i) {
        if (sources[i].revents != 0) {
            serve(sources[i].fd);
        }
    }
}

// What is served may watch and unwatch descriptors, so it is found again each time.
void Loop::serve(int descriptor) {
    const auto find = [&] { return std::ranges::find(watched_, descriptor, &Watched::descriptor); };
    auto found = find();
    if (found == watched_.end() || found->busy) {
        return;
    }
    found->busy = true;
    const Work work = found->serve;
    work();
    found = find();
    if (found != watched_.end()) {
        found->busy = false;
    }
}

void Loop::serve_signals() {
    while (const int number = next_signal(signals_)) {
        if (number != SIGCHLD) {
            throw Interrupted{number};
        }
        if (serve_children_) {
            serve_children_();
        }
    }
}

void Loop::serve_posted() {
    eventfd_t count = 0;
    eventfd_read(posted_event_.get(), &count);
    std::vector<Work> works;
    {
        const std::scoped_lock lock(posted_mutex_);
        works.swap(posted_);
    }
    for (const Work &work : works) {
        work();
    }
}

bool Loop::serve_timer() {
    if (timers_.empty() || timers_.begin()->first.first > clock_.now()) {
        return false;
    }
    const Work work = std::move(timers_.begin()->second);
    timers_.erase(timers_.begin());
    work();
    return true;
}

} // namespace chassis
