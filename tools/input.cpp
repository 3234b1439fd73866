#include "input.h"

#include "text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace inspect {

namespace {

constexpr std::size_t kReadStep = 65536;
constexpr std::size_t kDumpLimit = std::size_t{64} << 20; // bytes that a dump with repeated lines may stand for

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

// The end of the line before a character, what follows it, and a mark below it.
std::string text_around(std::string_view text, std::size_t at) {
    constexpr std::size_t kShown = 32; // on each side
    const std::size_t line = text.substr(0, at).rfind('\n') + 1;
    const std::size_t start = std::max(line, at - std::min(at, kShown));
    const std::string_view after = text.substr(at, std::min(text.find_first_of("\r\n", at), at + kShown) - at);
    const std::string before = printable(text.substr(start, at - start));
    return "  " + before + printable(after) + "\n  " + std::string(before.size(), ' ') + "^\n";
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
            fail("not hexadecimal text: no pair of digits at character " + std::to_string(at + 1));
            explain(text_around(text, at));
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        at += 2;
    }
    return bytes;
}

// ---- What `xxd` and `hexdump -C` print

constexpr std::size_t kDumpLineBytes = 16;

enum class DumpForm { kNone, kColon, kBars };

// A dump starts with the offset 0: "00000000: " of xxd, or "00000000  " of hexdump -C, which marks text with bars.
DumpForm dump_form(std::string_view text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (line.starts_with("00000000: ")) {
        return DumpForm::kColon;
    }
    return line.starts_with("00000000  ") && line.find('|') != std::string_view::npos ? DumpForm::kBars
                                                                                      : DumpForm::kNone;
}

std::optional<std::size_t> dump_offset(std::string_view line) {
    std::size_t offset = 0;
    const char *const end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(line.data(), end, offset, 16);
    const auto digits = static_cast<std::size_t>(stop - line.data());
    return error == std::errc() && digits >= 7 && digits <= 16 ? std::optional(offset) : std::nullopt;
}

// The digits of a line, between its offset and its text.
std::string_view dump_digits(std::string_view line, DumpForm form) {
    line.remove_prefix(std::min(line.find(form == DumpForm::kColon ? ':' : ' '), line.size()));
    line.remove_prefix(std::min<std::size_t>(form == DumpForm::kColon ? 2 : 0, line.size()));
    return line.substr(0, form == DumpForm::kColon ? line.find("  ") : line.find('|'));
}

std::nullopt_t bad_dump(std::size_t line, const std::string &text) {
    fail("not a hexadecimal dump: line " + std::to_string(line) + ": " + text);
    return std::nullopt;
}

// A line with a star stands for lines like the one before it, up to the next offset.
bool repeat_line(Bytes &bytes, std::size_t offset, std::size_t limit) {
    if (bytes.size() < kDumpLineBytes || offset < bytes.size() || offset > limit ||
        (offset - bytes.size()) % kDumpLineBytes != 0) {
        return false;
    }
    while (bytes.size() < offset) {
        const Bytes line(bytes.end() - kDumpLineBytes, bytes.end());
        bytes.insert(bytes.end(), line.begin(), line.end());
    }
    return true;
}

std::optional<Bytes> bytes_of_dump(std::string_view text, DumpForm form) {
    Bytes bytes;
    bool repeated = false;
    std::size_t number = 1;
    for (; !text.empty(); ++number) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line = line.substr(0, line.find_last_not_of(" \r") + 1);
        if (line == "*") {
            repeated = true;
            continue;
        }
        if (line.empty()) {
            continue;
        }
        const auto offset = dump_offset(line);
        if (!offset) {
            return bad_dump(number, "no offset");
        }
        if (repeated && !repeat_line(bytes, *offset, kDumpLimit)) {
            return bad_dump(number, "the lines before it cannot be repeated up to this offset");
        }
        repeated = false;
        if (*offset != bytes.size()) {
            return bad_dump(number, "offset " + std::to_string(*offset) + " after " + std::to_string(bytes.size()) +
                                        " bytes");
        }
        const auto more = bytes_of_hex(dump_digits(line, form));
        if (!more) {
            return std::nullopt;
        }
        bytes.insert(bytes.end(), more->begin(), more->end());
    }
    return repeated ? bad_dump(number - 1, "a star at the end") : std::optional(bytes);
}

} // namespace

Input read_input(const std::string &path, std::size_t limit) {
    const std::string shown = path == "-" ? "standard input" : printable(path);
    const std::unique_ptr<std::FILE, CloseFile> file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        return {{}, fail_input_output(shown + " cannot be opened: " + std::strerror(errno))};
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
        return {{}, fail_input_output(shown + " cannot be read: " + std::strerror(errno))};
    }
    if (bytes.size() > limit) {
        return {{}, fail(shown + " is too long: more than " + std::to_string(limit) + " bytes")};
    }
    return {std::move(bytes), kDone};
}

Input read_bytes(const std::string &path, InputForm form, std::size_t limit) {
    Input input = read_input(path, limit);
    if (input.status != kDone) {
        return input;
    }
    std::optional<Bytes> bytes = bytes_of(std::move(input.bytes), form);
    return bytes ? Input{std::move(*bytes), kDone} : Input{{}, kRejected};
}

std::optional<Bytes> bytes_of(Bytes input, InputForm form) {
    const std::string_view text(reinterpret_cast<const char *>(input.data()), input.size());
    const DumpForm dump = form == InputForm::kBinary ? DumpForm::kNone : dump_form(text);
    if (dump != DumpForm::kNone) {
        return bytes_of_dump(text, dump);
    }
    if (form == InputForm::kHex || (form == InputForm::kDetect && looks_like_hex(text))) {
        return bytes_of_hex(text);
    }
    return input;
}

} // namespace inspect
