// Commands about the telephony of a server instance.

#include <memory>

#include "serv_cli/dicos.h"
#include "simulator/sim_clients.h"
#include "simulator/sim_commands.h"
#include "simulator/sim_commands_list.h"
#include "simulator/sim_console.h"
#include "simulator/sim_model.h"
#include "simulator/sim_snapshot.h"
#include "simulator/sim_text.h"
#include "util/i_os.h"

namespace {

constexpr int kEvents = 20;                // that are shown where no number is given
constexpr std::size_t kNamesSize = 1'000;  // bytes; more than any mask of a line names

std::string lineText(const SimLine& line) {
    char options[kNamesSize];
    char kinds[kNamesSize];
    return simText("%-5s %-12s %-12s %-5s %s%s\n", line.number.c_str(), line.name.c_str(),
                   name_linestate(line.state), line.peer.c_str(),
                   names_linekinds(kinds, line.kinds), names_lineoptions(options, line.options));
}

std::string timeText(std::int32_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    safeLocaltime(&parts, &time);
    return simText("%.2d:%.2d:%.2d", parts.tm_hour, parts.tm_min, parts.tm_sec);
}

Histo_Short shortened(const Histo_Record& record) {
    Histo_Short entry{};
    entry.Histo_Id = record.Histo_Id;
    entry.BeginDate = record.BeginDate;
    entry.EndDate = record.EndDate;
    entry.Acknowledged = static_cast<std::int8_t>(record.Acknowledged);
    std::snprintf(entry.Line, sizeof entry.Line, "%s", record.Line);
    std::snprintf(entry.CorrNumber, sizeof entry.CorrNumber, "%.11s", record.CorrNumber);
    std::snprintf(entry.InitialDest, sizeof entry.InitialDest, "%.20s", record.InitialDest);
    return entry;
}

std::string historyText(const SimLine& line) {
    CharString text;
    for (std::size_t i = 0; i < line.history.size(); ++i) {
        const Histo_Record& record = line.history[i];
        text << simText("call %zu, %s, cause %s:\n", i + 1, timeText(record.BeginDate).c_str(),
                        name_linecallcause(record.Cause))
                    .c_str();
        const Histo_Short entry = shortened(record);
        print_histo_short(&entry, text);
    }
    return line.history.empty() ? "no call yet\n" : text.c_str();
}

/// The lines whose number or name holds what was typed.
std::string matches(const SimModel& model, const char* typed) {
    std::string text;
    for (const SimLine& line : model.lines())
        if (find_nocase(line.number.c_str(), typed) || find_nocase(line.name.c_str(), typed))
            text += lineText(line);
    return text;
}

/// What the typing filter shows. It is told of its client only.
int showMatches(const ClientId* client, const char* typed) {
    const auto console = SimClients::instance().find(*client);
    SimModel* const model = console ? console->house().exchange.find(console->kel()) : nullptr;
    if (!model) return 0;
    const CharString text(matches(*model, typed).c_str());
    client_write(*client, &text);
    return 1;
}

std::string ask(const SimOrder& order, const char* prompt) {
    char* answer = nullptr;
    client_ask(&order.client, prompt, &answer);
    const std::unique_ptr<char[]> owner(answer);
    const std::string text = answer;
    return text.substr(0, text.find_last_not_of(" \r") + 1);
}

}  // namespace

void simLines(SimOrder& order) {
    std::string text = "line  name         state        with  kind and options\n";
    for (const SimLine& line : order.model->lines())
        text += lineText(line);
    simSay(order, text);
}

void simCalls(SimOrder& order) {
    std::string text;
    for (const std::string& call : order.model->calls())
        text += call + "\n";
    simSay(order, text.empty() ? "no call under way\n" : text);
}

void simHistory(SimOrder& order) {
    const std::string number = simReadWord(order);
    const auto line = order.model->line(number);
    if (!line) return simSay(order, "zor_sim: no line \"" + number + "\"; lines lists them.\n");
    const std::string which = simReadWord(order);
    if (which.empty()) return simSay(order, historyText(*line));
    const auto place = simNumberOf(which, 1, static_cast<std::int64_t>(line->history.size()));
    if (!place)
        return simSay(order, simText("zor_sim: line %s has %zu calls in its history.\n",
                                     number.c_str(), line->history.size()));
    CharString text;
    print_histo(&line->history[static_cast<std::size_t>(*place) - 1], text);
    client_write(order.client, &text);
}

void simAgents(SimOrder& order) {
    std::string text;
    for (const SimAgent& agent : order.model->agents())
        text += simText("%-12s line %-5s %s\n", agent.name.c_str(), agent.line.c_str(),
                        name_CCAlineservstate(agent.state));
    simSay(order, text);
}

void simVoiceMail(SimOrder& order) {
    std::string text;
    for (const SimVoice& voice : order.model->voiceMail())
        text += simText("%s for %s from %s: %s\n", timeText(voice.when).c_str(), voice.line.c_str(),
                        voice.from.c_str(), name_callbackinfo(voice.request));
    simSay(order, text.empty() ? "no message\n" : text);
}

void simEvents(SimOrder& order) {
    int count = kEvents;
    if (simMoreWords(order) && !simReadNumber(order, 1, SimModel::kMostEvents, &count)) return;
    std::string text;
    for (const std::string& event : order.model->events(static_cast<std::size_t>(count)))
        text += event + "\n";
    simSay(order, text.empty() ? "no event yet\n" : text);
}

// The events come through the mailbox, so waiting for a line is all that there is to do.
void simWatch(SimOrder& order) {
    order.console.setWatching(true);
    simSay(order, "zor_sim: watching; type a line to end.\n");
    char line[1024] = "";
    const int length = client_read(&order.client, line, sizeof line);
    order.console.setWatching(false);
    simSay(order, "zor_sim: end of watch.\n");
    const std::string typed(line, static_cast<std::size_t>(length));
    if (typed.find_first_not_of(" \r\n") != std::string::npos) order.console.unread(typed);
}

// Whether a terminal gives its keys at once can't be known from here: an ordinary one shows nothing
// until Return is pressed, so what to do then is said before.
void simFilter(SimOrder& order) {
    if (simMoreWords(order)) {
        const std::string found = matches(*order.model, simRest(order).c_str());
        return simSay(order, found.empty() ? "no line holds that\n" : found);
    }
    simSay(order,
           "zor_sim: type; Backspace or Return takes one off, on nothing it ends.\n"
           "If nothing changes as you type, your terminal keeps its keys for itself: press Return\n"
           "until the filter ends, and type filter TEXT.\n");
    order.console.setEditing(true);
    client_filter(&order.client, showMatches, 1, "lines");
    order.console.setEditing(false);
}

void simAsk(SimOrder& order) {
    const std::string from = ask(order, "zor_sim: which line calls? ");
    const std::string to = ask(order, "zor_sim: which line is called? ");
    const auto events = order.console.house().exchange.placeCall(*order.model, from, to);
    if (events.empty())
        return simSay(order, "zor_sim: that call can't be: two lines, the first one free.\n");
    simSay(order, events.front() + "\n");
}

void simXml(SimOrder& order) {
    const CharString text = simXmlOf(*order.model);
    client_write(order.client, &text);
}
