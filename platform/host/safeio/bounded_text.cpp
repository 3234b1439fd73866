// Bounded copy, fill, text and number reading. Stateless: nothing here knows of descriptors.
#include "safeio.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#define SAFEIO_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

int refuse_text(char *dst, std::size_t dst_size, int error) {
    if (dst != nullptr && dst_size != 0) {
        dst[0] = '\0';
    }
    return error;
}

// Copies `length` characters and a zero to `dst + at`, which is left empty as a whole when they do not fit.
int place_text(char *dst, std::size_t dst_size, std::size_t at, const char *src, std::size_t length) {
    if (length >= dst_size - at) {
        return refuse_text(dst, dst_size, ERANGE);
    }
    std::memmove(dst + at, src, length);
    dst[at + length] = '\0';
    return 0;
}

int refuse_format(char *dst, std::size_t dst_size, int error) {
    refuse_text(dst, dst_size, 0);
    errno = error;
    return -1;
}

// Formats into `room` bytes of `dst`. `cut` says whether a text that does not fit is truncated or refused.
SAFEIO_PRINTF(5, 0)
int format_bounded(char *dst, std::size_t dst_size, std::size_t room, bool cut, const char *format, va_list args) {
    room = std::min<std::size_t>(room, INT_MAX);
    const int length = std::vsnprintf(dst, room, format, args);
    if (length < 0) {
        return refuse_format(dst, dst_size, errno);
    }
    if (static_cast<std::size_t>(length) < room) {
        return length;
    }
    return cut ? static_cast<int>(room - 1) : refuse_format(dst, dst_size, ERANGE);
}

// Steps over a set of characters, from after its opening bracket to after its closing one.
const char *skip_set(const char *at) {
    at += *at == '^' ? 1 : 0;
    at += *at == ']' ? 1 : 0;
    while (*at != '\0' && *at != ']') {
        ++at;
    }
    return *at == ']' ? at + 1 : at;
}

// Moves `at` past a number; true when it is not zero (a width of 0 means no bound).
bool skip_width(const char *&at) {
    bool bounds = false;
    for (; *at >= '0' && *at <= '9'; ++at) {
        bounds = bounds || *at != '0';
    }
    return bounds;
}

// Whether the conversion after a percent sign bounds what it stores; moves `at` past the conversion.
bool conversion_is_bounded(const char *&at) {
    bool bounded = skip_width(at);
    if (*at == '$') {
        bounded = false;
        ++at;
    }
    for (; *at == '*' || *at == '\'' || *at == 'I'; ++at) {
        bounded = bounded || *at == '*';
    }
    bounded = skip_width(at) || bounded;
    for (; *at != '\0' && std::strchr("hlLqjztm", *at) != nullptr; ++at) {
        bounded = bounded || *at == 'm';
    }
    const char conversion = *at;
    at += conversion != '\0' ? 1 : 0;
    at = conversion == '[' ? skip_set(at) : at;
    return bounded || (conversion != 's' && conversion != 'S' && conversion != '[');
}

bool stores_bounded_texts_only(const char *format) {
    for (const char *at = std::strchr(format, '%'); at != nullptr; at = std::strchr(at, '%')) {
        ++at;
        if (!conversion_is_bounded(at)) {
            return false;
        }
    }
    return true;
}

} // namespace

SAFEIO_EXPORT int memcpy_s(void *dst, size_t dstSize, const void *src, size_t count) {
    if (dst == nullptr || src == nullptr) {
        return EINVAL;
    }
    if (count > dstSize) {
        return ERANGE;
    }
    std::memmove(dst, src, count);
    return 0;
}

SAFEIO_EXPORT int memset_s(void *dst, size_t dstSize, int value, size_t count) {
    if (dst == nullptr) {
        return EINVAL;
    }
    if (count > dstSize) {
        return ERANGE;
    }
    std::memset(dst, value, count);
    return 0;
}

SAFEIO_EXPORT int strcpy_s(char *dst, size_t dstSize, const char *src) {
    if (dst == nullptr || src == nullptr) {
        return refuse_text(dst, dstSize, EINVAL);
    }
    return place_text(dst, dstSize, 0, src, strnlen(src, dstSize));
}

SAFEIO_EXPORT int strncpy_s(char *dst, size_t dstSize, const char *src, size_t count) {
    if (dst == nullptr || src == nullptr) {
        return refuse_text(dst, dstSize, EINVAL);
    }
    return place_text(dst, dstSize, 0, src, strnlen(src, std::min(count, dstSize)));
}

SAFEIO_EXPORT int strcat_s(char *dst, size_t dstSize, const char *src) {
    if (dst == nullptr || src == nullptr) {
        return refuse_text(dst, dstSize, EINVAL);
    }
    const std::size_t present = strnlen(dst, dstSize);
    if (present == dstSize) {
        return refuse_text(dst, dstSize, EINVAL);
    }
    return place_text(dst, dstSize, present, src, strnlen(src, dstSize - present));
}

SAFEIO_EXPORT int sprintf_s(char *dst, size_t dstSize, const char *format, ...) {
    if (dst == nullptr || dstSize == 0 || format == nullptr) {
        return refuse_format(dst, dstSize, EINVAL);
    }
    va_list args;
    va_start(args, format);
    const int length = format_bounded(dst, dstSize, dstSize, false, format, args);
    va_end(args);
    return length;
}

SAFEIO_EXPORT int vsnprintf_s(char *dst, size_t dstSize, size_t count, const char *format, va_list args) {
    if (dst == nullptr || dstSize == 0 || format == nullptr) {
        return refuse_format(dst, dstSize, EINVAL);
    }
    const bool cut = count < dstSize;
    return format_bounded(dst, dstSize, cut ? count + 1 : dstSize, cut, format, args);
}

SAFEIO_EXPORT int snprintf_s(char *dst, size_t dstSize, size_t count, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int length = vsnprintf_s(dst, dstSize, count, format, args);
    va_end(args);
    return length;
}

SAFEIO_EXPORT int sscanf_s(const char *text, const char *format, ...) {
    if (text == nullptr || format == nullptr || !stores_bounded_texts_only(format)) {
        errno = EINVAL;
        return -1;
    }
    va_list args;
    va_start(args, format);
    const int count = std::vsscanf(text, format, args);
    va_end(args);
    return count;
}
