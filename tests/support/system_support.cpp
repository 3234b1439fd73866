#include "system_support.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orva_test {

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orva_test_XXXXXX").string();
    path_ = mkdtemp(pattern.data());
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool enter_namespaces(int cloneFlags) {
    if (unshare(cloneFlags) != 0) {
        return false;
    }
    if ((cloneFlags & CLONE_NEWNS) != 0) {
        return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }
    return true;
}

bool mount_tmpfs(const std::string &folder) {
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    return mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) == 0;
}

namespace {

// Less than a case has, so that what a program printed before it hung is seen.
constexpr unsigned kProgramSeconds = 240;

int exit_status(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

int run_in_child(const std::function<int()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    return child < 0 ? -1 : exit_status(child);
}

void in_child(const std::function<void()> &checks) {
    EXPECT_EQ(run_in_child([&] {
                  checks();
                  std::fflush(nullptr);
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
}

ProgramResult run_program(const std::vector<std::string> &arguments, const std::vector<std::string> &environment,
                          const std::string &folder) {
    int fds[2];
    ProgramResult result;
    if (pipe2(fds, O_CLOEXEC) != 0) {
        return result;
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(fds[1], STDOUT_FILENO);
        dup2(fds[1], STDERR_FILENO);
        if (!folder.empty() && chdir(folder.c_str()) != 0) {
            _exit(126);
        }
        for (const std::string &entry : environment) {
            putenv(const_cast<char *>(entry.c_str()));
        }
        std::vector<char *> argv;
        for (const std::string &argument : arguments) {
            argv.push_back(const_cast<char *>(argument.c_str()));
        }
        argv.push_back(nullptr);
        if (std::getenv("ORVA_TEST_LONG") == nullptr) {
            alarm(kProgramSeconds); // stays over exec
        }
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(fds[1]);
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(fds[0], buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR)) {
        if (count > 0) {
            result.output.append(buffer, static_cast<std::size_t>(count));
        }
    }
    close(fds[0]);
    result.status = child < 0 ? -1 : exit_status(child);
    return result;
}

void expect_found_by_bare_names(const std::vector<std::string> &names, const std::string &folder) {
    if (std::getenv("ORVA_TEST_BARE_NAME") != nullptr) {
        for (const std::string &name : names) {
            EXPECT_NE(dlopen(name.c_str(), RTLD_LAZY), nullptr) << dlerror();
        }
        return;
    }
    const auto *test = testing::UnitTest::GetInstance()->current_test_info();
    const auto result = run_program({std::filesystem::read_symlink("/proc/self/exe").string(),
                                     std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()},
                                    {"ORVA_TEST_BARE_NAME=1", "LD_LIBRARY_PATH=" + folder});
    EXPECT_EQ(result.status, 0) << result.output;
}

std::string read_file(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void write_file(const std::string &path, const std::string &content) {
    std::ofstream stream(path, std::ios::binary);
    stream << content;
}

std::vector<std::string> lines_of(const std::string &path) {
    std::vector<std::string> lines;
    std::istringstream stream(read_file(path));
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

unsigned mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

void standard_error_to(const std::string &path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    ASSERT_GE(fd, 0);
    dup2(fd, STDERR_FILENO);
    close(fd);
}

std::string without_stamp(const std::string &text, std::string_view shape) {
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool digit = i < text.size() && text[i] >= '0' && text[i] <= '9';
        if (i >= text.size() || (shape[i] == '0' ? !digit : text[i] != shape[i])) {
            return "no stamp: " + text;
        }
    }
    return text.substr(shape.size());
}

} // namespace orva_test
