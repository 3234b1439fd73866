#include "input.h"

#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace inspect {

namespace {

constexpr std::size_t kReadStep = 65536;

struct CloseFile {
    void operator()(std::FILE *file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};

bool separates(char character) {
    return std::string_view(" \t\r\n,:").find(character) != std::string_view::npos;
}

bool looks_like_hex(std::string_view text) {
    const auto fits = [](char character) {
        return digit_value(character) >= 0 || separates(character) || character == 'x' || character == 'X';
    };
    return std::ranges::all_of(text, fits) &&
           std::ranges::any_of(text, [](char character) { return digit_value(character) >= 0; });
}

std::optional<Bytes> bytes_of_hex(std::string_view text) {
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t at = 0; at < text.size();) {
        if (separates(text[at])) {
            ++at;
            continue;
        }
        const bool group_starts = at == 0 || separates(text[at - 1]);
        if (group_starts && (text.substr(at, 2) == "0x" || text.substr(at, 2) == "0X") && at + 2 < text.size() &&
            digit_value(text[at + 2]) >= 0) {
            at += 2;
        }
        const int high = digit_value(text[at]);
        const int low = at + 1 < text.size() ? digit_value(text[at + 1]) : -1;
        if (high < 0 || low < 0) {
            fail("no hexadecimal text: no pair of digits at character " + std::to_string(at + 1));
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        at += 2;
    }
    return bytes;
}

} // namespace

std::optional<Bytes> read_input(const std::string &path, std::size_t limit) {
    const std::string shown = path == "-" ? "standard input" : printable(path);
    const std::unique_ptr<std::FILE, CloseFile> file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        fail(shown + " cannot be opened: " + std::strerror(errno));
        return std::nullopt;
    }
    Bytes bytes;
    std::size_t count = kReadStep;
    while (count == kReadStep && bytes.size() <= limit) {
        const std::size_t start = bytes.size();
        bytes.resize(start + kReadStep);
        count = std::fread(bytes.data() + start, 1, kReadStep, file.get());
        bytes.resize(start + count);
    }
    if (std::ferror(file.get()) != 0) {
        fail(shown + " cannot be read: " + std::strerror(errno));
        return std::nullopt;
    }
    if (bytes.size() > limit) {
        fail(shown + " is too long: more than " + std::to_string(limit) + " bytes");
        return std::nullopt;
    }
    return bytes;
}

std::optional<Bytes> bytes_of(Bytes input, InputForm form) {
    const std::string_view text(reinterpret_cast<const char *>(input.data()), input.size());
    if (form == InputForm::kHex || (form == InputForm::kDetect && looks_like_hex(text))) {
        return bytes_of_hex(text);
    }
    return input;
}

} // namespace inspect
