#include "explore/explorer.h"

#include "explore/outcome.h"
#include "explore/plan.h"
#include "explore/shrink.h"
#include "manager/loop.h"
#include "manager/processes.h"
#include "manager/watch_runs.h"
#include "text.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace chassis {

namespace {

constexpr std::chrono::minutes kRunPatience{5};
constexpr std::chrono::milliseconds kStopPatience{10000};
constexpr std::uint32_t kMostTrials = 150;

class Explorer {
public:
    Explorer(const ExploreOptions &options, const std::filesystem::path &folder, const Descriptor &signals)
        : options_(options), folder_(folder), loop_(clock_, signals) {
        loop_.watch_children([this] { note_ended(); });
    }
    ~Explorer() {
        std::vector<pid_t> running;
        for (const auto &[process, job] : jobs_) {
            running.push_back(process);
        }
        stop_processes(running, kStopPatience);
    }
    Explorer(const Explorer &) = delete;
    Explorer &operator=(const Explorer &) = delete;

    // True when no seed failed.
    bool run() {
        while (next_ < options_.seeds || !jobs_.empty()) {
            while (next_ < options_.seeds && jobs_.size() < jobs()) {
                const Plan plan = draw_plan(options_.first_seed + next_++, !options_.agent.empty());
                start(plan, [this, plan](const Outcome &outcome) { note(plan, outcome); });
            }
            const std::size_t before = jobs_.size();
            loop_.wait(loop_.now() + kRunPatience, [&] { return jobs_.size() < before; });
        }
        show_summary();
        for (const auto &[seed, failed] : failed_) {
            shrink_and_show(failed.plan, failed.outcome);
        }
        return failed_.empty();
    }

private:
    using Done = std::function<void(const Outcome &)>;
    struct Job {
        std::string name; // of its files
        Loop::TimerId limit;
        Done done;
    };
    struct Failed {
        Plan plan;
        Outcome outcome;
    };

    std::size_t jobs() const {
        const std::size_t processors = std::thread::hardware_concurrency();
        return options_.jobs != 0 ? options_.jobs : std::max<std::size_t>(1, processors);
    }

    std::string file(const std::string &name, const char *suffix) const {
        return (folder_ / (name + suffix)).string();
    }

    static void write(const std::string &file, const std::string &text) {
        std::ofstream stream(file);
        stream << text << std::flush;
        if (!stream) {
            throw std::runtime_error(file + " cannot be written");
        }
    }

    void start(const Plan &plan, Done done) {
        const std::string name = std::to_string(++runs_);
        write(file(name, ".toml"), scenario_text(plan));
        std::vector<std::string> words = {"run",      file(name, ".toml"),   "--time",    "virtual",
                                          "--events", file(name, ".events"), "--run-dir", file(name, ".run")};
        if (!options_.agent.empty()) {
            words.insert(words.end(), {"--agent", options_.agent});
        }
        const pid_t process = start_process(kOwnProgram, words, "", file(name, ".output"));
        const auto limit = loop_.after(kRunPatience, [process] { kill(process, SIGKILL); });
        jobs_[process] = {name, limit, std::move(done)};
    }

    // Several may have ended.
    void note_ended() {
        const std::map<pid_t, Job> jobs = jobs_;
        for (const auto &[process, job] : jobs) {
            if (const auto status = exit_status(process)) {
                loop_.cancel(job.limit);
                jobs_.erase(process);
                const Outcome outcome = read_outcome(*status, file(job.name, ".events"), file(job.name, ".output"));
                for (const char *suffix : {".toml", ".events", ".output", ".run"}) {
                    std::filesystem::remove_all(file(job.name, suffix));
                }
                job.done(outcome);
            }
        }
    }

    void note(const Plan &plan, const Outcome &outcome) {
        chassis_seconds_ += seconds_of(plan);
        std::cout << "seed " << plan.seed << ": " << summary_of(plan) << ": "
                  << (outcome.failure.empty() ? "ok" : "FAILED: " + outcome.failure) << std::endl;
        if (!outcome.failure.empty()) {
            std::istringstream lines(outcome.detail);
            for (std::string line; std::getline(lines, line);) {
                std::cout << "    " << line << std::endl;
            }
            failed_[plan.seed] = {plan, outcome};
        }
    }

    void show_summary() const {
        std::cout << "orva-chassis: seeds " << options_.first_seed << " to "
                  << options_.first_seed + options_.seeds - 1 << ", " << failed_.size() << " failed, "
                  << chassis_seconds_ / 60 << " minutes of chassis time in " << whole_seconds(loop_.now()) << " s"
                  << std::endl;
    }

    Outcome outcome_of(const Plan &plan) {
        std::optional<Outcome> result;
        start(plan, [&result](const Outcome &outcome) { result = outcome; });
        loop_.wait(loop_.now() + 2 * kRunPatience, [&] { return result.has_value(); });
        return *result;
    }

    void shrink_and_show(const Plan &plan, const Outcome &outcome) {
        const Plan least =
            shrink(plan, kMostTrials, [&](const Plan &trial) { return same_failure(outcome_of(trial), outcome); });
        const std::string name = "explore-" + std::to_string(plan.seed) + ".toml";
        write(name, scenario_text(least));
        std::cout << "seed " << plan.seed << " fails in the same way with " << summary_of(least)
                  << "; this shows it:\n    orva-chassis run " << name << " --time virtual"
                  << (options_.agent.empty() ? "" : " --agent " + shell_word(options_.agent)) << std::endl;
    }

    const ExploreOptions &options_;
    const std::filesystem::path folder_;
    const Clock clock_;
    Loop loop_;
    std::map<pid_t, Job> jobs_;
    std::map<std::uint32_t, Failed> failed_; // by seed
    std::uint32_t next_ = 0;
    std::uint64_t runs_ = 0;
    std::uint64_t chassis_seconds_ = 0;
};

} // namespace

int run_explore(const ExploreOptions &options) {
    return watch_runs([&](const std::filesystem::path &folder, const Descriptor &signals) {
        return Explorer(options, folder, signals).run();
    });
}

} // namespace chassis
