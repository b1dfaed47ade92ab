#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <string>

#include "util/i_os_thread.h"
#include "util/i_trace.h"

namespace {
int size_result = 0;          // what pthread_attr_setstacksize answers
std::size_t forced_size = 0;  // the stack size that it sets instead of the one asked for
std::string report;           // the last one of ErrorIpc
std::atomic<std::size_t> seen_size;
std::uint32_t seen_id;
}  // namespace

// Stands before the C library's, so that a test can let it fail or ask for too much.
extern "C" int pthread_attr_setstacksize(pthread_attr_t* attribute, std::size_t size) noexcept {
    using Function = int (*)(pthread_attr_t*, std::size_t);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, __func__));
    return size_result != 0 ? size_result : real(attribute, forced_size ? forced_size : size);
}

namespace {

void* look(void* size_out) {
    pthread_attr_t attribute;
    std::size_t size = 0;
    pthread_getattr_np(pthread_self(), &attribute);
    pthread_attr_getstacksize(&attribute, &size);
    pthread_attr_destroy(&attribute);
    seen_id = threadId();
    *static_cast<std::atomic<std::size_t>*>(size_out) = size;
    seen_size.notify_one();
    threadExit();
}

TEST(Thread, HasTheFixedStackAndReportsWhatFails) {
    errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
        report = std::to_string(number) + " " + module + " " + word + " " + code;
    };
    for (const int result : {0, EINVAL}) {
        size_result = result;
        seen_size = 0;
        const std::uint32_t id = threadCreate("looks", look, 0, 8192, &seen_size, 1);
        seen_size.wait(0);
        EXPECT_EQ(seen_id, id);
        EXPECT_TRUE(seen_size == 2097152U || result != 0);
        EXPECT_EQ(report, result == 0 ? "" : "11 i_os threadSetStacksize 22");
    }
    size_result = 0;
    forced_size = SIZE_MAX - (std::size_t{1} << 26) + 1;  // no machine has such a stack
    EXPECT_EQ(threadCreate("none", look, 0, 0, &seen_size, 0), 0U);
    EXPECT_EQ(report.substr(0, 23), "11 i_os threadCreate 11");
}

TEST(Thread, SleepGivesTheResultOfTheSystem) {
    EXPECT_EQ(threadSleep(0), 0);
    EXPECT_EQ(threadSleep(-1), -1);
    EXPECT_EQ(threadYield(), 0);
}

}  // namespace
