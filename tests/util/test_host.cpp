#include <gmock/gmock.h>
#include <unistd.h>

#include "util/i_cnxsock.h"

namespace {

using namespace std::string_literals;

// A label longer than names may have: the lookup fails without asking anybody.
const std::string kUnknown(70, 'x');

TEST(Host, WaitsOnAWholeSet) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ends[0], &set);
    EXPECT_EQ(WaitFdSet(&set, 20), 0);
    EXPECT_FALSE(FD_ISSET(ends[0], &set));
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    FD_SET(ends[0], &set);
    EXPECT_EQ(WaitFdSet(&set, -1), 1);
    for (const int end : ends) close(end);
    EXPECT_EQ(WaitFdSet(&set, 0), -1);
}

TEST(Host, DottedAddressIsCutToItsBufferAndOnlyNamesAreLookedUp) {
    const std::string number(100, '7');
    const std::tuple<std::string, int, std::string> kCases[] = {
        {"localhost", 40, "127.0.0.1"},
        {"localhost", 6, "127.0"},
        {kUnknown, 40, ""},
        {"1-no-address", 40, "1-no-address"},
        {number, 100, number.substr(0, 79)}};
    for (const auto& [host, size, expected] : kCases) {
        std::string buffer(101, '~');
        HostToDotted(host.c_str(), buffer.data(), size);
        EXPECT_STREQ(buffer.c_str(), expected.c_str());
        HostToDotted(host.c_str(), &buffer[100], 0);
        EXPECT_EQ(buffer[100], '~');
    }
}

TEST(Host, KnowsThisMachineByItsNamesAndItsAddress) {
    char own[80] = "", dotted[40] = "";
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

}  // namespace
