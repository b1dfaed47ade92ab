#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "support/captured_trace.h"
#include "support/feed.h"
#include "util/i_cnxsock.h"

namespace {

int option(const Connection& connection, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(connection.fd, level, name, &value, &length);
    return value;
}

TEST(Service, TakesAClientAndReportsWhereItStands) {
    Connection listener, client;
    ExwConnection served;
    char text[20];
    EXPECT_EQ(listener.Accept(served, 1), 0);  // closed: no wait even where one is asked for
    ASSERT_EQ(listener.CreateService(0, 0, 5, 0), 1);
    EXPECT_EQ(listener.Accept(served, 0), 0);  // nobody waits
    ASSERT_EQ(client.ConnectService("127.0.0.1", portOf(listener) + 0x10000, 1, 0), 1);
    ASSERT_EQ(listener.Accept(served, 1), 1);
    EXPECT_EQ(served.Write("hello", 6), 6);
    EXPECT_EQ(client.ReadBlock(text, 6, 30000, nullptr), 1);
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(served.SocketAddress(text), 1);
    EXPECT_STREQ(text, "127.0.0.1");
    EXPECT_EQ(client.CreateService(portOf(listener), 0, 5, 1), 0);  // what was open goes first
    CapturedTrace trace;
    client.Print();
    EXPECT_THAT(trace.lines(), testing::ElementsAre("Connection: fd= -1\n"));
}

TEST(Service, ReuseAndTuningAreSetWhenAskedForExactly) {
    Connection plain, service;
    ASSERT_EQ(plain.CreateService(0, 0, 5, 0), 1);
    for (const short tuned : {0, 1, 2, -1}) {
        ASSERT_EQ(service.CreateService(0, tuned, 5, tuned), 1);
        EXPECT_EQ(option(service, SOL_SOCKET, SO_REUSEADDR) != 0, tuned != 0);
        EXPECT_EQ(option(service, IPPROTO_TCP, TCP_NODELAY) != 0, tuned == 1);
        for (const int size : {SO_RCVBUF, SO_SNDBUF})
            EXPECT_EQ(option(service, SOL_SOCKET, size) < option(plain, SOL_SOCKET, size),
                      tuned == 1);
    }
}

}  // namespace
