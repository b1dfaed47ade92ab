#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <string>

#include "util/i_os_time.h"

namespace {
std::time_t now = 0;
}

// Stands before the C library's, so that a test can choose the year.
extern "C" std::time_t time(std::time_t*) noexcept {
    return now;
}

namespace {

TEST(Time, AConversionFollowsTheSecondAndTheZone) {
    const std::string long_zone(80, 'Z');  // longer than what is remembered
    const std::time_t nine = 1767258000;   // 2026-01-01 09:00:00 UTC
    const auto hour = [](const std::string& zone, std::time_t moment) {
        setenv("TZ", zone.c_str(), 1);
        struct tm local;
        return safeLocaltime(&local, &moment)->tm_hour;
    };
    EXPECT_EQ(hour("UTC0", nine), 9);
    EXPECT_EQ(hour("UTC0", nine + 3600), 10);
    EXPECT_EQ(hour("XXX-3", nine + 3600), 13);
    EXPECT_EQ(hour(long_zone + "-5", nine), 14);
    EXPECT_EQ(hour(long_zone + "-6", nine), 15);
}

TEST(Time, DateTimeHasFourDigitsOfYearAndTheMonthFromOne) {
    setenv("TZ", "UTC0", 1);
    DateTime d;
    const auto year = [&d](long long moment) {
        now = static_cast<std::time_t>(moment);
        getDateTime(&d);
        return d.year;
    };
    EXPECT_EQ(year(946684799), 1999);
    EXPECT_EQ(year(946684800), 2000);
    EXPECT_TRUE(sizeof(std::time_t) == 4 || year(3155760000) == 1970);  // of 2070
    EXPECT_EQ(year(1772000461), 2026);
    EXPECT_THAT((std::array{d.month, d.day, d.hour, d.minute, d.second}),
                testing::ElementsAre(2, 25, 6, 21, 1));
    EXPECT_THAT(d.millisecond, testing::AllOf(testing::Ge(0), testing::Lt(1000)));
}

}  // namespace
