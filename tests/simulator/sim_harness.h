#pragma once
// The real zor_sim as a child process, and consoles made of raw sockets, whose frames are packed by
// hand. Every wait is bounded.

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "support/places.h"
#include "support/scripted_peer.h"

namespace support {

/// Calls `there` until it holds, as long as a test is patient. Gives whether it did.
template <typename Condition>
bool eventually(const Condition& there) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
    while (!there()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// zor_sim with its output and errors in a file. A test that doesn't end it with `finish` kills it.
class SimProcess {
  public:
    explicit SimProcess(const std::string& arguments) {
        child_ = fork();
        if (child_ == 0) {
            dup2(output_, STDOUT_FILENO);
            dup2(output_, STDERR_FILENO);
            // The dead-lock that `locks` makes on purpose is the server's own to report.
            setenv("TSAN_OPTIONS", "detect_deadlocks=0", 1);
            const std::string line =
                "exec " ZOR_EMULATOR " " ZOR_BINARY_DIR "/zor_sim " + arguments;
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
    }
    ~SimProcess() {
        if (child_ > 0) finish(SIGKILL);
        close(output_);
    }

    /// All that it has said until now.
    std::string said() const {
        std::string text(1'000'000, '\0');
        text.resize(static_cast<std::size_t>(pread(output_, text.data(), text.size(), 0)));
        return text;
    }
    /// The port that it tells.
    int readPort() const {
        int port = 0;
        const auto told = [&] {
            return std::sscanf(said().c_str(), "zor_sim: listening on port %d\n", &port) == 1;
        };
        EXPECT_TRUE(eventually(told)) << said();
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

  private:
    pid_t child_ = 0;
    const int output_ = memfd_create("zor_sim", MFD_CLOEXEC);
};

/// A console made of a bare socket, with the greeting taken.
class RawConsole : public Link {
  public:
    static int connectTo(int port) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const auto place = htons(static_cast<std::uint16_t>(port));
        const sockaddr_in address{AF_INET, place, {htonl(INADDR_LOOPBACK)}, {}};
        EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return fd;
    }

    explicit RawConsole(int port) : Link(connectTo(port)), greeting(text()) {}

    /// The next text without its terminator.
    std::string text() {
        const std::string head = receive(132);
        if (head.size() < 132) return "nothing came";
        EXPECT_EQ(head.substr(0, 8), header(10, 5, -1, 0).substr(0, 8));
        const auto byte = [&](unsigned at) { return static_cast<unsigned char>(head[at]); };
        std::string body = receive(byte(8) + 256u * byte(9) + 65536u * byte(10));
        if (body.ends_with('\0')) body.pop_back();
        return body;
    }
    void type(const std::string& typed, int kel = -1) { send(frame(10, 5, kel, typed + '\0')); }
    std::string ask(const std::string& typed, int kel = -1) {
        type(typed, kel);
        return text();
    }
    /// The texts up to one that holds `wanted`, joined.
    std::string upTo(const std::string& wanted) {
        std::string all;
        for (int i = 0; i < 1000; ++i) {
            all += text();
            if (all.ends_with("nothing came") || all.find(wanted) != std::string::npos) break;
        }
        EXPECT_THAT(all, testing::HasSubstr(wanted));
        return all;
    }

    const std::string greeting;
};

}  // namespace support
