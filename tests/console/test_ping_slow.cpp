#include <chrono>
#include <thread>

#include "support/console_process.h"

using namespace support;
using namespace std::chrono_literals;

// The session had others before it, none of which may add a ping, and its operator chose a target.
TEST(Ping, AnIdleSessionSendsItsOwnAt120Seconds) {
    Session session;
    for (int i = 0; i < 3; ++i) {
        session.link.hangUp();
        session.reconnect();
    }
    const auto start = std::chrono::steady_clock::now();
    session.console.type("KEL3\n");
    session.link.expect(frame(10, 7, -1) + frame(10, 6, 3));
    std::this_thread::sleep_until(start + 119s);
    EXPECT_TRUE(session.link.silent(0));
    session.link.expect(frame(8, 5, -1));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 125s);
    EXPECT_TRUE(session.link.silent(2'000));
}
