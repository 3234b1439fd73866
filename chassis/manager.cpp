#include "manager.h"

#include "board_folder.h"
#include "processes.h"
#include "runtime.h"

#include "orva_debugging.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <poll.h>
#include <random>
#include <string>
#include <sys/msg.h>

namespace chassis {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStopPatience{5000};
constexpr milliseconds kRoundPatience{4000};
constexpr milliseconds kRepeatAfter{500};
constexpr milliseconds kCommandPatience{15000};

bool queue_exists(int queue) {
    msqid_ds description{};
    return queue >= 0 && msgctl(queue, IPC_STAT, &description) == 0;
}

// Readings of both kinds have the same form; only the bound differs.
template <typename Body>
void take_readings(Board &board, const Frame &reply, SensorKind kind) {
    const auto body = reply.body<Body>();
    const std::size_t count = std::min<std::size_t>(body.count, std::size(body.readings));
    for (std::size_t i = 0; i < count; ++i) {
        const Reading &reading = body.readings[i];
        const Sensor *sensor = find_sensor(kind, reading.sensor);
        if (reading.source == Source::kBesideOverride && !board.measured.empty()) {
            board.measured.back().hardware = reading.value;
        } else if (sensor != nullptr) {
            board.measured.push_back(
                {sensor, reading.value, static_cast<SensorState>(reading.state), reading.source, reading.value});
        }
    }
}

void take_heart_beat(Board &board, const Frame &reply) {
    const auto body = reply.body<HeartBeatBody>();
    board.beat = body.beat;
    board.uptime_seconds = body.uptime_seconds;
    board.online = body.online != 0;
    board.online_pair = body.pair_set != 0;
    board.private_mount = body.private_mount != 0;
    board.warm_start = body.start_mode == ORVA_START_WARM;
}

void take_round(Board &board, std::span<const Request> requests) {
    board.measured.clear();
    take_readings<TemperatureBody>(board, *requests[0].reply, SensorKind::kTemperature);
    take_readings<VoltageBody>(board, *requests[1].reply, SensorKind::kVoltage);
    take_heart_beat(board, *requests[2].reply);
    ++board.answers;
}

bool is_answer(const Request &request) {
    return request.reply && request.reply->type->command == request.frame.type->command;
}

// Replies find their requests while this lives.
class WaitingRequests {
public:
    WaitingRequests(std::vector<Request *> &waiting, std::vector<Request> &requests)
        : waiting_(waiting), before_(waiting.size()) {
        for (Request &request : requests) {
            waiting_.push_back(&request);
        }
    }
    ~WaitingRequests() {
        waiting_.resize(before_);
    }
    WaitingRequests(const WaitingRequests &) = delete;
    WaitingRequests &operator=(const WaitingRequests &) = delete;

private:
    std::vector<Request *> &waiting_;
    std::size_t before_;
};

} // namespace

Manager::Manager(std::filesystem::path run_folder, std::uint32_t boards, const Descriptor &signals)
    : run_folder_(std::move(run_folder)), signals_(signals), run_(std::random_device()()), boards_(boards),
      buffer_(kMaxDatagramBytes) {
    for (std::uint32_t i = 0; i < boards; ++i) {
        boards_[i].slot = i + 1;
        boards_[i].folder = board_folder(run_folder_, i + 1);
        make_board_folder(boards_[i].folder, i + 1, boards);
    }
    backup_.slot = kMainSlot;
    backup_.folder = backup_folder(run_folder_);
    make_board_folder(backup_.folder, kMainSlot, boards);
}

Manager::~Manager() {
    stop();
}

std::vector<Board *> Manager::processes() {
    std::vector<Board *> all = {&backup_};
    for (Board &board : boards_) {
        all.push_back(&board);
    }
    return all;
}

Board *Manager::board(std::uint32_t slot) {
    const auto found = std::ranges::find(boards_, slot, &Board::slot);
    return found != boards_.end() ? &*found : nullptr;
}

void Manager::start(Board &board) {
    std::vector<std::string> arguments = {"agent",
                                          "--slot",
                                          std::to_string(board.slot),
                                          "--folder",
                                          board.folder.string(),
                                          "--run-folder",
                                          run_folder_.string(),
                                          "--port",
                                          std::to_string(endpoint_.port()),
                                          "--run",
                                          std::to_string(run_),
                                          "--parent",
                                          std::to_string(getpid())};
    if (&board == &backup_) {
        arguments.push_back("--backup");
    }
    board.process = start_process(arguments);
}

