#include "soak/soaker.h"

#include "explore/plan.h"
#include "manager/loop.h"
#include "manager/processes.h"
#include "manager/watch_runs.h"
#include "soak/queue_soak.h"

#include <cmath>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace chassis {

namespace {

constexpr std::chrono::seconds kLookAtChassisEvery{5};
constexpr std::chrono::minutes kLate{10};
constexpr std::chrono::milliseconds kStopPatience{10000};

std::string file_text(const std::string &file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// What the run says of itself at its end.
std::string summary_in(const std::string &text) {
    std::istringstream stream(text);
    std::string found = "it has not come to its end";
    for (std::string line; std::getline(stream, line);) {
        found = line.find(" checks ok in ") != std::string::npos ? line : found;
    }
    return found;
}

class Soaker {
public:
    Soaker(const SoakOptions &options, const std::filesystem::path &folder, const Descriptor &signals)
        : options_(options), folder_(folder), loop_(clock_, signals),
          queues_(loop_, folder / "queues", options.seed) {
        loop_.watch_children([this] { note_ended(); });
    }
    ~Soaker() {
        if (chassis_ != 0) {
            stop_processes(std::array{chassis_}, kStopPatience);
        }
    }
    Soaker(const Soaker &) = delete;
    Soaker &operator=(const Soaker &) = delete;

    // True when all was well.
    bool run() {
        std::cout << "== " << kWorkers << " processes over queues and " << options_.boards
                  << " boards over the chassis for " << seconds() << " s" << std::endl;
        queues_.start();
        start_chassis();
        loop_.after(kLookAtChassisEvery, [this] { look(); });
        loop_.after(std::chrono::minutes(1), [this] { show_minute(); });
        const auto has_ended = [this] { return chassis_ == 0; };
        loop_.wait(loop_.now() + std::chrono::seconds(seconds()), has_ended);
        queues_.finish();
        loop_.wait(loop_.now() + kLate, has_ended); // a board that was disturbed last comes back first
        return report();
    }

private:
    void start_chassis() {
        const std::string scenario = (folder_ / "soak.toml").string();
        std::ofstream(scenario) << scenario_text(
            draw_soak(options_.seed, options_.boards, seconds(), !options_.agent.empty()));
        std::vector<std::string> words = {"run", scenario, "--run-dir", (folder_ / "run").string()};
        if (!options_.agent.empty()) {
            words.insert(words.end(), {"--agent", options_.agent});
        }
        chassis_ = start_process(kOwnProgram, words, "", output());
    }

    std::uint32_t seconds() const {
        return static_cast<std::uint32_t>(std::lround(options_.minutes * 60));
    }

    std::string output() const {
        return (folder_ / "output").string();
    }

    void note_ended() {
        queues_.note_ended();
        const auto status = chassis_ != 0 ? exit_status(chassis_) : std::nullopt;
        if (status) {
            chassis_ = 0;
            status_ = *status;
        }
    }

    void look() {
        const auto grown = chassis_ != 0 ? watch_.look(chassis_) : std::nullopt;
        if (grown && grown_.empty()) {
            grown_ = "the management process: " + *grown;
        }
        loop_.after(kLookAtChassisEvery, [this] { look(); });
    }

    void show_minute() {
        std::cout << "   " << ++minutes_ << " min: workers disturbed: " << queues_.disturbances() << std::endl;
        loop_.after(std::chrono::minutes(1), [this] { show_minute(); });
    }

    void check(const std::string &text, bool ok) {
        std::cout << (ok ? "   [ok]     " : "   [FAILED] ") << text << std::endl;
        failed_ = failed_ || !ok;
    }

    bool report() {
        const MessageCount count = queues_.counted();
        std::cout << "   workers disturbed: " << queues_.disturbances() << '\n';
        check("messages sent: " + std::to_string(count.sent) + ", received once: " + std::to_string(count.received) +
                  ", in a queue when it was deleted: " + std::to_string(count.deleted) +
                  ", in the hands of a process that was killed: " + std::to_string(count.in_hands),
              queues_.mistakes().empty() && count.received > 0);
        for (const std::string &line : queues_.mistakes()) {
            std::cout << "            " << line << '\n';
        }
        const std::string text = file_text(output());
        check(summary_in(text), status_ == 0);
        if (status_ != 0) {
            std::cout << text << "status: " << status_ << '\n';
        }
        check("the management process gathers neither memory nor descriptors" +
                  (grown_.empty() ? std::string() : ": " + grown_),
              grown_.empty());
        return !failed_;
    }

    const SoakOptions &options_;
    const std::filesystem::path folder_;
    const Clock clock_;
    Loop loop_;
    QueueSoak queues_;
    pid_t chassis_ = 0;
    int status_ = -1;
    ProcessWatch watch_;
    std::string grown_;
    std::uint32_t minutes_ = 0;
    bool failed_ = false;
};

} // namespace

int run_soak(const SoakOptions &options) {
    return watch_runs([&](const std::filesystem::path &folder, const Descriptor &signals) {
        return Soaker(options, folder, signals).run();
    });
}

} // namespace chassis
