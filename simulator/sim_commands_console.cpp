// Commands about the console itself and about who is connected.

#include <algorithm>
#include <cctype>
#include <cstring>

#include "norba/i_msg.h"
#include "simulator/sim_clients.h"
#include "simulator/sim_commands.h"
#include "simulator/sim_commands_list.h"
#include "simulator/sim_console.h"
#include "simulator/sim_text.h"
#include "util/i_trace.h"

namespace {

constexpr int kMostKeys = 1000;  // keys that may be asked for at once

/// The name of a key as an operator knows it.
std::string keyName(int key) {
    return std::isgraph(key) ? simText("'%c' (%d)", key, key) : std::to_string(key);
}

/// The options of a console's command line: commands that make sense at a start.
constexpr struct {
    const char* option;
    const char* line;
} kOptions[] = {
    {"help", "help"}, {"lines", "lines"},         {"calls", "calls"},    {"agents", "agents"},
    {"kels", "kels"}, {"voicemail", "voicemail"}, {"trace", "trace on"}, {"watch", "watch"},
};

const char* lineOfOption(const std::string& option) {
    for (const auto& row : kOptions)
        if (option == row.option) return row.line;
    return nullptr;
}

void runOption(SimOrder& order, const std::string& option) {
    if (const char* const line = lineOfOption(option)) return runCommands(order.console, line);
    std::string text = "zor_sim: unknown option -" + option + "; the options are";
    for (const auto& row : kOptions)
        text += std::string(" -") + row.option;
    simSay(order, text + "\n");
}

}  // namespace

void simEcho(SimOrder& order) {
    simSay(order, simRest(order) + "\n");
}

void simConsoles(SimOrder& order) {
    std::string text = SimConsole::heading();
    for (const auto& console : SimClients::instance().all())
        text += console->row();
    simSay(order, text);
}

void simTell(SimOrder& order) {
    if (!simMoreWords(order)) return simSay(order, "zor_sim: say TEXT.\n");
    SimClients::instance().show(
        simText("console %d says: ", order.console.number()) + simRest(order) + "\n",
        [&](const SimConsole& console) { return &console != &order.console; });
    const std::size_t others = SimClients::instance().all().size() - 1;
    simSay(order,
           simText("zor_sim: said to %zu other console%s.\n", others, others == 1 ? "" : "s"));
}

void simKick(SimOrder& order) {
    int number = 0;
    if (!simReadNumber(order, 1, SimClients::kLastNumber, &number)) return;
    const auto console = SimClients::instance().find(number);
    if (!console)
        return simSay(order, simText("zor_sim: no console %d; consoles lists them.\n", number));
    tracePrintf("console %d: hung up by console %d", number, order.console.number());
    simSay(order,
           simText("zor_sim: console %d is hung up; it connects again by itself.\n", number));
    console->disconnect();
}

void simKels(SimOrder& order) {
    SimExchange& exchange = order.console.house().exchange;
    const std::string word = simReadWord(order);
    const std::string wish = simReadWord(order);
    const auto number = simNumberOf(word, 0, SimExchange::kInstances - 1);
    const bool known = number && (wish == "on" || wish == "off");
    if (!word.empty() && !known)
        return simSay(order, simText("zor_sim: kels N on, or kels N off; N is from 0 to %d.\n",
                                     SimExchange::kInstances - 1));
    if (known) exchange.connect(static_cast<int>(*number), wish == "on");
    std::string text;
    for (std::int16_t kel = 0; kel < SimExchange::kInstances; ++kel)
        text +=
            simText("KEL %d: %s\n", kel, exchange.connected(kel) ? "connected" : "not connected");
    simSay(order, text);
}

void simClear(SimOrder& order) {
    client_clear(&order.client, 1);
}

// An ordinary terminal delivers a line end behind the key, which isn't a key of its own.
void simKey(SimOrder& order) {
    int count = 1;
    if (simMoreWords(order) && !simReadNumber(order, 1, kMostKeys, &count)) return;
    client_printf(order.client, "zor_sim: press %d key%s.\n", count, count > 1 ? "s" : "");
    while (count > 0 && client_alive(&order.client)) {
        const int key = client_getc(&order.client);
        if (key == '\n') continue;
        --count;
        client_printf(order.client, "key %s\n", keyName(key).c_str());
    }
}

void simNoKey(SimOrder& order) {
    client_printf(order.client, "<off-canonique>\n");
}

void simBody(SimOrder& order) {
    int length = 0;
    if (simReadNumber(order, 0, FrameReader::kBodyLimit, &length))
        order.console.sendBody(length, true);
}

void simHidden(SimOrder& order) {
    int length = 0;
    if (!simReadNumber(order, 0, FrameReader::kBodyLimit, &length)) return;
    order.console.sendBody(length, false);
    client_printf(order.client, "zor_sim: %d bytes went out unseen.\n", length);
}

// They come as the text "0 p -xxx-yyy -zzz": each behind its "-", with blanks between words of the
// command line.
void simOptions(SimOrder& order) {
    std::string rest = simReadWord(order) == "p" ? order.words.c_str() : "";
    std::erase_if(rest, [](char byte) { return std::strchr(" \t\r", byte); });
    if (rest.empty() || rest.front() != '-')
        return simSay(order, "zor_sim: 0 p -OPTIONS is what a command line sends.\n");
    while (!rest.empty() && client_alive(&order.client)) {
        rest.erase(0, 1);
        const std::size_t end = std::min(rest.find('-'), rest.size());
        runOption(order, rest.substr(0, end));
        rest.erase(0, end);
    }
}

void simBye(SimOrder& order) {
    simSay(order, "zor_sim: bye.\n");
    order.console.disconnect();
}

void simStop(SimOrder& order) {
    simSay(order, "zor_sim: ends. Your console goes on trying; Ctrl-C ends it.\n");
    order.console.house().end.ask();
}
