// One log file: opened without following links, with its mode whatever the process's mask, renamed aside when it is
// full, and opened again when somebody else renamed it. Not thread-safe.
#ifndef HOST_ROTATING_FILE_H
#define HOST_ROTATING_FILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace host {

class RotatingFile {
public:
    struct Bounds {
        std::uint64_t bytes;
        std::uint64_t older_files;
    };

    // The name is `stem`.log; older files are `stem`.1.log and so on. Nothing is opened yet.
    RotatingFile(std::string stem, mode_t mode, Bounds bounds);
    ~RotatingFile();
    RotatingFile(const RotatingFile &) = delete;
    RotatingFile &operator=(const RotatingFile &) = delete;

    // Appends a line with its end in one piece. Throws std::system_error, with the file closed, where that fails.
    void write(std::string_view line);

private:
    std::string name_of(std::uint64_t number) const;
    bool was_moved() const;
    void open();
    void close();
    void rotate();

    std::string stem_;
    std::string path_;
    mode_t mode_;
    Bounds bounds_;
    int fd_ = -1;
    std::uint64_t size_ = 0;
};

} // namespace host

#endif
