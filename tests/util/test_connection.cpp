#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "support/feed.h"
#include "util/i_cnxsock.h"
#include "util/i_os.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

/// A listening socket of the test's own on a free loopback port.
struct Listener {
    Listener() : fd(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), length);
        ::listen(fd, 50);  // nobody accepts: the connections wait here
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    ~Listener() { stop(); }
    void stop() {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
    int fd;
    int port = 0;
};

TEST(ConnectionTest, ConnectsByAddressWhateverSeparatesItsNumbers) {
    Listener server;
    for (const short blocking : {0, 1}) {
        for (const char* host : {"127.0.0.1", "127-0 0.1and more", " 127.256.0.257.9"}) {
            SCOPED_TRACE(host);
            ExwConnection connection;
            ASSERT_EQ(connection.ConnectService(host, server.port + 0x50000, blocking, 0), 1);
            char peer[40];
            EXPECT_EQ(PeerAddress(connection.fd, peer, 1), 0);
            EXPECT_STREQ(peer, "127.000.000.001");
            EXPECT_EQ((::fcntl(connection.fd, F_GETFL) & O_NONBLOCK) != 0, blocking == 0);
            const int first = connection.fd;
            ASSERT_EQ(connection.ConnectService(host, server.port, blocking, 0), 1) << "again";
            EXPECT_EQ(connection.fd, first) << "the old socket went first";
        }
    }
    ExwConnection named;
    EXPECT_EQ(named.ConnectService("localhost", server.port, 1, 0), 1);
}

TEST(ConnectionTest, StaysClosedWhenThereIsNobody) {
    Listener server;
    const int port = server.port;
    server.stop();
    Connection connection;
    for (const short blocking : {0, 1}) {
        EXPECT_EQ(connection.ConnectService("127.0.0.1", port, blocking, 0), 0);
        EXPECT_EQ(connection.ConnectService("no-such-host.invalid", port, blocking, 0), 0);
        EXPECT_EQ(connection.fd, -1);
    }
    char byte = 0;
    EXPECT_EQ(connection.ReadBlock(&byte, 1, -1, nullptr), 0);
    EXPECT_EQ(connection.ReadBlock(&byte, 0, -1, nullptr), 1);
    EXPECT_EQ(connection.Write("x", 1), 0);
    EXPECT_EQ(connection.WaitReadable(0), -1);
    EXPECT_EQ(connection.WaitWritable(0), -1);
    connection.SetNonBlocking();
    EXPECT_EQ(PeerAddress(-1, std::string(40, ' ').data(), 40), -1);
    EXPECT_DEATH(connection.ConnectService(nullptr, port, 1, 0),
                 "<hostname != 0> failed:\nfile \"util/i_cnxsock\", line");
}

TEST(ConnectionTest, ReadsABlockHoweverItArrives) {
    FedLine line;
    char buffer[1000];
    std::int32_t got = 77;
    std::thread feeder([&] { line.feedAll({"abc", "def", std::string(994, 'z')}); });
    EXPECT_EQ(line.near.ReadBlock(buffer, 1000, -1, &got), 1);
    feeder.join();
    EXPECT_EQ(got, 1000);
    EXPECT_EQ(std::string(buffer, 7), "abcdefz");

    line.feed(std::string(600, 'y'));
    line.hangUp();
    EXPECT_EQ(line.near.ReadBlock(buffer, 1000, 5000, &got), 0);
    EXPECT_EQ(got, 600);
}

TEST(ConnectionTest, TimesOutInAGapOfABlock) {
    FedLine line;
    char buffer[10];
    std::int32_t got = 0;
    line.feed("123");
    EXPECT_EQ(line.near.ReadBlock(buffer, 10, 30, &got), -1);
    EXPECT_EQ(got, 3);
}

TEST(ConnectionTest, TriesAgainAfterPassingFailuresAndTellsIt) {
    CapturedTrace trace;
    FedLine line;
    line.near.SetNonBlocking();
    verboseIpc = 1;
    std::thread feeder([&] {
        threadSleep(50);
        line.feedAll({"a", "b", "c"});
    });
    char buffer[3];
    EXPECT_EQ(line.near.ReadBlock(buffer, 3, 0, nullptr), 1);
    feeder.join();
    verboseIpc = 0;
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(trace.raw().front(), "Connection::ReadBlock: nbr incorrect = -1\n");
}

