#include <filesystem>
#include <thread>

#include "console.h"
#include "console_session.h"
#include "support/scripted_peer.h"
#include "util/i_os.h"

using namespace support;

static long entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

// In this process and with short pauses, which only the constants of the console set. Keep-alives
// are so frequent that they run into the ends of their sessions.
TEST(SessionMany, AThousandLossesLeaveNothingBehind) {
    constexpr int kSessions = 1000;
    constexpr std::size_t kFrames = 3 * 132;  // the joining one and two keep-alives, in any order
    console_pauses = {1, 1, 1, 1, 2};
    Peer peer;
    peer.listen();
    int served = 0;
    std::thread server([&] {
        for (int i = 0; i < kSessions; ++i)
            served += peer.accept().receive(kFrames).size() == kFrames;
    });
    long descriptors = 0;
    const long threads = entries("/proc/self/task");  // with the server's and a sanitizer's own
    for (int i = 0; i < kSessions; ++i) {
        ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
        testing::internal::CaptureStdout();
        runSession("127.0.0.1", std::stoi(peer.port));
        testing::internal::GetCapturedStdout();
        if (i == 10) descriptors = entries("/proc/self/fd");
    }
    EXPECT_EQ(entries("/proc/self/fd"), descriptors);
    server.join();
    EXPECT_EQ(served, kSessions);
    // A worker's last instructions outlast its session by a moment.
    for (int i = 0; i < 500 && entries("/proc/self/task") > threads; ++i) threadSleep(10);
    EXPECT_LE(entries("/proc/self/task"), threads);
}
