// The course of one sensor in bounded memory.
#ifndef CHASSIS_WEB_HISTORY_H
#define CHASSIS_WEB_HISTORY_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace chassis {

struct HistoryPoint {
    std::int64_t ms = 0; // since power-on
    std::int32_t value = 0;
    std::int32_t hardware = 0; // what the hardware says, beside an override
    bool overridden = false;

    bool operator==(const HistoryPoint &) const = default;
};

// What is kept when a history is full.
enum class Keep : std::uint8_t {
    kRecent, // the newest points
    kWhole,  // the whole run, coarser and coarser: of each group of points the lowest and the highest
};

class History {
public:
    // `limit`: points that are kept, a multiple of 4.
    History(Keep keep, std::size_t limit) : keep_(keep), limit_(limit) {}

    void add(const HistoryPoint &point);
    // Oldest first; the newest is always the last.
    std::vector<HistoryPoint> points() const;

private:
    void make_room();

    Keep keep_;
    std::size_t limit_;
    std::vector<HistoryPoint> kept_;
    std::vector<HistoryPoint> open_; // extremes of the group that is not full yet
    HistoryPoint newest_;
    std::size_t group_ = 1;    // points in a group
    std::size_t in_group_ = 0; // of the open one
};

} // namespace chassis

#endif
