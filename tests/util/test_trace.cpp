#include <gtest/gtest.h>

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

TEST(Trace, AStampedLineWaitsWhileAnotherThreadHoldsTheSystemMutex) {
    const CapturedTrace trace;
    std::jthread other;
    {
        const MutexHold hold(systemMutex(), "test", __LINE__);
        other = std::jthread([] { traceTexts("other"); });
        for (bool waits = false; !waits; std::this_thread::yield()) {
            pthread_mutex_lock(&dlTableLock);
            waits = systemMutex()->lock_record.first_attempt != nullptr;
            pthread_mutex_unlock(&dlTableLock);
        }
        traceTexts("holder");
    }
    other.join();
    EXPECT_EQ(trace.all(), "@holder   \n@other   \n");
}
