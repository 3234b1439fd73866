// orva-port-check: runs what the library relies on against a platform's libraries, each statement in a process of its
// own, and prints what holds.
#include "completion.h"
#include "port_check.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace port_check {

namespace {

constexpr const char *kImports[] = {
    "MIRO_MemPtCreateEx",
    "MIRO_MemDbgOptSet",
    "MIRO_MemPtAutoFlexSetEx",
    "MIRO_MemPtDelete",
    "MIRO_MemAlloc_F",
    "MIRO_MemFree_F",
    "MIRO_TaskCreate",
    "MIRO_SystimeGet",
    "MIRO_TzLmtGet",
    "MIRO_TzGmtGet",
    "MIRO_AVL_Find",
    "MIRO_AVL_Insert_Or_Find",
    "MIRO_AVL_Delete",
    "MIRO_AVL_Next",
    "MIRO_DeadLoopTaskCheckBegin",
    "MIRO_DeadLoopTaskCheckEnd",
    "MIRO_HandleInitialize",
    "MIRO_ReltmrCbkStart",
    "MIRO_Unzip",
    "TOVA_PLogByProcName",
    "TOVA_DLog",
    "TOVA_SecurityEventLog",
    "TOVA_LifeCycleLog",
    "ORVA_WriteLog",
    "drv_env_get",
    "drv_board_get_self_logic_slotid",
    "drv_board_get_type",
    "drv_backplane_get_type",
    "drv_elabel_read",
    "memcpy_s",
    "memset_s",
    "strcpy_s",
    "strncpy_s",
    "strcat_s",
    "sprintf_s",
    "snprintf_s",
    "vsnprintf_s",
    "sscanf_s",
    "pipe_s",
    "socket_s",
    "read_s",
    "write_s",
    "close_s",
    "fchmod_s",
    "SetFdOwner",
    "safeio_fd_owner_assemble",
};

void imports() {
    std::string missing;
    for (const char *name : kImports) {
        if (dlsym(RTLD_DEFAULT, name) == nullptr) {
            missing.append(missing.empty() ? "" : ", ").append(name);
        }
    }
    require(missing.empty(), "missing: " + missing);
}

constexpr Case kImportCases[] = {{"imports", "every function that the library imports is there", imports}};

std::vector<Case> all_cases() {
    std::vector<Case> all;
    for (const std::span<const Case> part : {std::span<const Case>(kImportCases), memory_cases(), task_cases(),
                                             tree_cases(), log_cases(), safeio_cases()}) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

} // namespace

std::span<const char *const> import_names() {
    return kImports;
}

} // namespace port_check

namespace {

using port_check::Case;

enum ExitCode { kHolds = 0, kBroken = 1, kUsage = 2, kOutput = 3 };

constexpr unsigned kSecondsPerCase = 60;

struct Result {
    const Case *tried;
    std::string verdict; // "holds", "broken" or "not tried"
    std::string detail;
};

[[noreturn]] void run_child(const Case &tried, int out) {
    std::string answer = "holds\n";
    alarm(kSecondsPerCase);
    try {
        tried.check();
    } catch (const port_check::Broken &broken) {
        answer = std::string("broken\n") + broken.what();
    } catch (const port_check::NotTried &not_tried) {
        answer = std::string("not tried\n") + not_tried.what();
    } catch (const std::exception &error) {
        answer = std::string("broken\n") + error.what();
    }
    (void)!write(out, answer.data(), answer.size());
    _exit(0);
}

std::string how_it_ended(int status) {
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGALRM ? "it did not end in " + std::to_string(kSecondsPerCase) + " s"
                                           : std::string("it crashed: ") + strsignal(WTERMSIG(status));
    }
    return "it ended the process with " + std::to_string(WEXITSTATUS(status));
}

Result run(const Case &tried) {
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno));
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        run_child(tried, ends[1]);
    }
    close(ends[1]);
    std::string answer;
    char part[512];
    for (ssize_t count = 0; (count = read(ends[0], part, sizeof part)) > 0;) {
        answer.append(part, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error(std::string("no process: ") + std::strerror(errno));
    }
    const std::size_t end = answer.find('\n');
    if (end == std::string::npos) {
        return {&tried, "broken", how_it_ended(status)};
    }
    return {&tried, answer.substr(0, end), answer.substr(end + 1)};
}

void print_table(const std::vector<Result> &results, std::size_t broken) {
    for (const Result &result : results) {
        std::printf("%-9s  %-22s  %s\n", result.verdict.c_str(), result.tried->name, result.tried->statement);
        if (!result.detail.empty()) {
            std::printf("%35s%s\n", "", result.detail.c_str());
        }
    }
    std::printf("%zu of %zu statements hold\n", results.size() - broken, results.size());
}

