#include "manager/processes.h"

#include "descriptor.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace chassis {

namespace {

constexpr int kNotStarted = 127;
constexpr unsigned kFirstOwnDescriptor = 3;

struct Start {
    const char *program;
    char *const *arguments;
    const char *folder; // empty: none
    const char *output;
    pid_t parent;
};

bool go_to(const Start &start) {
    if (*start.folder != '\0' && chdir(start.folder) != 0) {
        return false;
    }
    if (*start.output == '\0') {
        return true;
    }
    const int fd = open(start.output, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    return fd >= 0 && dup2(fd, STDOUT_FILENO) >= 0 && dup2(fd, STDERR_FILENO) >= 0;
}

// Between fork and exec: nothing that takes a lock.
[[noreturn]] void become(const Start &start) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != start.parent || !go_to(start)) {
        _exit(kNotStarted);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    // What watches the run has files and sockets open; the agent is the same with and without them.
    syscall(SYS_close_range, kFirstOwnDescriptor, ~0U, CLOSE_RANGE_CLOEXEC);
    execv(start.program, start.arguments);
    _exit(kNotStarted);
}

// Waits for the child's end, at most so long.
bool ends_within(pid_t child, std::chrono::milliseconds patience) {
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    pollfd source = {handle.get(), POLLIN, 0};
    return handle.get() >= 0 && poll(&source, 1, static_cast<int>(patience.count())) > 0;
}

int status_of(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalStatus + WTERMSIG(status);
}

int reap(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status_of(status);
}

} // namespace

pid_t start_process(const std::string &program, const std::vector<std::string> &arguments, const std::string &folder,
                    const std::string &output) {
    std::vector<char *> pointers = {const_cast<char *>(program == kOwnProgram ? "orva-chassis" : program.c_str())};
    for (const std::string &argument : arguments) {
        pointers.push_back(const_cast<char *>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const Start start = {program.c_str(), pointers.data(), folder.c_str(), output.c_str(), getpid()};
    const pid_t child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        become(start);
    }
    return child;
}

pid_t start_board(const std::string &program, const AgentOptions &agent) {
    if (program.empty()) {
        return start_process(kOwnProgram, agent_words(agent));
    }
    return start_process(program, {std::to_string(agent.port), std::to_string(agent.run), std::to_string(agent.slot)},
                         agent.folder);
}

std::optional<int> exit_status(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == 0) {
        return std::nullopt;
    }
    return status_of(status);
}

std::vector<int> stop_processes(std::span<const pid_t> children, std::chrono::milliseconds patience) {
    for (const pid_t child : children) {
        kill(child, SIGTERM);
        kill(child, SIGCONT); // a stopped one takes no notice otherwise
    }
    std::vector<int> statuses;
    for (const pid_t child : children) {
        if (!ends_within(child, patience)) {
            kill(child, SIGKILL);
        }
        statuses.push_back(reap(child));
    }
    return statuses;
}

} // namespace chassis
