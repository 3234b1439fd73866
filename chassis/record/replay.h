// Sends a capture's requests to fresh boards, at the times of the capture, and compares each answer. The clock is a
// virtual one.
#ifndef CHASSIS_RECORD_REPLAY_H
#define CHASSIS_RECORD_REPLAY_H

#include "manager/chassis.h"
#include "record/compare.h"
#include "record/recording.h"

#include <cstdint>
#include <deque>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace chassis {

struct ReplayFigures {
    std::uint64_t requests = 0;
    std::uint64_t equal = 0;     // answers
    std::uint64_t differing = 0; // answers, missing and unexpected ones among them
    std::uint64_t excused = 0;   // answers that a fault of the link explains
    std::uint64_t nobody = 0;    // requests to boards that are not there
};

class Replay {
public:
    // `chassis` is of the recording's plan and not powered on. Differences are written to `output`, a line each.
    Replay(Chassis &chassis, const Recording &recording, std::ostream &output);
    ~Replay();
    Replay(const Replay &) = delete;
    Replay &operator=(const Replay &) = delete;

    // Plays the whole recording, then compares.
    ReplayFigures play();

private:
    struct Answer {
        std::span<const std::uint8_t> bytes; // of a recorded one
        std::uint64_t packet = 0;
        std::vector<std::uint8_t> own; // of one of now
        bool matched = false;
    };
    // A request, also one that was sent several times, and its answers.
    struct Exchange {
        const Recorded *request;
        std::vector<Answer> recorded;
        std::vector<Answer> now;
        bool may_miss = false;   // a fault of the link may have taken or doubled recorded answers
        bool may_differ = false; // or spoiled them
    };
    using Key = std::pair<std::uint32_t, std::uint16_t>; // slot, sequence number

    void power_on();
    void play(const Recorded &item);
    void send(const Recorded &item);
    void carry_out(const EventNote &event);
    void note_recorded(const Recorded &item);
    void note_now(const Event &packet);
    void note_faults(Exchange &exchange) const;
    Exchange *exchange_of(std::uint32_t slot, std::span<const std::uint8_t> datagram);
    Board *board_in(std::uint32_t slot);
    void wait_until(Time time);

    Answer *equal_of(Exchange &exchange, const Answer &recorded) const;
    void compare(Exchange &exchange);
    void compare_recorded(Exchange &exchange, Answer &recorded);
    void report(const Exchange &exchange, const FieldDifference &difference);

    Chassis &chassis_;
    const Recording &recording_;
    std::ostream &output_;
    int subscription_;
    std::deque<Exchange> exchanges_;
    std::map<Key, Exchange *> last_;
    std::set<std::pair<std::uint32_t, std::string>> faults_; // that are on, by slot
    std::uint64_t reported_ = 0;
    ReplayFigures figures_;
};

} // namespace chassis

#endif
