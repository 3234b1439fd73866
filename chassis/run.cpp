#include "run.h"

#include "console.h"
#include "control/control_socket.h"
#include "events/json_lines.h"
#include "manager/chassis.h"
#include "miro_host_clock.h"
#include "record/recorder.h"
#include "run_folder.h"
#include "runtime.h"
#include "scenario/invariants.h"
#include "scenario/player.h"
#include "scenario/reader.h"
#include "table.h"
#include "text.h"
#include "virtual_time.h"
#include "web/report.h"
#include "web/web.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <sys/stat.h>

namespace chassis {

namespace {

// Nobody reads what the run shows.
struct OutputLost : std::runtime_error {
    OutputLost() : std::runtime_error("standard output cannot be written") {}
};

Scenario chosen_scenario(const RunOptions &options) {
    Scenario scenario = load_scenario(options.scenario);
    if (options.boards) {
        set_boards(scenario, *options.boards);
    }
    scenario.seed = options.seed.value_or(scenario.seed);
    scenario.seconds = options.seconds.value_or(scenario.seconds);
    scenario.restart = scenario.restart && !options.no_restart;
    return scenario;
}

ChassisPlan plan_of(const Scenario &scenario, const RunOptions &options, const std::filesystem::path &folder) {
    return {folder, scenario.boards, options.agent, scenario.seed, scenario.restart};
}

void note_begin(EventLog &log, const Scenario &scenario, const Clock &clock) {
    log.add(EventKind::kRun, kNoBoard,
            {text_field("scenario", scenario.name), number_field("seed", scenario.seed),
             number_field("boards", scenario.boards.size()),
             text_field("time", clock.is_virtual() ? "virtual" : "real")});
}

void note_end(Chassis &chassis, const Console &console, const Leftovers &left) {
    chassis.log.add(EventKind::kStep, kNoBoard, {text_field("text", "power-off")});
    chassis.log.add(
        EventKind::kCheck, kNoBoard,
        {text_field("text", "every process and every queue of the chassis is gone" +
                                (left.none() ? std::string()
                                             : ", left are " + std::to_string(left.processes) + " processes and " +
                                                   std::to_string(left.queues) + " queues")),
         flag_field("ok", left.none()), text_field("detail", "")});
    chassis.log.add(EventKind::kEnd, kNoBoard,
                    {number_field("checks", console.checks()), number_field("failed", console.failed()),
                     number_field("skipped", console.skipped().size()),
                     number_field("processes_left", left.processes), number_field("queues_left", left.queues)});
}

// The last line.
void show_summary(Chassis &chassis, const Console &console) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f",
                  static_cast<double>(whole_milliseconds(chassis.loop.now())) / 1000);
    const std::size_t boards = chassis.boards.all().size();
    std::cout << "orva-chassis: " << boards << (boards == 1 ? " board, " : " boards, ")
              << chassis.boards.count(BoardState::kLost) << " lost, " << console.checks() - console.failed() << " of "
              << console.checks() << " checks ok in " << seconds << " s, "
              << (console.skipped().empty() ? "nothing skipped" : "skipped: " + joined(console.skipped(), ", "))
              << std::endl;
}

// A file that the user asked for cannot be written; nothing was started.
struct CannotBegin : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What only watches is made from the options, and subscribes.
class Watchers {
public:
    Watchers(Chassis &chassis, const Scenario &scenario, const RunOptions &options) {
        try {
            if (!options.events.empty()) {
                events_ = std::make_unique<EventFile>(chassis.log, options.events);
            }
            if (!options.record.empty()) {
                recorder_ = std::make_unique<Recorder>(chassis, options.record);
            }
            if (!options.report.empty()) {
                report_ = std::make_unique<ReportFile>(chassis, scenario.source, options.report);
            }
            if (options.web) {
                web_ = std::make_unique<Web>(chassis, web_address(*options.web).value_or(WebAddress()));
                // Not an event: whoever reads the log must not learn the token.
                std::cout << "== the page\n   " << web_->url() << std::endl;
            }
        } catch (const std::runtime_error &error) {
            throw CannotBegin(error.what());
        }
    }
    void close() {
        if (events_) {
            events_->close();
        }
        if (recorder_) {
            recorder_->close();
        }
        if (report_) {
            report_->close();
        }
    }
    // The page, or null.
    Web *web() {
        return web_.get();
    }

private:
    std::unique_ptr<EventFile> events_;
    std::unique_ptr<Recorder> recorder_;
    std::unique_ptr<ReportFile> report_;
    std::unique_ptr<Web> web_;
};

