// Asks every board for everything, again and again. A board that answers nothing is lost; one that answers again is
// online again.
#ifndef CHASSIS_MANAGER_POLLER_H
#define CHASSIS_MANAGER_POLLER_H

#include "manager/boards.h"
#include "manager/links.h"
#include "manager/loop.h"

#include <array>
#include <map>
#include <optional>

namespace chassis {

class Poller {
public:
    Poller(Loop &loop, EventLog &log, Boards &boards, Links &links);
    Poller(const Poller &) = delete;
    Poller &operator=(const Poller &) = delete;

    // A round now and then each `period`, from now on.
    void start(Duration period);
    void stop();

    // One round, to its end.
    void round();
    // Asks for the process's figures; a `figures` event tells them.
    void ask_figures(Board &board);
    std::uint64_t rounds() const {
        return rounds_;
    }

private:
    static constexpr std::array kCommands = {kCmdTemperature, kCmdVoltage, kCmdHeartBeat};
    struct Round {
        std::array<std::optional<Frame>, kCommands.size()> replies;
        std::size_t open = 0;
        bool heard = false; // any answer, a refusal too
    };

    void begin_all();
    void begin(Board &board);
    void ask(Board &board, std::size_t index);
    void finish(Board &board);
    void take(Board &board, const Round &round);
    void note_readings(const Board &board, const std::vector<Measured> &before);
    void note_heart_beat(const Board &board, const HeartBeat &beat);
    void tick();

    Loop &loop_;
    EventLog &log_;
    Boards &boards_;
    Links &links_;
    Duration period_{0};
    Loop::TimerId timer_ = 0;
    std::uint64_t rounds_ = 0;
    std::map<std::uint32_t, Round> open_; // by slot
};

} // namespace chassis

#endif
