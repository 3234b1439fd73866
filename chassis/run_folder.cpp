#include "run_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace chassis {

namespace {

std::filesystem::path temporary_folder() {
    std::string pattern = (temporary_root() / "orva-chassis.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder: " + std::string(std::strerror(errno)));
    }
    try {
        return std::filesystem::path(pattern); // a copy: the text itself stays, for the handler
    } catch (const std::exception &) {
        rmdir(pattern.c_str());
        throw;
    }
}

std::filesystem::path chosen_folder(const std::string &chosen) {
    std::error_code error;
    std::filesystem::create_directories(chosen, error);
    const bool empty = !error && std::filesystem::is_empty(chosen, error);
    if (error) {
        throw std::runtime_error("--run-dir: " + chosen + ": " + error.message());
    }
    if (!empty) {
        throw std::runtime_error("--run-dir: " + chosen + " is not empty");
    }
    return std::filesystem::canonical(chosen);
}

} // namespace

std::filesystem::path temporary_root() {
    const char *variable = std::getenv("TMPDIR");
    const bool set = variable != nullptr && *variable != '\0';
    std::error_code error;
    const auto root = std::filesystem::absolute(set ? variable : "/tmp", error);
    if (error || !std::filesystem::is_directory(root, error) || access(root.c_str(), W_OK | X_OK) != 0) {
        throw std::runtime_error(std::string(set ? "TMPDIR" : "the temporary folder") + ": " + root.string() +
                                 " is not a folder that can be written");
    }
    return root;
}

RunFolder::RunFolder(const std::string &chosen)
    : path_(chosen.empty() ? temporary_folder() : chosen_folder(chosen)), kept_(!chosen.empty()) {}

RunFolder::~RunFolder() {
    if (!kept_) {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
        if (error) {
            std::fprintf(stderr, "orva-chassis: %s cannot be removed: %s\n", path_.c_str(), error.message().c_str());
        }
    }
}

} // namespace chassis
