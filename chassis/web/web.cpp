#include "web/web.h"

#include "board/figures.h"
#include "control/commands.h"
#include "miro_host_clock.h"
#include "web/feed.h"
#include "web/http_server.h"
#include "web/model.h"
#include "web/model_json.h"

#include <atomic>
#include <condition_variable>
#include <optional>
#include <set>
#include <thread>
#include <utility>

namespace chassis {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kTick{200};        // between two messages to the pages
constexpr std::size_t kKeptMessages = 50; // a page may fall behind by so many
constexpr seconds kAskEvery{2};
constexpr Patience kAskPatience{seconds(1), {}};
constexpr seconds kCommandPatience{60};
constexpr int kMostCommands = 8; // under way

CommandReply reply_of(int http_status, const CommandResult &result) {
    return {http_status, reply_json(result.status, result.text)};
}

std::vector<StageView> stages_of(const TraceBody &body) {
    std::vector<StageView> stages;
    for (std::uint32_t i = 0; i < kStages; ++i) {
        const TracedStage &stage = body.stages[i];
        stages.push_back({kStageNames[i], stage.count, stage.min_ns, stage.avg_ns, stage.max_ns});
    }
    return stages;
}

Figures figures_of(const FiguresBody &body) {
    return {body.passed,       body.dropped,       body.queue_messages,  body.queue_bytes,
            body.memory_bytes, body.memory_blocks, body.memory_failures, body.descriptors};
}

} // namespace

class Web::Room {
public:
    Room(Chassis &chassis, const WebAddress &address)
        : chassis_(chassis), feed_(kKeptMessages), token_(make_token()) {
        for (const Board &board : chassis.boards.all()) {
            model_.add_board(board.slot, board.type, board.sensors);
        }
        server_ = std::make_unique<HttpServer>(address, token_, site_, feed_);
        subscription_ = chassis.log.subscribe([this](const Event &event) {
            const auto lock = lock_model();
            model_.take(event);
        });
        teller_ = std::thread([this] { tell(); });
        if (!chassis.loop.clock().is_virtual()) {
            ask_later();
        }
    }

    ~Room() {
        commands_over_ = true;
        chassis_.loop.cancel(timer_);
        chassis_.log.unsubscribe(subscription_);
        over_ = true;
        teller_.join();
        feed_.close();
        server_.reset();
    }

    std::string url() const {
        return "http://" + web_address_text(server_->address()) + "/#" + token_;
    }

    void end_commands() {
        commands_over_ = true;
    }

private:
    // A command on its way from a server's thread to the loop and back.
    struct Pending {
        std::mutex mutex;
        std::condition_variable done;
        std::optional<CommandResult> result;
    };

    // The loop's thread never sleeps for a reader: in virtual time that would let others run.
    std::unique_lock<std::mutex> lock_model() {
        std::unique_lock lock(model_mutex_, std::try_to_lock);
        while (!lock.owns_lock()) {
            lock.try_lock();
        }
        return lock;
    }

    // Tells the pages what has changed, a few times a second. What changes meanwhile is told in one message.
    void tell() {
        MIRO_HostClockLeave(); // real time, also in virtual time
        std::uint64_t told = 0;
        bool over = false;
        while (!over) {
            std::this_thread::sleep_for(kTick);
            over = over_;
            tell_since(told); // the last time, what ended the run
        }
    }

    void tell_since(std::uint64_t &told) {
        const std::scoped_lock lock(model_mutex_);
        if (model_.revision() > told && server_->counts().clients > 0) {
            feed_.publish(changes_json(model_, told));
        }
        told = model_.revision();
    }

    std::string snapshot(std::uint64_t &seen) {
        const std::scoped_lock lock(model_mutex_);
        seen = feed_.last();
        if (snapshot_ == nullptr || snapshot_revision_ != model_.revision()) {
            snapshot_ = std::make_shared<const std::string>(snapshot_json(model_));
            snapshot_revision_ = model_.revision();
        }
        return *snapshot_;
    }

    CommandReply command(const std::string &body) {
        const auto words = command_words(body);
        if (!words) {
            return reply_of(400, {2, "expected: {\"words\": [...]}\n"});
        }
        if (commands_over_) {
            return reply_of(503, {1, "the run is over\n"});
        }
        if (++commands_ > kMostCommands) {
            --commands_;
            return reply_of(429, {1, "too many commands at once\n"});
        }
        const auto pending = std::make_shared<Pending>();
        chassis_.loop.post([&chassis = chassis_, pending, words = *words] { carry_out(chassis, words, *pending); });
        const CommandReply reply = awaited(*pending);
        --commands_;
        return reply;
    }

