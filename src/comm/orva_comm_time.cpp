// Sleep, ticks, the platform's times and their texts.
#include "orva_comm.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <sys/select.h>
#include <sys/time.h>

#include "log_record.h"
#include "miro.h"
#include "safeio.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

} // namespace

void ORVA_SafeSleep(uint32_t milliseconds) {
    int result = 0;
    do {
        // Compat: callers' code. An interrupted sleep starts again at its full length.
        timeval timeout{static_cast<time_t>(milliseconds / 1000),
                        static_cast<suseconds_t>(milliseconds % 1000) * 1000};
        result = select(0, nullptr, nullptr, nullptr, &timeout);
    } while (result == -1 && errno == EINTR);
}

uint32_t ORVA_TickGet(void) {
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        // Compat: callers' code. The failure code cannot be told from a tick.
        return ORVA_ERR_TICK;
    }
    return static_cast<std::uint32_t>(now.tv_sec) * 1000000u + static_cast<std::uint32_t>(now.tv_usec);
}

namespace {

// The text form of a date and time; negative, with an error record, when it does not fit.
int format_time(char *text, std::size_t size, unsigned year, unsigned month, unsigned day, unsigned hour,
                unsigned minute, unsigned second) {
    const int result = sprintf_s(text, size, "%04u-%02u-%02u %02u:%02u:%02u", year, month, day, hour, minute, second);
    if (result < 0) {
        orva::log_sprintf_error(kArea, result);
    }
    return result;
}

std::uint32_t get_zone_time(std::uint32_t (*query)(MIRO_ZONETIME *), MIRO_ZONETIME *time) {
    if (time == nullptr) {
        return ORVA_ERR_TIME_ARGUMENT;
    }
    MIRO_ZONETIME now{};
    if (query(&now) != 0) {
        return ORVA_ERR_TIME_ARGUMENT;
    }
    *time = now;
    return ORVA_OK;
}

} // namespace

uint32_t ORVA_GetSysTime(MIRO_SYSTIME *time) {
    if (time == nullptr) {
        return ORVA_FAILED;
    }
    MIRO_SYSTIME now{};
    if (MIRO_SystimeGet(&now) != 0) {
        return ORVA_FAILED;
    }
    // Compat: bytes in memory. Byte 7 of the caller's record keeps its value.
    now.reserved = time->reserved;
    *time = now;
    return ORVA_OK;
}

uint32_t KELD_LOCAL_SystimeGet(MIRO_ZONETIME *time) {
    return get_zone_time(MIRO_TzLmtGet, time);
}

uint32_t ORVA_GMT_SystimeGet(MIRO_ZONETIME *time) {
    return get_zone_time(MIRO_TzGmtGet, time);
}

uint32_t ORVA_GetCurrentTime(uint32_t *seconds) {
    if (seconds == nullptr) {
        return ORVA_FAILED;
    }
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        *seconds = 0;
        return ORVA_FAILED;
    }
    *seconds = static_cast<std::uint32_t>(now.tv_sec);
    return ORVA_OK;
}

void ORVA_TransSecToDayAndHour(uint32_t seconds, uint32_t *days, uint32_t *hours, uint32_t *minutes) {
    const std::uint32_t rest = seconds % 86400;
    *days = seconds / 86400;
    *hours = rest / 3600;
    *minutes = rest % 3600 / 60;
}

void ORVA_TransSysTimeToStr(char *text, size_t size, OrvaCalendarTime time) {
    if (text != nullptr) {
        format_time(text, size, time.year, time.month, time.day, time.hour, time.minute, time.second);
    }
}

int32_t ORVA_TransSecToLocalTime(time_t seconds, char *text, uint32_t size) {
    tm local{};
    if (localtime_r(&seconds, &local) == nullptr) {
        orva::log_sprintf_error(kArea, -1);
        return -1;
    }
    // Unsigned before the sum: the last year that a calendar form can hold is INT_MAX.
    return format_time(text, size, static_cast<unsigned>(local.tm_year) + 1900,
                       static_cast<unsigned>(local.tm_mon) + 1, static_cast<unsigned>(local.tm_mday),
                       static_cast<unsigned>(local.tm_hour), static_cast<unsigned>(local.tm_min),
                       static_cast<unsigned>(local.tm_sec));
}
