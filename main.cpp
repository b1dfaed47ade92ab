// The maintenance console: reads its command line, `[hostname] [port] [-arguments...]`, and then
// serves one session after the other until it is killed.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "console.h"
#include "console_session.h"
#include "out_of_memory.h"
#include "standard_descriptors.h"

namespace {

constexpr std::int32_t kDefaultPort = 3595;
constexpr std::size_t kHostSize = 80;  // bytes, terminator included
constexpr int kBadCommandLine = 2;     // exit status

constexpr char kNoMemory[] = "zor_console: no memory is left\n";

// In front of the constructors of static objects, which already need memory.
[[gnu::constructor(101)]] void prepareForNoMemory() {
    endOrderlyWithoutMemory<kNoMemory>();
}

struct Server {
    char host[kHostSize] = "";
    std::int32_t port = kDefaultPort;
};

// Whatever is printed is visible at once, on a terminal, in a pipe and in a file; and `getchar`
// takes exactly one byte from a line whose rest the input loop reads by itself.
void unbufferStandardStreams() {
    std::setvbuf(stdin, nullptr, _IONBF, 0);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
}

// Into a pipe of the usual size a long text goes in pieces, and the console and its reader take
// turns instead of working at once. What can't be widened, like a terminal, stays as it is.
void widenOutputPipe() {
    constexpr int kPipeSize = 1 << 20;  // bytes; the most that the system grants to everybody
    fcntl(STDOUT_FILENO, F_SETPIPE_SZ, kPipeSize);
}

void gatherArguments(int count, char** words) {
    for (int i = 1; i < count; ++i)
        args_line << " " << words[i];
}

// Fills `server` from the command line. Gives false if its host name is too long.
bool chooseServer(int count, char** words, Server& server) {
    if (count < 2 || words[1][0] == '-') {
        NetworkStart();
        gethostname(server.host, kHostSize - 1);
        return true;
    }
    const std::size_t length = std::strlen(words[1]);
    if (length >= kHostSize) return false;
    std::memcpy(server.host, words[1], length + 1);
    const auto port = static_cast<std::int32_t>(count > 2 ? leadingNumber(words[2]) : 0);
    if (port > 0) server.port = port;
    return true;
}

}  // namespace

int main(int count, char** words) {
    fillStandardDescriptors();
    unbufferStandardStreams();
    widenOutputPipe();
    gatherArguments(count, words);
    std::printf("Usage: [hostname] \n");
    Server server;
    if (!chooseServer(count, words, server)) {
        std::fprintf(stderr, "zor_console: the host name is too long, %zu bytes are the most\n",
                     kHostSize - 1);
        return kBadCommandLine;
    }
    for (;;)
        runSession(server.host, server.port);
}