void Manager::start_agents() {
    for (Board *board : processes()) {
        start(*board);
    }
}

void Manager::restart(Board &board, Clock::time_point deadline) {
    // One that someone else had killed before is lost, and must not be hidden by its successor.
    const pid_t process = std::exchange(board.process, 0);
    if (process == 0 || !stop_processes(std::array{process}, kStopPatience)) {
        return lose(board);
    }
    board.state = BoardState::kStarting;
    board.queue = -1;
    start(board);
    wait(deadline, [&] { return board.state != BoardState::kStarting; });
}

Leftovers Manager::stop() {
    std::vector<pid_t> running;
    for (Board *board : processes()) {
        if (board->process != 0) {
            running.push_back(std::exchange(board->process, 0));
        }
    }
    stop_processes(running, kStopPatience);
    Leftovers left;
    for (Board *board : processes()) {
        // An agent that ended as it should has removed its queue; a killed one has not.
        if (board->queue < 0) {
            board->queue = msgget(queue_key(board->folder, board->slot), 0);
        }
        ORVA_QueueDelete(board->queue);
        left.queues += queue_exists(board->queue) ? 1U : 0U;
    }
    for (const pid_t process : running) {
        left.processes += kill(process, 0) == 0 ? 1U : 0U;
    }
    return left;
}

bool Manager::any_starting() const {
    return count(BoardState::kStarting) != 0 || backup_.state == BoardState::kStarting;
}

std::uint32_t Manager::count(BoardState state) const {
    return static_cast<std::uint32_t>(std::ranges::count(boards_, state, &Board::state));
}

void Manager::watch(int descriptor, std::function<void()> serve) {
    watched_.push_back({descriptor, std::move(serve)});
}

void Manager::wait(Clock::time_point deadline, const std::function<bool()> &done) {
    std::vector<pollfd> sources = {{endpoint_.descriptor(), POLLIN, 0}, {signals_.get(), POLLIN, 0}};
    const std::size_t own = sources.size();
    for (const Watched &watched : watched_) {
        // While one of them is served, poll leaves them out.
        sources.push_back({serving_ ? -1 : watched.descriptor, POLLIN, 0});
    }
    while (!done()) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return;
        }
        if (poll(sources.data(), sources.size(), static_cast<int>(left.count())) <= 0) {
            continue;
        }
        serve_signals();
        serve_socket();
        serve_watched(std::span<const pollfd>(sources).subspan(own));
    }
}

void Manager::serve_watched(std::span<const pollfd> sources) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (sources[i].revents != 0) {
            serving_ = true;
            watched_[i].serve();
            serving_ = false;
        }
    }
}

int Manager::run_command(const std::vector<std::string> &arguments) {
    const pid_t child = start_process(arguments);
    std::optional<int> status;
    wait(Clock::now() + kCommandPatience, [&] {
        status = exit_status(child);
        return status.has_value();
    });
    if (!status) {
        stop_processes(std::array{child}, kStopPatience);
    }
    return status.value_or(-1);
}

void Manager::serve_signals() {
    while (const int number = next_signal(signals_)) {
        if (number != SIGCHLD) {
            throw Interrupted{number};
        }
        note_ended_agents();
    }
}

// One SIGCHLD may stand for several children.
void Manager::note_ended_agents() {
    for (Board *board : processes()) {
        if (board->process != 0 && exit_status(board->process)) {
            board->process = 0;
            lose(*board);
        }
    }
}

void Manager::lose(Board &board) {
    board.state = BoardState::kLost;
    if (board.queue < 0) {
        board.queue = msgget(queue_key(board.folder, board.slot), 0);
    }
    if (board.process == 0) {
        ORVA_QueueDelete(board.queue);
    }
}

void Manager::serve_socket() {
    sockaddr_in from{};
    while (const auto datagram = endpoint_.receive(buffer_, &from)) {
        handle(*datagram, from);
    }
}

void Manager::handle(std::span<const std::uint8_t> datagram, const sockaddr_in &from) {
    ORVA_DEBUG_OutUdpPacket("from a board", datagram.data(), static_cast<std::uint32_t>(datagram.size()));
    const auto packet = parse_packet(datagram, run_);
    const MessageType *type = packet ? find_type(packet->net_fn, packet->command) : nullptr;
    if (type == nullptr || packet->frame.size() < kPrefixBytes + type->min_body_bytes ||
        ORVA_CheckPakcetLen(ORVA_PACKET_MODULE_AGENT_MGR, static_cast<std::uint32_t>(packet->frame.size()),
                            static_cast<std::uint32_t>(kPrefixBytes + type->body_bytes)) != ORVA_OK) {
        return;
    }
    const Frame frame = frame_to_host(*type, packet->frame);
    if (type->net_fn == kNetFnAgent && type->command == kCmdAddress) {
        register_board(frame, from);
    } else {
        take_reply(frame, from);
    }
}

