#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "util/i_os_thread.h"

namespace {

struct Seen {
    std::atomic<bool> ready{false};
    std::uint32_t id = 0;
    std::size_t stack_size = 0;
};

TEST(Thread, HasTheFixedStackAndTheIdThatItsStarterGets) {
    Seen seen;
    const auto entry = [](void* argument) -> void* {
        auto* own = static_cast<Seen*>(argument);
        pthread_attr_t attribute;
        pthread_getattr_np(pthread_self(), &attribute);
        pthread_attr_getstacksize(&attribute, &own->stack_size);
        pthread_attr_destroy(&attribute);
        own->id = threadId();
        own->ready = true;
        own->ready.notify_one();
        threadExit();
    };
    const std::uint32_t id = threadCreate("stack", entry, 0, 8192, &seen, 1);
    seen.ready.wait(false);
    EXPECT_NE(id, 0U);
    EXPECT_EQ(seen.id, id);
    EXPECT_NE(threadId(), id);
    EXPECT_EQ(seen.stack_size, 2097152U);
}

TEST(Thread, SleepGivesTheResultOfTheSystem) {
    EXPECT_EQ(threadSleep(0), 0);
    EXPECT_EQ(threadSleep(1), 0);
    EXPECT_EQ(threadSleep(-1), -1);
    EXPECT_EQ(threadYield(), 0);
}

}  // namespace
