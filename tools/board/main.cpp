// orva-board: checks board descriptions of the host platform, and prints one to begin with.
#include "completion.h"
#include "drv_basic_host.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

enum ExitCode { kGood = 0, kFaulty = 1, kUsage = 2, kOutput = 3 };

struct Count {
    unsigned faults = 0;
};

void print_fault(const char *fault, void *count) {
    ++static_cast<Count *>(count)->faults;
    std::printf("%s\n", fault);
}

int check(const std::vector<std::string> &files) {
    Count count;
    unsigned faulty = 0;
    for (const std::string &file : files) {
        const bool good = DRV_HostCheckBoard(file.c_str(), print_fault, &count) == 0;
        faulty += good ? 0u : 1u;
        if (good) {
            std::printf("%s: ok\n", file.c_str());
        }
    }
    if (count.faults > 1) {
        std::printf("%u faults in %u of %zu files\n", count.faults, faulty, files.size());
    }
    return faulty == 0 ? kGood : kFaulty;
}

// The result, or that of output that did not reach its file.
int finish(int result) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return result;
    }
    std::perror("orva-board: standard output");
    return kOutput;
}

int run(int argc, char **argv) {
    CLI::App app{"Board descriptions of the host platform: what ORVA_HOST_BOARD names.", "orva-board"};
    app.require_subcommand(1);
    app.set_version_flag("--version", ORVA_BOARD_VERSION);
    std::vector<std::string> files;
    CLI::App *checking = app.add_subcommand("check", "Print every fault of the files with its line and key");
    checking->add_option("FILE", files, "TOML files")->required();
    const CLI::App *example = app.add_subcommand("example", "Print a whole description, that of the built-in board");
    command_line::add_completion(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const bool asked = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        app.exit(error);
        return finish(asked ? kGood : kUsage);
    }
    if (example->parsed()) {
        std::fputs(DRV_HostExampleBoard(), stdout);
        return finish(kGood);
    }
    return finish(check(files));
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "orva-board: %s\n", error.what());
        return kOutput;
    }
}
