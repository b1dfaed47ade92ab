// What happens in a model, step by step. All of it runs with the model's Mutex held.

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "serv_cli/dicos.h"
#include "simulator/sim_model.h"
#include "simulator/sim_text.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_model";

constexpr std::size_t kMostHistory = 20;  // calls kept for a line
constexpr std::size_t kMostVoices = 30;   // messages kept in the voice mail
constexpr std::size_t kMostCalls = 3;     // calls that the model begins by itself
constexpr int kAgentStates = 4;           // LoggedOut to Withdrawed

// Causes of a call: values of name_linecallcause.
constexpr std::int16_t kCauseNone = 1;
constexpr std::int16_t kCauseBusy = 2;
constexpr std::int16_t kCauseNotAnswered = 6;

std::int32_t now() {
    return static_cast<std::int32_t>(std::time(nullptr));
}

std::string stamp() {
    DateTime time;
    getDateTime(&time);
    return simText("%.2d:%.2d:%.2d", time.hour, time.minute, time.second);
}

template <std::size_t Size>
void copyText(char (&field)[Size], const std::string& text) {
    std::snprintf(field, Size, "%s", text.c_str());
}

}  // namespace

std::vector<std::string> SimModel::step() {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    Events events;
    for (SimCall& call : std::vector<SimCall>(calls_)) {
        if (dice(2) == 0) continue;
        const auto place = std::ranges::find(calls_, call.id, &SimCall::id);
        if (!advance(events, *place)) calls_.erase(place);
    }
    const auto from = static_cast<std::size_t>(dice(static_cast<int>(lines_.size())));
    const auto to = static_cast<std::size_t>(dice(static_cast<int>(lines_.size())));
    if (calls_.size() < kMostCalls && from != to && lines_[from].state == kLineFree)
        begin(events, from, to);
    if (dice(6) == 0) moveAgent(events);
    keep(events);
    return events;
}

void SimModel::keep(const Events& events) {
    events_.insert(events_.end(), events.begin(), events.end());
    while (events_.size() > std::size_t{kMostEvents})
        events_.pop_front();
}

int SimModel::dice(int sides) {
    return std::uniform_int_distribution<int>(0, sides - 1)(random_);
}

void SimModel::enter(Events& events, std::size_t line, SimLineState state,
                     const std::string& peer) {
    lines_[line].state = state;
    lines_[line].peer = peer;
    events.push_back(simText("%s KEL %d line %s %s%s%s", stamp().c_str(), kel_,
                             lines_[line].number.c_str(), name_linestate(state),
                             peer.empty() ? "" : " with ", peer.c_str()));
}

void SimModel::begin(Events& events, std::size_t from, std::size_t to) {
    calls_.push_back({from, to, kCauseNone, ++last_call_, now(), 0, false});
    enter(events, from, kLineDialing, lines_[to].number);
}

/// Moves a call on by one state; false once it is over.
bool SimModel::advance(Events& events, SimCall& call) {
    switch (lines_[call.from].state) {
        case kLineDialing:
            return ring(events, call);
        case kLineCalling:
            return answerOrLeave(events, call);
        case kLineTalking:
            return talk(events, call);
        case kLineHeld:
            enter(events, call.from, kLineTalking, lines_[call.to].number);
            return true;
        case kLineReleasing:
            finish(events, call);
            return false;
        default:
            enter(events, call.from, kLineReleasing, lines_[call.to].number);
            return true;
    }
}

bool SimModel::ring(Events& events, SimCall& call) {
    if (lines_[call.to].state != kLineFree) {
        call.cause = kCauseBusy;
        enter(events, call.from, kLineBusyTone, lines_[call.to].number);
        return true;
    }
    call.reached = true;
    enter(events, call.from, kLineCalling, lines_[call.to].number);
    enter(events, call.to, kLineRinging, lines_[call.from].number);
    return true;
}

bool SimModel::answerOrLeave(Events& events, SimCall& call) {
    if (dice(3) == 0) {
        call.cause = kCauseNotAnswered;
        leaveMessage(events, call);
        enter(events, call.from, kLineReleasing, lines_[call.to].number);
        return true;
    }
    call.answered = now();
    enter(events, call.from, kLineTalking, lines_[call.to].number);
    enter(events, call.to, kLineTalking, lines_[call.from].number);
    return true;
}

bool SimModel::talk(Events& events, const SimCall& call) {
    const int what = dice(4);
    if (what == 0) enter(events, call.from, kLineHeld, lines_[call.to].number);
    if (what == 1) enter(events, call.from, kLineReleasing, lines_[call.to].number);
    return true;
}

/// Frees the lines that took part.
void SimModel::finish(Events& events, const SimCall& call) {
    record(call, true);
    enter(events, call.from, kLineFree, "");
    if (!call.reached) return;
    record(call, false);
    enter(events, call.to, kLineFree, "");
}

void SimModel::leaveMessage(Events& events, const SimCall& call) {
    constexpr std::int32_t kDeposit = 1;
    const auto request = static_cast<std::int16_t>(dice(7));
    voices_.push_front({lines_[call.to].number, lines_[call.from].number, request, now()});
    if (voices_.size() > kMostVoices) voices_.pop_back();
    events.push_back(simText("%s KEL %d line %s%s from %s: %s", stamp().c_str(), kel_,
                             lines_[call.to].number.c_str(), name_vmailaction(kDeposit),
                             lines_[call.from].number.c_str(), name_callbackinfo(request)));
}

void SimModel::record(const SimCall& call, bool outgoing) {
    SimLine& line = lines_[outgoing ? call.from : call.to];
    const SimLine& other = lines_[outgoing ? call.to : call.from];
    Histo_Record entry{};
    entry.Histo_Id = {kel_, call.id};
    copyText(entry.Line, line.number);
    copyText(entry.CorrNumber, other.number);
    copyText(entry.InitialDest, lines_[call.to].number);
    copyText(entry.DialableNum, other.number);
    copyText(entry.DisplayName, other.name);
    copyText(entry.LastName, other.name.substr(0, other.name.find(' ')));
    copyText(entry.FirstName, other.name.substr(other.name.find(' ') + 1));
    entry.Outgoing = outgoing;
    entry.IsAnswered = call.answered != 0;
    entry.Acknowledged = outgoing || entry.IsAnswered;
    const int type = (outgoing ? 0 : Histo_Record::kIncoming) |
                     (call.answered != 0 ? Histo_Record::kAnswered : 0);
    entry.Type = static_cast<std::uint8_t>(type);
    entry.State = line.state;
    entry.BeginDate = call.begin;
    entry.ConversDate = call.answered;
    entry.EndDate = now();
    entry.Cause = call.cause;
    entry.CallRef = call.id;
    entry.CallID = kel_ * 1000 + call.id;
    line.history.push_front(entry);
    if (line.history.size() > kMostHistory) line.history.pop_back();
}

void SimModel::moveAgent(Events& events) {
    SimAgent& agent = agents_[static_cast<std::size_t>(dice(static_cast<int>(agents_.size())))];
    agent.state = static_cast<std::int16_t>(agent.state % kAgentStates + 1);
    events.push_back(simText("%s KEL %d agent %s %s", stamp().c_str(), kel_, agent.name.c_str(),
                             name_CCAlineservstate(agent.state)));
}
