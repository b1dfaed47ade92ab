// What an operator waits for: a line `echo ...` goes through zor_sim's whole road (reader thread,
// mailbox, command thread, frame) and comes back. Beside it stands the least that could serve the
// same frames: a thread for each connection that reads a frame and sends its body back.
//
// Every console types its next line as soon as the last one is answered, so a crowd waits in a
// queue, and what is measured there is the work of the server, shared by all. A console at rest has
// told who it is, was greeted and types nothing.
//
// Either server is a process of its own, on the loopback interface alone, and ends with its run.
// The consoles are sockets of this process, served by one thread with what it costs on both sides.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "norba/i_msg.h"
#include "simulator/sim_server.h"
#include "simulator/sim_settings.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kLine[] = "echo the line 1207 is free of calls\n";
constexpr int kMostConsoles = 500;
constexpr int kRoundTrips = 20'000;      // of all consoles together
constexpr int kWarmUp = 1'000;           // before those that count
constexpr int kFewestForOne = 4'000;     // with a single console there is nothing to share
constexpr int kLongestSilence = 10'000;  // ms, then a run has failed

void require(bool done, const char* what) {
    if (!done) throw std::runtime_error(what);
}

std::string frameOf(std::int16_t op, const std::string& text) {
    MsgToSend frame(static_cast<std::uint32_t>(text.size() + 1));
    frame.setType(MsgType::kText);
    frame.setOp(op);
    frame.setLg(static_cast<std::int32_t>(text.size() + (text.empty() ? 0 : 1)));
    frame.Serialise();
    text.copy(frame.body(), text.size());
    return {frame.buffer(), static_cast<std::size_t>(frame.frameLength())};
}

