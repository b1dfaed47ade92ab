#include <dlfcn.h>
#include <gmock/gmock.h>

#include <latch>
#include <thread>

#include "support/captured_trace.h"
#include "support/pauses.h"
#include "util/i_charstr.h"
#include "util/i_os.h"

static std::atomic<std::size_t> asked_size = 0;
static std::atomic<std::size_t> forced_size = 0;

// Stands before the C library's, so that a test can ask for too little or too much.
extern "C" int pthread_attr_setstacksize(pthread_attr_t* attribute, std::size_t size) noexcept {
    using Function = int (*)(pthread_attr_t*, std::size_t);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, __func__));
    asked_size = size;
    return real(attribute, forced_size != 0 ? forced_size.load() : size);
}

namespace {

const std::string kHeading = "\nTbThreadCreated:\n";
const std::uint32_t own_id = threadId();
const std::string own_number = std::to_string(static_cast<int>(own_id));

std::string listing() {
    CharString text;
    listThreads(text);
    return text.c_str();
}

auto slotsInUse() { return std::ranges::count(listing(), '\n') - 3; }

// The table numbers the entries of the whole process, so this test stands first.
TEST(Table, ListsAndTracesItsEntriesInTheLowestFreeSlots) {
    const std::string second = "   2       second  Hd -16 Id-2147483648  Trace -1\n";
    const CapturedTrace trace;
    verboseIpc = 1;
    PutThreadInTbThread("twelve_bytes", 7, own_id);
    PutThreadInTbThread("second", 0xFFFFFFF0, 0x80000000);
    EXPECT_EQ(listing(), kHeading + "   1  twelve_byte  Hd   7 Id" + own_number + "  Trace -1\n" +
                             second + "\n");
    EXPECT_STREQ(threadName(), "twelve_byte");
    RemoveThreadFromTb();
    RemoveThreadFromTb();  // says and does nothing
    verboseIpc = 0;
    const std::string told = own_number + "\n@PutThreadInTbThread -16 second -2147483648\n";
    EXPECT_EQ(trace.all(), "@PutThreadInTbThread 7 twelve_bytes " + told +
                               "@RemoveThreadFromTb 7 twelve_byte " + own_number + "\n");
    EXPECT_EQ(listing(), kHeading + second + "\n");
    EXPECT_STREQ(threadName(), "Unknown");
    PutThreadInTbThread("", 7, own_id);
    EXPECT_EQ(listing(), kHeading + "   3               Hd   7 Id" + own_number + "  Trace -1\n" +
                             second + "\n");
    RemoveThreadFromTb();
}

TEST(Table, AMarkWaitsForTheEntryOfItsThreadForFivePauses) {
    std::vector<long> pauses;
    on_pause = [&pauses](long ms) {
        pauses.push_back(ms);
        if (pauses.size() == 7) PutThreadInTbThread("marked", 7, own_id);
    };
    setThreadTrace(9);
    EXPECT_EQ(pauses, std::vector<long>(5, 50)) << "in vain";
    setThreadTrace(12);
    EXPECT_EQ(pauses.size(), 7U);
    EXPECT_THAT(listing(), testing::HasSubstr("Trace 12\n"));
    on_pause = nullptr;
    RemoveThreadFromTb();
}

// Ends when it stands in the table and is detached, which is done behind that.
void* looksAtItself(void* argument) {
    for (int state = -1; state != PTHREAD_CREATE_DETACHED;) {
        pthread_attr_t own;
        pthread_getattr_np(pthread_self(), &own);
        pthread_attr_getdetachstate(&own, &state);
        pthread_attr_destroy(&own);
    }
    EXPECT_STREQ(threadName(), "looks");
    RemoveThreadFromTb();
    auto& seen = *static_cast<std::atomic<std::uint32_t>*>(argument);
    seen = threadId();
    threadExit();
}

TEST(Thread, StartsDetachedWithTheFixedStackAndReportsWhatFails) {
    static std::atomic<std::uint32_t> seen;
    const CapturedTrace trace;
    errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
        tracePrintfRaw("%d %s %s %s;", number, module, word, code);
    };
    forced_size = 1;  // refused; the thread starts all the same
    const std::uint32_t id = threadCreate("looks", looksAtItself, 0, 8192, &seen, 1);
    while (seen == 0) std::this_thread::yield();
    EXPECT_EQ(seen, id);
    EXPECT_EQ(asked_size, 2097152U);
    forced_size = SIZE_MAX - (std::size_t{1} << 26) + 1;  // no machine has such a stack
    EXPECT_EQ(threadCreate("none", looksAtItself, 0, 0, &seen, 0), 0U);
    forced_size = 0;
    errorIpcHandler = nullptr;
    EXPECT_EQ(trace.all(), "11 i_os threadSetStacksize 22;11 i_os threadCreate 11;");
}

TEST(Thread, SleepsTheGivenTimeInOnePause) {
    std::vector<long> pauses;
    on_pause = [&pauses](long ms) { pauses.push_back(ms); };
    EXPECT_EQ(threadSleep(2345), 0);
    EXPECT_EQ(threadYield(), 0);
    EXPECT_THAT(pauses, testing::ElementsAre(2345, 10));
    on_pause = nullptr;
    EXPECT_EQ(threadSleep(-1), -1);
}

TEST(Task, ManyStartedAtOnceStandInTheTableAsFarAsItReachesAndLeaveItAgain) {
    const CapturedTrace trace;
    const auto before = slotsInUse();
    std::latch leave(1);
    std::atomic<int> named = 0;
    const auto work = [&] {
        named += threadName() == std::string("many");
        leave.wait();
    };
    const auto start = [&work] {
        for (int i = 0; i < 30; ++i) EXPECT_EQ(threadStart("many", work), 1);
    };
    std::jthread other(start);
    start();
    other.join();
    EXPECT_EQ(slotsInUse(), 55);
    const std::string refused = "@error in PutThreadInTbThread: table is full! many  \n";
    EXPECT_THAT(trace.lines(), std::vector(static_cast<std::size_t>(60 + before - 55), refused));
    EXPECT_EQ(threadWaitStarted(20), 0);
    leave.count_down();
    EXPECT_EQ(threadWaitStarted(30'000), 1);
    EXPECT_EQ(named, 55 - before) << "each stood there before its work began";
    EXPECT_EQ(slotsInUse(), before);
}

}  // namespace