void Manager::register_board(const Frame &frame, const sockaddr_in &from) {
    const Header header = frame.header();
    if (ORVA_AGENT_CheckReqMsgValidity(kMainSlot, frame.header_words()) != ORVA_OK) {
        return;
    }
    Board *board = header.source_slot == kMainSlot ? &backup_ : this->board(header.source_slot);
    if (board == nullptr || board->state == BoardState::kLost) {
        return;
    }
    if (board->state == BoardState::kStarting) {
        board->peer = from;
        board->type = header.word;
        board->address = frame.body<AddressBody>().address;
        board->queue = msgget(queue_key(board->folder, board->slot), 0);
        board->state = BoardState::kOnline;
    }
    send(*board, make_frame(kNetFnAgentReply, kCmdAddress, frame.sequence(),
                            AddressBody{{ORVA_AGENT_REPLY, kMainSlot, board->slot, ORVA_OK}, board->address}));
}

void Manager::take_reply(const Frame &frame, const sockaddr_in &from) {
    const bool headed = frame.type->headed;
    if (headed && ORVA_AGENT_CheckAckMsgValidity(kMainSlot, frame.header_words()) != ORVA_OK) {
        return;
    }
    const auto request = std::ranges::find_if(waiting_, [&](const Request *waiting) {
        return waiting->frame.sequence() == frame.sequence() && waiting->board->peer.sin_port == from.sin_port &&
               (!headed || waiting->board->slot == frame.header().source_slot);
    });
    if (request != waiting_.end() && !(*request)->reply) {
        (*request)->reply = frame;
    }
}

void Manager::send(const Board &board, const Frame &frame) const {
    const auto datagram = make_datagram(frame, run_);
    const std::string name = "to slot " + std::to_string(board.slot);
    ORVA_DEBUG_OutUdpPacket(name.c_str(), datagram.data(), static_cast<std::uint32_t>(datagram.size()));
    endpoint_.send_to(board.peer, datagram);
}

Frame Manager::request_frame(const Board &board, std::uint8_t net_fn, std::uint16_t command, std::uint32_t word) {
    HeartBeatBody body{}; // every request of the chassis is a header, or a header and zeros
    body.header = {ORVA_AGENT_REQUEST, kMainSlot, board.slot, word};
    const MessageType *type = find_type(net_fn, command);
    return make_frame(net_fn, command, ++sequence_, body, type != nullptr ? type->body_bytes : 0);
}

void Manager::exchange(std::vector<Request> &requests, milliseconds patience, bool repeat) {
    const auto deadline = Clock::now() + patience;
    const auto answered = [](const Request &request) {
        return request.reply || request.board->state == BoardState::kLost;
    };
    const auto all_answered = [&] { return std::ranges::all_of(requests, answered); };
    const WaitingRequests registered(waiting_, requests);
    do {
        for (const Request &request : requests) {
            if (!answered(request)) {
                send(*request.board, request.frame);
            }
        }
        wait(repeat ? std::min(deadline, Clock::now() + kRepeatAfter) : deadline, all_answered);
    } while (!all_answered() && Clock::now() < deadline);
}

std::optional<Frame> Manager::exchange(Board &board, const Frame &frame, milliseconds patience) {
    std::vector<Request> requests = {{&board, frame, std::nullopt}};
    exchange(requests, patience, false);
    return requests.front().reply;
}

void Manager::poll_boards() {
    constexpr std::array kCommands = {kCmdTemperature, kCmdVoltage, kCmdHeartBeat};
    std::vector<Request> requests;
    for (Board &board : boards_) {
        for (const std::uint16_t command : kCommands) {
            if (board.state == BoardState::kOnline) {
                requests.push_back({&board, request_frame(board, kNetFnAgent, command), std::nullopt});
            }
        }
    }
    exchange(requests, kRoundPatience, true);
    for (std::size_t i = 0; i < requests.size(); i += kCommands.size()) {
        const auto round = std::span<const Request>(requests).subspan(i, kCommands.size());
        Board &board = *requests[i].board;
        if (board.state == BoardState::kOnline && std::ranges::all_of(round, is_answer)) {
            take_round(board, round);
        } else {
            lose(board);
        }
    }
}

} // namespace chassis
