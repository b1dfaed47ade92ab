// zor_sim: a stand-in for the telephony server process, for operators who learn the console and
// for its tests. It serves any number of consoles on the maintenance port.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/sim_server.h"

namespace {

constexpr long kDefaultPort = 3595;  // the maintenance port of the family
constexpr long kHighestPort = 65535;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr char kUsage[] =
    "Usage: zor_sim [--port N]\n"
    "Serves maintenance consoles as the telephony server does.\n"
    "  --port N   listen on port N instead of 3595; 0 takes any free port\n"
    "  --help     print this and end\n"
    "Exit status: 1 if the port can't be had, 2 for a wrong command line.\n";

/// The port that `text` names, or -1 if it names none.
long parsePort(const char* text) {
    char* end = nullptr;
    errno = 0;
    const long port = std::strtol(text, &end, 10);
    const bool number = end != text && *end == 0 && errno == 0;
    return number && port >= 0 && port <= kHighestPort ? port : -1;
}

[[noreturn]] void endWithUsage(std::FILE* stream, int status) {
    std::fputs(kUsage, stream);
    std::exit(status);
}

/// The port asked for on the command line. Ends the process on --help and on a wrong word.
std::int32_t readCommandLine(int count, char** words) {
    long port = kDefaultPort;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(words[i], "--help") == 0) endWithUsage(stdout, 0);
        const bool has_value = std::strcmp(words[i], "--port") == 0 && i + 1 < count;
        port = has_value ? parsePort(words[++i]) : -1;
        if (port < 0) endWithUsage(stderr, kExitUsage);
    }
    return static_cast<std::int32_t>(port);
}

}  // namespace

int main(int count, char** words) {
    const std::int32_t port = readCommandLine(count, words);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // whole lines at once, in a pipe and a file too
    static SimServer server;
    if (!server.open(port)) {
        const int reason = LastError();
        std::fprintf(stderr, "zor_sim: can't listen on port %d: %s\n", port, std::strerror(reason));
        return kExitFailure;
    }
    std::printf("zor_sim: listening on port %d\n", server.port());
    server.run();
}
