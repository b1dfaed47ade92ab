#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <regex>
#include <string>

#include "support/captured_trace.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

using Words = volatile std::uintptr_t*;

enum class Damage { kNone, kNoReturnAddress, kLinkOfCallerToItself };

// Room for the frame walks below: this function's caller's record is `caller`.
[[gnu::noinline]] std::string walkFrom(Words caller, int limit, Damage damage) {
    char text[2048] = "kept|";
    const auto own = static_cast<Words>(__builtin_frame_address(0));
    const std::uintptr_t saved[] = {own[1], caller[0], caller[1]};
    if (damage == Damage::kNoReturnAddress) {
        own[1] = 0;  // this function's own on x86-64, the caller's keeps it on PowerPC
        caller[1] = 0;
    }
    if (damage == Damage::kLinkOfCallerToItself)
        caller[0] = reinterpret_cast<std::uintptr_t>(caller);
    tracebackToBuffer(text, 0, limit);
    own[1] = saved[0];
    caller[0] = saved[1];
    caller[1] = saved[2];
    return text;
}

[[gnu::noinline]] std::string walk(int limit, Damage damage = Damage::kNone) {
    const auto own = static_cast<Words>(__builtin_frame_address(0));
    std::string text = walkFrom(own, limit, damage);
    own[0] = own[0];
    return text;
}

std::string endLine(const char* index, const char* size) {
    return "End traceback thread " + std::to_string(threadId()) + ", nb recurence " + index +
           " stack size " + size + " \n";
}

std::uintptr_t addressIn(const std::string& text, int index) {
    const std::string mark = std::to_string(index) + " pc:0x";
    const std::size_t at = text.find(mark);
    EXPECT_NE(at, std::string::npos) << text;
    return at == std::string::npos ? 0 : std::stoull(text.substr(at + mark.size()), nullptr, 16);
}

bool leadsInto(std::uintptr_t address, std::uintptr_t function) {
    return address > function && address < function + 2048;
}

TEST(Traceback, BeginsWithTheCallersAndStopsAtTheLimit) {
    const std::string text = walk(3);
    EXPECT_THAT(text, MatchesRegex("kept\\|0 pc:0x[0-9a-f]{8,16}\n1 pc:0x[0-9a-f]{8,16}\n"
                                   "2 pc:0x[0-9a-f]{8,16}\nEnd traceback thread [0-9]+, nb "
                                   "recurence 3 stack size [1-9][0-9]* \n"));
    EXPECT_TRUE(leadsInto(addressIn(text, 0), reinterpret_cast<std::uintptr_t>(&walkFrom)));
    EXPECT_TRUE(leadsInto(addressIn(text, 1), reinterpret_cast<std::uintptr_t>(&walk)));
    EXPECT_EQ(walk(0), "kept|" + endLine("0", "0"));
}

TEST(Traceback, EndsWhereTheChainEnds) {
    EXPECT_THAT(walk(9, Damage::kNoReturnAddress),
                MatchesRegex("kept\\|0 pc:0x[0-9a-f]+\nEnd .* nb recurence 1 stack size .*"));
    EXPECT_THAT(walk(9, Damage::kLinkOfCallerToItself), HasSubstr(", nb recurence 2 stack size "));
}

TEST(Traceback, GoesToTheTraceLineByLine) {
    const CapturedTrace trace;
    tracebackToTrace();
    const auto lines = trace.lines();
    ASSERT_GE(lines.size(), 2U);
    ASSERT_LE(lines.size(), 21U);
    EXPECT_THAT(lines.front(), MatchesRegex("@0 pc:0x[0-9a-f]{8,16}\n   \n"));
    EXPECT_THAT(lines.back(), StartsWith("@End traceback thread "));
}

}  // namespace
