#include <gtest/gtest.h>

#include <array>

#include "util/i_os_time.h"

static std::time_t now = 0;

// Stands before the C library's, so that a test can choose the year.
extern "C" std::time_t time(std::time_t*) noexcept { return now; }

static std::string at(const std::string& zone, long long moment) {
    setenv("TZ", zone.c_str(), 1);
    now = static_cast<std::time_t>(moment);
    DateTime d;
    getDateTime(&d);
    EXPECT_TRUE(d.millisecond >= 0 && d.millisecond < 1000);
    return testing::PrintToString(std::array{d.year, d.month, d.day, d.hour, d.minute, d.second});
}

TEST(Time, FollowsTheSecondAndTheZoneAndHasFourDigitsOfYear) {
    EXPECT_EQ(at("UTC0", 946684799), "{ 1999, 12, 31, 23, 59, 59 }");
    EXPECT_EQ(at("UTC0", 946684800), "{ 2000, 1, 1, 0, 0, 0 }");
    EXPECT_EQ(at("ABC-3", 946684800), "{ 2000, 1, 1, 3, 0, 0 }");
    const std::string long_zone(80, 'Z');  // longer than what is remembered
    EXPECT_EQ(at(long_zone + "-5", 1772000461), "{ 2026, 2, 25, 11, 21, 1 }");
    EXPECT_EQ(at(long_zone + "-6", 1772000461), "{ 2026, 2, 25, 12, 21, 1 }");
    EXPECT_TRUE(sizeof(std::time_t) == 4 ||
                at("UTC0", 3155760000) == "{ 1970, 1, 1, 0, 0, 0 }");  // 2070
}
