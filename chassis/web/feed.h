// What is sent to every open page: a short list of messages that readers follow at their own pace. A reader that
// falls behind the list is told so; nobody waits for it.
#ifndef CHASSIS_WEB_FEED_H
#define CHASSIS_WEB_FEED_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace chassis {

class Feed {
public:
    enum class Outcome { kMessage, kNothing, kTooSlow, kClosed };
    using Text = std::shared_ptr<const std::string>;

    explicit Feed(std::size_t limit) : limit_(limit) {}

    void publish(std::string text);
    // The number of the last message.
    std::uint64_t last() const;
    // Waits for the message after number `seen`; counts `seen` up when there is one.
    Outcome next(std::uint64_t &seen, std::chrono::milliseconds patience, Text &text);
    // Every reader, now and later, gets what is left and is then told that there is nothing more.
    void close();

private:
    std::size_t limit_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Text> messages_;
    std::uint64_t last_ = 0;
    bool closed_ = false;
};

} // namespace chassis

#endif
