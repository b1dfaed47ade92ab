#include "simulator/sim_commands.h"

#include <string_view>

#include "simulator/sim_commands_list.h"
#include "simulator/sim_console.h"
#include "simulator/sim_text.h"

namespace {

constexpr std::size_t kWordSize = 4'096;  // bytes; a word is never longer than a typed line
constexpr std::size_t kMostQuoted = 64;   // bytes of a line that an answer repeats

void help(SimOrder& order);

constexpr SimCommand kCommands[] = {
    {"help", "", "this list", help},
    {"lines", "", "the lines and what they do", simLines, true},
    {"calls", "", "the calls under way", simCalls, true},
    {"history", "LINE [N]", "the last calls of a line; with N, all of the N-th", simHistory, true},
    {"agents", "", "the agents and their states", simAgents, true},
    {"voicemail", "", "the messages in the voice mail", simVoiceMail, true},
    {"events", "[N]", "the last 20 events, or the last N", simEvents, true},
    {"watch", "", "events as they come, until you type a line", simWatch, true},
    {"filter", "[TEXT]", "the lines that hold TEXT; without it, key by key", simFilter, true},
    {"ask", "", "asks who calls whom, and lets them", simAsk, true},
    {"xml", "", "the lines as XML", simXml, true},
    {"dico", "[NAME [VALUE]]", "the dictionaries: all, one, one word", simDico},
    {"kels", "[N on|off]", "the server instances; connect one or disconnect it", simKels},
    {"consoles", "", "the consoles that are connected", simConsoles},
    {"say", "TEXT", "show TEXT to all other consoles", simTell},
    {"kick", "N", "hang up console N", simKick},
    {"threads", "", "the thread table", simThreads},
    {"locks", "", "a dead-lock made on purpose, its report, and its end", simLocks},
    {"trace", "on|off", "the server's trace lines on your screen", simTrace},
    {"files", "", "a checksummed file: written, listed, read, damaged", simFiles, true},
    {"echo", "TEXT", "TEXT comes back", simEcho},
    {"clear", "", "clear your screen", simClear},
    {"key", "[N]", "take your next N keys one by one; without N, one", simKey},
    {"nokey", "", "back to line input, whatever was asked before", simNoKey},
    {"body", "N", "send you one body of N bytes, at most 1000000", simBody},
    {"hidden", "N", "send you N bytes that your console drops", simHidden},
    {"0", "p -OPTIONS", "what your console sends of its own command line", simOptions},
    {"bye", "", "hang up; your console connects again", simBye},
    {"stop", "", "end zor_sim; your console goes on trying", simStop},
};

void help(SimOrder& order) {
    std::string text = "Commands of zor_sim:\n";
    for (const SimCommand& command : kCommands)
        text += simText("    %-9s %-14s %s\n", command.name, command.arguments, command.help);
    simSay(order, text + "Your console keeps for itself: KELx, >> filename. Ctrl-C ends it.\n");
}

const SimCommand* findCommand(const std::string& name) {
    for (const SimCommand& command : kCommands)
        if (name == command.name) return &command;
    return nullptr;
}

/// The commands that begin with what was typed, to help a short memory.
std::string similar(const std::string& word) {
    std::string names;
    for (const SimCommand& command : kCommands)
        if (!word.empty() && word.front() == command.name[0])
            names += std::string(names.empty() ? " Do you mean " : ", ") + command.name;
    return names.empty() ? names : names + "?";
}

void runOrder(SimOrder& order, const std::string& line) {
    const std::string word = simReadWord(order);
    if (const SimCommand* const command = findCommand(word)) {
        if (!command->needs_model || order.model) return command->run(order);
        return simSay(order, simText("zor_sim: KEL %d isn't connected; kels tells which are.\n",
                                     order.console.kel()));
    }
    simSay(order, simText("zor_sim: no command \"%s\".%s Type help for the list.\n",
                          line.substr(0, kMostQuoted).c_str(), similar(word).c_str()));
}

}  // namespace

std::span<const SimCommand> simCommands() {
    return kCommands;
}

void runCommands(SimConsole& console, const std::string& line) {
    SimOrder order{console, console.id(), console.house().exchange.find(console.kel()),
                   CharString(line.c_str())};
    if (line.find_first_not_of(" \t\r") == std::string::npos)
        return simSay(order, "zor_sim: " + console.describe() + ". Type help.\n");
    runOrder(order, line);
}

void simSay(const SimOrder& order, const std::string& text) {
    const CharString whole(text.c_str());
    client_write(order.client, &whole);
}

bool simReadNumber(SimOrder& order, int least, int most, int* number) {
    const auto value = simNumberOf(simReadWord(order), least, most);
    if (value) *number = static_cast<int>(*value);
    if (value) return true;
    simSay(order, simText("zor_sim: a number from %d to %d is needed here.\n", least, most));
    return false;
}

std::string simRest(const SimOrder& order) {
    const std::string rest = order.words.c_str();
    return rest.starts_with(' ') ? rest.substr(1) : rest;
}

bool simMoreWords(const SimOrder& order) {
    const std::string_view rest = order.words.c_str();
    return rest.find_first_not_of(" \t\r") != std::string_view::npos;
}

std::string simReadWord(SimOrder& order) {
    char word[kWordSize] = "";
    CharString words(order.words);  // a copy forgets failures of words before
    words >> word;
    order.words = words;
    return word;
}
