#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "util/i_os_thread.h"
#include "util/i_trace.h"

namespace {

int size_result = 0;               // what pthread_attr_setstacksize answers
std::size_t forced_size = 0;       // the stack size that it sets instead of the one asked for
std::vector<std::string> reports;  // of ErrorIpc

}  // namespace

// Stands before the C library's, so that a test can let it fail or ask for too much.
extern "C" int pthread_attr_setstacksize(pthread_attr_t* attribute, std::size_t size) noexcept {
    using Function = int (*)(pthread_attr_t*, std::size_t);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, __func__));
    return size_result != 0 ? size_result : real(attribute, forced_size ? forced_size : size);
}

namespace {

using testing::ElementsAre;

struct Seen {
    std::atomic<bool> ready{false};
    std::uint32_t id = 0;
    std::size_t stack_size = 0;
};

void* look(void* argument) {
    auto* own = static_cast<Seen*>(argument);
    pthread_attr_t attribute;
    pthread_getattr_np(pthread_self(), &attribute);
    pthread_attr_getstacksize(&attribute, &own->stack_size);
    pthread_attr_destroy(&attribute);
    own->id = threadId();
    own->ready = true;
    own->ready.notify_one();
    threadExit();
}

TEST(Thread, HasTheFixedStackAndTheIdThatItsStarterGets) {
    Seen seen;
    const std::uint32_t id = threadCreate("stack", look, 0, 8192, &seen, 1);
    seen.ready.wait(false);
    EXPECT_NE(id, 0U);
    EXPECT_EQ(seen.id, id);
    EXPECT_NE(threadId(), id);
    EXPECT_EQ(seen.stack_size, 2097152U);
}

TEST(Thread, FailedCallsAreReportedAndOnlyTheStartItselfIsFatalToTheThread) {
    errorIpcHandler = [](short number, const char* module, const char* operation,
                         const char* code) {
        reports.push_back(std::to_string(number) + " " + module + " " + operation + " " + code);
    };
    size_result = EINVAL;
    Seen seen;
    EXPECT_NE(threadCreate("odd", look, 0, 0, &seen, 0), 0U);
    seen.ready.wait(false);
    EXPECT_THAT(reports, ElementsAre("11 i_os threadSetStacksize 22"));

    size_result = 0;
    forced_size = SIZE_MAX - (std::size_t{1} << 26) + 1;  // no machine has such a stack
    reports.clear();
    EXPECT_EQ(threadCreate("none", look, 0, 0, &seen, 0), 0U);
    EXPECT_THAT(reports, ElementsAre(testing::MatchesRegex("11 i_os threadCreate [1-9][0-9]*")));
    forced_size = 0;
    errorIpcHandler = nullptr;
}

TEST(Thread, SleepGivesTheResultOfTheSystem) {
    EXPECT_EQ(threadSleep(0), 0);
    EXPECT_EQ(threadSleep(1), 0);
    EXPECT_EQ(threadSleep(-1), -1);
    EXPECT_EQ(threadYield(), 0);
}

}  // namespace
