#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "support/captured_trace.h"
#include "support/pauses.h"
#include "util/i_charstr.h"
#include "util/i_os_mutex.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"

static std::atomic<std::size_t> asked_size = 0, forced_size = 0;

// Stands before the C library's, so that a test can ask for too little or too much.
extern "C" int pthread_attr_setstacksize(pthread_attr_t* attribute, std::size_t size) noexcept {
    using Function = int (*)(pthread_attr_t*, std::size_t);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, __func__));
    asked_size = size;
    return real(attribute, forced_size != 0 ? forced_size.load() : size);
}

namespace {

using testing::MatchesRegex;

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
    const CapturedTrace trace;
    verboseIpc = 1;
    int pauses = 0;
    on_pause = [&pauses](long ms) {
        if (++pauses == 7) PutThreadInTbThread("twelve_bytes", 7, own_id);
        EXPECT_EQ(ms, 50);
    };
    setThreadTrace(9);
    EXPECT_EQ(listing() + threadName() + std::to_string(pauses), kHeading + "\nUnknown5");
    setThreadTrace(12);  // its entry is made while it waits
    on_pause = nullptr;
    PutThreadInTbThread("second", 0xFFFFFFF0, 0x80000000);
    const std::string first = "   1  twelve_byte  Hd   7 Id" + own_number + "  Trace 12";
    const std::string third = "   3               Hd   7 Id" + own_number + "  Trace -1";
    const std::string second = "\n   2       second  Hd -16 Id-2147483648  Trace -1\n\n";
    setThreadWaitNote("a/abcdefghijklmnopqrst.cpp", 123456);
    EXPECT_EQ(listing() + threadName(), kHeading + first + second + "twelve_byte");
    mutexNotes = 1;
    EXPECT_EQ(listing(), kHeading + first + " wait mutex abcdefghijklmnopqrst.cpp 123456" + second);
    setThreadWaitNote(nullptr, -1);
    EXPECT_EQ(listing(), kHeading + first + second);
    mutexNotes = 0;
    RemoveThreadFromTb();
    RemoveThreadFromTb();  // says and does nothing
    verboseIpc = 0;
    PutThreadInTbThread("", 7, own_id);
    EXPECT_EQ(listing(), kHeading + third + second);
    RemoveThreadFromTb();
    const std::string told = own_number + "\n@PutThreadInTbThread -16 second -2147483648\n";
    EXPECT_EQ(trace.all(), "@PutThreadInTbThread 7 twelve_bytes " + told +
                               "@RemoveThreadFromTb 7 twelve_byte " + own_number + "\n");
}

TEST(Table, ASignalResumesNobody) {
    static std::atomic<int> signals = 0;
    struct sigaction counting = {};
    counting.sa_handler = [](int) { ++signals; };
    sigaction(SIGUSR1, &counting, nullptr);
    errorIpcHandler = [](short, const char*, const char*, const char*) { errno = 0; };
    std::atomic<bool> resumed = false;
    std::jthread suspended([&resumed] {
        PutThreadInTbThread("suspended", 1, threadId());
        threadSuspend(threadId());
        EXPECT_TRUE(resumed);
        RemoveThreadFromTb();
    });
    while (listing().find("suspended") == std::string::npos) std::this_thread::yield();
    const pthread_t thread = suspended.native_handle();
    for (int sent = 1; sent <= 20; ++sent) {
        pthread_kill(thread, SIGUSR1);
        while (signals < sent) std::this_thread::yield();
    }
    resumed = true;
    threadResume(static_cast<std::uint32_t>(thread));
    suspended.join();
    errorIpcHandler = nullptr;
}

TEST(Table, TheFiftySixthEntryIsRefused) {
    const CapturedTrace trace;
    const auto used = [] { return std::ranges::count(listing(), '\n') - 3; };
    PutThreadInTbThread("own", 1, own_id);
    for (std::uint32_t i = 0; used() < 55; ++i) PutThreadInTbThread("x", 100 + i, 100 + i);
    const std::string full = listing();
    PutThreadInTbThread("a_name_not_cut", 1, 99);
    EXPECT_EQ(trace.all(), "@error in PutThreadInTbThread: table is full! a_name_not_cut  \n");
    EXPECT_EQ(listing(), full);
    RemoveThreadFromTb();
}

