#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "util/i_os_time.h"

namespace {
std::time_t clock_set_to = 0;  // 0: the real clock
}

// Stands before the C library's, so that a test can choose the year.
extern "C" std::time_t time(std::time_t* out) noexcept {
    std::time_t now = clock_set_to;
    if (now == 0) {
        timespec real;
        clock_gettime(CLOCK_REALTIME, &real);
        now = real.tv_sec;
    }
    if (out) *out = now;
    return now;
}

namespace {

int hourIn(const char* zone, std::time_t moment) {
    zone ? setenv("TZ", zone, 1) : unsetenv("TZ");
    struct tm local;
    EXPECT_EQ(safeLocaltime(&local, &moment), &local);
    return local.tm_hour;
}

TEST(Time, AConversionFollowsTheSecondAndTheZone) {
    constexpr std::time_t kMorning = 1767258000;  // 2026-01-01 09:00:00 UTC
    EXPECT_EQ(hourIn("UTC0", kMorning), 9);
    EXPECT_EQ(hourIn("UTC0", kMorning + 3600), 10);
    EXPECT_EQ(hourIn("XXX-3", kMorning + 3600), 13);
    EXPECT_EQ(hourIn("YYY-4", kMorning + 3600), 14);
    std::string zone(80, 'Z');  // longer than what is remembered
    zone += "-5";
    EXPECT_EQ(hourIn(zone.c_str(), kMorning), 14);
    zone.back() = '6';
    EXPECT_EQ(hourIn(zone.c_str(), kMorning), 15);
    const int unset = hourIn(nullptr, kMorning);
    EXPECT_EQ(hourIn("XXX-3", kMorning), 12);
    EXPECT_EQ(hourIn("", kMorning), 9);
    EXPECT_EQ(hourIn(nullptr, kMorning), unset);
}

TEST(Time, DateTimeHasFourDigitsOfYearAndTheMonthFromOne) {
    setenv("TZ", "UTC0", 1);
    DateTime now;
    for (const auto& [moment, year] : std::vector<std::pair<long long, int>>{
             {1767258000, 2026}, {946684799, 1999}, {946684800, 2000}, {3187296000, 1971}}) {
        if (static_cast<long long>(static_cast<std::time_t>(moment)) != moment) continue;
        clock_set_to = static_cast<std::time_t>(moment);
        getDateTime(&now);
        EXPECT_EQ(now.year, year) << moment;
    }
    clock_set_to = 1772000461;  // 2026-02-25 06:21:01 UTC
    getDateTime(&now);
    EXPECT_THAT((std::vector{now.year, now.month, now.day, now.hour, now.minute, now.second}),
                testing::ElementsAre(2026, 2, 25, 6, 21, 1));
    EXPECT_THAT(now.millisecond, testing::AllOf(testing::Ge(0), testing::Lt(1000)));
    clock_set_to = 0;
}

TEST(Time, ConversionsOfManyThreadsDoNotMix) {
    setenv("TZ", "UTC0", 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            const std::time_t moment = 1767225600 + 3600 * t + t;
            for (int i = 0; i < 2000; ++i) {
                struct tm local;
                safeLocaltime(&local, &moment);
                ASSERT_EQ(local.tm_hour, t);
                ASSERT_EQ(local.tm_sec, t);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
}

TEST(Pipe, PassesBytesAndTheResultsOfTheSystem) {
    int ends[2];
    ASSERT_EQ(pipeCreate(ends), 0);
    EXPECT_EQ(pipeWrite(ends[1], "abcd", 4), 4);
    char got[8];
    EXPECT_EQ(pipeRead(ends[0], got, sizeof got), 4);
    EXPECT_EQ(std::string(got, 4), "abcd");
    pipeClose(ends[1]);
    EXPECT_EQ(pipeRead(ends[0], got, sizeof got), 0);
    pipeClose(ends[0]);
    EXPECT_EQ(pipeRead(ends[0], got, sizeof got), -1);
}

}  // namespace
