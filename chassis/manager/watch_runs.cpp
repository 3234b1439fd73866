#include "manager/watch_runs.h"

#include "manager/loop.h"
#include "options.h"
#include "run_folder.h"
#include "runtime.h"

#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <sys/stat.h>

namespace chassis {

int watch_runs(const std::function<bool(const std::filesystem::path &folder, const Descriptor &signals)> &work) {
    umask(077);
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const Descriptor signals = take_signals({SIGINT, SIGTERM, SIGHUP, SIGCHLD});
        const RunFolder folder("");
        return work(folder.path(), signals) ? 0 : 1;
    } catch (const Interrupted &reason) {
        std::cerr << "orva-chassis: stopped by " << strsignal(reason.signal) << std::endl;
        return kSignalStatus + reason.signal;
    } catch (const std::exception &error) {
        std::cerr << "orva-chassis: " << error.what() << '\n';
        return kUsageStatus;
    }
}

} // namespace chassis
