#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>

#include <string>
#include <thread>

#include "support/captured_trace.h"
#include "support/feed.h"
#include "util/i_cnxsock.h"
#include "util/i_os.h"

static int option(const Connection& connection, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(connection.fd, level, name, &value, &length);
    return value;
}

TEST(ConnectionTest, ConnectsWhereSomebodyListens) {
    Connection server;  // nobody accepts: the connections wait in its backlog
    ASSERT_EQ(server.CreateService(0, 0, 50, 0), 1);
    const int port = portOf(server);
    ExwConnection connection;
    for (const short blocking : {0, 1}) {
        for (const char* host : {"127.0.0.1", "127-0 0.1and more", " 127.256.0.257.9"}) {
            ASSERT_EQ(connection.ConnectService(host, port + 0x50000, blocking, 0), 1) << host;
            char peer[40];
            EXPECT_EQ(PeerAddress(connection.fd, peer, 1), 0);
            EXPECT_STREQ(peer, "127.000.000.001");
            EXPECT_EQ((::fcntl(connection.fd, F_GETFL) & O_NONBLOCK) != 0, blocking == 0);
        }
    }
    EXPECT_EQ(connection.ConnectService("no-such-host.invalid", port, 1, 0), 0);
    EXPECT_EQ(connection.ConnectService("localhost", port, 1, 0), 1);
    EXPECT_EQ(connection.fd, server.fd + 1) << "each socket went before the next came";
    server.Close();
    for (const short blocking : {0, 1})
        EXPECT_EQ(connection.ConnectService("127.0.0.1", port, blocking, 0), 0);
    EXPECT_EQ(connection.Write("x", 1), 0);
}

TEST(ConnectionTest, ABlockEndsAtAGapTooLongOrWithTheConnection) {
    FedLine line;
    char buffer[1000];
    std::int32_t got = 77;
    line.feed({"123"});
    EXPECT_EQ(line.near.ReadBlock(buffer, 10, 30, &got), -1);
    EXPECT_EQ(got, 3);
    line.feed({std::string(600, 'y')});
    line.hangUp();
    EXPECT_EQ(line.near.ReadBlock(buffer, 1000, 5000, &got), 0);
    EXPECT_EQ(got, 600);
    EXPECT_EQ(line.near.Write("four", 4), -1) << "and no signal";
}

TEST(ConnectionTest, ReadsABlockInPiecesAndTriesAgainWhereAReadFailed) {
    FedLine line(SOCK_SEQPACKET);
    const CapturedTrace trace;
    char buffer[3];
    std::int32_t got = 77;
    line.near.SetNonBlocking();
    verboseIpc = 1;
    std::jthread feeder([&] {
        while (trace.lines().empty()) threadYield();  // until a read has failed
        line.feed({"a", "b", "c"});
    });
    EXPECT_EQ(line.near.ReadBlock(buffer, 3, 0, &got), 1);
    verboseIpc = 0;
    EXPECT_EQ(got, 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(trace.lines().front(), "Connection::ReadBlock: nbr incorrect = -1\n");
    EXPECT_EQ(trace.lines().back(), "Connection::ReadBlock: nb_read > 1 = 2\n");
    EXPECT_EQ(line.near.ReadBlock(buffer, 0, -1, &got), 1) << "nothing is asked for";
    EXPECT_EQ(got, 0);
}

TEST(ConnectionTest, AResetIsALossAndNoFailure) {
    FedLine line;
    char byte;
    EXPECT_EQ(line.near.Write("unread", 6), 6);
    line.hangUp();
    EXPECT_EQ(line.near.Read(&byte, 1), 0);
}

// With nobody there, a connect may get the very port that it asks for as its near end. The system
// goes through its ports (the even ones) in a row, so enough attempts come by.
TEST(ConnectionTest, NeverMeetsItself) {
    Connection connection;
    int port = 40'000;
    while (!connection.CreateService(port, 0, 1, 0)) port += 2;
    for (int i = 0; i < 30'000; ++i)
        ASSERT_EQ(connection.ConnectService("127.0.0.1", port, 1, 0), 0) << i;
}

TEST(ConnectionTest, ClosesAnyDescriptorButStandardInput) {
    Connection other;
    other.fd = 0;
    other.Close();
    EXPECT_NE(::fcntl(0, F_GETFD), -1);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    other.fd = ends[1];
    EXPECT_EQ(other.Write("no socket", 9), 9);
    other.Close();
    EXPECT_EQ(::fcntl(ends[1], F_GETFD), -1);
    ::close(ends[0]);
}

TEST(ConnectionTest, NoCloseComesIntoTheMiddleOfAWrite) {
    FedLine line;
    ExwConnection shared;
    shared.fd = line.near.fd.exchange(-1);
    const std::string sent(4 << 20, 'w');  // more than the socket holds
    const auto size = static_cast<std::int32_t>(sent.size());
    std::thread writer([&] { EXPECT_EQ(shared.Write(sent.data(), size), size); });
    EXPECT_EQ(WaitFdReadable(line.far, 30'000), 1);
    std::thread closer([&] { shared.Close(); });
    threadSleep(20);
    std::string got(sent.size() + 1, 0);
    EXPECT_EQ(::recv(line.far, got.data(), got.size(), MSG_WAITALL), size);
    writer.join();
    closer.join();
}

TEST(Service, TakesAClientAndReportsWhereItStands) {
    Connection listener, client;
    ExwConnection served;
    ASSERT_EQ(listener.CreateService(0, 0, 5, 0), 1);
    EXPECT_EQ(listener.Accept(served, 0), 0);  // nobody waits
    ASSERT_EQ(client.ConnectService("127.0.0.1", portOf(listener), 1, 0), 1);
    ASSERT_EQ(listener.WaitReadable(30'000), 1);
    ASSERT_EQ(listener.Accept(served, 0), 1);
    char text[20];
    EXPECT_EQ(served.SocketAddress(text), 1);
    EXPECT_STREQ(text, "127.0.0.1");
    EXPECT_EQ(client.CreateService(portOf(listener), 0, 5, 1), 0);  // what was open goes first
    EXPECT_EQ(client.fd, -1);
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
}
