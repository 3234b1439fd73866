#include "rotating_file.h"

#include "line_text.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

std::system_error failure(const std::string &path) {
    return {errno, std::generic_category(), path};
}

// A process that died, or a disk that was full, in the middle of a line leaves one without its end.
bool ends_inside_a_line(int fd, std::uint64_t size) {
    char last = '\n';
    return size > 0 && pread(fd, &last, 1, static_cast<off_t>(size - 1)) == 1 && last != '\n';
}

} // namespace

RotatingFile::RotatingFile(std::string stem, mode_t mode, Bounds bounds)
    : stem_(std::move(stem)), path_(stem_ + ".log"), mode_(mode), bounds_(bounds) {}

RotatingFile::~RotatingFile() {
    close();
}

std::string RotatingFile::name_of(std::uint64_t number) const {
    return number == 0 ? path_ : stem_ + "." + std::to_string(number) + ".log";
}

// Whoever rotates logs from outside renames or removes the file.
bool RotatingFile::was_moved() const {
    struct stat named {};
    struct stat opened {};
    return stat(path_.c_str(), &named) != 0 || fstat(fd_, &opened) != 0 || named.st_ino != opened.st_ino ||
           named.st_dev != opened.st_dev;
}

void RotatingFile::close() {
    if (fd_ >= 0) {
        ::close(std::exchange(fd_, -1));
    }
}

void RotatingFile::open() {
    fd_ = open_log(path_.c_str(), mode_);
    struct stat about {};
    if (fd_ < 0 || fstat(fd_, &about) != 0) {
        throw failure(path_);
    }
    size_ = S_ISREG(about.st_mode) ? static_cast<std::uint64_t>(about.st_size) : 0;
    if (ends_inside_a_line(fd_, size_)) {
        size_ += write_all(fd_, "\n") ? 1 : 0;
    }
}

void RotatingFile::rotate() {
    close();
    for (std::uint64_t number = bounds_.older_files; number > 0; --number) {
        const std::string from = name_of(number - 1);
        if (std::rename(from.c_str(), name_of(number).c_str()) != 0 && errno != ENOENT) {
            throw failure(from);
        }
    }
    if (bounds_.older_files == 0 && unlink(path_.c_str()) != 0 && errno != ENOENT) {
        throw failure(path_);
    }
    open();
}

void RotatingFile::write(std::string_view line) {
    if (fd_ >= 0 && was_moved()) {
        close();
    }
    if (fd_ < 0) {
        open();
    }
    if (size_ > 0 && size_ + line.size() > bounds_.bytes) {
        rotate();
    }
    if (!write_all(fd_, line)) {
        const int reason = errno;
        close();
        errno = reason;
        throw failure(path_);
    }
    size_ += line.size();
}

} // namespace host
