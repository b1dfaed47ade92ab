// Drives the real zor_sim by raw sockets, with frames packed without the library.

#include <gmock/gmock.h>
#include <signal.h>

#include <cstdio>

#include "support/scripted_peer.h"

namespace {

using namespace std::string_literals;
using support::frame;

/// zor_sim as a child process, output and errors in a pipe whose first line is its process id.
class SimProcess {
  public:
    explicit SimProcess(const std::string& arguments = "--port 0")
        : output_(popen(
              ("echo $$; exec " ZOR_EMULATOR " " ZOR_BINARY_DIR "/zor_sim " + arguments + " 2>&1")
                  .c_str(),
              "r")),
          pid_(std::stoi(readLine())) {}
    ~SimProcess() {
        if (!output_) return;
        kill(pid_, SIGKILL);
        pclose(output_);
    }
    std::string readLine() {
        char line[256] = "";
        return std::fgets(line, sizeof line, output_) ? line : "";
    }
    int exitStatus() { return WEXITSTATUS(pclose(std::exchange(output_, nullptr))); }
    int readPort() {
        int port = 0;
        std::sscanf(readLine().c_str(), "zor_sim: listening on port %d\n", &port);
        return port;
    }

  private:
    std::FILE* output_;
    const pid_t pid_;
};

/// A console at zor_sim, its greeting already taken.
support::Link connectTo(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    support::Link link(fd);
    EXPECT_THAT(link.receive(132 + 58), testing::HasSubstr("zor_sim: you are console "));
    return link;
}

std::string typed(const std::string& text) {
    return frame(10, 5, -1, text + '\0');
}

TEST(Sim, AnswersTheFourFramesOfAConsoleAndEachCommand) {
    SimProcess sim;
    support::Link console = connectTo(sim.readPort());
    console.send(frame(10, 6, -1));
    console.expectText("zor_sim: you are with the first connected KEL.\n");
    console.send(frame(8, 5, -1) + frame(10, 7, -1) + frame(10, 6, 3));
    console.expectText("zor_sim: you are with KEL 3.\n", 3);
    const char* const kCases[][2] = {
        {"\n", "zor_sim: console 1: KEL 3, 1 texts, 1 pings. Type help.\n"},
        {"echo  two  blanks\n", " two  blanks\n"},
        {"clear\n", "<clear-screen>\n"},
        {"nokey\n", "<off-canonique>\n"},
        {"body 1000001\n", "zor_sim: a number from 0 to 1000000 is needed here.\n"},
        {"frobnicate 1\n", "zor_sim: no command \"frobnicate 1\". Type help for the list.\n"},
        {"key 2\n", "zor_sim: press 2 keys.\n"},
        {"", "<on-canonique>\n"},
        {"\nh", "key 'h' (104)\n"},
        {"\xFFhelp", "key 255\n"},
        {"", "<off-canonique>\n"},
        {"consoles", "console 1: KEL 3, 10 texts, 1 pings\n"},
    };
    for (const auto& [text, answer] : kCases) {
        if (*text) console.send(typed(text));
        console.expectText(answer, 3);
    }
    console.send(typed("body 3\nbody 1000000\nhidden 3\nbye\n"));
    console.expect(frame(10, 5, 3, "00\n"));
    EXPECT_EQ(console.receive(132 + 1'000'000).substr(0, 132),
              support::header(10, 5, 3, 1'000'000));
    console.expect(frame(10, 6, 3, "00\n"));
    console.expectText("zor_sim: 3 bytes went out unseen.\n", 3);
    console.expectText("zor_sim: bye.\n", 3);
    EXPECT_EQ(console.receive(1), "");
}

TEST(Sim, OneConsolesMisbehaviourIsNobodyElsesConcern) {
    SimProcess sim;
    const int port = sim.readPort();
    support::Link steady = connectTo(port);
    {
        support::Link cut = connectTo(port), gone = connectTo(port), noisy = connectTo(port);
        cut.send(support::header(10, 5, -1, 1000) + "half");
        gone.send(typed("body 1000000"));
        gone.reset();
        noisy.send(std::string(4000, '#') + support::header(10, 5, -1, -1) + frame(9, -7, 0, "x") +
                   typed("echo in step") + typed(std::string(999'990, 'n')));
        noisy.expectText("in step\n");
        noisy.expectText("zor_sim: no command \"" + std::string(64, 'n') +
                         "\". Type help for the list.\n");
    }
    steady.send(typed("echo on\n"));
    steady.expectText("on\n");
}

TEST(Sim, TellsWhatIsWrongWithItsStartAndEnds) {
    SimProcess first;
    const std::string port = std::to_string(first.readPort());
    const std::string used = "zor_sim: can't listen on port " + port + ": Address already in use\n";
    const std::string usage = "Usage: zor_sim [--port N]\n";
    const std::tuple<std::string, std::string, int> kCases[] = {
        {"--port " + port, used, 1}, {"--port 65536", usage, 2}, {"--help", usage, 0}};
    for (const auto& [arguments, line, status] : kCases) {
        SimProcess sim(arguments);
        EXPECT_EQ(sim.readLine(), line);
        EXPECT_EQ(sim.exitStatus(), status) << arguments;
    }
}

}  // namespace