int interrupted(const Interrupted &reason, Chassis &chassis, Watchers &watchers) {
    const Leftovers left = chassis.power_off();
    watchers.close();
    std::cout << "orva-chassis: stopped by " << strsignal(reason.signal) << ", " << left.processes
              << " processes and " << left.queues << " queues left" << std::endl;
    return kSignalStatus + reason.signal;
}

// Until somebody ends it: the signal's number. In virtual time the boards are gone by then, since their time would
// run ahead without an end.
int serve(Chassis &chassis, Web &web) {
    if (chassis.loop.clock().is_virtual()) {
        web.end_commands();
        MIRO_HostClockLeave();
    } else {
        chassis.log.add(EventKind::kStep, kNoBoard, {text_field("text", "after the scenario, until Ctrl-C")});
    }
    std::cout << "   the page is served: " << web.url() << std::endl;
    try {
        chassis.loop.wait(Time::max(), [] { return false; });
    } catch (const Interrupted &reason) {
        return reason.signal;
    }
    return 0;
}

void end(Chassis &chassis, const Console &console, Watchers &watchers, std::optional<Invariants> &invariants) {
    const Leftovers left = chassis.power_off();
    if (invariants) {
        invariants->finish();
    }
    note_end(chassis, console, left);
    watchers.close();
    show_summary(chassis, console);
}

int play(Chassis &chassis, const Scenario &scenario, const RunOptions &options) {
    Console console(chassis.log, [&] { chassis.loop.post([] { throw OutputLost(); }); });
    Watchers watchers(chassis, scenario, options);
    std::optional<Control> control;
    if (!options.hold) {
        control.emplace(chassis);
    }
    std::optional<Invariants> invariants;
    if (scenario.invariants) {
        invariants.emplace(chassis.log);
    }
    try {
        note_begin(chassis.log, scenario, chassis.loop.clock());
        Player(chassis, scenario).play();
        if (options.hold) {
            // Only now, so that every command comes at a known instant.
            control.emplace(chassis);
            chassis.loop.hold([&] { return chassis.told_to_end; });
        }
        std::cout << "== the boards\n" << table_text(chassis.boards.all()) << std::flush;
        Web *web = options.hold ? nullptr : watchers.web();
        int signal = 0;
        if (web != nullptr && !options.virtual_time) {
            signal = serve(chassis, *web);
        }
        end(chassis, console, watchers, invariants);
        if (web != nullptr && options.virtual_time) {
            signal = serve(chassis, *web);
        }
        if (!std::cout) {
            throw OutputLost();
        }
        return signal != 0 ? kSignalStatus + signal : console.failed() == 0 ? 0 : 1;
    } catch (const Interrupted &reason) {
        return interrupted(reason, chassis, watchers);
    }
}

int manage(const RunOptions &options, const Scenario &scenario, const RunFolder &folder, const Descriptor &signals) {
    const Clock clock = options.virtual_time ? virtual_clock() : Clock();
    EventLog log(clock);
    start_manager(folder.path());
    Chassis chassis(plan_of(scenario, options, folder.path()), clock, log, signals);
    return play(chassis, scenario, options);
}

int run_in(RunFolder &folder, const RunOptions &options, const Scenario &scenario, const Descriptor &signals) {
    int status = 1;
    try {
        status = manage(options, scenario, folder, signals);
        if (status == 1) {
            folder.keep();
        }
    } catch (const CannotBegin &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
        return kUsageStatus;
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
    }
    if (folder.kept()) {
        std::cerr << "orva-chassis: descriptions and logs are in " << folder.path().string() << std::endl;
    }
    return status;
}

} // namespace

int run_chassis(const RunOptions &options) {
    umask(077);                    // what a run writes is its user's
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away must not keep the chassis from cleaning up
    try {
        const Scenario scenario = chosen_scenario(options);
        if (options.virtual_time) {
            start_virtual_time("--time virtual");
        }
        const Descriptor signals = take_signals({SIGINT, SIGTERM, SIGHUP, SIGCHLD});
        RunFolder folder(options.run_dir);
        if (options.keep) {
            folder.keep();
        }
        return run_in(folder, options, scenario, signals);
    } catch (const ScenarioError &error) {
        std::cerr << error.what() << '\n';
        return kUsageStatus;
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
        return kUsageStatus;
    }
}

} // namespace chassis
