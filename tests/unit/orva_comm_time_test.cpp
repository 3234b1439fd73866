#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

class Time : public PlatformTest {
protected:
    static constexpr const char *kSprintfRecord =
        "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]sprintf error, f=orva_comm, l=N, ret=-1";
};

TEST_F(Time, GetSysTime_CopiesEveryFieldButByteSeven) {
    platform().sysTime = MIRO_SYSTIME{0x1122, 3, 4, 5, 6, 7, 0xEE, 0x99AABBCC};
    MIRO_SYSTIME time;
    std::memset(&time, 0x5A, sizeof time);
    EXPECT_EQ(ORVA_GetSysTime(&time), 0u);
    const unsigned char expected[12] = {0x22, 0x11, 3, 4, 5, 6, 7, 0x5A, 0xCC, 0xBB, 0xAA, 0x99};
    EXPECT_EQ(std::memcmp(&time, expected, sizeof expected), 0);
}

TEST_F(Time, GetSysTime_FailureLeavesTheRecord) {
    MIRO_SYSTIME time;
    std::memset(&time, 0x5A, sizeof time);
    const MIRO_SYSTIME before = time;
    fail("MIRO_SystimeGet", 1, 9);
    EXPECT_EQ(ORVA_GetSysTime(&time), 1u);
    EXPECT_EQ(std::memcmp(&time, &before, sizeof time), 0);
    EXPECT_EQ(ORVA_GetSysTime(nullptr), 1u);
    EXPECT_EQ(calls_of("MIRO_SystimeGet"), 1u);
    EXPECT_TRUE(take_logs().empty());
}

struct ZoneCase {
    std::uint32_t (*get)(MIRO_ZONETIME *);
    const char *call;
    const char *content;
};

constexpr ZoneCase kZones[] = {
    {KELD_LOCAL_SystimeGet, "MIRO_TzLmtGet", "local-local-"},
    {ORVA_GMT_SystimeGet, "MIRO_TzGmtGet", "gmt-gmt-gmt-"},
};

TEST_F(Time, ZoneTimes_AreCopiedWhole) {
    std::memcpy(&platform().localTime, kZones[0].content, 12);
    std::memcpy(&platform().gmtTime, kZones[1].content, 12);
    for (const ZoneCase &zone : kZones) {
        MIRO_ZONETIME time{};
        EXPECT_EQ(zone.get(&time), 0u);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(&time), 12), zone.content);
    }
}

