#include "manager/links.h"

#include "orva_debugging.h"

#include <algorithm>
#include <memory>
#include <string>
#include <sys/socket.h>

namespace chassis {

namespace {

// A round of thirty boards arrives at once.
constexpr int kReceiveBytes = 4 << 20;

const char *result_of(const Frame &request, const Frame &reply) {
    const bool own_kind = reply.type->command == request.type->command;
    return own_kind || reply.header().word_12 == ORVA_OK ? "answered" : "refused";
}

} // namespace

Links::Links(Loop &loop, EventLog &log, Boards &boards, std::uint32_t run)
    : loop_(loop), log_(log), boards_(boards), run_(run), buffer_(kMaxDatagramBytes) {
    setsockopt(endpoint_.descriptor(), SOL_SOCKET, SO_RCVBUF, &kReceiveBytes, sizeof kReceiveBytes);
    loop_.watch(endpoint_.descriptor(), [this] { serve_socket(); });
}

Links::~Links() {
    loop_.unwatch(endpoint_.descriptor());
    for (const auto &entry : waiting_) {
        loop_.cancel(entry.second.timer);
    }
}

// Numbers in use are passed over.
std::uint16_t Links::next_sequence() {
    do {
        ++sequence_;
    } while (waiting_.contains(sequence_));
    return sequence_;
}

Frame Links::request_frame(const Board &board, std::uint8_t net_fn, std::uint16_t command, std::uint32_t word) {
    OrvaWireHeartBeat body{}; // every request of the chassis is a header, or a header and zeros
    body.header = {ORVA_AGENT_REQUEST, kMainSlot, board.slot, word};
    const MessageType *type = find_type(net_fn, command);
    return make_frame(net_fn, command, next_sequence(), body, type != nullptr ? type->body_bytes : 0);
}

void Links::ask(Board &board, const Frame &frame, Patience patience, OnReply on_reply) {
    const std::uint16_t sequence = frame.sequence();
    Waiting &waiting = waiting_[sequence];
    const Time now = loop_.now();
    waiting = {
        &board, frame, now, now + patience.whole, patience.repeat, patience.undisturbed, 1, 0, std::move(on_reply)};
    set_timer(sequence, waiting);
    send(board, frame);
}

std::optional<Frame> Links::ask_and_wait(Board &board, const Frame &frame, Patience patience) {
    // Shared: the request outlives this call when the loop is interrupted.
    struct Outcome {
        bool over = false;
        std::optional<Frame> reply;
    };
    const auto outcome = std::make_shared<Outcome>();
    ask(board, frame, patience, [outcome](const Frame *reply) {
        outcome->over = true;
        outcome->reply = reply != nullptr ? std::optional(*reply) : std::nullopt;
    });
    loop_.wait(loop_.now() + patience.whole + std::chrono::seconds(1), [&] { return outcome->over; });
    return outcome->reply;
}

void Links::set_timer(std::uint16_t sequence, Waiting &waiting) {
    const Time next =
        waiting.repeat.count() != 0 ? std::min(waiting.deadline, loop_.now() + waiting.repeat) : waiting.deadline;
    waiting.timer = loop_.at(next, [this, sequence] { send_again_or_end(sequence); });
}

void Links::send_again_or_end(std::uint16_t sequence) {
    Waiting &waiting = waiting_.at(sequence);
    if (loop_.now() >= waiting.deadline) {
        waiting.timer = 0;
        return finish(sequence, nullptr, "unanswered");
    }
    ++waiting.attempts;
    set_timer(sequence, waiting);
    send(*waiting.board, waiting.frame);
}

void Links::give_up(Board &board) {
    board.peer = {}; // the kernel may give the port to another one
    std::vector<std::uint16_t> sequences;
    for (const auto &[sequence, waiting] : waiting_) {
        if (waiting.board == &board) {
            sequences.push_back(sequence);
        }
    }
    for (const std::uint16_t sequence : sequences) {
        finish(sequence, nullptr, "lost");
    }
}

void Links::finish(std::uint16_t sequence, const Frame *reply, const char *result) {
    const auto found = waiting_.find(sequence);
    if (found == waiting_.end()) {
        return;
    }
    const Waiting waiting = std::move(found->second);
    waiting_.erase(found);
    loop_.cancel(waiting.timer);
    log_.add(EventKind::kRequest, waiting.board->number(),
             {text_field("message", waiting.frame.type->name), text_field("result", result),
              number_field("code", result_code(reply)), number_field("attempts", waiting.attempts),
              number_field("ms", static_cast<std::uint64_t>(whole_milliseconds(loop_.now() - waiting.sent))),
              number_field("sequence", sequence)});
    waiting.on_reply(reply);
}

void Links::send(Board &board, const Frame &frame) {
    const auto datagram = make_datagram(frame, run_);
    const std::string name = "to slot " + std::to_string(board.slot);
    ORVA_DEBUG_OutUdpPacket(name.c_str(), datagram.data(), static_cast<std::uint32_t>(datagram.size()));
    if (!is_disturbed(datagram)) {
        return send_datagram(board, datagram);
    }
    for (Delivery &delivery : disturbance_(Direction::kToBoard, board, datagram)) {
        if (delivery.delay.count() == 0) {
            send_datagram(board, delivery.datagram);
        } else {
            loop_.after(delivery.delay,
                        [this, &board, late = std::move(delivery.datagram)] { send_datagram(board, late); });
        }
    }
}

bool Links::is_disturbed(std::span<const std::uint8_t> datagram) const {
    const auto packet = disturbance_ ? parse_packet(datagram, run_) : std::nullopt;
    const auto found = packet ? waiting_.find(net_sequence(packet->frame)) : waiting_.end();
    return disturbance_ && (found == waiting_.end() || !found->second.undisturbed);
}

void Links::send_datagram(Board &board, std::span<const std::uint8_t> datagram) {
    note_packet(board.number(), board.peer, Direction::kToBoard, datagram);
    endpoint_.send_to(board.peer, datagram);
}

void Links::note_packet(std::int32_t slot, const sockaddr_in &peer, Direction direction,
                        std::span<const std::uint8_t> datagram) {
    if (!log_.wants_packets()) {
        return;
    }
    const auto packet = parse_packet(datagram, run_);
    const MessageType *type = packet ? find_type(packet->net_fn, packet->command) : nullptr;
    log_.add_packet(slot,
                    {text_field("direction", direction == Direction::kToBoard ? "to" : "from"),
                     text_field("message", type != nullptr ? type->name : ""),
                     number_field("port", ntohs(peer.sin_port))},
                    datagram);
}

// In virtual time the datagrams of one instant are taken in the order of the slots, whoever was first.
void Links::serve_socket() {
    sockaddr_in from{};
    std::multimap<std::uint32_t, std::pair<std::vector<std::uint8_t>, sockaddr_in>> arrived;
    while (const auto datagram = endpoint_.receive(buffer_, &from)) {
        if (!loop_.clock().is_virtual()) {
            receive(*datagram, from);
            continue;
        }
        arrived.emplace(sender_of(*datagram, from),
                        std::pair(std::vector<std::uint8_t>(datagram->begin(), datagram->end()), from));
    }
    for (const auto &[sender, datagram] : arrived) {
        receive(datagram.first, datagram.second);
    }
}

// The slot of a known board, or the one that a registration names.
std::uint32_t Links::sender_of(std::span<const std::uint8_t> datagram, const sockaddr_in &from) {
    if (const Board *board = board_at(from)) {
        return board->backup ? kMainSlot : board->slot;
    }
    const auto packet = parse_packet(datagram, run_);
    const MessageType *type = packet ? find_type(packet->net_fn, packet->command) : nullptr;
    const bool headed =
        type != nullptr && type->headed && packet->frame.size() >= kPrefixBytes + type->min_body_bytes;
    return headed ? frame_to_host(*type, packet->frame).header().src_slot : kMainSlot;
}

Board *Links::board_at(const sockaddr_in &peer) {
    const auto is_there = [&](const Board &board) {
        return board.peer.sin_port == peer.sin_port && board.peer.sin_addr.s_addr == peer.sin_addr.s_addr;
    };
    const auto found = std::ranges::find_if(boards_.all(), is_there);
    if (found != boards_.all().end()) {
        return &*found;
    }
    return is_there(boards_.backup()) ? &boards_.backup() : nullptr;
}

// What comes from no board that is known is a registration, which nothing disturbs.
void Links::receive(std::span<const std::uint8_t> datagram, const sockaddr_in &from) {
    Board *board = board_at(from);
    if (board == nullptr || !is_disturbed(datagram)) {
        return handle(datagram, from);
    }
    for (Delivery &delivery : disturbance_(Direction::kFromBoard, *board, datagram)) {
        if (delivery.delay.count() == 0) {
            handle(delivery.datagram, from);
        } else {
            loop_.after(delivery.delay, [this, from, late = std::move(delivery.datagram)] { handle(late, from); });
        }
    }
}

void Links::handle(std::span<const std::uint8_t> datagram, const sockaddr_in &from) {
    ORVA_DEBUG_OutUdpPacket("from a board", datagram.data(), static_cast<std::uint32_t>(datagram.size()));
    const Board *known = board_at(from);
    if (known != nullptr) {
        note_packet(known->number(), from, Direction::kFromBoard, datagram);
    }
    const auto packet = parse_packet(datagram, run_);
    const MessageType *type = packet ? find_type(packet->net_fn, packet->command) : nullptr;
    if (type == nullptr || packet->frame.size() < kPrefixBytes + type->min_body_bytes ||
        ORVA_CheckPakcetLen(ORVA_PACKET_MODULE_AGENT_MGR, static_cast<std::uint32_t>(packet->frame.size()),
                            static_cast<std::uint32_t>(kPrefixBytes + type->body_bytes)) != ORVA_OK) {
        return;
    }
    const Frame frame = frame_to_host(*type, packet->frame);
    if (type->net_fn == kNetFnAgent && type->command == kCmdAddress) {
        if (known == nullptr && frame.header().src_slot <= kLastSlot) {
            note_packet(static_cast<std::int32_t>(frame.header().src_slot), from, Direction::kFromBoard, datagram);
        }
        register_board(frame, from);
    } else {
        take_reply(frame, from);
    }
}

// A board whose process was started again registers from another port. What comes from the port of one board is never
// another one.
void Links::register_board(const Frame &frame, const sockaddr_in &from) {
    const OrvaWireHeader header = frame.header();
    if (ORVA_AGENT_CheckReqMsgValidity(kMainSlot, frame.header_words()) != ORVA_OK) {
        return;
    }
    Board *board = header.src_slot == kMainSlot ? &boards_.backup() : boards_.find(header.src_slot);
    const Board *there = board_at(from);
    if (there != nullptr && there != board && there->state == BoardState::kOnline) {
        return;
    }
    if (board == nullptr && on_stranger_) {
        board = on_stranger_(header.src_slot);
    }
    if (board == nullptr || board->state == BoardState::kPulled) {
        return;
    }
    const bool known = board->state == BoardState::kOnline && board->peer.sin_port == from.sin_port;
    board->peer = from;
    if (!known) {
        board->type = header.word_12;
        board->address = frame.body<OrvaWireAddrReg>().word_16;
        if (on_registration_) {
            on_registration_(*board);
        }
        boards_.set_state(*board, BoardState::kOnline, "it has registered");
    }
    send(*board, make_frame(kNetFnAgentReply, kCmdAddress, frame.sequence(),
                            OrvaWireAddrAck{{ORVA_AGENT_REPLY, kMainSlot, board->slot, ORVA_OK}, board->address}));
}

void Links::take_reply(const Frame &frame, const sockaddr_in &from) {
    const bool headed = frame.type->headed;
    if (headed && ORVA_AGENT_CheckAckMsgValidity(kMainSlot, frame.header_words()) != ORVA_OK) {
        return;
    }
    const auto found = waiting_.find(frame.sequence());
    if (found == waiting_.end()) {
        return;
    }
    const Waiting &waiting = found->second;
    const bool fits = waiting.board->peer.sin_port == from.sin_port &&
                      (!headed || waiting.board->slot == frame.header().src_slot) &&
                      (frame.type->command == waiting.frame.type->command || frame.type->command == kCmdResult);
    if (fits) {
        finish(frame.sequence(), &frame, result_of(waiting.frame, frame));
    }
}

std::uint32_t result_code(const Frame *reply) {
    return reply != nullptr && reply->type->command == kCmdResult ? reply->header().word_12 : ORVA_OK;
}

bool is_done(const std::optional<Frame> &reply) {
    return reply && result_code(&*reply) == ORVA_OK;
}

} // namespace chassis
