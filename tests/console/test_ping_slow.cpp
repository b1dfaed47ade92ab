#include <chrono>

#include "support/console_process.h"

namespace {

using namespace support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// One console was idle all the time; the other lost its server again and again, and none of its
// former sessions may add a ping.
TEST(Ping, EveryIdleSessionSendsItsOwnAt120Seconds) {
    Session quiet;
    const auto quiet_start = Clock::now();
    Session lossy;
    for (int i = 0; i < 3; ++i) {
        lossy.link.hangUp();
        lossy.reconnect();
    }
    const auto lossy_start = Clock::now();
    const auto expectPing = [](Session& session, Clock::time_point start) {
        session.link.expect(frame(8, 5, -1), 150000);
        EXPECT_GT(Clock::now() - start, 119s);
        EXPECT_LT(Clock::now() - start, 125s);
    };
    quiet.console.type("KEL3\n");
    quiet.link.expect(frame(10, 7, -1) + frame(10, 6, 3));
    expectPing(quiet, quiet_start);
    expectPing(lossy, lossy_start);
    EXPECT_TRUE(lossy.link.silent(2000));
}

}  // namespace
