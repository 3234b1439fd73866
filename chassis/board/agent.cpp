#include "board/agent.h"

#include "board/agent_answers.h"
#include "board/board_folder.h"
#include "board/inbox.h"
#include "board/private_mount.h"
#include "runtime.h"
#include "wire/transport.h"

#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/timerfd.h>

namespace chassis {

namespace {

// Wide enough for the library's own ids.
constexpr std::uint32_t kDiagIds = ORVA_DIAG_ID_PACKET_LENGTH + 1;
constexpr std::chrono::milliseconds kRegisterAgain{250};

Descriptor second_timer() {
    Descriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    const itimerspec period = {{1, 0}, {1, 0}};
    if (timer.get() < 0 || timerfd_settime(timer.get(), 0, &period, nullptr) != 0) {
        throw std::runtime_error("no timer");
    }
    return timer;
}

bool starts_warm() {
    std::uint32_t warm = ORVA_START_COLD;
    ORVA_COMM_InitProcessStartMode(ORVA_PROCESS_AGENT, &warm);
    return warm == ORVA_START_WARM;
}

bool has_private_mount(const AgentOptions &options) {
    load_optional_libraries();
    const std::string refusal = enter_private_mount(options.folder, options.run_folder);
    if (!refusal.empty()) {
        std::ofstream(refusal_file(options.folder)) << refusal;
    }
    return refusal.empty();
}

class Agent {
public:
    Agent(const AgentOptions &options, const Descriptor &signals, bool private_mount)
        : slot_(static_cast<std::uint8_t>(ORVA_DRVADP_GetSelfSlotVar())), run_(options.run), signals_(signals),
          timer_(second_timer()) {
        board_.slot = slot_;
        board_.clock = Clock(Duration(options.power_on_ns));
        board_.start = board_.clock.now();
        board_.hardware = read_hardware(hardware_file("."));
        board_.backup = options.backup;
        board_.private_mount = private_mount;
        board_.warm_start = private_mount && starts_warm();
        if (slot_ != options.slot) {
            throw std::runtime_error("the board description is of another slot");
        }
        if (ORVA_DiagInit(kDiagIds, 0) != ORVA_OK) {
            throw std::runtime_error("no diagnostic manager");
        }
        endpoint_.connect_to(options.port);
        inbox_.emplace(endpoint_, slot_, run_);
        board_.queue = inbox_->queue();
    }

    // Until it is told to stop.
    void run() {
        // Start-up is complete: a later start is warm. Before the first registration, so that who has seen one knows.
        if (board_.private_mount) {
            ORVA_COMM_SetProcessStartMode(ORVA_PROCESS_AGENT);
        }
        std::array<pollfd, 3> sources = {
            {{inbox_->wake_descriptor(), POLLIN, 0}, {signals_.get(), POLLIN, 0}, {timer_.get(), POLLIN, 0}}};
        while (!stop_) {
            if (inbox_->is_cut_off()) {
                throw std::runtime_error("the queue is gone");
            }
            if (!registered_ && board_.clock.now() >= register_at_) {
                register_address();
                register_at_ = board_.clock.now() + kRegisterAgain;
            }
            if (poll(sources.data(), sources.size(), patience_ms()) <= 0) {
                continue;
            }
            if (sources[0].revents != 0) {
                inbox_->take_wakes();
            }
            drive_clock();
            handle_waiting();
            read_signals();
        }
    }

private:
    // A wrong acknowledgement is not a reason to register again at once.
    int patience_ms() const {
        const Duration left = std::max(register_at_ - board_.clock.now(), Duration(0));
        return registered_ ? -1 : static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count());
    }

    // A terminal's Ctrl-C reaches every process of the chassis; the management process alone decides what follows.
    void read_signals() {
        while (const int number = next_signal(signals_)) {
            stop_ = stop_ || number == SIGTERM;
            if (number == SIGUSR1) {
                board_.hoard.free();
            }
        }
    }

    void drive_clock() {
        std::uint64_t seconds = 0;
        if (read(timer_.get(), &seconds, sizeof seconds) == sizeof seconds) {
            advance_clock(static_cast<std::uint32_t>(seconds));
        }
    }

