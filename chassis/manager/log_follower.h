// Follows what the boards' processes write to their logs, so that each record becomes an event.
#ifndef CHASSIS_MANAGER_LOG_FOLLOWER_H
#define CHASSIS_MANAGER_LOG_FOLLOWER_H

#include "manager/boards.h"
#include "manager/loop.h"

#include <filesystem>
#include <list>
#include <string>

namespace chassis {

class LogFollower {
public:
    LogFollower(Loop &loop, EventLog &log, Boards &boards);
    ~LogFollower();
    LogFollower(const LogFollower &) = delete;
    LogFollower &operator=(const LogFollower &) = delete;

    // From now on the logs are read now and then.
    void start();
    // Reads what has been written since.
    void read_all();

private:
    struct Followed {
        const char *name;
        std::filesystem::path path;
        std::int32_t slot;
        std::uint64_t offset = 0;
        ino_t inode = 0;
    };
    void follow(const Board &board);
    void read(Followed &followed);
    void take(Followed &followed, std::string &text);
    void tick();

    Loop &loop_;
    EventLog &log_;
    Boards &boards_;
    std::list<Followed> followed_;
    Loop::TimerId timer_ = 0;
};

// A log line without its stamp, which ends with the number of the process in brackets.
std::string without_stamp(const std::string &line);

} // namespace chassis

#endif
