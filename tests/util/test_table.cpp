#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os_mutex.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

// The rows of the listing, which stand between its heading and its closing line end.
std::vector<std::string> rows() {
    CharString text("before");
    listThreads(text);
    std::string rest = text.c_str();
    const std::string heading = "before\nTbThreadCreated:\n";
    EXPECT_EQ(rest.substr(0, heading.size()), heading);
    EXPECT_THAT(rest, EndsWith("\n\n"));
    std::vector<std::string> result;
    for (std::size_t at = heading.size(), end; at + 1 < rest.size(); at = end + 1) {
        end = rest.find('\n', at);
        result.push_back(rest.substr(at, end - at));
    }
    return result;
}

std::string row(int number, const char* name, std::uint32_t handle, std::uint32_t id, int mark) {
    char text[96];
    std::snprintf(text, sizeof text, "%4d %12s  Hd%4d Id%4d  Trace%3d", number, name,
                  static_cast<int>(handle), static_cast<int>(id), mark);
    return text;
}

struct Table : testing::Test {
    ~Table() override {
        mutexNotes = 0;
        verboseIpc = 0;
    }
    const std::uint32_t own_id = threadId();
};

// The tests share one table and run in this order; this one makes its first entries.
TEST_F(Table, ASlotIsTakenMarkedListedAndReused) {
    EXPECT_STREQ(threadName(), "Unknown");
    setThreadWaitNote("nowhere.cpp", 1);
    RemoveThreadFromTb();
    EXPECT_EQ(rows(), std::vector<std::string>());
    PutThreadInTbThread("twelve_bytes", 7, own_id);
    PutThreadInTbThread("eleven_byte", 0xFFFFFFF0, 0x80000000);
    EXPECT_STREQ(threadName(), "twelve_byte");
    setThreadTrace(12);
    EXPECT_THAT(rows(), ElementsAre(row(1, "twelve_byte", 7, own_id, 12),
                                    "   2  eleven_byte  Hd -16 Id-2147483648  Trace -1"));
    RemoveThreadFromTb();
    EXPECT_STREQ(threadName(), "Unknown");
    EXPECT_THAT(rows(), ElementsAre(HasSubstr("eleven_byte")));
    PutThreadInTbThread("", own_id, own_id);
    EXPECT_THAT(rows(), ElementsAre(row(3, "", own_id, own_id, -1), HasSubstr("eleven_byte")));
    RemoveThreadFromTb();
}

TEST_F(Table, AWaitNoteShowsTheEndOfTheFileWhileNotesAreOn) {
    PutThreadInTbThread("noted", 1, own_id);
    setThreadWaitNote("a/abcdefghijklmnopqrst.cpp", 123456);
    EXPECT_THAT(rows()[0], EndsWith("Trace -1"));
    mutexNotes = 1;
    EXPECT_THAT(rows()[0], EndsWith("Trace -1 wait mutex abcdefghijklmnopqrst.cpp 123456"));
    setThreadWaitNote("/abcdefghijklmnopqrs.cpp", 7);
    EXPECT_THAT(rows()[0], EndsWith(" wait mutex /abcdefghijklmnopqrs.cpp 7"));
    setThreadWaitNote(nullptr, -1);
    EXPECT_THAT(rows()[0], EndsWith("Trace -1"));
    setThreadWaitNote("x", 1);
    RemoveThreadFromTb();
    PutThreadInTbThread("fresh", 1, own_id);
    EXPECT_THAT(rows()[0], EndsWith("Trace -1"));
    RemoveThreadFromTb();
}

TEST_F(Table, EntriesAreTracedWhenVerbose) {
    const CapturedTrace trace;
    PutThreadInTbThread("silent", 5, own_id);
    RemoveThreadFromTb();
    verboseIpc = 1;
    PutThreadInTbThread("told", 5, own_id);
    RemoveThreadFromTb();
    RemoveThreadFromTb();
    const std::string id = std::to_string(static_cast<int>(own_id));
    EXPECT_THAT(trace.lines(), ElementsAre("@PutThreadInTbThread 5 told " + id + "\n",
                                           "@RemoveThreadFromTb 5 told " + id + "\n"));
}

