#include "run_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace chassis {

namespace {

std::filesystem::path temporary_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orva-chassis.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder: " + std::string(std::strerror(errno)));
    }
    return pattern;
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

RunFolder::RunFolder(const std::string &chosen)
    : path_(chosen.empty() ? temporary_folder() : chosen_folder(chosen)), kept_(!chosen.empty()) {}

RunFolder::~RunFolder() {
    if (!kept_) {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
}

} // namespace chassis
