#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/syscall.h>

#include <string>
#include <thread>

#include "support/captured_trace.h"
#include "support/feed.h"
#include "support/pauses.h"
#include "util/i_cnxsock.h"
#include "util/i_os.h"

// In front of the C library: a clock of the test's own, and an option that is refused.
static std::function<std::time_t()> on_clock;
static constexpr int kNoOption = -1;
static int refused_option = kNoOption;

extern "C" std::time_t time(std::time_t*) noexcept { return on_clock ? on_clock() : 0; }

extern "C" int setsockopt(int fd, int level, int option, const void* value,
                          socklen_t size) noexcept {
    if (option != refused_option)
        return static_cast<int>(syscall(SYS_setsockopt, fd, level, option, value, size));
    errno = ENOPROTOOPT;
    return -1;
}

static int option(const Connection& connection, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(connection.fd, level, name, &value, &length);
    return value;
}

TEST(ConnectionTest, ABlockEndsAtAGapTooLongUnlessItsLimitIsPast) {
    // A time-out, the seconds until the first bytes came, what came then, and the result.
    const std::tuple<int, int, std::string, int> rows[] = {
        {30, 1, "", -1},   {30, 2, "", 0},   {999, 2, "", 0},        {0, 0, "", 0},
        {1000, 2, "", -1}, {1000, 3, "", 0}, {1000, 2, "456789X", 1}};
    for (const auto& [timeout, seconds, more, result] : rows) {
        const CapturedTrace trace;
        FedLine line;
        line.near.SetNonBlocking();
        line.feed("123");
        on_pause = [&line](long) { line.hangUp(); };  // a read without a wait before it has failed
        on_clock = [&line, now = -seconds, step = seconds, late = more]() mutable {
            if (now == 0) line.feed(late);
            return now += step;
        };
        char buffer[10];
        std::int32_t got = 77;
        EXPECT_EQ(line.near.ReadBlock(buffer, 10, timeout, &got), result) << timeout;
        EXPECT_EQ(got, 3 + more.size());
        EXPECT_EQ(trace.all(), "") << "nobody asked";
    }
    on_clock = nullptr;
}

TEST(ConnectionTest, AHundredFailedReadsInARowAreALoss) {
    const CapturedTrace trace;
    FedLine line;
    line.near.SetNonBlocking();
    std::string told;
    int pauses = 0;
    on_pause = [&](long milliseconds) {
        EXPECT_EQ(milliseconds, 100);
        told += "Connection::ReadBlock: nbr incorrect = -1\n";
        if (++pauses == 60 || pauses == 120) line.feed("x");
    };
    std::string buffer = "....";
    std::int32_t got = 77;
    verboseIpc = 1;
    EXPECT_EQ(line.near.ReadBlock(buffer.data(), 4, 0, &got), 0);
    verboseIpc = 0;
    EXPECT_EQ(got, 2);
    EXPECT_EQ(buffer, "xx..");
    EXPECT_EQ(pauses, 120 + 99);
    EXPECT_EQ(trace.all(), told + "Connection::ReadBlock: nb_read > 1 = 2\n");
}

TEST(ConnectionTest, ALostAndAClosedConnectionFailInTheirOwnWays) {
    FedLine line;
    Connection unconnected;
    char byte;
    std::int32_t got = 77;
    on_pause = [](long) { ADD_FAILURE() << "what is lost isn't tried again"; };
    unconnected.fd = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(unconnected.Read(&byte, 1), 0);
    EXPECT_EQ(line.near.WaitWritable(0), 1);
    EXPECT_EQ(line.near.Write("unread", 6), 6);
    line.hangUp();
    EXPECT_EQ(line.near.Read(&byte, 1), 0) << "a reset";
    EXPECT_EQ(line.near.Write("four", 4), -1) << "and no signal";
    line.near.Close();
    EXPECT_EQ(line.near.WaitWritable(0), -1);
    EXPECT_EQ(line.near.Write("four", 4), 0);
    EXPECT_EQ(line.near.Read(&byte, 1), -1);
    EXPECT_EQ(LastError(), EBADF);
    EXPECT_EQ(line.near.ReadBlock(&byte, 1, -1, nullptr), 0);
    EXPECT_EQ(line.near.ReadBlock(&byte, 0, -1, &got), 1) << "nothing is asked for";
    EXPECT_EQ(got, 0);
    on_pause = nullptr;
}

// The system goes through its (even) ports in a row: enough attempts come by the one asked for.
TEST(ConnectionTest, NeverMeetsItself) {
    Connection connection;
    int port = 40'000;
    while (!connection.CreateService(port, 0, 1, 0)) port += 2;
    for (int i = 0; i < 30'000; ++i)
        ASSERT_EQ(connection.ConnectService("127.0.0.1", port, 1, 0), 0) << i;
}

TEST(ConnectionTest, TellsWhatItOpensAndClosesWhenAskedTo) {
    Connection server;
    Connection connection;
    ASSERT_EQ(server.CreateLocalService(0, 0, 5, 0), 1);
    testing::internal::CaptureStdout();
    verboseIpc = 1;
    EXPECT_EQ(connection.ConnectService("127.0.0.1", server.SocketPort(), 1, 0), 1);
    const std::string fd = std::to_string(connection.fd);
    connection.Close();
    connection.Close();  // nothing is left to close
    EXPECT_EQ(connection.ConnectService("127.0.0.1", 0, 1, 0), 0);
    connection.fd = ::open("/dev/null", O_WRONLY);  // the same number again
    EXPECT_EQ(connection.Write("no socket", 9), 9);
    connection.Close();
    connection.fd = std::stoi(fd);
    connection.Close();  // it isn't open any more
    connection.fd = 0;
    connection.Close();  // standard input, which stays
    verboseIpc = 0;
    const std::string closed = "Connection::Close, fd= " + fd + "\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Connection::ConnectService, fd= " + fd + "\n" + closed + closed + closed +
                  "Connection::Close, fd= " + fd + "  error on shutdown, errno 88, \n" +
                  "Connection::Close, Socket operation on non-socket\n" + closed);
    EXPECT_EQ(::fcntl(std::stoi(fd), F_GETFD), -1);
    EXPECT_NE(::fcntl(0, F_GETFD), -1);
}

