#include <execinfo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "util/i_os_frames.h"

namespace {

[[gnu::noinline]] void compareWithBacktrace(int depth) {
    if (depth > 0) {
        compareWithBacktrace(depth - 1);
        asm volatile("" ::: "memory");  // keeps the call from turning into a jump
        return;
    }
    constexpr int kFramesOfOurs = 7;  // this function six times, and its caller
    void *records[32], *system[32];
    void** const end = system + backtrace(system, 32);
    ASSERT_GE(walkReturnAddresses(__builtin_frame_address(0), records, 32), kFramesOfOurs);
    EXPECT_NE(std::search(system, end, records, records + kFramesOfOurs), end);
}

TEST(Frames, AreThoseOfBacktraceOnTheMainThreadAndOnOthers) {
    compareWithBacktrace(6);
    std::jthread(compareWithBacktrace, 6);
}

}  // namespace
