#include <malloc.h>

#include <filesystem>
#include <thread>

#include "console.h"
#include "console_session.h"
#include "support/scripted_peer.h"
#include "util/i_os.h"

using namespace support;

long entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

void run(const Peer& peer) {
    ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
    testing::internal::CaptureStdout();
    runSession("127.0.0.1", std::stoi(peer.port));
    testing::internal::GetCapturedStdout();
}

// In this process and with short pauses, which only the constants of the console set. Keep-alives
// are so frequent that they run into the ends of their sessions.
TEST(SessionMany, AThousandLossesLeaveNothingBehind) {
    constexpr int kSessions = 1000;
    console_pauses = {1, 1, 1, 1, 2};
    Peer peer;
    peer.listen();
    int served = 0;
    std::thread server([&] {  // hangs up after the joining frame and two keep-alives, in any order
        bool alive = true;
        for (int i = 0; i < kSessions; ++i) {
            Link link = peer.accept();
            alive = alive && link.receive(3 * 132).size() == 3 * 132;
            served += alive;
        }
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
