// Where a host library reports misuse: a hook that the process sets, or standard error. Shared by the host
// platform's libraries; each compiles it in.
#ifndef HOST_REPORTER_H
#define HOST_REPORTER_H

#include <mutex>

namespace host {

class Reporter {
public:
    using Hook = void (*)(const char *line, void *context);

    // `library` begins each line on standard error.
    explicit constexpr Reporter(const char *library) : library_(library) {}

    void set(Hook hook, void *context);

    // Makes one line of the text, control characters escaped. Call it with no lock held: the hook may come back.
    __attribute__((format(printf, 2, 3))) void line(const char *format, ...);

    // For the fork guard.
    std::mutex &lock() {
        return lock_;
    }

private:
    const char *library_;
    std::mutex lock_;
    Hook hook_ = nullptr;
    void *context_ = nullptr;
};

} // namespace host

#endif
