#include <fcntl.h>
#include <gmock/gmock.h>
#include <netdb.h>
#include <sys/utsname.h>

#include <cstring>
#include <map>

#include "util/i_cnxsock.h"

using namespace std::string_literals;

// In front of the C library: a machine and a network whose names the test knows, and a `select`
// that never waits.
static std::string host_name;
static std::string node_name;
static std::string looked_up;  // what was, with a blank behind each
static long last_limit = 0;    // of a `select`, in microseconds; -1 for none

extern "C" int gethostname(char* buffer, std::size_t size) noexcept {
    std::memcpy(buffer, host_name.c_str(), std::min(size, host_name.size() + 1));
    return host_name.empty() ? -1 : 0;
}

extern "C" int uname(utsname* system) noexcept {
    std::strcpy(system->nodename, node_name.c_str());
    return 0;
}

extern "C" hostent* gethostbyname(const char* name) {
    static std::map<std::string, std::string> network = {{"own", "\x7F\x14\x1E\x28"},
                                                         {"twin", "\x7F\x14\x1E\x28"},
                                                         {"dotted.twin", "\x7F\x14\x1E\x28"},
                                                         {"other", "\x7F\x14\x1E\x29"}};
    static char* addresses[2];
    static hostent answer{nullptr, nullptr, AF_INET, 4, addresses};
    looked_up += name + " "s;
    if (!network.contains(name)) return nullptr;
    addresses[0] = network[name].data();
    return &answer;
}

extern "C" int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* limit) {
    last_limit = limit ? limit->tv_sec * 1'000'000L + limit->tv_usec : -1;
    timespec none{};
    return pselect(count, read, write, except, limit ? &none : nullptr, nullptr);
}

TEST(Host, WaitsOnAWholeSetAndOnOneDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ends[0], &set);
    EXPECT_EQ(WaitFdSet(&set, 20), 0);
    EXPECT_EQ(WaitFdReadable(ends[0], 20), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    for (const auto& [timeout, limit] : {std::pair{0, 0L}, {1'999, 1'999'000L}, {-1, -1L}}) {
        FD_SET(ends[0], &set);
        EXPECT_EQ(WaitFdSet(&set, timeout), 1);
        EXPECT_EQ(last_limit, limit);
        EXPECT_EQ(WaitFdReadable(ends[0], timeout), 1);
        EXPECT_EQ(last_limit, limit);
    }
    for (const int end : ends) close(end);
    EXPECT_EQ(WaitFdSet(&set, 0), -1);
    EXPECT_EQ(WaitFdReadable(ends[0], 0), 0) << "not open";
    EXPECT_EQ(WaitFdReadable(-1, 0), -1);
    EXPECT_EQ(WaitFdReadable(FD_SETSIZE, 0), 0) << "no room for it in a set";
}

TEST(Host, ConnectsToNamesAndAddressesWhereSomebodyListens) {
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"127.0.0.1", "", "127.000.000.001"},
        {"127-0 0.1and more", "", "127.000.000.001"},
        {" 127.256.0.257.9", "", "127.000.000.001"},
        {"other", "other ", "127.020.030.041"},
        {"", "own ", "127.020.030.040"},
        {"nobody", "nobody ", " (errno 9)"},
        {"127.0.0", "127.0.0 ", " (errno 9)"}};
    node_name = "own";
    Connection server;  // nobody accepts: the connections wait in its backlog
    ASSERT_EQ(server.CreateService(0, 0, 50, 0), 1);
    const std::int32_t port = server.SocketPort() + 0x50000;
    ExwConnection connection;
    for (const auto& [host, asked, address] : rows) {
        const short connected = address[0] == '1';
        for (const short blocking : {0, 1}) {
            looked_up.clear();
            EXPECT_EQ(connection.ConnectService(host.c_str(), port, blocking, 0), connected);
            EXPECT_EQ(looked_up, asked);
            char peer[40];
            EXPECT_EQ(PeerAddress(connection.fd, peer, 1), connected - 1);
            EXPECT_EQ(peer, address);
            EXPECT_EQ(connection.fd, connected ? server.fd + 1 : -1) << "nothing stays open";
            const int waits = fcntl(connection.fd, F_GETFL) & O_NONBLOCK ? 0 : 1;
            EXPECT_EQ(connected ? waits : blocking, blocking);
        }
    }
    server.Close();
    for (const short blocking : {0, 1})
        EXPECT_EQ(connection.ConnectService("127.0.0.1", port, blocking, 0), 0) << "refused";
    EXPECT_EQ(last_limit, 1'000'000);
    EXPECT_EQ(connection.fd, -1);
}

TEST(Host, TheMachinesNameIsTheNodesUnlessItIsLocalhost) {
    const std::tuple<std::string, std::string, int, int, std::string> rows[] = {
        {"localhost", "node", 80, 0, "localhost"},
        {"host", "node", 80, 0, "node"},
        {"localhost", "node", 9, 0, "node"},
        {"host", "node", 3, 0, "no"},
        {"host", "", 3, 0, "ho"},
        {"", "", 80, -1, ""},
        {"host", "node", 0, -1, "~~~~~~~~~"}};
    for (const auto& [host, node, size, result, name] : rows) {
        host_name = host;
        node_name = node;
        char buffer[80] = "~~~~~~~~~";
        EXPECT_EQ(LocalHostName(buffer, size), result) << name;
        EXPECT_EQ(buffer, name);
    }
}

TEST(Host, DottedAddressIsCutToItsBufferAndOnlyNamesAreLookedUp) {
    const std::string untouched(100, '~');
    const std::tuple<std::string, int, std::string> rows[] = {
        {"other", 40, "127.20.30.41"},
        {"other", 6, "127.2"},
        {"other", 0, untouched},
        {"nobody", 40, ""},
        {"1no-address", 40, "1no-address"},
        {std::string(90, '7'), 100, std::string(79, '7')}};
    for (const auto& [host, size, expected] : rows) {
        std::string buffer = untouched;
        HostToDotted(host.c_str(), buffer.data(), size);
        EXPECT_STREQ(buffer.c_str(), expected.c_str());
    }
}

TEST(Host, KnowsThisMachineByItsNamesAndItsAddress) {
    node_name = "own";
    looked_up.clear();
    for (const char* name : {"my-localhost-2", "own", "127.20.30.40", "127 20.30 40.9", "twin"})
        EXPECT_EQ(IsLocalHost(name), 1) << name;
    EXPECT_EQ(looked_up, "own own own twin ");
    looked_up.clear();
    for (const char* name : {"", "127.20.30", "127.20.30.41", "other", "nobody", "dotted.twin"})
        EXPECT_EQ(IsLocalHost(name), 0) << name;
    EXPECT_EQ(looked_up, "own own own other own nobody own ");
    node_name = "nobody";
    EXPECT_EQ(IsLocalHost("0.0.0.0"), 1) << "zeros stand for an unknown address";
    EXPECT_EQ(IsLocalHost("stranger"), 0);
}
