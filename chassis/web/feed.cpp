#include "web/feed.h"

#include <utility>

namespace chassis {

void Feed::publish(std::string text) {
    {
        const std::scoped_lock lock(mutex_);
        messages_.push_back(std::make_shared<const std::string>(std::move(text)));
        if (messages_.size() > limit_) {
            messages_.pop_front();
        }
        ++last_;
    }
    changed_.notify_all();
}

std::uint64_t Feed::last() const {
    const std::scoped_lock lock(mutex_);
    return last_;
}

Feed::Outcome Feed::next(std::uint64_t &seen, std::chrono::milliseconds patience, Text &text) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [&] { return closed_ || last_ > seen; });
    if (last_ <= seen) {
        return closed_ ? Outcome::kClosed : Outcome::kNothing;
    }
    if (last_ - seen > messages_.size()) {
        return Outcome::kTooSlow;
    }
    text = messages_[messages_.size() - (last_ - seen)];
    ++seen;
    return Outcome::kMessage;
}

void Feed::close() {
    {
        const std::scoped_lock lock(mutex_);
        closed_ = true;
    }
    changed_.notify_all();
}

} // namespace chassis
