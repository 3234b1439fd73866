// What a chassis looks like now and how it came to this, from its events: for the page, the metrics and the report.
// Knows nothing of how it is shown. Its memory is bounded, however long the run is.
#ifndef CHASSIS_WEB_MODEL_H
#define CHASSIS_WEB_MODEL_H

#include "board/sensors.h"
#include "events/event.h"
#include "manager/board.h"
#include "web/history.h"

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace chassis {

inline constexpr std::size_t kEventKinds = static_cast<std::size_t>(EventKind::kPacket) + 1;

struct SensorView {
    Sensor sensor;
    bool known = false; // it has been read
    std::int32_t value = 0;
    std::int32_t hardware = 0;
    std::string state;  // normal, low or high
    std::string source; // hardware, stub or simulated
    History history;
};

struct StageView {
    std::string stage;
    std::int64_t count = 0;
    std::int64_t min_ns = 0;
    std::int64_t avg_ns = 0;
    std::int64_t max_ns = 0;
};

struct FaultView {
    std::string fault;
    std::string sensor; // empty: a fault of the whole board
    std::string text;
};

struct RequestCounts {
    std::uint64_t answered = 0;
    std::uint64_t refused = 0;
    std::uint64_t unanswered = 0;
    std::uint64_t lost = 0;
    std::uint64_t repeats = 0; // sent again
};

struct BeatView {
    std::int64_t beat = 0;
    std::int64_t uptime = 0;
    std::int64_t requests = 0;
    std::int64_t refused = 0;
    std::int64_t queue_refusals = 0;
    bool online = true;
    bool online_pair = false;
    bool private_mount = false;
    bool warm = false;
};

// A board with its process. The one in slot 0 is the backup management process.
struct BoardView {
    std::int32_t slot = 0;
    std::uint64_t revision = 0; // of its last change
    std::int64_t type = 0;
    std::string state = "starting";
    std::string reason;
    std::string address;
    std::string process; // started, ended or stuck; empty: not started yet
    std::int64_t status = 0;
    std::int64_t starts = 0;
    std::vector<SensorView> sensors;
    std::vector<FaultView> faults; // that are on
    std::vector<StageView> stages;
    RequestCounts requests;
    std::optional<BeatView> beat;
    std::optional<Figures> figures;
};

struct KeptEvent {
    std::uint64_t revision = 0;
    Event event;
};

struct RunView {
    std::uint64_t revision = 0;
    std::string scenario;
    std::int64_t seed = 0;
    std::string time;
    std::string step;
    std::uint64_t checks = 0;
    std::uint64_t failed = 0;
    std::uint64_t skipped = 0;
    bool over = false; // nothing follows
};

struct ModelLimits {
    Keep keep = Keep::kRecent;
    std::size_t points = 600;     // of each sensor
    std::size_t first_events = 0; // that stay for good
    std::size_t last_events = 400;
};

class Model {
public:
    explicit Model(const ModelLimits &limits) : limits_(limits) {}

    // Before the run: a board that the chassis has.
    void add_board(std::uint32_t slot, std::uint32_t type, std::span<const Sensor> sensors);

    void take(const Event &event);
    // What no event tells.
    void set_stages(std::int32_t slot, std::vector<StageView> stages);
    void set_backup_figures(const Figures &figures);
    void set_manager_figures(const Figures &figures);

    // Counts the changes. What has a higher revision than a reader saw last is new to it.
    std::uint64_t revision() const {
        return revision_;
    }
    std::int64_t now_ms() const {
        return now_ms_;
    }
    const RunView &run() const {
        return run_;
    }
    // By slot.
    const std::map<std::int32_t, BoardView> &boards() const {
        return boards_;
    }
    const std::optional<Figures> &manager_figures() const {
        return manager_figures_;
    }
    // What a reader of the log wants to see: no heartbeats, no answered requests, no reading that is like the one
    // before. The first of the run, then the last; `left_out` of them are missing between.
    const std::vector<KeptEvent> &first_events() const {
        return first_events_;
    }
    const std::deque<KeptEvent> &last_events() const {
        return last_events_;
    }
    std::uint64_t left_out() const {
        return left_out_;
    }
    // All events of a kind.
    std::uint64_t count(EventKind kind) const {
        return counts_[static_cast<std::size_t>(kind)];
    }

private:
    BoardView &board(std::int32_t slot);
    bool take_reading(BoardView &board, const Event &event);
    bool take_request(BoardView &board, const Event &event);
    void take_run(const Event &event);
    bool take_board(BoardView &board, const Event &event);
    void keep(const Event &event);
    void touch(BoardView &board) {
        board.revision = revision_;
    }

    ModelLimits limits_;
    std::uint64_t revision_ = 0;
    std::int64_t now_ms_ = 0;
    RunView run_;
    std::map<std::int32_t, BoardView> boards_;
    std::optional<Figures> manager_figures_;
    std::vector<KeptEvent> first_events_;
    std::deque<KeptEvent> last_events_;
    std::uint64_t left_out_ = 0;
    std::array<std::uint64_t, kEventKinds> counts_{};
};

} // namespace chassis

#endif
