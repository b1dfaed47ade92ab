#include <gmock/gmock.h>

#include "support/console_process.h"

namespace {

using namespace support;

std::string thisMachine() {
    char name[80] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

TEST(Args, ChooseHostAndPort) {
    Peer deaf;  // refuses, so every row gets its report too
    const std::string longest(79, 'h');
    const std::vector<std::pair<std::vector<std::string>, std::string>> rows{
        {{}, thisMachine() + " 3595"},
        {{"-abc", deaf.port()}, thisMachine() + " 3595"},
        {{"127.0.0.1", deaf.port(), "-abc"}, "127.0.0.1 " + deaf.port()},
        {{"localhost", deaf.port() + "x"}, "localhost " + deaf.port()},
        {{longest, "-7"}, longest + " 3595"},
        {{longest, "port", deaf.port()}, longest + " 3595"},
    };
    for (const auto& [words, server] : rows) {
        ConsoleProcess console(words);
        console.expect("Usage: [hostname] \nTrying connect: " + server + "\n");
    }
}

TEST(Args, HostNameTooLongIsOneLineAndStatusTwo) {
    ConsoleProcess console({std::string(80, 'h'), "1"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_THAT(console.complaint(), testing::MatchesRegex("zor_console: [^\n]+\n"));
    console.expect("Usage: [hostname] \n");
}

TEST(Args, TextFromTheFirstDashGoesToTheServerInEachSession) {
    const std::string line(100, '-');
    for (const auto& [more, forwarded] :
         std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"-xxx-yyy"}, "0 p -xxx-yyy"},
             {{"more", "-a", "b  c", "-KEL2"}, "0 p -a b  c -KEL2"},
             {{line}, ("0 p " + line).substr(0, 80)}}) {
        Session session(more);
        session.link.expectText(forwarded);
    }
    Peer peer;  // whatever stands behind an address counts in it no more, but its dash does
    peer.listen();
    ConsoleProcess console({"127.0.0.1-host", peer.port(), "-abc"});
    for (int i = 0; i < 2; ++i)
        peer.join().expectText("0 p -host " + peer.port() + " -abc");
}

}  // namespace
