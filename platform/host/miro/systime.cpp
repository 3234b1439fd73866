// Calendar time and zone time from the system clock, in the process's time zone.
#include "miro_host.h"

#include "host_internal.h"

#include <bit>
#include <ctime>

namespace {

struct Now {
    tm calendar{};
    std::uint16_t milliseconds = 0;
};

using Converter = tm *(*)(const std::time_t *, tm *);

bool read_clock(Converter convert, Now &now) {
    timespec clock{};
    if (clock_gettime(CLOCK_REALTIME, &clock) != 0 || convert(&clock.tv_sec, &now.calendar) == nullptr) {
        return false;
    }
    now.milliseconds = static_cast<std::uint16_t>(clock.tv_nsec / host::kNsPerMs);
    return true;
}

std::uint16_t year_of(const tm &calendar) {
    return static_cast<std::uint16_t>(calendar.tm_year + 1900);
}

std::uint32_t get_zone_time(Converter convert, MIRO_ZONETIME *time) {
    if (time == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    Now now;
    if (!read_clock(convert, now)) {
        return MIRO_HOST_ERR_SYSTEM;
    }
    const tm &calendar = now.calendar;
    const MIRO_HOST_ZONETIME zone{
        .year = year_of(calendar),
        .month = static_cast<std::uint8_t>(calendar.tm_mon + 1),
        .day = static_cast<std::uint8_t>(calendar.tm_mday),
        .hour = static_cast<std::uint8_t>(calendar.tm_hour),
        .minute = static_cast<std::uint8_t>(calendar.tm_min),
        .second = static_cast<std::uint8_t>(calendar.tm_sec),
        .daylightSaving = static_cast<std::uint8_t>(calendar.tm_isdst > 0 ? 1 : 0),
        .offsetMinutes = static_cast<std::int16_t>(calendar.tm_gmtoff / 60),
        .milliseconds = now.milliseconds,
    };
    *time = std::bit_cast<MIRO_ZONETIME>(zone);
    return MIRO_HOST_OK;
}

} // namespace

MIRO_EXPORT uint32_t MIRO_SystimeGet(MIRO_SYSTIME *time) {
    if (time == nullptr) {
        return MIRO_HOST_ERR_ARGUMENT;
    }
    Now now;
    if (!read_clock(localtime_r, now)) {
        return MIRO_HOST_ERR_SYSTEM;
    }
    const tm &calendar = now.calendar;
    *time = {
        .year = year_of(calendar),
        .month = static_cast<std::uint8_t>(calendar.tm_mon + 1),
        .day = static_cast<std::uint8_t>(calendar.tm_mday),
        .hour = static_cast<std::uint8_t>(calendar.tm_hour),
        .minute = static_cast<std::uint8_t>(calendar.tm_min),
        .second = static_cast<std::uint8_t>(calendar.tm_sec),
        .reserved = 0,
        .extra = now.milliseconds,
    };
    return MIRO_HOST_OK;
}

MIRO_EXPORT uint32_t MIRO_TzLmtGet(MIRO_ZONETIME *time) {
    return get_zone_time(localtime_r, time);
}

MIRO_EXPORT uint32_t MIRO_TzGmtGet(MIRO_ZONETIME *time) {
    return get_zone_time(gmtime_r, time);
}
