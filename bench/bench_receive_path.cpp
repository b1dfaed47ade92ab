// The way of received text through the real zor_console, beside the same stream through nc: large
// bodies to nowhere, into a drained pipe and into a recording, and small frames one by one and
// packed. Times run from the first byte sent until the last one is taken by the program under test
// (into a pipe: until it came out of it). With BENCH_QUICK set the amounts are an eighth.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "norba/i_msg.h"

namespace {

using Clock = std::chrono::steady_clock;

enum class Output { kNowhere, kPipe, kFile };

/// What the sender sends: `writes` times a block of `per_write` frames.
struct Load {
    std::int32_t body;
    int per_write;
    int writes;
};

int scaled(int amount) {
    return std::getenv("BENCH_QUICK") ? amount / 8 : amount;
}

void require(bool done, const char* what) {
    if (!done) throw std::runtime_error(what);
}

std::string framesOf(const Load& load) {
    MsgToSend frame(static_cast<std::uint32_t>(load.body));
    frame.setType(10);
    frame.setOp(5);
    frame.setLg(load.body);
    frame.Serialise();
    for (std::int32_t i = 0; i < load.body; ++i)
        frame.body()[i] = i % 80 == 79 ? '\n' : static_cast<char>('a' + i % 26);
    const std::string one(frame.buffer(), static_cast<std::size_t>(frame.frameLength()));
    std::string all;
    for (int i = 0; i < load.per_write; ++i)
        all += one;
    return all;
}

/// A listening port, the program under test connected to it, and both ends of its input and output.
class Run {
  public:
    Run(bool console, Output output) : output_(output) {
        listen_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        require(::bind(listen_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                    ::listen(listen_, 1) == 0,
                "listen");
        ::getsockname(listen_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        start(commandLine(console));
        peer_ = ::accept(listen_, nullptr, nullptr);
        require(peer_ >= 0, "accept");
        length = sizeof address;
        ::getpeername(peer_, reinterpret_cast<sockaddr*>(&address), &length);
        peer_port_ = ntohs(address.sin_port);
        if (console && output == Output::kFile) startRecording();
        prime();
    }
    ~Run() {
        ::kill(-child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
        for (int fd : {listen_, peer_, stdin_, stdout_})
            ::close(fd);
        std::filesystem::remove(file_);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// Seconds that the load takes.
    double send(const Load& load) {
        const std::string block = framesOf(load);
        const auto start = Clock::now();
        std::thread drain;
        const auto total = static_cast<long long>(load.body) * load.per_write * load.writes;
        if (output_ == Output::kPipe) drain = std::thread([this, total] { drainOutput(total); });
        for (int i = 0; i < load.writes; ++i)
            sendAll(block);
        if (output_ == Output::kPipe)
            drain.join();
        else
            waitUntilTaken();
        return std::chrono::duration<double>(Clock::now() - start).count();
    }

    /// Seconds of processor time that the program has used since its start, all its threads.
    double processorTime() const {
        std::ifstream stat("/proc/" + std::to_string(child_) + "/stat");
        std::string text;
        std::getline(stat, text);
        unsigned long user = 0, system = 0;
        std::sscanf(text.c_str() + text.rfind(')') + 1,
                    " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system);
        return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }

  private:
    std::string commandLine(bool console) const {
        const std::string to = " 127.0.0.1 " + std::to_string(port_);
        if (console) return "exec " ZOR_CONSOLE + to;
        return output_ == Output::kFile ? "nc" + to + " | tee " + file_.string() : "exec nc" + to;
    }

    void start(const std::string& command) {
        std::array<int, 2> in{}, out{};
        require(::pipe2(in.data(), O_CLOEXEC) == 0 && ::pipe2(out.data(), O_CLOEXEC) == 0, "pipe");
        child_ = ::fork();
        if (child_ == 0) {
            ::setpgid(0, 0);
            ::dup2(in[0], 0);
            ::dup2(output_ == Output::kPipe ? out[1] : ::open("/dev/null", O_WRONLY), 1);
            ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        stdin_ = in[1];
        stdout_ = out[0];
    }

    void startRecording() {
        const std::string command = ">> " + file_.string() + "\n";
        require(::write(stdin_, command.data(), command.size()) > 0, "record");
        while (!std::filesystem::exists(file_))
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

    /// Waits until the program reads: the console begins a second after it has connected.
    void prime() {
        sendAll(framesOf({80, 1, 1}));
        waitUntilTaken();
    }

    void sendAll(const std::string& block) {
        for (std::size_t sent = 0; sent < block.size();) {
            const ssize_t count =
                ::send(peer_, block.data() + sent, block.size() - sent, MSG_NOSIGNAL);
            require(count > 0, "send");
            sent += static_cast<std::size_t>(count);
        }
    }

    void drainOutput(long long expected) {
        static char buffer[1 << 16];
        for (long long got = 0; got < expected;) {
            const ssize_t count = ::read(stdout_, buffer, sizeof buffer);
            if (count <= 0) return;
            got += count;
        }
    }

    void waitUntilTaken() {
        while (queued())
            std::this_thread::sleep_for(std::chrono::microseconds(200));
    }

    /// Whether bytes wait in the sending queue of our end or in the receiving queue of the other.
    bool queued() const {
        std::ifstream table("/proc/net/tcp");
        for (std::string line; std::getline(table, line);) {
            unsigned local = 0, remote = 0, state = 0, out = 0, in = 0;
            if (std::sscanf(line.c_str(), " %*d: %*8x:%x %*8x:%x %x %x:%x", &local, &remote, &state,
                            &out, &in) != 5)
                continue;
            if (local == port_ && remote == peer_port_ && out != 0) return true;
            if (local == peer_port_ && remote == port_ && in != 0) return true;
        }
        return false;
    }

    Output output_;
    std::filesystem::path file_ =
        std::filesystem::temp_directory_path() / ("bench_record_" + std::to_string(::getpid()));
    int listen_ = -1, peer_ = -1, stdin_ = -1, stdout_ = -1;
    unsigned port_ = 0, peer_port_ = 0;
    pid_t child_ = -1;
};

void measure(benchmark::State& state, bool console, Output output, Load load, bool processor) {
    for (auto _ : state) {
        Run run(console, output);
        const double before = run.processorTime();
        const double seconds = run.send(load);
        state.SetIterationTime(processor ? run.processorTime() - before : seconds);
    }
}

void add(const std::string& what, Output output, const Load& load, bool processor = false) {
    for (const bool console : {true, false}) {
        const std::string name = what + (console ? "/console" : "/nc");
        benchmark::RegisterBenchmark(
            name.c_str(),
            [=](benchmark::State& state) { measure(state, console, output, load, processor); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Load large{1'000'000, 1, scaled(2000)};
    add("large", Output::kNowhere, large);
    add("large_processor", Output::kNowhere, large, true);
    add("large_pipe", Output::kPipe, large);
    add("large_record", Output::kFile, large);
    add("small", Output::kNowhere, {80, 1, scaled(1'000'000)});
    add("small_packed", Output::kNowhere, {80, 300, scaled(1'000'000) / 300});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
