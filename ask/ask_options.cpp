#include "ask/ask_options.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ask/ask_status.h"

namespace {

constexpr std::int64_t kHighestPort = 65'535;
constexpr std::int64_t kHighestKel = 32'767;
constexpr std::int64_t kLongestTime = 86'400;    // s
constexpr std::int64_t kLongestQuiet = 600'000;  // ms

constexpr char kUsage[] =
    "Usage: zor_ask [-p PORT] [-k KEL] [-t SECONDS] [-q QUIET_MS] [-u TEXT] HOST COMMAND...\n"
    "Sends one command to the telephony server at HOST and prints its answer alone.\n"
    "  -p PORT      the server's port instead of 3595\n"
    "  -k KEL       the server instance; -1, the first connected one, if not given\n"
    "  -t SECONDS   the time for all of it, instead of 10; with - for each answer\n"
    "  -q QUIET_MS  an answer ends when the server has been quiet so long, instead of 300\n"
    "  -u TEXT      an answer ends when it holds TEXT, and not before\n"
    "With - for the command it asks each line of standard input, one after the other.\n"
    "Exit status: 0 answered, 1 can't connect, 2 wrong command line, 3 no answer in time,\n"
    "4 connection lost.\n";

[[noreturn]] void endWithUsage(std::FILE* stream, int status) {
    std::fputs(kUsage, stream);
    std::exit(status);
}

/// The number that the whole of `text` is, from `least` to `most`.
std::int64_t readNumber(char option, const char* text, std::int64_t least, std::int64_t most) {
    char* end = nullptr;
    const long long number = std::strtoll(text, &end, 10);
    if (end != text && *end == '\0' && number >= least && number <= most) return number;
    std::fprintf(stderr, "zor_ask: -%c takes a number from %lld to %lld, not \"%s\"\n", option,
                 static_cast<long long>(least), static_cast<long long>(most), text);
    std::exit(kStatusUsage);
}

void readOption(AskOptions& options, int letter, const char* text) {
    const auto number = [&](std::int64_t least, std::int64_t most) {
        return static_cast<std::int32_t>(readNumber(static_cast<char>(letter), text, least, most));
    };
    switch (letter) {
        case 'p':
            options.port = number(1, kHighestPort);
            break;
        case 'k':
            options.kel = static_cast<std::int16_t>(number(-1, kHighestKel));
            break;
        case 't':
            options.seconds = number(1, kLongestTime);
            break;
        case 'q':
            options.quiet = number(1, kLongestQuiet);
            break;
        case 'u':
            options.until = text;
            break;
        default:
            endWithUsage(stderr, kStatusUsage);
    }
}

}  // namespace

AskOptions readAskOptions(int count, char** words) {
    AskOptions options;
    if (count == 2 && std::strcmp(words[1], "--help") == 0) endWithUsage(stdout, kStatusAnswered);
    // "+": the words of a command may begin with a dash.
    for (int letter = 0; (letter = getopt(count, words, "+p:k:t:q:u:")) != -1;)
        readOption(options, letter, optarg);
    if (count - optind < 2) endWithUsage(stderr, kStatusUsage);
    options.host = words[optind];
    options.from_input = count - optind == 2 && std::strcmp(words[optind + 1], "-") == 0;
    for (int i = optind + 1; i < count; ++i) {
        if (!options.command.empty()) options.command += ' ';
        options.command += words[i];
    }
    return options;
}
