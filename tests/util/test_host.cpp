#include <gmock/gmock.h>
#include <unistd.h>

#include "util/i_cnxsock.h"

using namespace std::string_literals;

// A label longer than names may have: the lookup fails without asking anybody.
static const std::string kUnknown(70, 'x');

/// The time limit of the last `select`, in microseconds; -1 for none.
static long last_limit = 0;

// Stands before the C library's `select`, so that a test sees how long a wait would be.
extern "C" int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* limit) {
    last_limit = limit ? limit->tv_sec * 1'000'000L + limit->tv_usec : -1;
    timespec none{};
    return pselect(count, read, write, except, limit ? &none : nullptr, nullptr);
}

TEST(Host, WaitsOnAWholeSetAndOnOneDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fd_set set;
    for (const auto& [timeout, limit] : {std::pair{0, 0L}, {20, 20'000L}, {1'999, 1'999'000L}}) {
        FD_ZERO(&set);
        FD_SET(ends[0], &set);
        EXPECT_EQ(WaitFdSet(&set, timeout), 0);
        EXPECT_EQ(last_limit, limit);
        EXPECT_EQ(WaitFdReadable(ends[0], timeout), 0);
        EXPECT_EQ(last_limit, limit);
    }
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    FD_SET(ends[0], &set);
    EXPECT_EQ(WaitFdSet(&set, -1), 1);
    EXPECT_EQ(last_limit, -1);
    EXPECT_EQ(WaitFdReadable(ends[0], -1), 1);
    EXPECT_EQ(last_limit, -1);
    for (const int end : ends) close(end);
    EXPECT_EQ(WaitFdSet(&set, 0), -1);
    EXPECT_EQ(WaitFdReadable(-1, 0), -1);
    EXPECT_EQ(WaitFdReadable(FD_SETSIZE, 0), 0) << "no room for it in a set";
}

TEST(Host, DottedAddressIsCutToItsBufferAndOnlyNamesAreLookedUp) {
    const std::tuple<std::string, int, std::string> kCases[] = {
        {"localhost", 40, "127.0.0.1"},
        {"localhost", 6, "127.0"},
        {kUnknown, 40, ""},
        {"1-no-address", 40, "1-no-address"}};
    for (const auto& [host, size, expected] : kCases) {
        std::string buffer(41, '~');
        HostToDotted(host.c_str(), buffer.data(), size);
        EXPECT_STREQ(buffer.c_str(), expected.c_str());
    }
}

TEST(Host, KnowsThisMachineByItsNamesAndItsAddress) {
    char own[80] = "";
    char dotted[40] = "";
    LocalHostName(own, sizeof own);
    HostToDotted(own, dotted, sizeof dotted);
    const std::string address = *dotted ? dotted : "0.0.0.0";  // zeros where that is unknown
    const std::string three = address.substr(0, address.rfind('.'));
    for (const auto& name :
         {"localhost"s, "my-localhost-2"s, std::string(own), address, address + ".9"})
        EXPECT_EQ(IsLocalHost(name.c_str()), 1) << name;
    for (const auto& name : {""s, three, three + ".x", "198.51.100.77"s, "not.here"s, kUnknown})
        EXPECT_EQ(IsLocalHost(name.c_str()), 0) << name;
}
