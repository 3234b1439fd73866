#include "manager/poller.h"

#include "orva_comm.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr Patience kRoundPatience{milliseconds(4000), milliseconds(500)};
constexpr Patience kFiguresPatience{milliseconds(4000), {}};
constexpr std::uint64_t kFiguresEvery = 5; // rounds

// Readings of both kinds have the same form; only the bound differs.
template <typename Body>
void take_readings(Board &board, std::vector<Measured> &measured, const Frame &reply, SensorKind kind) {
    const auto body = reply.body<Body>();
    const std::size_t count = std::min<std::size_t>(body.count, std::size(body.readings));
    for (std::size_t i = 0; i < count; ++i) {
        const auto reading = std::bit_cast<Reading>(body.readings[i]);
        const Sensor *sensor = find_sensor(board.sensors, kind, reading.sensor);
        if (reading.source == Source::kBesideOverride && !measured.empty()) {
            measured.back().hardware = reading.value;
        } else if (sensor != nullptr) {
            measured.push_back(
                {sensor, reading.value, static_cast<SensorState>(reading.state), reading.source, reading.value});
        }
    }
}

// What was not answered stays as it was.
std::vector<Measured> kept(const Board &board, SensorKind kind) {
    std::vector<Measured> measured;
    std::ranges::copy_if(board.measured, std::back_inserter(measured),
                         [=](const Measured &each) { return each.sensor->kind == kind; });
    return measured;
}

template <typename Body>
std::vector<Measured> taken(Board &board, const std::optional<Frame> &reply, SensorKind kind) {
    if (!reply) {
        return kept(board, kind);
    }
    std::vector<Measured> measured;
    take_readings<Body>(board, measured, *reply, kind);
    return measured;
}

bool has_process(const Board &board) {
    return board.process != 0 || board.foreign;
}

const char *source_name(Source source) {
    if (source == Source::kStub) {
        return "stub";
    }
    return source == Source::kSimulated ? "simulated" : "hardware";
}

} // namespace

Poller::Poller(Loop &loop, EventLog &log, Boards &boards, Links &links)
    : loop_(loop), log_(log), boards_(boards), links_(links) {}

void Poller::start(Duration period) {
    stop();
    period_ = period;
    tick();
}

void Poller::stop() {
    loop_.cancel(timer_);
    timer_ = 0;
}

void Poller::tick() {
    timer_ = loop_.after(period_, [this] { tick(); });
    begin_all();
}

void Poller::round() {
    begin_all();
    const Time deadline = loop_.now() + kRoundPatience.whole + std::chrono::seconds(1);
    loop_.wait(deadline, [this] { return open_.empty(); });
}

void Poller::begin_all() {
    ++rounds_;
    for (Board &board : boards_.all()) {
        const bool alive =
            board.state == BoardState::kOnline || (board.state == BoardState::kLost && has_process(board));
        if (alive && board.peer.sin_port != 0 && !open_.contains(board.slot)) {
            begin(board);
        }
    }
}

void Poller::begin(Board &board) {
    open_[board.slot].open = kCommands.size();
    for (std::size_t i = 0; i < kCommands.size(); ++i) {
        ask(board, i);
    }
    if (rounds_ % kFiguresEvery == 0) {
        ask_figures(board);
    }
}

void Poller::ask(Board &board, std::size_t index) {
    const Frame frame = links_.request_frame(board, kNetFnAgent, kCommands[index]);
    links_.ask(board, frame, kRoundPatience, [this, &board, index](const Frame *reply) {
        Round &round = open_[board.slot];
        round.heard = round.heard || reply != nullptr;
        if (reply != nullptr && reply->type->command == kCommands[index]) {
            round.replies[index] = *reply;
        }
        if (--round.open == 0) {
            finish(board);
        }
    });
}

// A user's own agent may know nothing of them.
void Poller::ask_figures(Board &board) {
    const Frame frame = links_.request_frame(board, kNetFnChassis, kCmdFigures);
    links_.ask(board, frame, kFiguresPatience, [this, &board](const Frame *reply) {
        if (reply == nullptr || reply->type->command != kCmdFigures) {
            return;
        }
        const auto body = reply->body<FiguresBody>();
        board.figures = {body.passed,       body.dropped,       body.queue_messages,  body.queue_bytes,
                         body.memory_bytes, body.memory_blocks, body.memory_failures, body.descriptors};
        log_.add(EventKind::kFigures, board.number(),
                 {number_field("passed", body.passed), number_field("dropped", body.dropped),
                  number_field("queue_messages", body.queue_messages), number_field("queue_bytes", body.queue_bytes),
                  number_field("memory_bytes", body.memory_bytes), number_field("memory_blocks", body.memory_blocks),
                  number_field("memory_failures", body.memory_failures),
                  number_field("descriptors", body.descriptors)});
    });
}

void Poller::finish(Board &board) {
    const Round round = std::move(open_[board.slot]);
    open_.erase(board.slot);
    // A process may have ended after its answer.
    if (round.heard && has_process(board) && board.state != BoardState::kPulled &&
        board.state != BoardState::kStarting) {
        boards_.set_state(board, BoardState::kOnline, "it answers again");
        take(board, round);
    } else if (board.state == BoardState::kOnline) {
        boards_.set_state(board, BoardState::kLost, "it does not answer");
    }
}

void Poller::take(Board &board, const Round &round) {
    auto measured = taken<OrvaWireTempInfo>(board, round.replies[0], SensorKind::kTemperature);
    const auto volts = taken<OrvaWireVltInfo>(board, round.replies[1], SensorKind::kVoltage);
    measured.insert(measured.end(), volts.begin(), volts.end());
    const auto before = std::exchange(board.measured, std::move(measured));
    note_readings(board, before);
    ++board.answers;
    if (!round.replies[2]) {
        return;
    }
    const auto beat = heart_beat_of(round.replies[2]->body<OrvaWireHeartBeat>());
    board.beat = beat.beat;
    board.uptime_seconds = beat.uptime_seconds;
    board.online = beat.online;
    board.online_pair = beat.pair_set;
    board.private_mount = beat.private_mount;
    board.warm_start = beat.start_mode == ORVA_START_WARM;
    note_heart_beat(board, beat);
}

// What says the same as before is not an event.
void Poller::note_readings(const Board &board, const std::vector<Measured> &before) {
    for (const Measured &now : board.measured) {
        if (std::ranges::find(before, now) != before.end()) {
            continue;
        }
        log_.add(EventKind::kReading, board.number(),
                 {text_field("sensor", now.sensor->name),
                  {"value", std::int64_t{now.value}},
                  text_field("state", state_name(now.state)),
                  text_field("source", source_name(now.source)),
                  {"hardware", std::int64_t{now.hardware}},
                  text_field("shown", value_text(now.sensor->kind, now.hardware))});
    }
}

void Poller::note_heart_beat(const Board &board, const HeartBeat &beat) {
    log_.add(EventKind::kHeartBeat, board.number(),
             {number_field("beat", beat.beat), number_field("uptime", beat.uptime_seconds),
              number_field("requests", beat.requests), number_field("refused", beat.refused),
              number_field("queue_refusals", beat.queue_refusals), flag_field("online", board.online),
              flag_field("online_pair", board.online_pair), flag_field("private_mount", board.private_mount),
              flag_field("warm", board.warm_start)});
}

} // namespace chassis
