#include "manager/processes.h"

#include "descriptor.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace chassis {

namespace {

constexpr int kNotStarted = 127;

// Between fork and exec: nothing that takes a lock.
[[noreturn]] void become(const char *program, char *const *arguments, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(kNotStarted);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    execv(program, arguments);
    _exit(kNotStarted);
}

// Waits for the child's end, at most so long.
bool ends_within(pid_t child, std::chrono::milliseconds patience) {
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    pollfd source = {handle.get(), POLLIN, 0};
    return handle.get() >= 0 && poll(&source, 1, static_cast<int>(patience.count())) > 0;
}

int status_of(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int reap(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status_of(status);
}

} // namespace

pid_t start_process(const std::string &program, const std::vector<std::string> &arguments) {
    std::vector<char *> pointers = {const_cast<char *>("orva-chassis")};
    for (const std::string &argument : arguments) {
        pointers.push_back(const_cast<char *>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        become(program.c_str(), pointers.data(), parent);
    }
    return child;
}

std::optional<int> exit_status(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == 0) {
        return std::nullopt;
    }
    return status_of(status);
}

bool stop_processes(std::span<const pid_t> children, std::chrono::milliseconds patience) {
    bool all_stopped = true;
    for (const pid_t child : children) {
        kill(child, SIGTERM);
        kill(child, SIGCONT); // a stopped one takes no notice otherwise
    }
    for (const pid_t child : children) {
        if (!ends_within(child, patience)) {
            kill(child, SIGKILL);
        }
        all_stopped = reap(child) == 0 && all_stopped;
    }
    return all_stopped;
}

} // namespace chassis
