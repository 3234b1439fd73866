// Takes an input apart: numbers and texts from its front, and what a target does when something does not hold.
#ifndef ORVA_FUZZ_INPUT_H
#define ORVA_FUZZ_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace fuzz {

inline void require_line(bool holds, const char *what, int line) {
    if (!holds) {
        std::fprintf(stderr, "line %d: %s\n", line, what);
        std::abort();
    }
}

#define REQUIRE(condition) fuzz::require_line((condition), #condition, __LINE__)

// The front of an input; past its end numbers are 0 and texts empty.
class Front {
public:
    Front(const std::uint8_t *data, std::size_t size) : data_(data), left_(size) {}

    std::uint8_t byte() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *data_++;
    }
    std::uint32_t word() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = value << 8 | byte();
        }
        return value;
    }
    // At most `most` bytes, zeros included.
    std::string bytes(std::size_t most) {
        const std::size_t size = std::min(most, left_);
        std::string text(reinterpret_cast<const char *>(data_), size);
        data_ += size;
        left_ -= size;
        return text;
    }
    // As bytes(), up to the first zero: what a C string can hold.
    std::string text(std::size_t most) {
        const std::string all = bytes(most);
        return all.substr(0, all.find('\0'));
    }
    std::string rest() {
        return bytes(left_);
    }
    std::string rest_text() {
        return text(left_);
    }

private:
    const std::uint8_t *data_;
    std::size_t left_;
};

// A zero-terminated copy that ends where its memory ends, so that a sanitizer sees every read past it.
inline std::unique_ptr<char[]> exact_copy(const std::string &text) {
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

inline std::unique_ptr<std::uint8_t[]> exact_bytes(const std::string &bytes) {
    std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

// A file of the bytes that exists as long as the process has its descriptor.
class MemoryFile {
public:
    explicit MemoryFile(const std::string &bytes) : fd_(memfd_create("input", 0)) {
        REQUIRE(fd_ >= 0 && write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    }
    ~MemoryFile() {
        close(fd_);
    }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    std::string path() const {
        return "/proc/self/fd/" + std::to_string(fd_);
    }

private:
    int fd_;
};

} // namespace fuzz

#endif
