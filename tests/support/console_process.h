#pragma once
// The real zor_console as a child process between pipes. Every wait is bounded, and what the
// console says is the only sign that something is ready.

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <functional>
#include <vector>

#include "support/places.h"
#include "support/scripted_peer.h"

namespace support {

using Words = std::vector<std::string>;
enum class Keyboard { kPipe, kTerminal };

class ConsoleProcess {
  public:
    explicit ConsoleProcess(const Words& words, Keyboard keyboard = Keyboard::kPipe) {
        int theirs[3];
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            int ends[2];
            if (fd == STDIN_FILENO && keyboard == Keyboard::kTerminal)
                EXPECT_EQ(openpty(&ends[1], &ends[0], nullptr, nullptr, nullptr), 0);
            else EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
            theirs[fd] = ends[fd == STDIN_FILENO ? 0 : 1];
            ours_[fd] = ends[fd == STDIN_FILENO ? 1 : 0];
        }
        pid_ = fork();
        if (pid_ == 0) {
            for (int fd = 0; fd < 3; ++fd) dup2(theirs[fd], fd);
            closefrom(3);
            run(words);
        }
        for (const int fd : theirs) close(fd);
    }
    ConsoleProcess(const ConsoleProcess&) = delete;

    /// Nothing but a signal ends a console, and a healthy one has no complaint.
    ~ConsoleProcess() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            EXPECT_EQ(end(), -SIGKILL) << "it ended by itself";
        }
        EXPECT_EQ(complaint(), "");
        for (const int fd : ours_) close(fd);
    }

    void type(const std::string& keys) {
        EXPECT_EQ(write(ours_[STDIN_FILENO], keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }

    /// The next output, byte for byte.
    void expect(const std::string& said) { EXPECT_EQ(expectUpTo(said), ""); }
    /// The output up to `said`, which must come; all of it is taken.
    std::string expectUpTo(const std::string& said) {
        auto place = std::string::npos;
        while ((place = output_.find(said)) == std::string::npos)
            if (!more(ours_[STDOUT_FILENO], output_, kPatience)) break;
        EXPECT_NE(place, std::string::npos) << "missing: " << said << "\nthere is: " << output_;
        std::string passed = output_.substr(0, place);
        output_.erase(0, passed.size() + said.size());
        return passed;
    }
    static constexpr int kStopped = 4096;  // bytes that the screen still takes then
    /// Stops the screen, as a terminal does, and waits until what `talk` lets come has filled it.
    void stop(const std::function<void()>& talk) const {
        EXPECT_EQ(fcntl(ours_[STDOUT_FILENO], F_SETPIPE_SZ, kStopped), kStopped);
        talk();
        int held = 0;
        for (int tries = 0; tries < kPatience && held < kStopped; ++tries) {
            poll(nullptr, 0, 1);
            ioctl(ours_[STDOUT_FILENO], FIONREAD, &held);
        }
        EXPECT_EQ(held, kStopped);
    }
    /// What stands on standard error.
    std::string complaint() {
        std::string words;
        while (more(ours_[STDERR_FILENO], words, 0)) continue;
        return words;
    }
    /// Waits for the end of the process: its exit status, or the signal below 0.
    int end() {
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        if (WIFSIGNALED(status)) return -WTERMSIG(status);
        return WEXITSTATUS(status);
    }

  private:
    [[noreturn]] static void run(const Words& words) {
        std::string line = "exec " ZOR_EMULATOR " '" ZOR_BINARY_DIR "/zor_console'";
        for (const std::string& word : words) line += " '" + word + "'";
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    static bool more(int descriptor, std::string& taken, int patience) {
        char piece[65536];
        if (!readable(descriptor, patience)) return false;
        const ssize_t count = read(descriptor, piece, sizeof piece);
        if (count > 0) taken.append(piece, static_cast<std::size_t>(count));
        return count > 0;
    }

    pid_t pid_ = -1;
    int ours_[3];
    std::string output_;
};

/// A console in its first session, with all said up to "Press return" taken.
struct Session {
    explicit Session(const Words& more = {}, Keyboard keyboard = Keyboard::kPipe)
        : console(toPeer(more), keyboard), link(peer.join()) {
        console.expectUpTo("\nPress return");
    }
    /// Takes the end of the session that was lost and the beginning of the next.
    void reconnect() {
        console.expectUpTo("server disconnected!\n");
        link = peer.join();
        console.expectUpTo("\nPress return");
    }
    Words toPeer(Words words) {
        peer.listen();
        words.insert(words.begin(), {"127.0.0.1", peer.port});
        return words;
    }
    Peer peer;
    ConsoleProcess console;
    Link link;
};

}  // namespace support
