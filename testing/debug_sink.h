// A bound interface manager for unit tests: its debug entry keeps what it gets among the records of the double.
#ifndef ORVA_DEBUG_SINK_H
#define ORVA_DEBUG_SINK_H

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "orva_imlib.h"
#include "platform_double.h"

namespace orva_test {

inline std::uint32_t g_debugSinkResult = 0;

inline std::uint32_t debug_sink(OrvaDebugRecord record, const char *name, std::uint32_t id, const char *format, ...) {
    char head[80];
    std::snprintf(head, sizeof head, "DebugSink(0x%x, 0x%x, %s, 0x%x) ", record.zero, record.switchId, name, id);
    va_list args;
    va_start(args, format);
    char *text = nullptr;
    const int length = vasprintf(&text, format, args);
    va_end(args);
    platform().logs.push_back(head + std::string(length < 0 ? "<format error>" : text));
    platform().formats.emplace_back(format);
    std::free(text);
    return g_debugSinkResult;
}

// The switch identifiers then begin at 0x0CE42000.
inline void bind_debug_sink(std::uint32_t result = 0) {
    g_debugSinkResult = result;
    g_OrvaImlib.debug = debug_sink;
    g_OrvaImlib.switchBlock = 2;
}

} // namespace orva_test

#endif
