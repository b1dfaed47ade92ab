#pragma once
// The real zor_console as a child process, between pipes or at a terminal of its own. Every wait is
// bounded, and what the console says is the only sign that something is ready.

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>

#include <vector>

#include "support/places.h"
#include "support/scripted_peer.h"

namespace support {

using Words = std::vector<std::string>;
enum class Terminal { kPipes, kPty, kClosed };

class ConsoleProcess {
  public:
    explicit ConsoleProcess(Words words, Terminal terminal = Terminal::kPipes) {
        int in[2], out[2], err[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC) + pipe2(err, O_CLOEXEC), 0);
        if (terminal == Terminal::kPty) {
            termios plain{};  // no echo, no change of line ends: all is seen as typed and said
            plain.c_lflag = ICANON;
            plain.c_cc[VEOF] = '\x04';
            for (int unused : in) close(unused);
            EXPECT_EQ(openpty(&in[1], &in[0], nullptr, &plain, nullptr), 0);
        }
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], 0), dup2(out[1], 1), dup2(err[1], 2);
            closefrom(terminal == Terminal::kClosed ? 0 : 3);
            run(words);
        }
        for (int other : {in[0], out[1], err[1]}) close(other);
        in_ = in[1], out_ = out[0], err_ = err[0];
    }
    ConsoleProcess(const ConsoleProcess&) = delete;
    ConsoleProcess& operator=(const ConsoleProcess&) = delete;

    /// Nothing but a signal ends a console, and a healthy one has no complaint.
    ~ConsoleProcess() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            EXPECT_EQ(end(), -SIGKILL) << "it ended by itself";
        }
        EXPECT_EQ(complaint(), "");
        for (int mine : {in_, out_, err_}) close(mine);
    }

    pid_t pid() const { return pid_; }
    void type(const std::string& keys) {
        EXPECT_EQ(write(in_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void closeInput() { close(std::exchange(in_, -1)); }

    /// The next output, byte for byte.
    void expect(const std::string& said) { EXPECT_EQ(expectUpTo(said), ""); }
    /// The output up to `said`, which must come; all of it is taken.
    std::string expectUpTo(const std::string& said) {
        auto place = std::string::npos;
        while ((place = output_.find(said)) == std::string::npos)
            if (!more(out_, output_, kPatience)) break;
        EXPECT_NE(place, std::string::npos) << "missing: " << said << "\nthere is: " << output_;
        std::string passed = output_.substr(0, place);
        output_.erase(0, passed.size() + said.size());
        return passed;
    }
    /// What stands on standard error.
    std::string complaint() {
        std::string words;
        while (more(err_, words, 0)) continue;
        return words;
    }
    /// Waits for the end of the process: its exit status, or the signal below 0.
    int end() {
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

  private:
    [[noreturn]] static void run(Words words) {
        const char line[] = "exec " ZOR_EMULATOR " '" ZOR_BINARY_DIR "/zor_console' \"$@\"";
        words.insert(words.begin(), {"sh", "-c", line, "sh"});
        std::vector<char*> pointers;
        for (std::string& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        execv("/bin/sh", pointers.data());
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
    int in_ = -1, out_ = -1, err_ = -1;
    std::string output_;
};

/// A console in its first session, with all said up to "Press return" taken.
struct Session {
    explicit Session(Words more = {}, Terminal terminal = Terminal::kPipes)
        : console((peer.listen(), more.insert(more.begin(), {"127.0.0.1", peer.port}), more),
                  terminal),
          link(peer.join()) {
        console.expectUpTo("\nPress return");
    }
    /// Gives what the console says before it finds the session lost; takes the next one's
    /// beginning.
    std::string reconnect() {
        std::string said = console.expectUpTo("server disconnected!\n");
        link = peer.join();
        console.expectUpTo("\nPress return");
        return said;
    }
    Peer peer;
    ConsoleProcess console;
    Link link;
};

}  // namespace support