TEST(ConnectionTest, ACloseWaitsForAWriteAndAHangUpForNobody) {
    FedLine line;
    ExwConnection shared;
    shared.fd = line.near.fd.exchange(-1);
    const std::string sent(4 << 20, 'w');  // more than the socket holds, and nobody reads
    const auto size = static_cast<std::int32_t>(sent.size());
    std::thread writer([&] { EXPECT_LT(shared.Write(sent.data(), size), size); });
    EXPECT_EQ(WaitFdReadable(line.far, kPatience), 1);
    std::thread closer([&] { shared.Close(); });
    threadSleep(20);
    EXPECT_GE(shared.fd, 0);
    shared.HangUp();
    writer.join();
    closer.join();
    EXPECT_EQ(shared.fd, -1);
}

TEST(Service, TakesAClientAndReportsWhereItStands) {
    Connection listener;
    Connection client;
    Connection served;
    std::string text(20, '~');
    const int earlier = ::dup(0);
    served.fd = earlier;
    EXPECT_EQ(listener.Accept(served, 1), 0) << "it isn't open";
    EXPECT_EQ(listener.SocketPort(), 0);
    EXPECT_EQ(listener.SocketAddress(text.data()), 0);
    EXPECT_EQ(text, std::string(20, '~'));
    ASSERT_EQ(listener.CreateLocalService(0, 0, 5, 0), 1);
    EXPECT_EQ(client.ConnectService("127.0.0.2", listener.SocketPort(), 1, 0), 0) << "not here";
    EXPECT_EQ(listener.Accept(served, 0), 0) << "nobody waits";
    ASSERT_EQ(client.ConnectService("127.0.0.1", listener.SocketPort(), 1, 0), 1);
    ASSERT_EQ(listener.WaitReadable(kPatience), 1);
    ASSERT_EQ(listener.Accept(served, 0), 1);
    EXPECT_EQ(::close(earlier), 0) << "Accept closes nothing";
    EXPECT_EQ(served.SocketAddress(text.data()), 1);
    EXPECT_STREQ(text.c_str(), "127.0.0.1");
    const CapturedTrace trace;
    Connection().Print();
    EXPECT_EQ(trace.all(), "Connection: fd= -1\n");
}

TEST(Service, ReuseAndTuningAreSetWhenAskedForExactly) {
    Connection plain;
    Connection service;
    ASSERT_EQ(plain.CreateService(0, 0, 5, 0), 1);
    for (const short tuned : {0, 1, 2, -1}) {
        ASSERT_EQ(service.CreateService(0, tuned, 5, tuned), 1);
        EXPECT_EQ(option(service, SOL_SOCKET, SO_REUSEADDR) != 0, tuned != 0);
        EXPECT_EQ(option(service, IPPROTO_TCP, TCP_NODELAY) != 0, tuned == 1);
        for (const int size : {SO_RCVBUF, SO_SNDBUF})
            EXPECT_EQ(option(service, SOL_SOCKET, size) < option(plain, SOL_SOCKET, size),
                      tuned == 1);
    }
    EXPECT_EQ(plain.SetNoDelay(), 1);
    EXPECT_EQ(option(plain, IPPROTO_TCP, TCP_NODELAY), 1);
    plain.Close();
    EXPECT_EQ(plain.SetNoDelay(), 0);
}

TEST(Service, AFailedStepIsToldAndLeavesNothingOpen) {
    Connection taken;
    Connection service;
    ASSERT_EQ(taken.CreateService(0, 0, 5, 0), 1);
    const std::string text =
        "Connection::CreateService, fd= " + std::to_string(taken.fd + 2) + "  error on setsockopt ";
    const std::tuple<int, std::int32_t, short, std::string> rows[] = {
        {kNoOption, taken.SocketPort(), 0, ""},
        {SO_REUSEADDR, 0, 0, ""},
        {TCP_NODELAY, 0, 1, text + "TCP_NODELAY, errno 92\n"},
        {SO_RCVBUF, 0, 1, text + "SO_RCVBUF, errno 92\n"},
        {SO_SNDBUF, 0, 1, text + "SO_SNDBUF, errno 92\n"}};
    for (const auto& [refused, port, result, told] : rows) {
        testing::internal::CaptureStdout();  // takes a descriptor
        refused_option = refused;
        EXPECT_EQ(service.CreateService(port, port == 0, 5, 1), result);
        refused_option = kNoOption;
        EXPECT_EQ(service.fd, result ? taken.fd + 2 : -1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), told);
    }
}
