// Texts from outside in a log line of the host platform: the line has no control character and is UTF-8, and nothing
// of the text is lost.
#include "common/line_text.h"
#include "fuzz_input.h"

namespace {

int hex_digit(char digit) {
    return digit >= 'a' ? digit - 'a' + 10 : digit - '0';
}

std::string unescaped(const std::string &line) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            text += line[i];
            continue;
        }
        REQUIRE(i + 1 < line.size());
        switch (line[++i]) {
        case 'n':
            text += '\n';
            break;
        case 'r':
            text += '\r';
            break;
        case 't':
            text += '\t';
            break;
        case '\\':
            text += '\\';
            break;
        default:
            REQUIRE(line[i] == 'x' && i + 2 < line.size());
            text += static_cast<char>(hex_digit(line[i + 1]) * 16 + hex_digit(line[i + 2]));
            i += 2;
        }
    }
    return text;
}

// Length of the UTF-8 sequence at `at`, 0 for none: shortest form, no surrogates, up to U+10FFFF.
std::size_t sequence_length(const std::string &line, std::size_t at) {
    const auto byte = [&](std::size_t i) -> unsigned { return static_cast<std::uint8_t>(line[i]); };
    const unsigned first = byte(at);
    const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4 || at + length > line.size()) {
        return 0;
    }
    unsigned value = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return 0;
        }
        value = value << 6 | (byte(at + i) & 0x3F);
    }
    const unsigned lowest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    return value < lowest || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000) ? 0 : length;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::string line = "before ";
    host::append_escaped(line, text);
    REQUIRE(line.rfind("before ", 0) == 0);
    line.erase(0, 7);
    for (std::size_t i = 0; i < line.size();) {
        const auto byte = static_cast<std::uint8_t>(line[i]);
        REQUIRE(byte >= 0x20 && byte != 0x7F);
        const std::size_t length = sequence_length(line, i);
        REQUIRE(length != 0);
        // U+0080 to U+009F are control characters too.
        REQUIRE(!(byte == 0xC2 && static_cast<std::uint8_t>(line[i + 1]) < 0xA0));
        i += length;
    }
    REQUIRE(unescaped(line) == text);
    return 0;
}
