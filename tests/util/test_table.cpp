#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os_mutex.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"

namespace {

using testing::HasSubstr;

const std::string kHeading = "\nTbThreadCreated:\n";
const std::uint32_t own_id = threadId();
const std::string own_number = std::to_string(static_cast<int>(own_id));

std::string listing() {
    CharString text;
    listThreads(text);
    return text.c_str();
}

// The tests share one table and run in this order; this one makes its first entries.
TEST(Table, ASlotIsTakenMarkedListedAndReused) {
    const auto start = std::chrono::steady_clock::now();
    setThreadTrace(9);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
    EXPECT_EQ(listing(), kHeading + "\n");
    const CapturedTrace trace;
    verboseIpc = 1;
    PutThreadInTbThread("twelve_bytes", 7, own_id);
    verboseIpc = 0;
    PutThreadInTbThread("second", 0xFFFFFFF0, 0x80000000);
    EXPECT_STREQ(threadName(), "twelve_byte");
    setThreadTrace(12);
    mutexNotes = 1;
    setThreadWaitNote("a/abcdefghijklmnopqrst.cpp", 123456);
    const std::string first = kHeading + "   1  twelve_byte  Hd   7 Id" + own_number + "  Trace 12";
    const std::string second = "\n   2       second  Hd -16 Id-2147483648  Trace -1\n\n";
    EXPECT_EQ(listing(), first + " wait mutex abcdefghijklmnopqrst.cpp 123456" + second);
    mutexNotes = 0;
    EXPECT_EQ(listing(), first + second);
    mutexNotes = 1;
    setThreadWaitNote(nullptr, -1);
    EXPECT_EQ(listing(), first + second);
    mutexNotes = 0;
    verboseIpc = 1;
    RemoveThreadFromTb();
    RemoveThreadFromTb();
    verboseIpc = 0;
    EXPECT_STREQ(threadName(), "Unknown");
    PutThreadInTbThread("", 7, own_id);
    EXPECT_THAT(listing(),
                HasSubstr("\n   3               Hd   7 Id" + own_number + "  Trace -1" + second));
    RemoveThreadFromTb();
    EXPECT_THAT(trace.lines(),
                testing::ElementsAre("@PutThreadInTbThread 7 twelve_bytes " + own_number + "\n",
                                     "@RemoveThreadFromTb 7 twelve_byte " + own_number + "\n"));
}

// Every thread of many starters finds its name, waits to be resumed, and leaves the table.
TEST(Table, ManyThreadsStartThreadsAtOnceAndResumeThem) {
    const std::string before = listing();
    static std::atomic<int> named{0}, left{0};
    const auto entry = [](void*) -> void* {
        setThreadTrace(11);  // waits for the entry
        named += std::string(threadName()) == "suspended";
        threadSuspend(threadId());
        RemoveThreadFromTb();
        ++left;
        return nullptr;
    };
    std::barrier all_named(8);
    std::vector<std::thread> starters;
    for (int s = 0; s < 8; ++s) {
        starters.emplace_back([entry, &all_named] {
            std::vector<std::uint32_t> ids;
            for (int i = 0; i < 5; ++i)
                ids.push_back(threadCreate("suspended", entry, 0, 0, {}, 0));
            while (named < 40)
                threadYield();
            EXPECT_EQ(left, 0);
            all_named.arrive_and_wait();
            for (const std::uint32_t id : ids)
                threadResume(id);
        });
    }
    for (auto& starter : starters)
        starter.join();
    while (left < 40)
        EXPECT_THAT(listing(), HasSubstr(kHeading));
    EXPECT_EQ(listing(), before);
    EXPECT_EQ(threadSuspend(4711), 0);
}

TEST(Table, TheFiftySixthEntryIsRefused) {
    const CapturedTrace trace;
    PutThreadInTbThread("own", 1, own_id);
    const auto used = [](const std::string& text) { return std::ranges::count(text, '\n') - 3; };
    for (std::uint32_t i = 0; used(listing()) < 55; ++i)
        PutThreadInTbThread("x", 100 + i, 100 + i);
    const std::string full = listing();
    EXPECT_TRUE(trace.lines().empty());
    PutThreadInTbThread("a_name_not_cut", 1, 99);
    EXPECT_THAT(
        trace.lines(),
        testing::ElementsAre("@error in PutThreadInTbThread: table is full! a_name_not_cut  \n"));
    EXPECT_EQ(listing(), full);
    RemoveThreadFromTb();
    PutThreadInTbThread("again", 1, own_id);
    EXPECT_EQ(used(listing()), 55);
}

}  // namespace
