// The console's core over thousands of sessions, with scaled pauses: its threads, descriptors and
// memory stay what they are after the first hundred. Behind them comes one session of a day.
//
//   reconnects [SESSIONS [PINGS]]
//
// A child process is the server. It takes a console, waits for its first frame, looks what the
// parent process uses, sends a line and hangs up; the last session it keeps for PINGS keep-alives,
// 720 of which make a day. Ends with 0 if all of it is as it must be.

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "console.h"
#include "console_session.h"
#include "norba/i_msg.h"
#include "util/i_cnxsock.h"

namespace {

constexpr int kFirst = 100;       // sessions behind which nothing may grow
constexpr long kGrowth = 256;     // kB; what the allocator may still do
constexpr long kThreads = 3;      // main, "Receiver", "Pinger"
constexpr int kPatience = 2'000;  // ms
constexpr ConsolePauses kScaled{
    .connect_retry = 1, .input_wait = 1, .idle_pass = 1, .first_read = 1, .keep_alive = 100};

struct Usage {
    long memory = 0;  // kB resident
    long threads = 0;
    long descriptors = 0;
};

Usage usageOf(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    Usage usage;
    std::ifstream status(folder + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") status >> usage.memory;
        if (word == "Threads:") status >> usage.threads;
    }
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder + "/fd"))
        ++usage.descriptors;
    return usage;
}

void tell(const char* when, int sessions, const Usage& usage) {
    std::fprintf(stderr, "%s %d sessions: %ld kB resident, %ld threads, %ld descriptors\n", when,
                 sessions, usage.memory, usage.threads, usage.descriptors);
}

pid_t console_process = 0;  // for the server's side, which ends it with itself

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "reconnects: %s\n", what);
    if (console_process != 0) ::kill(console_process, SIGTERM);
    std::exit(1);
}

/// Workers that have left their session are still threads for a moment.
Usage settledUsage() {
    Usage usage = usageOf(console_process);
    for (int i = 0; i < kPatience && usage.threads > kThreads; ++i) {
        ::usleep(1'000);
        usage = usageOf(console_process);
    }
    if (usage.threads != kThreads) fail("not three threads");
    return usage;
}

/// The server's side of one session, up to `pings` keep-alives. Gives what the console uses.
Usage serve(Connection& listener, int pings) {
    Connection link;
    if (!listener.Accept(link, 1)) fail("no console came");
    FrameReader reader(link);
    MsgHeader header;
    if (!reader.readHeader(&header) || header.op() != MsgOp::kJoin) fail("no session began");
    const Usage usage = settledUsage();
    MsgToSend line(16);
    std::strcpy(line.body(), "hello\n");
    line.setType(MsgType::kText);
    line.setOp(MsgOp::kText);
    line.setLg(7);
    line.Serialise();
    if (link.Write(line.buffer(), line.frameLength()) != line.frameLength()) fail("a short write");
    for (int i = 0; i < pings; ++i)
        if (!reader.readHeader(&header) || header.type() != MsgType::kKeepAlive)
            fail("no keep-alive came");
    return usage;
}

void serveAll(Connection& listener, int sessions, int pings) {
    Usage first;
    for (int i = 0; i <= sessions; ++i) {
        const Usage usage = serve(listener, i == sessions ? pings : 0);
        if (i == kFirst) tell("behind", i, first = usage);
        if (i < kFirst) continue;
        if (usage.descriptors != first.descriptors) fail("the number of descriptors changes");
        if (usage.memory > first.memory + kGrowth) fail("the memory grows");
    }
    const Usage last = usageOf(console_process);
    tell("behind", sessions + 1, last);
    if (last.memory > first.memory + kGrowth) fail("the memory grows during a day");
}

}  // namespace

int main(int count, char** words) {
    const int sessions = count > 1 ? std::atoi(words[1]) : 10'000;
    const int pings = count > 2 ? std::atoi(words[2]) : 720;
    Connection listener;
    if (!listener.CreateLocalService(0, 1, 16, 0)) fail("no port");
    const std::int32_t port = listener.SocketPort();
    const pid_t console = getpid();
    const pid_t server = fork();
    if (server == 0) {
        console_process = console;
        serveAll(listener, sessions, pings);
        std::exit(0);
    }
    ::close(listener.fd.exchange(-1));  // Close would end the listening of both
    if (!std::freopen("/dev/null", "r", stdin) || !std::freopen("/dev/null", "w", stdout))
        fail("no /dev/null");
    console_pauses = kScaled;
    for (int i = 0; i <= sessions; ++i)
        runSession("127.0.0.1", port);
    int status = 0;
    waitpid(server, &status, 0);
    return status == 0 ? 0 : 1;
}
