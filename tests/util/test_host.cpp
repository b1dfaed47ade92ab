#include <gmock/gmock.h>
#include <unistd.h>

#include "util/i_cnxsock.h"

namespace {

using namespace std::string_literals;

// A label longer than names may have: the lookup fails without asking anybody.
const std::string kUnknown(70, 'x');

TEST(Host, WaitsOnAWholeSet) {
    int quiet[2], ready[2];
    ASSERT_EQ(pipe(quiet) + pipe(ready), 0);
    ASSERT_EQ(write(ready[1], "x", 1), 1);
    for (const std::int32_t timeout : {-1, 0, 1500}) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(quiet[0], &set);
        FD_SET(ready[0], &set);
        EXPECT_EQ(WaitFdSet(&set, timeout), 1) << timeout;
        EXPECT_TRUE(FD_ISSET(ready[0], &set) && !FD_ISSET(quiet[0], &set));
        FD_CLR(ready[0], &set);
        FD_SET(quiet[0], &set);
        EXPECT_EQ(WaitFdSet(&set, 20), 0);
    }
    for (const int fd : {quiet[0], quiet[1], ready[0], ready[1]})
        close(fd);
}

TEST(Host, DottedAddressIsCutToItsBufferAndOnlyNamesAreLookedUp) {
    const std::tuple<std::string, int, std::string> kCases[] = {
        {"localhost", 40, "127.0.0.1"},
        {"localhost", 6, "127.0"},
        {"1-not-an-address", 40, "1-not-an-address"},
        {"", 40, ""},
        {kUnknown, 40, ""},
        {"7" + kUnknown + kUnknown, 100, ("7" + kUnknown + kUnknown).substr(0, 79)},
        {"10.1.2.3", 1, ""},
        {"10.1.2.3", 0, "~~"}};
    for (const auto& [host, size, expected] : kCases) {
        std::string buffer(101, '~');
        HostToDotted(host.c_str(), buffer.data(), size);
        EXPECT_EQ(buffer.compare(0, expected.size() + (size > 0), expected.c_str(),
                                 expected.size() + (size > 0)),
                  0)
            << host;
        EXPECT_EQ(buffer[static_cast<unsigned>(size)], '~');
    }
}

TEST(Host, KnowsThisMachineByItsNamesAndItsAddress) {
    char own[80] = "", dotted[40] = "";
    LocalHostName(own, sizeof own);
    HostToDotted(own, dotted, sizeof dotted);
    const std::string address = *dotted ? dotted : "0.0.0.0";  // zeros where that is unknown
    const std::string three_numbers = address.substr(0, address.rfind('.'));
    for (const auto& name :
         {"localhost"s, "my-localhost-2"s, std::string(own), address, address + ".9"})
        EXPECT_EQ(IsLocalHost(name.c_str()), 1) << name;
    for (const auto& name :
         {""s, three_numbers, three_numbers + ".x", "198.51.100.77"s, "not.here"s, kUnknown})
        EXPECT_EQ(IsLocalHost(name.c_str()), 0) << name;
}

}  // namespace
