#include "board/private_mount.h"

#include "descriptor.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace chassis {

namespace {

// What the library expects below the two.
constexpr std::array kFixedFolders = {"opt/keldv8/tmp", "opt/keldv8/data", "tmp"};
constexpr std::array kRoots = {"opt", "tmp"};

std::string refusal(const char *what) {
    return std::string(what) + ": " + std::strerror(errno);
}

bool write_text(const char *file, const std::string &text) {
    std::ofstream stream(file);
    stream << text;
    return static_cast<bool>(stream.flush());
}

// Without root, the mounts need a user namespace in which this user is root.
bool unshare_as_anyone() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWNS) == 0) {
        return true;
    }
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && write_text("/proc/self/setgroups", "deny") &&
           write_text("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1") &&
           write_text("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1");
}

bool bind(const std::filesystem::path &from, const std::filesystem::path &to) {
    return mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

bool lies_below(const std::filesystem::path &path, const std::filesystem::path &root) {
    const std::string prefix = root.string() + "/";
    return path.string().rfind(prefix, 0) == 0;
}

// The run folder stays where it is, also when it lies in what is hidden.
bool replace(const std::filesystem::path &root, const std::filesystem::path &own,
             const std::filesystem::path &run_folder) {
    if (lies_below(run_folder, root)) {
        const auto kept = own / run_folder.lexically_relative(root);
        std::filesystem::create_directories(kept);
        if (mount(run_folder.c_str(), kept.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            return false;
        }
    }
    return bind(own, root);
}

std::string attempt(const std::filesystem::path &own, const std::filesystem::path &run_folder) {
    if (!unshare_as_anyone()) {
        return refusal("a mount namespace is refused");
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return refusal("the mounts cannot be made private");
    }
    for (const char *name : kRoots) {
        if (!replace(std::filesystem::path("/") / name, own / name, run_folder)) {
            return refusal(name);
        }
    }
    return {};
}

// A refusal half-way would leave the process between two worlds, so a child goes first.
std::string rehearse(const std::filesystem::path &own, const std::filesystem::path &run_folder) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        return refusal("pipe");
    }
    const Descriptor reading(fds[0]);
    Descriptor writing(fds[1]);
    const pid_t child = fork();
    if (child < 0) {
        return refusal("fork");
    }
    if (child == 0) {
        const std::string why = attempt(own, run_folder);
        (void)!write(writing.get(), why.data(), why.size());
        _exit(0);
    }
    writing = Descriptor();
    std::array<char, 256> text{};
    const ssize_t count = read(reading.get(), text.data(), text.size());
    waitpid(child, nullptr, 0);
    return {text.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

} // namespace

std::string enter_private_mount(const std::filesystem::path &folder, const std::filesystem::path &run_folder) {
    const auto own = folder / "private";
    for (const char *name : kFixedFolders) {
        std::filesystem::create_directories(own / name);
    }
    const std::string why = rehearse(own, run_folder);
    return why.empty() ? attempt(own, run_folder) : why;
}

} // namespace chassis
