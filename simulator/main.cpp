// zor_sim: a stand-in for the telephony server process, for operators who learn the console and
// for its tests. It serves consoles on the maintenance port.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "out_of_memory.h"
#include "simulator/sim_deadlock.h"
#include "simulator/sim_server.h"
#include "simulator/sim_settings.h"
#include "standard_descriptors.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr char kNoMemory[] = "zor_sim: no memory is left\n";

// In front of the constructors of static objects, which already need memory.
[[gnu::constructor(101)]] void prepareForNoMemory() {
    endOrderlyWithoutMemory<kNoMemory>();
}

/// Reads the command line. Ends the process where no server is asked for, and on a wrong word.
SimSettings readCommandLine(int count, char** words) {
    SimSettings settings;
    const std::string fault = simReadSettings(count, words, &settings);
    if (!fault.empty()) {
        std::fprintf(stderr, "zor_sim: %s\nzor_sim --help tells what there is.\n", fault.c_str());
        std::exit(kExitUsage);
    }
    if (settings.help) std::fputs(simUsage().c_str(), stdout);
    if (settings.version) std::puts("zor_sim " ZOR_VERSION);
    if (settings.help || settings.version) std::exit(0);
    return settings;
}

}  // namespace

int main(int count, char** words) {
    fillStandardDescriptors();
    const SimSettings settings = readCommandLine(count, words);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // whole lines at once, in a pipe and a file too
    std::signal(SIGPIPE, SIG_IGN);                  // who stops reading the log stops nothing else
    simInstallDeadLockReport();
    static SimServer server(settings);
    if (!server.open()) {
        const int reason = LastError();
        std::fprintf(stderr, "zor_sim: can't listen on port %d: %s\n", settings.port,
                     std::strerror(reason));
        return kExitFailure;
    }
    std::printf("zor_sim: listening on port %d\n", server.port());
    if (!server.run()) std::_Exit(kExitFailure);  // a thread still uses the server
}
