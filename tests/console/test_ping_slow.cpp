#include <chrono>
#include <thread>

#include "support/console_process.h"

using namespace support;

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// One console was idle all the time; the other lost its server again and again, and none of its
// former sessions may add a ping.
TEST(Ping, EveryIdleSessionSendsItsOwnAt120Seconds) {
    Session quiet;
    const auto quiet_start = Clock::now();
    quiet.console.type("KEL3\n");
    quiet.link.expect(frame(10, 7, -1) + frame(10, 6, 3));
    Session lossy;
    for (int i = 0; i < 3; ++i) {
        lossy.link.hangUp();
        lossy.reconnect();
    }
    const auto lossy_start = Clock::now();
    for (auto& [session, start] : {std::pair(&quiet, quiet_start), {&lossy, lossy_start}}) {
        std::this_thread::sleep_until(start + 119s);
        EXPECT_TRUE(session->link.silent(0));
        session->link.expect(frame(8, 5, -1));
        EXPECT_LT(Clock::now() - start, 125s);
    }
    EXPECT_TRUE(lossy.link.silent(2000));
}
