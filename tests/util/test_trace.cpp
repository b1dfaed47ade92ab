#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os_mutex.h"
#include "util/i_trace.h"

namespace {

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// Traces before main, as a static constructor of a program may.
const bool traced_before_main = [] {
    setTraceSink([](const char*) {});
    traceTexts("early");
    setTraceSink(nullptr);
    return true;
}();

struct SwitchesOff {
    ~SwitchesOff() {
        traceOff = 0;
        traceStdoutOff = 0;
        errorIpcHandler = nullptr;
        setTraceSink(nullptr);
    }
};

TEST(Trace, LinesHaveTheirPiecesAndBlanks) {
    EXPECT_TRUE(traced_before_main);
    const CapturedTrace trace;
    traceTexts("a");
    traceTexts("a", "b", "c", "d");
    traceValues("mkdir", -1, "/tmp/x", short{2});
    traceValues("x", 1L, "", 2, "y", std::int64_t{3});
    traceValues("", 7u);
    traceValues("a", -1L, "b", 2L, "c", -3L, "d", 2147483647L);
    traceLine("no end");
    traceLine("");
    tracePrintf("%s=%d\n", "n", 5);
    tracePrintfRaw("%s|", "raw");
    EXPECT_THAT(trace.lines(), ElementsAre("@a   \n", "@a b c d\n", "@mkdir -1 /tmp/x 2\n",
                                           "@x 1 y 3\n", "@ 7\n", "@a -1 b 2 c -3 d 2147483647\n",
                                           "@no end", "\n", "@n=5\n   \n", "raw|"));
}

TEST(Trace, FormattedTextIsCutAt1023Bytes) {
    const CapturedTrace trace;
    const std::string endless(5000, 'x');
    tracePrintf("%s", endless.c_str());
    tracePrintfRaw("%s", endless.c_str());
    traceTexts(endless.c_str());
    const std::string cut(1023, 'x');
    EXPECT_THAT(trace.lines(), ElementsAre("@" + cut + "   \n", cut, "@" + endless + "   \n"));
}

TEST(Trace, SwitchesAndSinkRouteTheText) {
    const SwitchesOff cleanup;
    CharString text("e");
    CaptureStdout();
    traceTexts("out");
    traceOff = 1;
    traceTexts("no");
    traceValues("no", 1);
    traceLine("no");
    traceLine("");
    tracePrintf("no");
    tracePrintfRaw("raw|");
    traceOff = 0;
    traceEmit(text);
    EXPECT_EQ(text.length(), 0);
    traceStdoutOff = 1;
    text = "dropped";
    traceEmit(text);
    EXPECT_STREQ(text.c_str(), "");
    traceTexts("no");
    EXPECT_THAT(GetCapturedStdout(), testing::MatchesRegex("..h..:..\\....   out   \nraw\\|e"));

    const CapturedTrace trace;
    CaptureStdout();
    traceTexts("to the sink");
    text = "E";
    traceEmit(text);
    EXPECT_EQ(text.length(), 0);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_THAT(trace.lines(), ElementsAre("@to the sink   \n", "E"));
}

TEST(Trace, ErrorIpcPrintsPastSinkAndSwitchesUnlessAHandlerTakesIt) {
    const SwitchesOff cleanup;
    const CapturedTrace trace;
    traceOff = 1;
    traceStdoutOff = 1;
    CaptureStdout();
    ErrorIpc(15, "i_os", "mutexGet", 22);
    ErrorIpc(19, "i_os", "semLock", "-1");
    errorIpcHandler = [](short number, const char* module, const char* operation,
                         const char* code) {
        tracePrintfRaw("%d %s %s %s", number, module, operation, code);
    };
    ErrorIpc(11, "i_os", "threadCreate", -2147483647 - 1);
    EXPECT_EQ(GetCapturedStdout(), "ErrorIpc: i_os  mutexGet  22\nErrorIpc: i_os  semLock  -1\n");
    EXPECT_THAT(trace.raw(), ElementsAre("11 i_os threadCreate -2147483648"));
}

// The lock of the stamp is recursive for its holder and holds back every other stamped line.
TEST(Trace, OnlyAStampedLineWaitsForTheSystemMutex) {
    const CapturedTrace trace;
    std::atomic<bool> began{false};
    std::thread other;
    {
        const MutexHold hold(systemMutex(), "test", __LINE__);
        traceTexts("holder");
        other = std::thread([&began] {
            tracePrintfRaw("raw");
            traceLine("");
            began = true;
            began.notify_one();
            traceTexts("stamped");
        });
        began.wait(false);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_THAT(trace.lines(), ElementsAre("@holder   \n", "raw", "\n"));
    }
    other.join();
    EXPECT_EQ(trace.lines().back(), "@stamped   \n");
}

TEST(Trace, LinesOfManyThreadsReachTheSinkWhole) {
    constexpr int kThreads = 8;
    constexpr int kLines = 200;
    const CapturedTrace trace;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            const std::string text(static_cast<std::size_t>(20 * t + 1),
                                   static_cast<char>('a' + t));
            for (int i = 0; i < kLines; ++i)
                traceValues(text.c_str(), t);
        });
    }
    for (auto& thread : threads)
        thread.join();
    std::vector<int> counts(kThreads);
    for (const auto& line : trace.lines()) {
        const int t = line.at(1) - 'a';
        const std::string text(static_cast<std::size_t>(20 * t + 1), line.at(1));
        ASSERT_EQ(line, "@" + text + " " + std::to_string(t) + "\n");
        ++counts[static_cast<std::size_t>(t)];
    }
    EXPECT_THAT(counts, testing::Each(kLines));
}

}  // namespace
