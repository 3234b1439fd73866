#include "processes.h"

#include <cerrno>
#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
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

} // namespace

pid_t start_process(const std::vector<std::string> &arguments) {
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
        become("/proc/self/exe", pointers.data(), parent);
    }
    return child;
}

std::optional<int> exit_status(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == 0) {
        return std::nullopt;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool stop_processes(std::span<const pid_t> children, std::chrono::milliseconds patience) {
    std::vector<pid_t> left(children.begin(), children.end());
    bool all_stopped = true;
    const auto reap = [&] {
        std::erase_if(left, [&](pid_t child) {
            const auto status = exit_status(child);
            all_stopped = all_stopped && status.value_or(0) == 0;
            return status.has_value();
        });
    };
    for (const pid_t child : left) {
        kill(child, SIGTERM);
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    reap();
    while (!left.empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        reap();
    }
    for (const pid_t child : left) {
        kill(child, SIGKILL);
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    return all_stopped && left.empty();
}

} // namespace chassis
