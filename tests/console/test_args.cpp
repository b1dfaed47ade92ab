#include <gmock/gmock.h>

#include "support/console_process.h"

using namespace support;

TEST(Args, ChooseHostAndPort) {
    char name[80] = "";
    gethostname(name, sizeof name - 1);
    const std::string here = std::string(name) + " 3595";
    const std::string longest(79, 'h');
    const std::vector<std::pair<Words, std::string>> rows{
        {{}, here},
        {{"-abc", "17"}, here},
        {{"127.0.0.1", "17", "-abc"}, "127.0.0.1 17"},
        {{"localhost"}, "localhost 3595"},
        {{"localhost", "17x"}, "localhost 17"},
        {{longest, "-7"}, longest + " 3595"},
        {{longest, "port", "17"}, longest + " 3595"}};
    for (const auto& [words, server] : rows)
        ConsoleProcess(words).expect("Usage: [hostname] \nTrying connect: " + server + "\n");
    ConsoleProcess console({longest + "h", "17"});
    EXPECT_EQ(console.end(), 2);
    EXPECT_THAT(console.complaint(), testing::MatchesRegex("zor_console: [^\n]+\n"));
}

TEST(Args, TextFromTheFirstDashGoesToTheServer) {
    const std::string line(100, '-');
    Session({"more", "-a", "b  c", "-KEL2"}).link.expectText("0 p -a b  c -KEL2");
    Session({line}).link.expectText("0 p " + line.substr(0, 76));
    Peer peer;
    peer.listen();
    ConsoleProcess console({"127.0.0.1-host", peer.port, "-abc"});  // an address, and a dash
    peer.join().expectText("0 p -host " + peer.port + " -abc");
}