    static void carry_out(Chassis &chassis, const Words &words, Pending &pending) {
        CommandResult result = execute(chassis, words);
        const std::scoped_lock lock(pending.mutex);
        pending.result = std::move(result);
        pending.done.notify_all();
    }

    CommandReply awaited(Pending &pending) {
        std::unique_lock lock(pending.mutex);
        const auto deadline = std::chrono::steady_clock::now() + kCommandPatience;
        while (!pending.result && std::chrono::steady_clock::now() < deadline && !commands_over_) {
            pending.done.wait_for(lock, kTick);
        }
        return pending.result ? reply_of(200, *pending.result) : reply_of(503, {1, "the chassis does not answer\n"});
    }

    // While somebody looks, the page asks for what no event tells.
    void ask_later() {
        timer_ = chassis_.loop.after(kAskEvery, [this] {
            if (server_->watched()) {
                ask_all();
            }
            ask_later();
        });
    }

    void ask_all() {
        FiguresBody own{};
        measure_process(own, -1);
        {
            const auto lock = lock_model();
            model_.set_manager_figures(figures_of(own));
        }
        for (Board &board : chassis_.boards.all()) {
            // An agent that did not answer may not know the request.
            if (board.state == BoardState::kOnline && !silent_.contains({board.slot, board.starts})) {
                ask_stages(board);
            }
        }
        if (chassis_.boards.backup().state == BoardState::kOnline) {
            ask_figures(chassis_.boards.backup());
        }
    }

    // A reply may come when this is gone.
    void ask(Board &board, const Frame &frame, Links::OnReply on_reply) {
        chassis_.links.ask(board, frame, kAskPatience,
                           [alive = std::weak_ptr(alive_), on_reply = std::move(on_reply)](const Frame *reply) {
                               if (!alive.expired()) {
                                   on_reply(reply);
                               }
                           });
    }

    void ask_stages(Board &board) {
        const Frame frame = chassis_.links.request_frame(board, kNetFnChassis, kCmdTrace);
        const std::pair<std::uint32_t, std::uint32_t> life = {board.slot, board.starts};
        ask(board, frame, [this, life](const Frame *reply) {
            if (reply == nullptr || reply->type->command != kCmdTrace) {
                silent_.insert(life);
                return;
            }
            const auto lock = lock_model();
            model_.set_stages(static_cast<std::int32_t>(life.first), stages_of(reply->body<TraceBody>()));
        });
    }

    void ask_figures(Board &backup) {
        const Frame frame = chassis_.links.request_frame(backup, kNetFnChassis, kCmdFigures);
        ask(backup, frame, [this](const Frame *reply) {
            if (reply != nullptr && reply->type->command == kCmdFigures) {
                const auto lock = lock_model();
                model_.set_backup_figures(figures_of(reply->body<FiguresBody>()));
            }
        });
    }

    Chassis &chassis_;
    std::mutex model_mutex_;
    Model model_{ModelLimits{}};
    std::shared_ptr<const std::string> snapshot_;
    std::uint64_t snapshot_revision_ = 0;
    Feed feed_;
    std::string token_;
    Site site_{
        [this](std::uint64_t &seen) { return snapshot(seen); },
        [this](std::int32_t slot) {
            const std::scoped_lock lock(model_mutex_);
            return history_json(model_, slot);
        },
        [this](const ServerCounts &counts) {
            const std::scoped_lock lock(model_mutex_);
            return metrics_text(model_, counts);
        },
        [this](const std::string &body) { return command(body); },
        MIRO_HostClockLeave, // it serves the world outside, also in virtual time
    };
    std::unique_ptr<HttpServer> server_;
    std::thread teller_;
    std::atomic<int> commands_{0};
    std::atomic<bool> commands_over_{false};
    std::atomic<bool> over_{false};
    std::set<std::pair<std::uint32_t, std::uint32_t>> silent_; // slot and start of its process
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    Loop::TimerId timer_ = 0;
    int subscription_ = 0;
};

Web::Web(Chassis &chassis, const WebAddress &address) : room_(std::make_unique<Room>(chassis, address)) {}

Web::~Web() = default;

std::string Web::url() const {
    return room_->url();
}

void Web::end_commands() {
    room_->end_commands();
}

} // namespace chassis
