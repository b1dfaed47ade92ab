#include <gmock/gmock.h>

#include "support/console_process.h"

namespace {

using namespace support;
using Words = std::vector<std::string>;

TEST(Args, ChooseHostAndPort) {
    char this_machine[80] = "";
    gethostname(this_machine, sizeof this_machine - 1);
    const std::string here = std::string(this_machine) + " 3595";
    const std::string longest(79, 'h');
    for (const auto& [words, server] :
         std::vector<std::pair<Words, std::string>>{{{}, here},
                                                    {{"-abc", "17"}, here},
                                                    {{"127.0.0.1", "17", "-abc"}, "127.0.0.1 17"},
                                                    {{"localhost", "17x"}, "localhost 17"},
                                                    {{longest, "-7"}, longest + " 3595"},
                                                    {{longest, "port", "17"}, longest + " 3595"}}) {
        ConsoleProcess(words).expect("Usage: [hostname] \nTrying connect: " + server + "\n");
    }
    ConsoleProcess console({longest + "h", "17"});
    EXPECT_EQ(console.end(), 2);
    EXPECT_THAT(console.complaint(), testing::MatchesRegex("zor_console: [^\n]+\n"));
}

TEST(Args, TextFromTheFirstDashGoesToTheServerInEachSession) {
    const std::string line(100, '-');
    for (const auto& [more, forwarded] : std::vector<std::pair<Words, std::string>>{
             {{"-xxx-yyy"}, "0 p -xxx-yyy"},
             {{"more", "-a", "b  c", "-KEL2"}, "0 p -a b  c -KEL2"},
             {{line}, ("0 p " + line).substr(0, 80)}}) {
        Session(more).link.expectText(forwarded);
    }
    Peer peer;
    peer.listen();
    ConsoleProcess console({"127.0.0.1-host", peer.port(), "-abc"});  // an address, and a dash
    for (int i = 0; i < 2; ++i)
        peer.join().expectText("0 p -host " + peer.port() + " -abc");
}

}  // namespace
