#include <malloc.h>

#include <filesystem>
#include <thread>

#include "console.h"
#include "console_session.h"
#include "support/scripted_peer.h"
#include "util/i_os.h"

using namespace support;
using namespace std::chrono_literals;

long entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

void run(const Peer& peer) {
    ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
    testing::internal::CaptureStdout();
    runSession("127.0.0.1", std::stoi(peer.port));
    testing::internal::GetCapturedStdout();
}

// In this process and with short pauses, which only the constants of the console set.
TEST(SessionMany, AnIdleOneSendsAKeepAliveEachPeriod) {
    EXPECT_EQ(console_pauses.keep_alive, 120'000);
    console_pauses.keep_alive = 300;
    Peer peer;
    peer.listen();
    const auto start = std::chrono::steady_clock::now();
    std::jthread server([&] {
        Link link = peer.join();
        for (int i = 0; i < 3; ++i) link.expect(frame(8, 5, -1));
        EXPECT_GE(std::chrono::steady_clock::now() - start, 900ms);
    });
    kel_id = 3;  // it is the operator's alone
    run(peer);
}

// Keep-alives are so frequent that they run into the ends of their sessions.
TEST(SessionMany, AThousandLossesLeaveNothingBehind) {
    constexpr int kSessions = 1000;
    console_pauses = {1, 1, 1, 1, 2};
    Peer peer;
    peer.listen();
    int served = 0;
    std::thread server([&] {  // hangs up on the first frame, which may be a keep-alive
        for (int i = 0; i < kSessions; ++i) served += peer.accept().receive(132).size() == 132;
    });
    std::size_t memory = 0;  // in use after the first few sessions
    long descriptors = 0;
    const long threads = entries("/proc/self/task");  // with the server's and a sanitizer's own
    for (int i = 1; i <= kSessions; ++i) {
        run(peer);
        if (i != 10) continue;
        memory = mallinfo2().uordblks;
        descriptors = entries("/proc/self/fd");
    }
    const long descriptors_left = entries("/proc/self/fd");
    server.join();
    EXPECT_LE(mallinfo2().uordblks, memory + 10'000);
    EXPECT_EQ(served, kSessions);
    EXPECT_EQ(descriptors_left, descriptors);
    // A worker's last instructions outlast its session by a moment.
    for (int i = 0; i < 500 && entries("/proc/self/task") > threads; ++i) threadSleep(10);
    EXPECT_LE(entries("/proc/self/task"), threads);
}