enum class Chain { kWhole, kEnds, kTurnsBack };

// Walks with the caller's chain bent: the words of both records are kept and given back.
[[gnu::noinline]] std::string walk(volatile void** caller, int limit, Chain chain) {
    char text[2048] = "";
    const auto own = static_cast<volatile void**>(__builtin_frame_address(0));
    volatile void* const saved[] = {own[1], caller[0], caller[1]};
    if (chain == Chain::kEnds) {  // one of them is ours, by the machine
        own[1] = nullptr;
        caller[1] = nullptr;
    }
    if (chain == Chain::kTurnsBack) caller[0] = caller;
    tracebackToBuffer(text, 0, limit);
    own[1] = saved[0];
    caller[0] = saved[1];
    caller[1] = saved[2];
    return text;
}

TEST(Traceback, BeginsWithTheCallerAndStopsAtTheLimitOrWhereTheChainEnds) {
    const auto record = static_cast<volatile void**>(__builtin_frame_address(0));
    const std::string line = " pc:0x[0-9a-f]{8,16}\n", zero = "0" + line, one = "1" + line;
    const std::string end = "End traceback thread [0-9]+, nb recurence ",
                      no_size = " stack size 0 \n";
    const std::string text = walk(record, 2, Chain::kWhole);
    EXPECT_THAT(text, MatchesRegex(zero + one + end + "2" + no_size));
    const auto pc = std::stoull(text.substr(text.find("0x")), nullptr, 16);
    EXPECT_LT(pc - reinterpret_cast<std::uintptr_t>(&walk), 8192U) << "it leads into the caller";
    EXPECT_THAT(walk(record, 0, Chain::kWhole), MatchesRegex(end + "0" + no_size));
    EXPECT_THAT(walk(record, 9, Chain::kEnds), MatchesRegex(zero + end + "1 stack.*"));
    EXPECT_THAT(walk(record, 9, Chain::kTurnsBack), testing::HasSubstr(", nb recurence 2 stack"));
    const CapturedTrace trace;
    tracebackToTrace();
    EXPECT_THAT(trace.all(), MatchesRegex("@" + zero + "   \n(.|\n)*@" + end + ".*\n   \n"));
}

TEST(Thread, HasTheFixedStackReportsWhatFailsAndSleepsOnePause) {
    static std::atomic<std::uint32_t> seen;
    const auto entry = [](void* id) -> void* {
        *static_cast<std::atomic<std::uint32_t>*>(id) = threadId();
        seen.notify_one();
        threadExit();
    };
    const CapturedTrace trace;
    errorIpcHandler = [](short number, const char* module, const char* word, const char* code) {
        tracePrintfRaw("%d %s %s %s;", number, module, word, code);
    };
    forced_size = 1;  // refused; the thread starts all the same
    const std::uint32_t id = threadCreate("looks", entry, 0, 8192, &seen, 1);
    seen.wait(0);
    EXPECT_TRUE(seen == id && asked_size == 2097152U);
    EXPECT_NE(listing().find("looks"), std::string::npos);
    forced_size = SIZE_MAX - (std::size_t{1} << 26) + 1;  // no machine has such a stack
    EXPECT_EQ(threadCreate("none", entry, 0, 0, &seen, 0), 0U);
    EXPECT_EQ(trace.all(), "11 i_os threadSetStacksize 22;11 i_os threadCreate 11;");
    EXPECT_EQ(threadSleep(-1), -1);
    long asked = 0;
    on_pause = [&asked](long ms) { asked = asked * 10000 + ms; };
    EXPECT_EQ(threadSleep(2345) + threadYield(), 0);
    EXPECT_EQ(asked, 23450010);
}

}  // namespace