void print_json(const std::vector<Result> &results, std::size_t broken) {
    nlohmann::ordered_json document;
    document["schema"] = 1;
    document["holds"] = broken == 0;
    document["cases"] = nlohmann::ordered_json::array();
    for (const Result &result : results) {
        document["cases"].push_back({{"name", result.tried->name},
                                     {"statement", result.tried->statement},
                                     {"verdict", result.verdict},
                                     {"detail", result.detail}});
    }
    std::printf("%s\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

// How the dynamic linker is told a library: it splits its list at blanks and colons, so a path with one of them is
// named by a descriptor, which stays open in the program that is started.
std::string preload_name(const std::string &path) {
    if (path.find_first_of(" :\t\n") == std::string::npos) {
        return path;
    }
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
    return "/proc/self/fd/" + std::to_string(fd);
}

// Starts this program again with the libraries before all others.
[[noreturn]] void start_with(const std::vector<std::string> &libraries, char **argv) {
    std::string list;
    for (const std::string &library : libraries) {
        const bool has_path = library.find('/') != std::string::npos;
        char *whole = has_path ? realpath(library.c_str(), nullptr) : nullptr;
        if (has_path && whole == nullptr) {
            throw std::runtime_error(library + ": " + std::strerror(errno));
        }
        list.append(list.empty() ? "" : ":").append(preload_name(whole != nullptr ? whole : library));
        std::free(whole);
    }
    setenv("LD_PRELOAD", list.c_str(), 1);
    setenv("ORVA_PORT_CHECK_PRELOADED", "1", 1);
    execv("/proc/self/exe", argv);
    throw std::runtime_error(std::string("not started again: ") + std::strerror(errno));
}

// Without libraries of the caller's the host platform's are checked.
void open_host_platform() {
    for (const char *library : {"libsafeio.so", "libmiro.so", "libtova.so", "libdrv_basic.so"}) {
        dlopen(library, RTLD_NOW | RTLD_GLOBAL);
    }
}

int finish(int result) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return result;
    }
    std::perror("orva-port-check: standard output");
    return kOutput;
}

struct Options {
    std::vector<std::string> preload;
    std::vector<std::string> names;
    bool json = false;
    bool list = false;
};

std::vector<std::string> case_names() {
    std::vector<std::string> names;
    for (const Case &one : port_check::all_cases()) {
        names.emplace_back(one.name);
    }
    return names;
}

int check(const Options &options) {
    const std::vector<Case> cases = port_check::all_cases();
    for (const std::string &name : options.names) {
        if (std::none_of(cases.begin(), cases.end(), [&](const Case &one) { return name == one.name; })) {
            std::fprintf(stderr, "orva-port-check: no case is named %s; see --list\n", name.c_str());
            return kUsage;
        }
    }
    std::vector<Result> results;
    for (const Case &one : cases) {
        const bool wanted = options.names.empty() ||
                            std::find(options.names.begin(), options.names.end(), one.name) != options.names.end();
        if (wanted && options.list) {
            std::printf("%-22s  %s\n", one.name, one.statement);
        } else if (wanted) {
            results.push_back(run(one));
        }
    }
    if (options.list) {
        return kHolds;
    }
    const auto broken = static_cast<std::size_t>(std::count_if(
        results.begin(), results.end(), [](const Result &result) { return result.verdict != "holds"; }));
    options.json ? print_json(results, broken) : print_table(results, broken);
    return broken == 0 ? kHolds : kBroken;
}

int checked(int argc, char **argv) {
    CLI::App app{"Checks what the library relies on against a platform's libraries.", "orva-port-check"};
    Options options;
    app.set_version_flag("--version", ORVA_PORT_CHECK_VERSION);
    app.add_option("--preload", options.preload, "The platform's libraries; without it the host platform's")
        ->type_name("LIB")
        ->expected(1, -1);
    app.add_option("--case", options.names, "Only these cases")->type_name("NAME")->expected(1, -1);
    app.add_option("--patience", port_check::g_patience_s, "How long a case waits for what should come, default 10")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, kSecondsPerCase / 2));
    app.add_flag("--json", options.json, "Print one JSON document");
    app.add_flag("--list", options.list, "Print the cases and run none");
    command_line::add_completion(app, {{"", "--case", case_names}});
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const bool asked = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        app.exit(error);
        return finish(asked ? kHolds : kUsage);
    }
    setenv("ORVA_HOST_LOG_CONSOLE", "0", 0); // the host platform's sinks would fill the screen
    if (!options.preload.empty() && std::getenv("ORVA_PORT_CHECK_PRELOADED") == nullptr) {
        start_with(options.preload, argv);
    }
    if (options.preload.empty()) {
        open_host_platform();
    }
    return finish(check(options));
}

} // namespace

int main(int argc, char **argv) {
    try {
        return checked(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "orva-port-check: %s\n", error.what());
        return kOutput;
    }
}