    void register_address() {
        const std::uint32_t address = ORVA_GetAddressFromSlot(slot_, 0);
        std::uint32_t type = 0;
        ORVA_DRVADP_GetBoardType(&type);
        send(make_frame(kNetFnAgent, kCmdAddress, 0,
                        OrvaWireAddrReg{{ORVA_AGENT_REQUEST, slot_, kMainSlot, type}, address}));
    }

    void handle_waiting() {
        alignas(8) std::array<std::uint8_t, ORVA_QUEUE_PAYLOAD_MAX> buffer{};
        while (true) {
            const auto datagram = board_.trace.measure(Stage::kQueueRead, [&] { return inbox_->read(buffer); });
            if (datagram.empty()) {
                return;
            }
            handle(datagram);
        }
    }

    void send(const Frame &frame) {
        board_.trace.begin(Stage::kSend);
        const auto datagram = make_datagram(frame, run_);
        ORVA_DEBUG_OutUdpPacket("to the main board", datagram.data(), static_cast<std::uint32_t>(datagram.size()));
        endpoint_.send(datagram);
        board_.trace.end(Stage::kSend);
    }

    void refuse(std::uint16_t sequence, std::uint32_t code) {
        ++board_.counters.refused;
        send(make_result(board_, sequence, code));
    }

    void handle(std::span<const std::uint8_t> datagram) {
        const auto packet = parse_packet(datagram, run_);
        if (!packet) {
            return;
        }
        ++board_.counters.handled;
        ORVA_DEBUG_OutUdpPacket("from the main board", datagram.data(), static_cast<std::uint32_t>(datagram.size()));
        const std::uint16_t sequence = net_sequence(packet->frame);
        const MessageType *type = find_type(packet->net_fn, packet->command);
        if (type == nullptr) {
            return refuse(sequence, kRefusedUnknown);
        }
        const auto length = static_cast<std::uint32_t>(packet->frame.size());
        const auto longest = static_cast<std::uint32_t>(kPrefixBytes + type->body_bytes);
        const std::uint32_t code = board_.trace.measure(Stage::kLengthCheck, [&] {
            return ORVA_CheckPakcetLenByMsg(ORVA_PACKET_MODULE_AGENT, length, longest, packet->net_fn,
                                            packet->command);
        });
        if (code != ORVA_OK) {
            return refuse(sequence, code);
        }
        if (length < kPrefixBytes + type->min_body_bytes) {
            return refuse(sequence, kRefusedShort);
        }
        handle(board_.trace.measure(Stage::kToHost, [&] { return frame_to_host(*type, packet->frame); }));
    }

    void handle(const Frame &frame) {
        if (frame.type->net_fn == kNetFnAgentReply && frame.type->command == kCmdAddress) {
            note_registration(frame);
            return;
        }
        const std::uint32_t code = board_.trace.measure(Stage::kHeaderCheck, [&] {
            return frame.type->headed ? ORVA_AGENT_CheckReqMsgValidity(slot_, frame.header_words()) : ORVA_OK;
        });
        if (code != ORVA_OK) {
            return refuse(frame.sequence(), code);
        }
        board_.counters.received = inbox_->received();
        board_.counters.queue_refusals = inbox_->refused();
        send(board_.trace.measure(Stage::kAnswer, [&] { return answer(frame, board_); }));
    }

    void note_registration(const Frame &frame) {
        if (!registered_ && ORVA_AGENT_CheckAckMsgValidity(slot_, frame.header_words()) == ORVA_OK) {
            registered_ = true;
        }
    }

    std::uint8_t slot_;
    std::uint32_t run_;
    const Descriptor &signals_;
    Descriptor timer_;
    Endpoint endpoint_;
    std::optional<Inbox> inbox_;
    BoardContext board_;
    bool registered_ = false;
    Time register_at_{0}; // not before
    bool stop_ = false;
};

} // namespace

int run_agent(const AgentOptions &options) {
    try {
        const Descriptor signals = take_signals({SIGTERM, SIGINT, SIGUSR1});
        const bool private_mount = has_private_mount(options);
        // A new user namespace forgets that the process ends with its parent.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != options.parent) {
            return 1; // the management process is gone already
        }
        start_runtime(options.folder, options.backup ? "backup" : "agent" + std::to_string(options.slot));
        Agent(options, signals, private_mount).run();
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: slot " << options.slot << ": " << error.what() << '\n';
        return 1;
    }
}

} // namespace chassis
