#pragma once
// The real zor_sim as a child process, and consoles made of raw sockets, whose frames are packed by
// hand. Every wait is bounded.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "support/scripted_peer.h"

namespace support {

/// zor_sim with its output and errors in a pipe. A test that doesn't end it with `stopped` kills
/// it.
class SimProcess {
  public:
    /// Words of the shell may stand `before` it: a limit of the system.
    explicit SimProcess(const std::string& arguments, const std::string& before = "") {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            // The dead-lock that `locks` makes on purpose is the server's own to report.
            setenv("TSAN_OPTIONS", "detect_deadlocks=0", 1);
            const std::string line =
                before + "exec " ZOR_EMULATOR " " ZOR_BINARY_DIR "/zor_sim " + arguments;
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        output_.reset(fdopen(ends[0], "r"));
    }
    ~SimProcess() {
        if (child_ > 0) finish(SIGKILL);
        if (drain_.joinable()) drain_.join();
    }

    std::string readLine() {
        char line[256] = "";
        return std::fgets(line, sizeof line, output_.get()) ? line : "";
    }
    /// The port that it tells. From then on its output is kept, so that it never waits for us.
    int readPort() {
        int port = 0;
        std::sscanf(readLine().c_str(), "zor_sim: listening on port %d\n", &port);
        drain_ = std::thread([this] {
            for (std::string line = readLine(); !line.empty(); line = readLine()) said_ += line;
        });
        return port;
    }
    /// Its exit status, after a signal if it doesn't end by itself.
    int finish(int signal = 0) {
        if (signal) kill(child_, signal);
        int status = -1;
        waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// All that it said behind its port, once it has ended.
    const std::string& said() {
        if (drain_.joinable()) drain_.join();
        return said_;
    }

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    pid_t child_ = 0;
    std::unique_ptr<std::FILE, Closer> output_;
    std::thread drain_;
    std::string said_;
};

/// Calls `there` until it holds, as long as a test is patient. Gives whether it did.
template <typename Condition>
bool eventually(const Condition& there) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
    while (!there())
        if (std::chrono::steady_clock::now() > limit) return false;
    return true;
}

struct Answer {
    int op = 0;
    std::string body = "nothing came";
};

/// A console made of a bare socket, with the greeting taken.
class RawConsole : public Link {
  public:
    static int connectTo(int port) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return fd;
    }

    explicit RawConsole(int port) : Link(connectTo(port)), greeting(receiveFrame().body) {
        std::sscanf(greeting.c_str(), "\nzor_sim: you are console %d.", &number);
    }

    Answer receiveFrame() {
        const std::string head = receive(132);
        if (head.size() < 132) return {};
        const auto byte = [&](unsigned at) { return static_cast<unsigned char>(head[at]); };
        EXPECT_EQ(head.substr(0, 6), std::string("\x88\x44\x22\x11\x0A\0", 6));
        return {byte(6), receive(byte(8) + 256u * byte(9) + 65536u * byte(10))};
    }
    /// The next text without its terminator.
    std::string text() {
        std::string body = receiveFrame().body;
        if (body.ends_with('\0')) body.pop_back();
        return body;
    }
    void type(const std::string& typed, int kel = -1) { send(frame(10, 5, kel, typed + '\0')); }
    std::string ask(const std::string& typed, int kel = -1) {
        type(typed, kel);
        return text();
    }
    /// The texts up to one that holds `wanted`, joined. Empty if it doesn't come.
    std::string upTo(const std::string& wanted, int most = 1000) {
        std::string all;
        for (int i = 0; i < most; ++i) {
            const std::string next = text();
            if (next == "nothing came") break;
            all += next;
            if (next.find(wanted) != std::string::npos) return all;
        }
        ADD_FAILURE() << "never came: " << wanted << "\nthere is: " << all;
        return "";
    }

    const std::string greeting;
    int number = 0;  // 0 if the greeting tells none
};

}  // namespace support
