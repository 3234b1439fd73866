#include "record/replay_command.h"

#include "record/replay.h"
#include "run_folder.h"
#include "runtime.h"
#include "text.h"
#include "virtual_time.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <sys/stat.h>

namespace chassis {

namespace {

// A line for each kind of value.
void show_left_out(bool real_time) {
    std::vector<std::string> shown;
    for (const LeftOut &row : fields_left_out()) {
        const bool applies = real_time || !row.real_time_only;
        if (applies && std::ranges::find(shown, row.what) == shown.end()) {
            std::cout << "not compared: " << row.what << "; " << row.reason << '\n';
            shown.emplace_back(row.what);
        }
    }
}

std::string count_text(std::uint64_t count, const char *one, const char *many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

void show_summary(const Recording &recording, const ReplayFigures &figures) {
    show_left_out(!recording.run.virtual_time);
    std::cout << "orva-chassis: " << count_text(figures.requests, "request", "requests") << " sent, "
              << count_text(figures.equal, "answer", "answers") << " equal, " << figures.differing << " different";
    if (figures.excused != 0) {
        std::cout << ", " << figures.excused
                  << (recording.run.virtual_time ? " left to a fault of the link"
                                                 : " left to the capture's clock or a fault of the link");
    }
    if (figures.nobody != 0) {
        std::cout << ", " << count_text(figures.nobody, "request", "requests") << " to boards that are not there";
    }
    std::cout << std::endl;
}

// A capture comes from outside: its texts must not steer a terminal.
std::string printable(std::string text) {
    for (char &letter : text) {
        letter = letter != '\n' && std::iscntrl(static_cast<unsigned char>(letter)) != 0 ? '?' : letter;
    }
    return text;
}

// A replay starts processes again when the capture says so.
ChassisPlan plan_of(const Recording &recording, const ReplayOptions &options, const RunFolder &folder) {
    return {folder.path(), recording.boards, options.agent, recording.run.seed, false};
}

int replay(const Recording &recording, const ReplayOptions &options, const RunFolder &folder,
           const Descriptor &signals) {
    const Clock clock = virtual_clock();
    EventLog log(clock);
    start_manager(folder.path());
    Chassis chassis(plan_of(recording, options, folder), clock, log, signals);
    try {
        const ReplayFigures figures = Replay(chassis, recording, std::cout).play();
        chassis.power_off();
        show_summary(recording, figures);
        if (!std::cout) {
            throw std::runtime_error("standard output cannot be written");
        }
        return figures.differing == 0 ? 0 : 1;
    } catch (const Interrupted &reason) {
        chassis.power_off();
        std::cout << "orva-chassis: stopped by " << strsignal(reason.signal) << std::endl;
        return kSignalStatus + reason.signal;
    }
}

} // namespace

int run_replay(const ReplayOptions &options) {
    umask(077);
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const Recording recording = read_recording(options.file);
        start_virtual_time("replay");
        const Descriptor signals = take_signals({SIGINT, SIGTERM, SIGHUP, SIGCHLD});
        RunFolder folder(options.run_dir);
        if (options.keep) {
            folder.keep();
        }
        try {
            return replay(recording, options, folder, signals);
        } catch (const std::exception &error) {
            std::cerr << "orva-chassis: " << error.what() << '\n';
            return 1;
        }
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << printable(error.what()) << '\n';
        return kUsageStatus;
    }
}

} // namespace chassis
