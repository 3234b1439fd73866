// Support for system tests: namespaces, scratch folders, child processes.
#ifndef ORVA_SYSTEM_SUPPORT_H
#define ORVA_SYSTEM_SUPPORT_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orva_test {

// A folder below the system's temporary folder, removed with everything in it at the end.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;
    const std::string &path() const {
        return path_;
    }
    std::string file(const std::string &name) const {
        return path_ + "/" + name;
    }

private:
    std::string path_;
};

// Enters fresh namespaces (CLONE_NEWIPC, CLONE_NEWNET, CLONE_NEWNS with private propagation). False, with errno set,
// when the kernel refuses. Test cases run in processes of their own, so this affects one case only.
bool enter_namespaces(int cloneFlags);

// Mounts a fresh tmpfs on `folder`, made if missing, inside the private mount namespace.
bool mount_tmpfs(const std::string &folder);

// Runs `body` in a forked child and returns its exit status (body's result), or 128 + signal.
int run_in_child(const std::function<int()> &body);

// Runs the checks in a forked child, so that what they open and set up is gone afterwards; the case fails with them.
void in_child(const std::function<void()> &checks);

// Runs a program, waits, and gives back its exit status (or 128 + signal) and what it wrote on both outputs. One that
// hangs is ended by SIGALRM.
struct ProgramResult {
    int status = -1;
    std::string output;
};
ProgramResult run_program(const std::vector<std::string> &arguments, const std::vector<std::string> &environment = {},
                          const std::string &folder = "");

// What a chassis says where a sanitizer comes before the stepped clock.
constexpr const char *kLacksVirtualTime = "this build cannot follow the stepped clock";

// Opens libraries by their bare names in a second run of the calling test case, whose search path is `folder`. Each
// must be found.
void expect_found_by_bare_names(const std::vector<std::string> &names, const std::string &folder);

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &content);

// The lines of a file without their ends.
std::vector<std::string> lines_of(const std::string &path);

// The permission bits of a file, which must be there.
unsigned mode_of(const std::string &path);

// Appends what the process writes on its standard error to a file from here on.
void standard_error_to(const std::string &path);

// `text` without the stamp at its start, where a '0' of `shape` means any digit.
std::string without_stamp(const std::string &text, std::string_view shape);

} // namespace orva_test

// Skips, with the reason, when the kernel refuses the namespaces.
#define ORVA_ENTER_NAMESPACES_OR_SKIP(flags)                                                                         \
    do {                                                                                                             \
        if (!::orva_test::enter_namespaces(flags)) {                                                                 \
            GTEST_SKIP() << "the kernel refuses namespaces " #flags ", errno " << errno;                             \
        }                                                                                                            \
    } while (false)

#endif
