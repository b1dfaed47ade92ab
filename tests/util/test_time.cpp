#include <gtest/gtest.h>

#include "support/chosen_clock.h"
#include "util/i_os_mutex.h"
#include "util/i_os_thread.h"
#include "util/i_os_time.h"

static int years_more = 0;  // below 0 a moment has no local form
static int conversions = 0;

// Stands before the C library's, for years beyond `time_t`, wherever the machine stands.
extern "C" std::tm* localtime(const std::time_t* moment) noexcept {
    static std::tm local;
    EXPECT_EQ(systemMutex()->owner_id, threadId());
    ++conversions;
    tzset();
    (std::getenv("TZ") ? localtime_r : gmtime_r)(moment, &local);
    local.tm_year += years_more;
    return years_more < 0 ? nullptr : &local;
}

static std::string date() {
    DateTime d;
    getDateTime(&d);
    return testing::PrintToString(
        std::tuple(d.year, d.month, d.day, d.hour, d.minute, d.second, d.millisecond));
}

TEST(Time, FollowsTheClockAndTheZoneAndReadsYearsAsTwoDigits) {
    const std::string long_zone = std::string(61, 'Z') + "-5";
    const std::string too_long = std::string(62, 'Z') + "-6";  // to be remembered
    const std::tuple<std::string, std::time_t, int, int, const char*> cases[] = {
        // zone, second, years more, microsecond, date
        {"UTC0", 946684800, 0, 999'000, "(2000, 1, 1, 0, 0, 0, 999)"},
        {"ABC-3", 946684800, 0, -1, "(2000, 1, 1, 3, 0, 0, 0)"},
        {"", 946684800, 0, 0, "(2000, 1, 1, 0, 0, 0, 0)"},
        {long_zone, 946684800, 0, 0, "(2000, 1, 1, 5, 0, 0, 0)"},
        {too_long, 946684800, 0, 0, "(2000, 1, 1, 6, 0, 0, 0)"},
        {"UTC0", 0, 99, 0, "(2069, 1, 1, 0, 0, 0, 0)"},
        {"UTC0", 1, 100, 0, "(1970, 1, 1, 0, 0, 1, 0)"},
        {"UTC0", 2, 1829, 0, "(1999, 1, 1, 0, 0, 2, 0)"},
        {"UTC0", 3, 1830, 0, "(1900, 1, 1, 0, 0, 3, 0)"},
        {"UTC0", 4, -1, 0, "(2000, 1, 0, 0, 0, 0, 0)"}};
    for (const auto& [zone, second, years, fine, expected] : cases) {
        setenv("TZ", zone.c_str(), 1);
        if (zone.empty()) unsetenv("TZ");
        now = second;
        years_more = years;
        microsecond = fine;
        conversions = 0;
        EXPECT_EQ(date(), expected);
        EXPECT_EQ(date(), expected);
        EXPECT_EQ(conversions, zone == too_long ? 2 : 1);
    }
}

TEST(Time, APipeCarriesBytesUntilItsWriterCloses) {
    int ends[2];
    ASSERT_EQ(pipeCreate(ends), 0);
    EXPECT_EQ(pipeWrite(ends[1], "abc", 3), 3);
    pipeClose(ends[1]);
    char got[8];
    EXPECT_EQ(pipeRead(ends[0], got, sizeof got), 3);
    EXPECT_EQ(pipeRead(ends[0], got, sizeof got), 0);
}
