#include <execinfo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "util/i_os_frames.h"

namespace {

constexpr int kRoom = 32;

struct Walks {
    std::vector<void*> records;
    std::vector<void*> system;
};

[[gnu::noinline]] Walks walkHere(int depth) {
    if (depth > 0) {
        Walks walks = walkHere(depth - 1);
        asm volatile("" ::: "memory");  // keeps the call from turning into a jump
        return walks;
    }
    Walks walks{std::vector<void*>(kRoom), std::vector<void*>(kRoom)};
    walks.system.resize(static_cast<std::size_t>(backtrace(walks.system.data(), kRoom)));
    walks.records.resize(static_cast<std::size_t>(
        walkReturnAddresses(__builtin_frame_address(0), walks.records.data(), kRoom)));
    return walks;
}

void expectSameInnerFrames(const Walks& walks) {
    constexpr std::ptrdiff_t kFramesOfOurs = 7;  // walkHere six times, and its caller
    ASSERT_GE(walks.records.size(), static_cast<std::size_t>(kFramesOfOurs));
    const auto first = walks.records.begin();
    EXPECT_NE(std::search(walks.system.begin(), walks.system.end(), first, first + kFramesOfOurs),
              walks.system.end());
}

TEST(Frames, AreThoseOfBacktraceOnTheMainThreadAndOnOthers) {
    expectSameInnerFrames(walkHere(6));
    Walks of_thread;
    std::thread([&] { of_thread = walkHere(6); }).join();
    expectSameInnerFrames(of_thread);
}

TEST(Frames, StayInsideTheStackAndEndAtWhatIsNoRecord) {
    const StackBounds stack = ownStack();
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    ASSERT_TRUE(stack.low < here && here < stack.high);
    FrameRecord frame{1, 2, 3};
    for (const std::uintptr_t bad : {std::uintptr_t{0}, here + 1, stack.low - sizeof(void*),
                                     stack.high - sizeof(void*), stack.high}) {
        EXPECT_FALSE(readFrame(bad, stack, frame)) << bad;
    }
    EXPECT_EQ(frame.link, 2u);
}

}  // namespace