TEST(ConnectionTest, WritesWithoutASignalWhenThePeerIsGone) {
    FedLine line;
    EXPECT_EQ(line.near.Write("four", 4), 4);
    line.hangUp();
    EXPECT_EQ(line.near.Write("four", 4), -1);
    EXPECT_EQ(LastError(), EPIPE);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Connection pipe;
    pipe.fd = ends[1];
    EXPECT_EQ(pipe.Write("no socket", 9), 9);
    pipe.fd = 0;
    pipe.Close();
    EXPECT_NE(::fcntl(0, F_GETFD), -1) << "standard input stays open";
    ::close(ends[1]);
    ::close(ends[0]);
}

TEST(ConnectionTest, TellsWhatItOpensAndClosesIfAsked) {
    Listener server;
    verboseIpc = 1;
    CaptureStdout();
    {
        Connection connection;
        connection.ConnectService("127.0.0.1", server.port, 1, 0);
        connection.Close();
        connection.Close();
    }
    EXPECT_THAT(GetCapturedStdout(),
                testing::MatchesRegex("Connection::ConnectService, fd= [0-9]+\n"
                                      "Connection::Close, fd= [0-9]+\n"));
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    verboseIpc = 0;
    CaptureStdout();
    {
        Connection no_socket;
        no_socket.fd = ends[0];
    }
    ::close(ends[1]);
    const std::string fd = std::to_string(ends[0]);
    EXPECT_EQ(GetCapturedStdout(), "Connection::Close, fd= " + fd + "  error on shutdown, errno " +
                                       std::to_string(ENOTSOCK) + ", \nConnection::Close, " +
                                       std::strerror(ENOTSOCK) + "\n");
}

TEST(ConnectionTest, LetsSeveralThreadsWriteWhileOneReads) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ExwConnection writer;
    Connection reader;
    writer.fd = ends[0];
    reader.fd = ends[1];
    auto write = [&](char c) {
        for (int i = 0; i < 200; ++i)
            EXPECT_EQ(writer.Write(std::string(64, c).data(), 64), 64);
    };
    std::thread a(write, 'a'), b(write, 'b');
    char frame[64];
    for (int i = 0; i < 400; ++i) {
        ASSERT_EQ(reader.ReadBlock(frame, 64, -1, nullptr), 1);
        EXPECT_EQ(std::string(frame, 64), std::string(64, frame[0]));
    }
    a.join();
    b.join();
    writer.Close();
    EXPECT_EQ(reader.ReadBlock(frame, 1, -1, nullptr), 0) << "an orderly end";
}

TEST(WaitTest, TellsReadableIdleAndImpossible) {
    FedLine line;
    EXPECT_EQ(WaitFdReadable(line.near.fd, 0), 0);
    EXPECT_EQ(WaitFdReadable(line.near.fd, 20), 0);
    EXPECT_EQ(line.near.WaitWritable(-1), 1);
    line.feed("x");
    EXPECT_EQ(WaitFdReadable(line.near.fd, -1), 1);
    EXPECT_EQ(WaitFdReadable(-1, 0), -1);
    EXPECT_EQ(WaitFdReadable(-2, 0), 0);
    const rlimit room{2048, 2048};
    if (::setrlimit(RLIMIT_NOFILE, &room) == 0 && ::dup2(line.near.fd, 1024) == 1024) {
        EXPECT_EQ(WaitFdReadable(1024, 0), 0) << "no room for it in a set";
        ::close(1024);
    }
}

TEST(HostTest, NamesThisMachineAndOrdersThePort) {
    char name[80];
    EXPECT_EQ(LocalHostName(name, sizeof name), 0);
    utsname system;
    ::uname(&system);
    EXPECT_STREQ(name, system.nodename);
    unsigned char bytes[2];
    PutPort(0x1234, bytes);
    EXPECT_EQ(bytes[0], 0x12);
    EXPECT_EQ(bytes[1], 0x34);
}

}  // namespace