// A wait for no byte at all would wait for the next one.
bool receiveWhole(int fd, char* bytes, std::size_t size) {
    return size == 0 || ::recv(fd, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

bool sendWhole(int fd, const char* bytes, std::size_t size) {
    return ::send(fd, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

void withoutDelay(int fd) {
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// ---- the two servers; each tells its port and serves until it is killed ----

void tellPort(int fd, std::int32_t port) {
    require(::write(fd, &port, sizeof port) == sizeof port, "port");
}

void serveZor(int port_to) {
    require(std::freopen("/dev/null", "w", stdout) != nullptr, "log");
    SimSettings settings;
    settings.port = 0;
    settings.consoles = kMostConsoles;
    settings.pace = 60'000;  // ms: the telephony stands as good as still
    static SimServer server(settings);
    require(server.open(), "open");
    tellPort(port_to, server.port());
    server.run();
}

// The frame goes back as it came, in one piece.
void echoFrames(int fd) {
    std::array<char, MsgHeader::kSize + 1024> frame;
    MsgHeader header;
    for (;;) {
        if (!receiveWhole(fd, frame.data(), MsgHeader::kSize)) break;
        std::copy_n(frame.data(), MsgHeader::kSize, header.wire());
        header.ReadHeader();
        const auto body = static_cast<std::size_t>(header.lg());
        if (!receiveWhole(fd, frame.data() + MsgHeader::kSize, body)) break;
        if (!sendWhole(fd, frame.data(), MsgHeader::kSize + body)) break;
    }
    ::close(fd);
}

void servePlain(int port_to) {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    require(::bind(listener, reinterpret_cast<sockaddr*>(&address), length) == 0, "bind");
    require(::listen(listener, 64) == 0, "listen");
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    tellPort(port_to, ntohs(address.sin_port));
    for (;;) {
        const int fd = ::accept(listener, nullptr, nullptr);
        require(fd >= 0, "accept");
        withoutDelay(fd);
        std::thread(echoFrames, fd).detach();
    }
}

class Server {
  public:
    explicit Server(void (*serve)(int)) {
        std::array<int, 2> ends{};
        require(::pipe(ends.data()) == 0, "pipe");
        child_ = ::fork();
        if (child_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::close(ends[0]);
            serve(ends[1]);
            ::_exit(1);
        }
        ::close(ends[1]);
        const bool told = ::read(ends[0], &port_, sizeof port_) == sizeof port_;
        ::close(ends[0]);
        require(told, "no port from the server");
    }
    ~Server() {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::int32_t port() const { return port_; }

    /// KiB of memory that the process has in use.
    double resident() const {
        std::ifstream status("/proc/" + std::to_string(child_) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("VmRSS:")) return std::stod(line.substr(6));
        return 0;
    }

  private:
    pid_t child_ = -1;
    std::int32_t port_ = 0;
};

// ---- the consoles ----

class Console {
  public:
    explicit Console(std::int32_t port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
                "connect");
        withoutDelay(fd_);
        const timeval limit{kLongestSilence / 1000, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    Console(Console&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    ~Console() { ::close(fd_); }
    Console(const Console&) = delete;

    int fd() const { return fd_; }
    void type(const std::string& frame) {
        typed_at_ = Clock::now();
        require(sendWhole(fd_, frame.data(), frame.size()), "send");
    }
    /// Reads one frame whole, and gives the microseconds since the last one was typed.
    double readAnswer() {
        MsgHeader header;
        require(receiveWhole(fd_, header.wire(), MsgHeader::kSize), "header");
        require(header.ReadHeader() != 0 && header.lg() <= kMostText, "marker");
        std::array<char, kMostText> text;
        require(receiveWhole(fd_, text.data(), static_cast<std::size_t>(header.lg())), "body");
        return std::chrono::duration<double, std::micro>(Clock::now() - typed_at_).count();
    }

  private:
    static constexpr int kMostText = 1024;

    int fd_;
    Clock::time_point typed_at_;
};

/// Consoles that have joined, as the real one does, and have been greeted.
std::vector<Console> crowd(std::int32_t port, int count, int greetings) {
    std::vector<Console> consoles;
    const std::string join = frameOf(MsgOp::kJoin, "");
    for (int i = 0; i < count; ++i) {
        consoles.emplace_back(port).type(join);
        for (int g = 0; g < greetings; ++g)
            consoles.back().readAnswer();
    }
    return consoles;
}

/// The microseconds of each round trip.
std::vector<double> talk(std::vector<Console>& consoles, int round_trips) {
    const std::string line = frameOf(MsgOp::kText, kLine);
    const int ready = ::epoll_create1(0);
    for (std::size_t i = 0; i < consoles.size(); ++i) {
        epoll_event event{.events = EPOLLIN, .data = {.u64 = i}};
        ::epoll_ctl(ready, EPOLL_CTL_ADD, consoles[i].fd(), &event);
        consoles[i].type(line);
    }
    std::vector<double> times;
    for (int waiting = static_cast<int>(consoles.size()); waiting > 0;) {
        std::array<epoll_event, 64> events;
        const int count = ::epoll_wait(ready, events.data(), events.size(), kLongestSilence);
        require(count > 0, "no answer");
        for (int e = 0; e < count; ++e) {
            Console& console = consoles[events[static_cast<std::size_t>(e)].data.u64];
            times.push_back(console.readAnswer());
            if (static_cast<int>(times.size()) + waiting <= round_trips)
                console.type(line);
            else
                --waiting;
        }
    }
    ::close(ready);
    return times;
}

double quantile(std::vector<double>& times, double share) {
    const auto at = times.begin() + static_cast<long>(share * static_cast<double>(times.size()));
    std::nth_element(times.begin(), at, times.end());
    return *at;
}

/// One of the two servers, and the frames that it sends to a console of its own accord.
struct Kind {
    const char* name;
    void (*serve)(int);
    int greetings;
};
constexpr Kind kKinds[] = {{"zor", serveZor, 2}, {"plain", servePlain, 1}};

void echo(benchmark::State& state, const Kind& kind, int count) {
    for (auto _ : state) {
        const Server server(kind.serve);
        std::vector<Console> consoles = crowd(server.port(), count, kind.greetings);
        talk(consoles, std::max(kWarmUp, count));
        std::vector<double> times = talk(consoles, count == 1 ? kFewestForOne : kRoundTrips);
        state.counters["half"] = quantile(times, 0.5);
        state.counters["most"] = quantile(times, 0.99);
    }
}

// The first console is there before: what the server needs once isn't counted.
void atRest(benchmark::State& state, const Kind& kind) {
    for (auto _ : state) {
        const Server server(kind.serve);
        const std::vector<Console> first = crowd(server.port(), 1, kind.greetings);
        const double before = server.resident();
        const std::vector<Console> others = crowd(server.port(), kMostConsoles - 1, kind.greetings);
        state.counters["KiB"] = (server.resident() - before) / (kMostConsoles - 1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    for (const Kind& kind : kKinds) {
        const std::string name = std::string("/") + kind.name;
        for (const int count : {1, 50, kMostConsoles})
            benchmark::RegisterBenchmark(
                ("echo" + name + "/" + std::to_string(count)).c_str(),
                [&kind, count](benchmark::State& state) { echo(state, kind, count); })
                ->Iterations(1);
        benchmark::RegisterBenchmark(("atRest" + name).c_str(), [&kind](benchmark::State& state) {
            atRest(state, kind);
        })->Iterations(1);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