TEST_F(Time, ZoneTimes_FailuresAre22AndLeaveTheRecord) {
    for (const ZoneCase &zone : kZones) {
        SCOPED_TRACE(zone.call);
        MIRO_ZONETIME time;
        std::memset(&time, 0x5A, sizeof time);
        const MIRO_ZONETIME before = time;
        fail(zone.call, 1, 3);
        EXPECT_EQ(zone.get(&time), 22u);
        EXPECT_EQ(std::memcmp(&time, &before, sizeof time), 0);
        EXPECT_EQ(zone.get(nullptr), 22u);
        EXPECT_EQ(calls_of(zone.call), 1u);
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Time, GetCurrentTime_GivesTheLowWordOfTheSeconds) {
    for (const long seconds : {0L, 1700000000L, 0x1FFFFFFFFL}) {
        libc().gettimeofday = [=](timeval *now, void *) {
            *now = {seconds, 999999};
            return 0;
        };
        std::uint32_t result = 77;
        EXPECT_EQ(ORVA_GetCurrentTime(&result), 0u);
        EXPECT_EQ(result, static_cast<std::uint32_t>(seconds));
    }
}

TEST_F(Time, GetCurrentTime_FailedClockStoresZero) {
    std::uint32_t result = 77;
    fail("gettimeofday", 1, -1, EINVAL);
    EXPECT_EQ(ORVA_GetCurrentTime(&result), 1u);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(ORVA_GetCurrentTime(nullptr), 1u);
    EXPECT_EQ(calls_of("gettimeofday"), 1u);
}

struct SplitCase {
    std::uint32_t seconds, days, hours, minutes;
};

constexpr SplitCase kSplits[] = {
    {0, 0, 0, 0},     {59, 0, 0, 0},    {60, 0, 0, 1},
    {3599, 0, 0, 59}, {3600, 0, 1, 0},  {86399, 0, 23, 59},
    {86400, 1, 0, 0}, {90061, 1, 1, 1}, {4294967295u, 49710, 6, 28},
};

TEST_F(Time, TransSecToDayAndHour_DropsTheSeconds) {
    for (const SplitCase &split : kSplits) {
        std::uint32_t days = 9, hours = 99, minutes = 99;
        ORVA_TransSecToDayAndHour(split.seconds, &days, &hours, &minutes);
        EXPECT_EQ(days, split.days) << split.seconds;
        EXPECT_EQ(hours, split.hours) << split.seconds;
        EXPECT_EQ(minutes, split.minutes) << split.seconds;
    }
}

TEST_F(Time, TransSysTimeToStr_WritesTheTextForm) {
    char text[32];
    std::memset(text, '#', sizeof text);
    ORVA_TransSysTimeToStr(text, 20, OrvaCalendarTime{2024, 3, 5, 7, 8, 9, 0xFF});
    EXPECT_STREQ(text, "2024-03-05 07:08:09");
    EXPECT_EQ(text[20], '#');
    ORVA_TransSysTimeToStr(text, sizeof text, OrvaCalendarTime{65535, 255, 255, 255, 255, 255, 0});
    EXPECT_STREQ(text, "65535-255-255 255:255:255");
    ORVA_TransSysTimeToStr(text, sizeof text, OrvaCalendarTime{7, 0, 0, 0, 0, 0, 0});
    EXPECT_STREQ(text, "0007-00-00 00:00:00");
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Time, TransSysTimeToStr_TooShortABufferIsRecordedAndHoldsNoText) {
    char text[20];
    std::memset(text, '#', sizeof text);
    ORVA_TransSysTimeToStr(text, 19, OrvaCalendarTime{2024, 3, 5, 7, 8, 9, 0});
    EXPECT_STREQ(text, "");
    EXPECT_EQ(take_logs_without_lines(), Records{kSprintfRecord});
}

TEST_F(Time, TransSysTimeToStr_NullTextDoesNothing) {
    ORVA_TransSysTimeToStr(nullptr, 20, OrvaCalendarTime{2024, 3, 5, 7, 8, 9, 0});
    EXPECT_EQ(calls_of("sprintf_s"), 0u);
    EXPECT_TRUE(take_logs().empty());
}

struct LocalCase {
    const char *zone;
    time_t seconds;
    const char *text;
};

constexpr LocalCase kLocals[] = {
    {"UTC0", 0, "1970-01-01 00:00:00"},
    {"UTC0", 1709622489, "2024-03-05 07:08:09"},
    {"UTC0", -1, "1969-12-31 23:59:59"},
    {"XYZ-8", 1709622489, "2024-03-05 15:08:09"},
    {"XYZ5:30", 1709622489, "2024-03-05 01:38:09"},
    {"UTC0", 4102444799, "2099-12-31 23:59:59"},
};

TEST_F(Time, TransSecToLocalTime_FollowsTheZoneOfTheProcess) {
    for (const LocalCase &local : kLocals) {
        setenv("TZ", local.zone, 1);
        tzset();
        char text[20];
        EXPECT_EQ(ORVA_TransSecToLocalTime(local.seconds, text, sizeof text), 19);
        EXPECT_STREQ(text, local.text);
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(Time, TransSecToLocalTime_TakesTheLastYearOfTheCalendar) {
    setenv("TZ", "UTC0", 1);
    tzset();
    char text[32];
    EXPECT_EQ(ORVA_TransSecToLocalTime(67768036191676799, text, sizeof text), 25);
    EXPECT_STREQ(text, "2147485547-12-31 23:59:59");
}

TEST_F(Time, TransSecToLocalTime_TooShortABufferIsRecorded) {
    char text[20];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(ORVA_TransSecToLocalTime(0, text, 19), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(take_logs_without_lines(), Records{kSprintfRecord});
}

TEST_F(Time, TransSecToLocalTime_TimeWithoutACalendarFormIsRecorded) {
    char text[20] = "kept";
    fail("localtime_r", 1, 0, EOVERFLOW);
    EXPECT_EQ(ORVA_TransSecToLocalTime(0, text, sizeof text), -1);
    EXPECT_STREQ(text, "kept");
    EXPECT_EQ(take_logs_without_lines(), Records{kSprintfRecord});
}

struct TickCase {
    long seconds, microseconds;
    std::uint32_t expected;
};

constexpr TickCase kTicks[] = {
    {0, 0, 0},         {0, 999999, 999999},
    {1, 2, 1000002},   {4294, 967295, 4294967295u},
    {4294, 967296, 0}, {1700000000, 123456, 404759104}, // 1700000000123456 mod 2^32
};

TEST_F(Time, TickGet_CountsMicrosecondsModuloTheWord) {
    for (const TickCase &tick : kTicks) {
        libc().gettimeofday = [&](timeval *now, void *zone) {
            EXPECT_EQ(zone, nullptr);
            *now = {tick.seconds, tick.microseconds};
            return 0;
        };
        EXPECT_EQ(ORVA_TickGet(), tick.expected);
    }
}

TEST_F(Time, TickGet_FailedClockHasItsCode) {
    fail("gettimeofday", 1, -1, EINVAL);
    EXPECT_EQ(ORVA_TickGet(), ORVA_ERR_TICK);
}
