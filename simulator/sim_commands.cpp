#include "simulator/sim_commands.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "simulator/sim_server.h"
#include "simulator/sim_session.h"
#include "util/i_charstr.h"

namespace {

constexpr std::size_t kWordSize = 64;  // bytes of a command word; a longer one is no command
constexpr int kMostKeys = 1000;        // keys that may be asked for at once

/// A row of the command table. `run` gets what stands behind the command word.
struct Command {
    const char* name;
    const char* arguments;
    const char* help;
    void (*run)(SimSession& session, CharString& arguments);
};

/// Reads one number from `least` to `most`; tells the console what is needed otherwise.
bool readNumber(SimSession& session, CharString& arguments, int least, int most, int* number) {
    arguments >> *number;
    if (arguments.good() && *number >= least && *number <= most) return true;
    session.sendText("zor_sim: a number from " + std::to_string(least) + " to " +
                     std::to_string(most) + " is needed here.\n");
    return false;
}

bool isBlank(const char* text) {
    return text[std::strspn(text, " \t\r")] == 0;
}

void help(SimSession& session, CharString& arguments);

void echo(SimSession& session, CharString& arguments) {
    const char* text = arguments.c_str();
    session.sendText(std::string(*text == ' ' ? text + 1 : text) + "\n");
}

void consoles(SimSession& session, CharString&) {
    session.sendText(session.server().listConsoles());
}

void clear(SimSession& session, CharString&) {
    session.sendText("<clear-screen>\n");
}

void key(SimSession& session, CharString& arguments) {
    int count = 1;
    if (!isBlank(arguments.c_str()) && !readNumber(session, arguments, 1, kMostKeys, &count))
        return;
    session.sendText("zor_sim: press " + std::to_string(count) + (count > 1 ? " keys" : " key") +
                     ".\n");
    session.askKeys(count);
}

void nokey(SimSession& session, CharString&) {
    session.backToLines();
}

void body(SimSession& session, CharString& arguments) {
    int length = 0;
    if (readNumber(session, arguments, 0, FrameReader::kBodyLimit, &length))
        session.sendBody(length, true);
}

void hidden(SimSession& session, CharString& arguments) {
    int length = 0;
    if (!readNumber(session, arguments, 0, FrameReader::kBodyLimit, &length)) return;
    session.sendBody(length, false);
    session.sendText("zor_sim: " + std::to_string(length) + " bytes went out unseen.\n");
}

/// The arguments of the console's command line come as the text "0 p -xxx-yyy".
void forwarded(SimSession& session, CharString& arguments) {
    char word[kWordSize] = "";
    arguments >> word;
    const bool known = arguments.good() && std::strcmp(word, "p") == 0;
    session.sendText(known
                         ? "zor_sim: your command line says" + std::string(arguments.c_str()) + "\n"
                         : "zor_sim: 0 p and options is what a command line sends.\n");
}

void bye(SimSession& session, CharString&) {
    session.sendText("zor_sim: bye.\n");
    session.hangUp();
}

constexpr Command kCommands[] = {
    {"help", "", "this list", help},
    {"echo", "TEXT", "TEXT comes back", echo},
    {"consoles", "", "the consoles that are connected", consoles},
    {"clear", "", "clear your screen", clear},
    {"key", "[N]", "take your next N keys one by one; without N, one", key},
    {"nokey", "", "back to line input, whatever was asked before", nokey},
    {"body", "N", "send you one body of N bytes, at most 1000000", body},
    {"hidden", "N", "send you N bytes that your console drops", hidden},
    {"0", "p -OPTIONS", "what your console sends of its own command line", forwarded},
    {"bye", "", "hang up; your console connects again", bye},
};

void help(SimSession& session, CharString&) {
    std::string text = "Commands of zor_sim:\n";
    for (const Command& command : kCommands) {
        const std::string usage = std::string(command.name) + " " + command.arguments;
        char line[120];
        std::snprintf(line, sizeof line, "    %-14s %s\n", usage.c_str(), command.help);
        text += line;
    }
    session.sendText(text + "Your console keeps for itself: KELx, >> filename\n");
}

const Command* findCommand(const char* name) {
    for (const Command& command : kCommands)
        if (std::strcmp(command.name, name) == 0) return &command;
    return nullptr;
}

}  // namespace

void runCommand(SimSession& session, const std::string& line) {
    if (isBlank(line.c_str()))
        return session.sendText("zor_sim: " + session.describe() + ". Type help.\n");
    CharString input(line.c_str());
    char word[kWordSize] = "";
    input >> word;
    const Command* const command = input.good() ? findCommand(word) : nullptr;
    if (command) return command->run(session, input);
    session.sendText("zor_sim: no command \"" + line.substr(0, kWordSize) +
                     "\". Type help for the list.\n");
}
