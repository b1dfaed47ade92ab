// Drives the real zor_sim by raw sockets. Frames are packed here by hand, without the library, so
// that both sides can't share a mistake.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;
using namespace std::string_literals;

/// zor_sim as a child process, its output and errors in a pipe.
class SimProcess {
  public:
    explicit SimProcess(const std::string& arguments) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            const std::string line =
                "exec " ZOR_EMULATOR " " ZOR_BINARY_DIR "/zor_sim " + arguments;
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        output_.reset(fdopen(ends[0], "r"));
    }
    ~SimProcess() {
        if (child_ > 0) finish(SIGKILL);
    }

    std::string readLine() {
        char line[256] = "";
        return std::fgets(line, sizeof line, output_.get()) ? line : "";
    }
    /// Its exit status, after a signal if it doesn't end by itself.
    int finish(int signal = 0) {
        if (signal) kill(child_, signal);
        int status = -1;
        waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int readPort() {
        int port = 0;
        std::sscanf(readLine().c_str(), "zor_sim: listening on port %d\n", &port);
        return port;
    }

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    pid_t child_ = 0;
    std::unique_ptr<std::FILE, Closer> output_;
};

std::string packed(unsigned value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    return text;
}

std::string frame(int type, int op, int kel, const std::string& body, int lg) {
    const auto u = [](int value) { return static_cast<unsigned>(value); };
    return "\x88\x44\x22\x11" + packed(u(type), 2) + packed(u(op), 2) + packed(u(lg), 4) +
           std::string(6, '\xFF') + packed(u(kel), 2) + "\0\0\0\0\xFF\xFF\x1D\0"s +
           std::string(104, '\0') + body;
}

std::string textFrame(const std::string& text) {
    return frame(10, 5, -1, text + '\0', static_cast<int>(text.size()) + 1);
}

struct Answer {
    int op = 0;
    std::string body = "nothing came";
};

