#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "support/captured_trace.h"
#include "support/feed.h"
#include "util/i_cnxsock.h"

static int option(const Connection& connection, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(connection.fd, level, name, &value, &length);
    return value;
}

TEST(Service, TakesAClientAndReportsWhereItStands) {
    Connection listener, client;
    ExwConnection served;
    EXPECT_EQ(listener.Accept(served, 1), 0);  // closed: no wait even where one is asked for
    ASSERT_EQ(listener.CreateService(0, 0, 5, 0), 1);
    EXPECT_EQ(listener.Accept(served, 0), 0);  // nobody waits
    ASSERT_EQ(client.ConnectService("127.0.0.1", portOf(listener) + 0x10000, 1, 0), 1);
    ASSERT_EQ(listener.WaitReadable(30'000), 1);
    listener.SetNonBlocking();
    ASSERT_EQ(listener.Accept(served, 0), 1);
    EXPECT_EQ(fcntl(served.fd, F_GETFL) & O_NONBLOCK, 0);
    char text[20];
    EXPECT_EQ(served.SocketAddress(text), 1);
    EXPECT_STREQ(text, "127.0.0.1");
    EXPECT_EQ(client.CreateService(portOf(listener), 0, 5, 1), 0);  // what was open goes first
    const CapturedTrace trace;
    client.Print();
    EXPECT_EQ(trace.all(), "Connection: fd= -1\n");
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

TEST(Service, ALocalServiceTellsItsPortAndTakesClientsOfThisMachineAlone) {
    Connection listener, client, stranger;
    EXPECT_EQ(listener.SocketPort(), 0);
    ASSERT_EQ(listener.CreateLocalService(0, 1, 5, 1), 1);
    EXPECT_EQ(listener.SocketPort(), portOf(listener));
    EXPECT_EQ(option(listener, IPPROTO_TCP, TCP_NODELAY), 1);
    EXPECT_EQ(client.ConnectService("127.0.0.1", listener.SocketPort(), 1, 0), 1);
    EXPECT_EQ(stranger.ConnectService("127.0.0.2", listener.SocketPort(), 1, 0), 0);
    EXPECT_EQ(stranger.SetNoDelay(), 0) << "it isn't open";
    EXPECT_EQ(client.SetNoDelay(), 1);
    EXPECT_EQ(option(client, IPPROTO_TCP, TCP_NODELAY), 1);
}

// Reader, writer and acceptor are each inside their call, or about to be: either way they end.
TEST(Service, AHangUpWakesEverybodyAtOnce) {
    alarm(60);  // whoever isn't woken waits without limit
    Connection listener, client;
    ExwConnection served;
    ASSERT_EQ(listener.CreateLocalService(0, 0, 5, 0), 1);
    ASSERT_EQ(client.ConnectService("127.0.0.1", listener.SocketPort(), 1, 0), 1);
    ASSERT_EQ(listener.Accept(served, 1), 1);
    Connection nobody;
    std::thread acceptor([&] { EXPECT_EQ(listener.Accept(nobody, 1), 0); });
    char byte;
    std::thread reader([&] { EXPECT_EQ(served.ReadBlock(&byte, 1, 0, nullptr), 0); });
    std::thread writer([&served] {
        const char chunk[1 << 20] = "the client never reads";
        while (served.Write(chunk, sizeof chunk) == sizeof chunk) {}
    });
    while (served.WaitWritable(0) == 1) std::this_thread::yield();  // until the writer is stuck
    served.HangUp();
    listener.HangUp();
    for (std::thread* const woken : {&acceptor, &reader, &writer}) woken->join();
    alarm(0);
    EXPECT_GE(served.fd, 0) << "the descriptor stays the owner's";
    served.HangUp();
    served.Close();
    served.HangUp();
}
