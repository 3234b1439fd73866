// The folder of a run.
#ifndef CHASSIS_RUN_FOLDER_H
#define CHASSIS_RUN_FOLDER_H

#include <filesystem>
#include <string>

namespace chassis {

// The system's temporary folder, absolute: $TMPDIR, or /tmp when that is unset or empty. Throws std::runtime_error
// when it cannot be used.
std::filesystem::path temporary_root();

class RunFolder {
public:
    // `chosen`: absent or empty, made if absent; "" makes a temporary folder. Throws std::runtime_error.
    explicit RunFolder(const std::string &chosen);
    // Removes a temporary folder that nobody asked to keep.
    ~RunFolder();
    RunFolder(const RunFolder &) = delete;
    RunFolder &operator=(const RunFolder &) = delete;

    const std::filesystem::path &path() const {
        return path_;
    }
    bool kept() const {
        return kept_;
    }
    void keep() {
        kept_ = true;
    }

private:
    std::filesystem::path path_;
    bool kept_;
};

} // namespace chassis

#endif
