// zor_sim: a stand-in for the telephony server process, for operators who learn the console and
// for its tests. It serves any number of consoles on the maintenance port.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/sim_clients.h"
#include "simulator/sim_deadlock.h"
#include "simulator/sim_server.h"
#include "simulator/sim_text.h"
#include "standard_descriptors.h"

namespace {

constexpr long kDefaultPort = 3595;  // the maintenance port of the family
constexpr long kHighestPort = 65535;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr long kLongestPace = 60'000;  // ms
constexpr long kMostLines = 90;        // so that the numbers of two instances stay apart

constexpr char kUsage[] =
    "Usage: zor_sim [--port N] [--pace MS] [--lines N]\n"
    "Serves maintenance consoles as the telephony server does.\n"
    "  --port N   listen on port N instead of 3595; 0 takes any free port\n"
    "  --pace MS  let the telephony move every MS ms instead of 700; 10 to 60000\n"
    "  --lines N  give each server instance N lines instead of 12; 2 to 90\n"
    "  --help     print this and end\n"
    "Exit status: 0 after stop, 1 if the port can't be had, 2 for a wrong command line.\n";

/// What the command line may set, with its bounds.
struct Settings {
    struct Setting {
        const char* name;
        long least, most, value;
    } all[3] = {{"--port", 0, kHighestPort, kDefaultPort},
                {"--pace", 10, kLongestPace, 700},
                {"--lines", 2, kMostLines, 12}};

    int port() const { return static_cast<int>(all[0].value); }
    int pace() const { return static_cast<int>(all[1].value); }
    int lines() const { return static_cast<int>(all[2].value); }
};

/// Stores the number that `text` is; false if it is none within the bounds.
bool readNumber(const char* text, Settings::Setting& setting) {
    const auto number = simNumberOf(text, setting.least, setting.most);
    if (number) setting.value = static_cast<long>(*number);
    return number.has_value();
}

bool readSetting(Settings& settings, const char* name, const char* text) {
    for (Settings::Setting& setting : settings.all)
        if (std::strcmp(name, setting.name) == 0) return text && readNumber(text, setting);
    return false;
}

[[noreturn]] void endWithUsage(std::FILE* stream, int status) {
    std::fputs(kUsage, stream);
    std::exit(status);
}

/// Reads the command line. Ends the process on --help and on a wrong word.
Settings readCommandLine(int count, char** words) {
    Settings settings;
    for (int i = 1; i < count; i += 2) {
        if (std::strcmp(words[i], "--help") == 0) endWithUsage(stdout, 0);
        if (!readSetting(settings, words[i], words[i + 1])) endWithUsage(stderr, kExitUsage);
    }
    return settings;
}

}  // namespace

int main(int count, char** words) {
    fillStandardDescriptors();
    const Settings settings = readCommandLine(count, words);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // whole lines at once, in a pipe and a file too
    simInstallDeadLockReport();
    SimClients::install();
    static SimServer server(settings.lines());
    if (!server.open(settings.port())) {
        const int reason = LastError();
        std::fprintf(stderr, "zor_sim: can't listen on port %d: %s\n", settings.port(),
                     std::strerror(reason));
        return kExitFailure;
    }
    std::printf("zor_sim: listening on port %d\n", server.port());
    if (!server.run(settings.pace())) std::_Exit(kExitFailure);  // a thread still uses the server
}