/// A console made of a bare socket. Every wait is bounded.
class RawConsole {
  public:
    explicit RawConsole(int port) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        const timeval limit{10, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~RawConsole() { close(fd_); }

    void send(const std::string& bytes) { ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    Answer receive() {
        std::string header(132, '\0');
        if (!fill(header)) return {};
        const auto byte = [&](int at) {
            return static_cast<unsigned char>(header[static_cast<std::size_t>(at)]);
        };
        EXPECT_THAT(header, StartsWith("\x88\x44\x22\x11\x0A"s));
        Answer answer{
            byte(6),
            std::string(byte(8) | std::size_t{byte(9)} << 8 | std::size_t{byte(10)} << 16, '\0')};
        return fill(answer.body) ? answer : Answer{};
    }
    std::string ask(const std::string& text) {
        send(textFrame(text));
        return receive().body;
    }
    bool isHungUp() {
        char byte;
        return recv(fd_, &byte, 1, 0) == 0;
    }

  private:
    bool fill(std::string& area) {
        return area.empty() || recv(fd_, area.data(), area.size(), MSG_WAITALL) ==
                                   static_cast<ssize_t>(area.size());
    }
    int fd_;
};

class Sim : public testing::Test {
  protected:
    SimProcess process_{"--port 0"};
    const int port_ = process_.readPort();
};

TEST_F(Sim, AnswersTheFourFramesOfAConsoleAndEachOfItsCommands) {
    RawConsole console(port_);
    EXPECT_EQ(console.receive().body,
              "\nzor_sim: you are console 1. Type help for the commands.\n\0"s);
    console.send(frame(10, 6, -1, "", 0));
    EXPECT_EQ(console.receive().body, "zor_sim: you are with the first connected KEL.\n\0"s);
    console.send(frame(8, 5, -1, "", 0) + frame(10, 7, -1, "", 0) + frame(10, 6, 3, "", 0));
    EXPECT_EQ(console.receive().body, "zor_sim: you are with KEL 3.\n\0"s);

    const struct {
        const char* typed;
        std::string answer;
    } kCases[] = {
        {"\n", "zor_sim: console 1: KEL 3, 1 texts, 1 pings. Type help.\n\0"s},
        {"echo  two  blanks\n", " two  blanks\n\0"s},
        {"0 p  -x-y", "zor_sim: your command line says  -x-y\n\0"s},
        {"clear\n", "<clear-screen>\n\0"s},
        {"nokey\n", "<off-canonique>\n\0"s},
        {"body 1000001\n", "zor_sim: a number from 0 to 1000000 is needed here.\n\0"s},
        {"body\n", "zor_sim: a number from 0 to 1000000 is needed here.\n\0"s},
        {"frobnicate 1\n", "zor_sim: no command \"frobnicate 1\". Type help for the list.\n\0"s},
    };
    for (const auto& c : kCases)
        EXPECT_EQ(console.ask(c.typed), c.answer) << c.typed;
    EXPECT_THAT(console.ask("help\n"), AllOf(HasSubstr("  body N "), HasSubstr("  bye ")));
    EXPECT_THAT(console.ask("body 82\n"), AllOf(SizeIs(82), EndsWith("0\n1\n")));
    EXPECT_EQ(console.ask("body 1000000\n").size(), 1'000'000u);

    console.send(textFrame("hidden 7\nbye\n"));
    const Answer hidden = console.receive();
    EXPECT_EQ(hidden.op, 6);
    EXPECT_EQ(hidden.body.size(), 7u);
    EXPECT_EQ(console.receive().body, "zor_sim: 7 bytes went out unseen.\n\0"s);
    EXPECT_EQ(console.receive().body, "zor_sim: bye.\n\0"s);
    EXPECT_TRUE(console.isHungUp());
}

TEST_F(Sim, TakesTheKeysThatItAskedForAndNoMore) {
    RawConsole console(port_);
    console.receive();
    EXPECT_EQ(console.ask("key 2\n"), "zor_sim: press 2 keys.\n\0"s);
    EXPECT_EQ(console.receive().body, "<on-canonique>\n\0"s);
    EXPECT_EQ(console.ask("\nh"), "key 'h' (104)\n\0"s);
    EXPECT_EQ(console.ask("\xFFhelp"), "key 255\n\0"s);
    EXPECT_EQ(console.receive().body, "<off-canonique>\n\0"s);
    EXPECT_EQ(console.ask("echo back"), "back\n\0"s);
}

TEST_F(Sim, OneConsolesMisbehaviourIsNobodyElsesConcern) {
    RawConsole steady(port_);
    steady.receive();
    {
        RawConsole cut(port_), silent(port_);
        cut.receive();
        cut.send(frame(10, 5, -1, "half", 1000));
        RawConsole noisy(port_);
        noisy.receive();
        noisy.send(std::string(4000, '#') + frame(10, 5, -1, "", -1) + frame(99, -7, 0, "xyz", 3) +
                   textFrame("echo in step"));
        EXPECT_EQ(noisy.receive().body, "in step\n\0"s);
        EXPECT_THAT(steady.ask("consoles\n"),
                    AllOf(HasSubstr("console 2"), HasSubstr("console 4")));
        noisy.send(textFrame(std::string(999'990, 'n')));
        EXPECT_THAT(noisy.receive().body,
                    AllOf(StartsWith("zor_sim: no command \"nnn"), SizeIs(testing::Lt(200))));
    }
    EXPECT_EQ(steady.ask("echo on\n"), "on\n\0"s);
}

TEST(SimStart, TellsWhatIsWrongAndEnds) {
    SimProcess first("--port 0");
    const std::string port = std::to_string(first.readPort());
    const struct {
        std::string arguments, line;
        int status;
    } kCases[] = {
        {"--port " + port, "zor_sim: can't listen on port " + port + ": Address already in use\n",
         1},
        {"--port 65536", "Usage: zor_sim [--port N]\n", 2},
        {"--port 12x", "Usage: zor_sim [--port N]\n", 2},
        {"--port", "Usage: zor_sim [--port N]\n", 2},
        {"--help", "Usage: zor_sim [--port N]\n", 0},
    };
    for (const auto& c : kCases) {
        SimProcess sim(c.arguments);
        EXPECT_EQ(sim.readLine(), c.line) << c.arguments;
        EXPECT_EQ(sim.finish(), c.status) << c.arguments;
    }
}

}  // namespace
