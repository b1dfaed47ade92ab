#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/captured_trace.h"
#include "util/i_os_table.h"

namespace {

using testing::MatchesRegex;

// Walks with the caller's chain bent: the words of both records are kept and given back.
[[gnu::noinline]] std::string walk(volatile void** caller, int limit, bool end, bool loop) {
    char text[2048] = "kept|";
    const auto own = static_cast<volatile void**>(__builtin_frame_address(0));
    volatile void* const saved[] = {own[1], caller[0], caller[1]};
    if (end) own[1] = nullptr, caller[1] = nullptr;  // one of them is ours, by the machine
    if (loop) caller[0] = caller;
    tracebackToBuffer(text, 0, limit);
    own[1] = saved[0], caller[0] = saved[1], caller[1] = saved[2];
    return text;
}

TEST(Traceback, BeginsWithTheCallerAndStopsAtTheLimitOrWhereTheChainEnds) {
    const auto record = static_cast<volatile void**>(__builtin_frame_address(0));
    const std::string end = "End traceback thread [0-9]+, nb recurence ";
    const std::string text = walk(record, 2, false, false);
    EXPECT_THAT(text, MatchesRegex("kept\\|0 pc:0x[0-9a-f]{8,16}\n1 pc:0x[0-9a-f]{8,16}\n" + end +
                                   "2 stack size 0 \n"));
    const auto into = reinterpret_cast<std::uintptr_t>(&walk);
    EXPECT_GT(std::stoull(text.substr(12), nullptr, 16), into);
    EXPECT_LT(std::stoull(text.substr(12), nullptr, 16), into + 2048);
    EXPECT_THAT(walk(record, 0, false, false), MatchesRegex("kept\\|" + end + "0 stack size 0 \n"));
    EXPECT_THAT(walk(record, 9, true, false),
                MatchesRegex("kept\\|0 pc:0x[0-9a-f]+\n" + end + "1 stack size .*"));
    EXPECT_THAT(walk(record, 9, false, true), testing::HasSubstr(", nb recurence 2 stack"));
    const CapturedTrace trace;
    tracebackToTrace();
    ASSERT_GE(trace.lines().size(), 2U);
    EXPECT_THAT(trace.lines().front(), MatchesRegex("@0 pc:0x[0-9a-f]{8,16}\n   \n"));
    EXPECT_THAT(trace.lines().back(), MatchesRegex("@" + end + ".*\n   \n"));
}

}  // namespace
