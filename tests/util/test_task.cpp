#include <gtest/gtest.h>

#include <latch>

#include "util/i_charstr.h"
#include "util/i_os.h"

TEST(Task, ShortThreadsLeaveNoEntryInTheTable) {
    constexpr int kThreads = 60;  // more than the table has slots
    std::atomic<int> named{0};
    for (int i = 0; i < kThreads; ++i) {
        const short started = threadStart("short", [&named] {
            if (threadName() == std::string("short")) ++named;
        });
        ASSERT_EQ(started, 1);
        ASSERT_EQ(threadWaitStarted(30'000), 1);
    }
    EXPECT_EQ(named, kThreads) << "each stood in the table before its work began";
    CharString table;
    listThreads(table);
    EXPECT_EQ(table.contains("short"), 0);
}

TEST(Task, TheWaitForAllIsBoundedAndEndsBehindWhatTheWorkHolds) {
    std::latch leave(1);
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = held;
    ASSERT_EQ(threadStart("waits", [&leave, kept = std::move(held)] { leave.wait(); }), 1);
    EXPECT_EQ(threadWaitStarted(20), 0);
    leave.count_down();
    EXPECT_EQ(threadWaitStarted(30'000), 1);
    EXPECT_TRUE(watch.expired());
}
