// orva-chassis: a chassis on one machine.
#include "agent.h"
#include "board_folder.h"
#include "control.h"
#include "manager.h"
#include "messages.h"
#include "options.h"
#include "report.h"
#include "run_folder.h"
#include "runtime.h"
#include "scenario.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <sys/stat.h>

namespace {

using namespace chassis;

constexpr int kUsageStatus = 2;
constexpr int kSignalStatus = 128;

void show_end(Report &report, const Leftovers &left) {
    report.step("power-off");
    report.check("every process and every queue of the chassis is gone" +
                     (left.none() ? std::string()
                                  : ", left are " + std::to_string(left.processes) + " processes and " +
                                        std::to_string(left.queues) + " queues"),
                 left.none());
}

int summary(const Report &report, Manager &manager) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f", static_cast<double>(uptime_ms()) / 1000);
    const std::size_t boards = manager.boards().size();
    std::cout << "orva-chassis: " << boards << (boards == 1 ? " board, " : " boards, ")
              << manager.count(BoardState::kLost) << " lost, " << report.seen() << " of " << report.asked()
              << " checks seen in " << seconds
              << " s: " << (report.all_seen() ? "everything asked was seen" : "NOT everything asked was seen")
              << std::endl;
    return report.all_seen() ? 0 : 1;
}

int interrupted(const Interrupted &reason, Manager &manager) {
    const Leftovers left = manager.stop();
    std::cout << "orva-chassis: stopped by " << strsignal(reason.signal) << ", " << left.processes
              << " processes and " << left.queues << " queues left" << std::endl;
    return kSignalStatus + reason.signal;
}

int manage(const RunOptions &options, RunFolder &folder, const Descriptor &signals) {
    const auto own_folder = board_folder(folder.path(), kMainSlot);
    make_board_folder(own_folder, kMainSlot, options.boards);
    load_optional_libraries();
    start_runtime(own_folder, "manager");
    Manager manager(folder.path(), options.boards, signals);
    const Control control(manager);
    Report report;
    try {
        run_scenario(manager, report, options);
        show_end(report, manager.stop());
        return summary(report, manager);
    } catch (const Interrupted &reason) {
        return interrupted(reason, manager);
    }
}

int run(const RunOptions &options) {
    uptime_ms();
    umask(077);                    // what a run writes is its user's
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away must not keep the chassis from cleaning up
    const Descriptor signals = take_signals({SIGINT, SIGTERM, SIGHUP, SIGCHLD});
    std::unique_ptr<RunFolder> folder;
    try {
        folder = std::make_unique<RunFolder>(options.run_dir);
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
        return kUsageStatus;
    }
    if (options.keep) {
        folder->keep();
    }
    int status = 1;
    try {
        status = manage(options, *folder, signals);
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
    }
    if (status == 1) {
        folder->keep();
    }
    if (folder->kept()) {
        std::cout << "orva-chassis: descriptions and logs are in " << folder->path().string() << std::endl;
    }
    return status;
}

} // namespace

int main(int argc, char **argv) {
    const Options options = read_options(argc, argv);
    if (const auto *exit_now = std::get_if<ExitNow>(&options)) {
        return exit_now->status;
    }
    if (const auto *agent = std::get_if<AgentOptions>(&options)) {
        return run_agent(*agent);
    }
    if (const auto *command = std::get_if<CommandOptions>(&options)) {
        return give_command(*command);
    }
    return run(std::get<RunOptions>(options));
}