TEST_F(Table, AMarkIsTriedFiveTimes) {
    const auto start = std::chrono::steady_clock::now();
    setThreadTrace(10);
    const auto spent = std::chrono::steady_clock::now() - start;
    EXPECT_GE(spent, std::chrono::milliseconds(250));
}

TEST_F(Table, ASuspendedThreadWaitsForItsResume) {
    EXPECT_EQ(threadSuspend(4711), 0);
    EXPECT_EQ(threadResume(4711), 0);
    struct Steps {
        std::atomic<int> done{0};
        void step() {
            ++done;
            done.notify_all();
        }
    } steps;
    const auto entry = [](void* argument) -> void* {
        auto* own = static_cast<Steps*>(argument);
        setThreadTrace(1);  // is there an entry now?
        own->step();
        threadSuspend(threadId());
        own->step();
        own->done.wait(2);
        threadSuspend(threadId());
        threadSuspend(threadId());
        RemoveThreadFromTb();
        own->step();
        return nullptr;
    };
    const std::uint32_t id = threadCreate("sleeper", entry, 0, 0, &steps, 0);
    steps.done.wait(0);
    threadSleep(20);
    EXPECT_EQ(steps.done, 1);
    threadResume(id);
    steps.done.wait(1);
    threadResume(id);
    threadResume(id);
    steps.step();
    steps.done.wait(3);
    EXPECT_EQ(steps.done, 4);
}

TEST_F(Table, AThreadMayLeaveUnderOneThatIsSuspendedOnItsSlot) {
    PutThreadInTbThread("left", 1, own_id);
    std::thread suspended([this] { threadSuspend(own_id); });
    threadSleep(20);
    threadResume(own_id);
    RemoveThreadFromTb();
    suspended.join();
}

// Every thread of many starters finds its own name, marks its slot and leaves; meanwhile the table
// is listed without pause.
TEST_F(Table, ManyThreadsStartThreadsAtOnce) {
    constexpr int kStarters = 8;
    constexpr int kEach = 5;
    const std::size_t rows_before = rows().size();
    static std::atomic<int> right_names;
    static std::atomic<int> left;
    right_names = left = 0;
    const auto entry = [](void* argument) -> void* {
        setThreadTrace(11);
        right_names += std::string(static_cast<const char*>(argument)) == threadName();
        RemoveThreadFromTb();
        ++left;
        return nullptr;
    };
    static char names[kStarters][8];
    std::vector<std::thread> starters;
    for (int s = 0; s < kStarters; ++s) {
        std::snprintf(names[s], sizeof names[s], "start%d", s);
        starters.emplace_back([s, entry] {
            for (int i = 0; i < kEach; ++i) {
                EXPECT_NE(threadCreate(names[s], entry, 0, 0, names[s], 0), 0U);
            }
        });
    }
    while (left < kStarters * kEach) {
        EXPECT_LE(rows().size(), rows_before + kStarters * kEach);
        std::this_thread::yield();
    }
    for (auto& starter : starters)
        starter.join();
    EXPECT_EQ(right_names, kStarters * kEach);
    EXPECT_EQ(rows().size(), rows_before);
}

TEST_F(Table, TheFiftySixthEntryIsRefused) {
    const CapturedTrace trace;
    PutThreadInTbThread("own", 1, own_id);
    for (std::uint32_t i = 0; rows().size() < 55; ++i)
        PutThreadInTbThread("x", 100 + i, 100 + i);
    const auto full = rows();
    EXPECT_TRUE(trace.lines().empty());
    PutThreadInTbThread("a_name_not_cut", 1, 99);
    EXPECT_THAT(trace.lines(),
                ElementsAre("@error in PutThreadInTbThread: table is full! a_name_not_cut  \n"));
    EXPECT_EQ(rows(), full);
    EXPECT_EQ(threadResume(99), 0);
    RemoveThreadFromTb();
    PutThreadInTbThread("again", 1, own_id);
    EXPECT_EQ(rows()[0], row(std::stoi(full.back()) + 1, "again", 1, own_id, -1));
}

}  // namespace
