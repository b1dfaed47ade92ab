#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_os_mutex.h"

static const bool traced_before_main = (tracePrintfRaw("%s", ""), traceTexts("early"), true);

TEST(Trace, LinesHaveTheirPiecesAndBlanksAndFormatsAreCut) {
    const CapturedTrace trace;
    const std::string endless(5000, 'x'), cut(1023, 'x');
    traceTexts("a");
    traceTexts("a", "b", "c", "d");
    traceValues("m", -1, "/x", short{2});
    traceValues("x", 1L, "", 2, "y", 3LL);
    traceValues("", 7u);
    traceLine("no end");
    traceLine("");
    tracePrintf("%s=%d\n", "n", 5);
    tracePrintf("%s", endless.c_str());
    tracePrintfRaw("%s", endless.c_str());
    EXPECT_EQ(trace.all(), "@a   \n@a b c d\n@m -1 /x 2\n@x 1 y 3\n@ 7\n@no end\n@n=5\n   \n@" +
                               cut + "   \n" + cut);
}

TEST(Trace, SwitchesAndTheSinkRouteTheText) {
    CharString to_output("text|"), to_sink("text|");
    testing::internal::CaptureStdout();
    traceOff = 1;
    traceTexts("no");
    traceValues("no", 1);
    traceLine("");
    tracePrintf("no");
    tracePrintfRaw("raw|");
    traceEmit(to_output);
    ErrorIpc(15, "i_os", "mutexGet", 22);
    traceOff = 0;
    traceStdoutOff = 1;
    traceTexts("no");
    const CapturedTrace trace;
    traceEmit(to_sink);
    ErrorIpc(15, "i_os", "mutexGet", "-1");
    traceStdoutOff = 0;
    const std::string told = "ErrorIpc: i_os  mutexGet  ";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "raw|text|" + told + "22\n" + told + "-1\n");
    EXPECT_EQ(trace.all(), "text|");
    EXPECT_EQ(to_output.length() + to_sink.length(), 0);
}

// Lines of many threads come out whole; a stamped one waits while another holds "mutex_Systeme".
TEST(Trace, LinesOfManyThreadsReachTheSinkWhole) {
    const CapturedTrace trace;
    {
        std::atomic<int> began{0};
        std::vector<std::jthread> threads;
        const MutexHold hold(systemMutex(), "test", __LINE__);
        for (unsigned t = 0; t < 8; ++t)
            threads.emplace_back([t, &began] {
                ++began;
                for (int i = 0; i < 200; ++i) traceValues(std::string(20u << t, 'a').c_str(), t);
            });
        while (began < 8) std::this_thread::yield();
        traceTexts("holder");
        EXPECT_EQ(trace.all(), "@holder   \n");
    }
    const auto lines = trace.lines();
    for (unsigned t = 0; t < 8; ++t) {
        const auto whole = "@" + std::string(20u << t, 'a') + " " + std::to_string(t) + "\n";
        EXPECT_EQ(std::ranges::count(lines, whole), 200);
    }
}
