// Bounded copies and formats, and tracked descriptors.
#include "port_check.h"

#include <array>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace port_check {

namespace {

using Text = std::array<char, 8>;

Text filled() {
    Text text;
    text.fill('#');
    return text;
}

bool is(const Text &text, std::string_view expected) {
    return std::string_view(text.data(), expected.size()) == expected && text[expected.size()] == '\0';
}

void copies() {
    const auto copy = PORT_CHECK_IMPORT(memcpy_s);
    Text text = filled();
    require(copy(text.data(), text.size(), "ab", 3) == 0 && is(text, "ab"), "a copy that fits");
    text = filled();
    require(copy(text.data(), 2, "abc", 3) != 0, "a copy that does not fit succeeds");
    require(text == filled(), "a failed copy changes its destination");
    require(copy(text.data(), text.size(), nullptr, 0) != 0, "a null pointer is taken for a count of 0");
}

void fills() {
    const auto fill = PORT_CHECK_IMPORT(memset_s);
    Text text = filled();
    require(fill(text.data(), text.size(), 0, 2) == 0 && text[1] == '\0' && text[2] == '#', "a fill that fits");
    text = filled();
    require(fill(text.data(), 2, 0, 3) != 0, "a fill that does not fit succeeds");
    require(text == filled(), "a failed fill changes its destination");
}

void text_copy() {
    const auto copy = PORT_CHECK_IMPORT(strcpy_s);
    Text text = filled();
    require(copy(text.data(), text.size(), "1234567") == 0 && is(text, "1234567"), "a text that fits");
    require(copy(text.data(), text.size(), "12345678") != 0, "a text without room for its zero is taken");
    require(text[0] == '\0', "a failed copy does not leave an empty text");
}

void counted_text_copy() {
    const auto copy = PORT_CHECK_IMPORT(strncpy_s);
    Text text = filled();
    require(copy(text.data(), text.size(), "abcdef", 3) == 0 && is(text, "abc"), "the first characters of a text");
    require(copy(text.data(), text.size(), "123456789", 9) != 0, "more characters than the room are taken");
    require(text[0] == '\0', "a failed copy does not leave an empty text");
}

void text_append() {
    const auto append = PORT_CHECK_IMPORT(strcat_s);
    Text text{"abc"};
    require(append(text.data(), text.size(), "defg") == 0 && is(text, "abcdefg"), "a text that fits");
    require(append(text.data(), text.size(), "h") != 0, "a text without room is appended");
    require(text[0] == '\0', "a failed append does not leave an empty text");
}

void format() {
    const auto print = PORT_CHECK_IMPORT(sprintf_s);
    Text text = filled();
    require(print(text.data(), text.size(), "%s=%d", "a", 12) == 4 && is(text, "a=12"), "a text that fits");
    require(print(text.data(), text.size(), "%d", 123456789) == -1, "a text that does not fit gives no -1");
    require(text[0] == '\0', "a failed format does not leave an empty text");
}

void counted_format() {
    const auto print = PORT_CHECK_IMPORT(snprintf_s);
    Text text = filled();
    require(print(text.data(), text.size(), 7, "%s", "abc") == 3 && is(text, "abc"), "a text that fits");
    require(print(text.data(), text.size(), 4, "%d", 123456) == 4 && is(text, "1234"),
            "a truncated text is a failure");
    require(print(text.data(), text.size(), 8, "%d", 123456789) == -1, "no room for the count gives no -1");
}

int print_arguments(Text &text, std::size_t count, const char *given, ...) {
    std::va_list arguments;
    va_start(arguments, given);
    const int result = PORT_CHECK_IMPORT(vsnprintf_s)(text.data(), text.size(), count, given, arguments);
    va_end(arguments);
    return result;
}

void argument_format() {
    Text text = filled();
    require(print_arguments(text, 7, "%u-%s", 1u, "b") == 3 && is(text, "1-b"), "a text that fits");
    require(print_arguments(text, 4, "%d", 123456) == 4 && is(text, "1234"), "a truncated text is a failure");
}

void scan() {
    const auto read_text = PORT_CHECK_IMPORT(sscanf_s);
    int first = 0;
    unsigned second = 0;
    require(read_text("12 0x1f", "%d %x", &first, &second) == 2 && first == 12 && second == 31, "two numbers");
    require(read_text("x", "%d", &first) == 0, "no number");
}

// ---- Descriptors

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() {
        needs(pipe(ends) == 0, "a pipe");
    }
    ~Pipe() {
        for (const int end : ends) {
            close(end);
        }
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
};

bool is_open(int number) {
    return fcntl(number, F_GETFD) >= 0;
}

void pipes() {
    int ends[2] = {-1, -1};
    require(PORT_CHECK_IMPORT(pipe_s)(ends) == 0, "pipe_s fails");
    require(ends[0] >= 0 && ends[0] <= SAFEIO_KERNEL_FD_MASK && ends[1] >= 0 && ends[1] <= SAFEIO_KERNEL_FD_MASK,
            "an end is not a plain descriptor");
    require(is_open(ends[0]) && is_open(ends[1]), "an end is not open");
}

void sockets() {
    const int fd = PORT_CHECK_IMPORT(socket_s)(AF_UNIX, SOCK_DGRAM, 0);
    require(fd > SAFEIO_KERNEL_FD_MASK, "socket_s gives no tracked descriptor");
    require(is_open(fd & SAFEIO_KERNEL_FD_MASK), "the low half is not the kernel's descriptor");
}

void owners() {
    const Pipe own;
    const auto set_owner = PORT_CHECK_IMPORT(SetFdOwner);
    std::uint32_t owner = 0xFFFFFFFF;
    require(set_owner(own.ends[0], 1, &owner) == 0, "SetFdOwner fails");
    require(owner < 0x8000, "an owner is not below 0x8000");
    require(set_owner(-1, 1, &owner) == -1, "a negative descriptor gives no -1");
}

void assembled() {
    const Pipe own;
    std::uint32_t owner = 0;
    needs(PORT_CHECK_IMPORT(SetFdOwner)(own.ends[0], 1, &owner) == 0, "descriptor-owner");
    const int tracked = PORT_CHECK_IMPORT(safeio_fd_owner_assemble)(own.ends[0], owner);
    require((tracked & SAFEIO_KERNEL_FD_MASK) == own.ends[0] && static_cast<std::uint32_t>(tracked) >> 16 == owner,
            "a tracked descriptor is not the owner above bit 15 and the kernel's descriptor below");
}

// A tracked descriptor of an end of a pipe.
int track(int end) {
    std::uint32_t owner = 0;
    needs(PORT_CHECK_IMPORT(SetFdOwner)(end, 1, &owner) == 0, "descriptor-owner");
    return end | static_cast<int>(owner << 16);
}

void reads() {
    const Pipe own;
    const auto read_bytes = PORT_CHECK_IMPORT(read_s);
    char byte = 0;
    needs(write(own.ends[1], "ab", 2) == 2, "a pipe");
    require(read_bytes(own.ends[0], &byte, 1) == 1 && byte == 'a', "read_s of a plain descriptor");
    require(read_bytes(track(own.ends[0]), &byte, 1) == 1 && byte == 'b', "read_s of a tracked descriptor");
}

void writes() {
    const Pipe own;
    const auto write_bytes = PORT_CHECK_IMPORT(write_s);
    require(write_bytes(own.ends[1], "a", 1) == 1, "write_s of a plain descriptor");
    require(write_bytes(track(own.ends[1]), "b", 1) == 1, "write_s of a tracked descriptor");
    char bytes[2];
    require(read(own.ends[0], bytes, 2) == 2 && bytes[0] == 'a' && bytes[1] == 'b', "the bytes are others");
}

void closes() {
    const auto close_descriptor = PORT_CHECK_IMPORT(close_s);
    const Pipe own;
    require(close_descriptor(own.ends[0]) == 0 && !is_open(own.ends[0]), "close_s of a plain descriptor");
    require(close_descriptor(track(own.ends[1])) == 0 && !is_open(own.ends[1]), "close_s of a tracked descriptor");
}

void modes() {
    const Pipe own;
    const auto change = PORT_CHECK_IMPORT(fchmod_s);
    struct stat about {};
    for (const int fd : {own.ends[0], track(own.ends[0])}) {
        const mode_t mode = fd == own.ends[0] ? 0600 : 0640;
        require(change(fd, mode) == 0 && fstat(own.ends[0], &about) == 0 && (about.st_mode & 0777) == mode,
                fd == own.ends[0] ? "fchmod_s of a plain descriptor" : "fchmod_s of a tracked descriptor");
    }
}

constexpr Case kCases[] = {
    {"copy-memory", "memcpy_s fails without room or with a null pointer, and then changes nothing", copies},
    {"fill-memory", "memset_s fails without room, and then changes nothing", fills},
    {"copy-text", "strcpy_s fails without room, and then leaves an empty text", text_copy},
    {"copy-counted-text", "strncpy_s fails without room, and then leaves an empty text", counted_text_copy},
    {"append-text", "strcat_s fails without room, and then leaves an empty text", text_append},
    {"format-text", "sprintf_s gives -1 and an empty text without room", format},
    {"format-counted", "snprintf_s truncates at the count, which is not a failure", counted_format},
    {"format-arguments", "vsnprintf_s truncates at the count, which is not a failure", argument_format},
    {"scan-text", "sscanf_s reads numbers as sscanf does", scan},
    {"descriptor-pipe", "pipe_s gives plain descriptors", pipes},
    {"descriptor-socket", "socket_s gives a tracked descriptor", sockets},
    {"descriptor-owner", "SetFdOwner gives an owner below 0x8000, and -1 for a negative descriptor", owners},
    {"descriptor-assemble", "a tracked descriptor carries its owner above bit 15", assembled},
    {"descriptor-read", "read_s takes plain and tracked descriptors", reads},
    {"descriptor-write", "write_s takes plain and tracked descriptors", writes},
    {"descriptor-close", "close_s takes plain and tracked descriptors", closes},
    {"descriptor-mode", "fchmod_s takes plain and tracked descriptors", modes},
};

} // namespace

std::span<const Case> safeio_cases() {
    return kCases;
}

} // namespace port_check
