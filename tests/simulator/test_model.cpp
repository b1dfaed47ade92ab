// The telephony by its steps: the model beside a naive one that knows events alone, the instances,
// and the snapshot.

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <regex>
#include <set>

#include "serv_cli/dicos.h"
#include "simulator/sim_exchange.h"
#include "simulator/sim_snapshot.h"
#include "util/i_charstr.h"

namespace {

using Texts = std::vector<std::string>;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

/// What may follow each state of a line.
const std::map<std::string, std::set<std::string>> kNext = {
    {"Free", {"Dialing", "Ringing"}},
    {"Dialing", {"Calling", "BusyTone"}},
    {"Calling", {"Talking", "Releasing"}},
    {"Ringing", {"Talking", "Free"}},
    {"Talking", {"Held", "Releasing", "Free"}},
    {"Held", {"Talking"}},
    {"BusyTone", {"Releasing"}},
    {"Releasing", {"Free"}},
};
/// States in which the other line of the call is in it too.
const std::set<std::string> kTogether = {"Calling", "Ringing", "Talking", "Held"};

/// What is known of the lines by the events alone.
class Told {
  public:
    explicit Told(int kel) : head_("[0-9:]{8} KEL " + std::to_string(kel) + " ") {}

    void hear(const std::string& event) {
        static const std::string kLine = "line ([0-9]+) ([A-Z][A-Za-z]+)";
        std::smatch part;
        if (std::regex_match(event, part, std::regex(head_ + kLine + "( with ([0-9]+))?"))) {
            move(lines[part[1]], part[2], part[4]);
        } else if (std::regex_match(event, std::regex(head_ + "line [0-9]+ .* from [0-9]+: .+"))) {
            ++messages;
        } else {
            EXPECT_TRUE(std::regex_match(event, std::regex(head_ + "agent [A-Z].* [A-Z].*")))
                << event;
            ++agents;
        }
    }

    struct Line {
        std::string state = "Free";
        std::string peer;
    };
    std::map<std::string, Line> lines;
    std::set<std::string> seen;
    int messages = 0;
    int agents = 0;

  private:
    void move(Line& line, const std::string& state, const std::string& peer) {
        EXPECT_TRUE(kNext.at(line.state).contains(state)) << line.state << " to " << state;
        EXPECT_EQ(state == "Free", peer.empty());
        line = {state, peer};
        seen.insert(state);
    }

    std::string head_;
};

TEST(Walk, AgreesWithWhatItsEventsTell) {
    constexpr int kSteps = 3'000;
    SimModel model(0, 6);
    Told told(0);
    Texts last;
    for (int step = 0; step < kSteps && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        for (const std::string& event : model.step()) {
            told.hear(event);
            last.push_back(event);
        }
        for (const SimLine& line : model.lines()) {
            const Told::Line known = told.lines[line.number];
            EXPECT_EQ(name_linestate(line.state), known.state) << line.number;
            EXPECT_EQ(line.peer, known.peer) << line.number;
            EXPECT_LE(line.history.size(), 20u);
            const bool together = kTogether.contains(known.state);
            EXPECT_TRUE(!together || told.lines[known.peer].peer == line.number) << line.number;
        }
        EXPECT_LE(model.calls().size(), 3u);
    }
    EXPECT_EQ(told.seen.size(), kNext.size());
    EXPECT_GT(told.agents, kSteps / 10);
    EXPECT_EQ(model.voiceMail().size(), 30u);
    EXPECT_EQ(model.line("200")->history.size(), 20u);
    EXPECT_EQ(model.events(2), Texts(last.end() - 2, last.end()));
    EXPECT_EQ(model.events(999), Texts(last.end() - 200, last.end()));
}

TEST(Walk, BeginsTheSameLifeEachTime) {
    SimModel model(0, 6);
    SimModel twin(0, 6);
    for (int step = 0; step < 200; ++step)
        ASSERT_EQ(model.step().size(), twin.step().size()) << "step " << step;
}

/// Lets a call between the only two lines go on to its end, and gives what the lines keep of it.
std::pair<Histo_Record, Histo_Record> lifeOfACall(SimModel& model) {
    const Texts events = model.placeCall("500", "501");
    EXPECT_THAT(events, ElementsAre(MatchesRegex(".* KEL 3 line 500 Dialing with 501")));
    for (int step = 0; step < 1'000 && model.line("501")->history.empty(); ++step) model.step();
    return {model.line("500")->history.back(), model.line("501")->history.back()};
}

TEST(Model, KeepsACallInTheHistoryOfBothLines) {
    const auto before = static_cast<std::int32_t>(std::time(nullptr));
    SimModel model(3, 2);
    const auto [out, in] = lifeOfACall(model);
    EXPECT_EQ(out.Histo_Id.first, 3);
    EXPECT_EQ(out.Histo_Id.second, 1);
    EXPECT_STREQ(out.Line, "500");
    EXPECT_STREQ(out.CorrNumber, "501");
    EXPECT_STREQ(out.InitialDest, "501");
    EXPECT_STREQ(out.DialableNum, "501");
    EXPECT_STREQ(out.DisplayName, "Becker Jan");
    EXPECT_STREQ(out.LastName, "Becker");
    EXPECT_STREQ(out.FirstName, "Jan");
    EXPECT_EQ(out.Outgoing, 1);
    EXPECT_EQ(out.Acknowledged, 1);
    EXPECT_EQ(out.CallRef, 1);
    EXPECT_EQ(out.CallID, 3'001);
    EXPECT_GE(out.BeginDate, before);
    EXPECT_GE(out.EndDate, out.BeginDate);
    EXPECT_EQ(out.IsAnswered, out.ConversDate != 0);
    EXPECT_EQ(out.State, kLineReleasing);
    EXPECT_STREQ(in.Line, "501");
    EXPECT_STREQ(in.CorrNumber, "500");
    EXPECT_STREQ(in.InitialDest, "501");
    EXPECT_STREQ(in.LastName, "Adler");
    EXPECT_EQ(in.Outgoing, 0);
    EXPECT_EQ(in.Type, out.Type | Histo_Record::kIncoming);
    EXPECT_EQ(in.Acknowledged, out.IsAnswered);
    EXPECT_EQ(in.Cause, out.Cause);
}

TEST(Model, RefusesACallThatCannotBe) {
    SimModel model(0, 2);
    EXPECT_THAT(model.placeCall("200", "200"), IsEmpty());
    EXPECT_THAT(model.placeCall("200", "202"), IsEmpty());
    EXPECT_THAT(model.placeCall("199", "201"), IsEmpty());
    EXPECT_THAT(model.events(9), IsEmpty());
    EXPECT_EQ(model.placeCall("200", "201").size(), 1u);
    EXPECT_THAT(model.calls(), ElementsAre("call 1: 200 to 201, Dialing, cause None, 0 s"));
    EXPECT_THAT(model.placeCall("200", "201"), IsEmpty());  // it isn't free any more
    EXPECT_EQ(model.events(9).size(), 1u);
}

TEST(Exchange, FindsTheInstanceThatAConsoleMeans) {
    SimExchange exchange(2);
    EXPECT_TRUE(exchange.connect(0, false));
    EXPECT_TRUE(exchange.connect(2, false));
    const struct {
        std::int16_t asked;
        int found;
        const char* greeting;
    } kRows[] = {
        {-1, 1, "zor_sim: you are with the first connected KEL, 1.\n"},
        {0, -1, "zor_sim: KEL 0 isn't connected; kels tells which are.\n"},
        {1, 1, "zor_sim: you are with KEL 1.\n"},
        {2, -1, "zor_sim: KEL 2 isn't connected; kels tells which are.\n"},
        {3, 3, "zor_sim: you are with KEL 3.\n"},
        {4, -1, "zor_sim: KEL 4 isn't connected; kels tells which are.\n"},
        {-2, -1, "zor_sim: KEL -2 isn't connected; kels tells which are.\n"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.asked);
        const SimModel* const model = exchange.find(row.asked);
        EXPECT_EQ(model ? model->kel() : -1, row.found);
        EXPECT_EQ(exchange.greeting(row.asked), row.greeting);
        EXPECT_EQ(exchange.means(row.asked, 1), row.found == 1);
        EXPECT_EQ(exchange.connected(row.asked), row.asked >= 0 && row.found == row.asked);
    }
    EXPECT_FALSE(exchange.connect(-1, true));
    EXPECT_FALSE(exchange.connect(4, true));
}

TEST(Exchange, TellsItsListenerOfACall) {
    SimExchange exchange(2);
    Texts heard;
    exchange.listen([&](std::int16_t kel, const Texts& events) {
        EXPECT_EQ(kel, 2);
        heard = events;
    });
    EXPECT_EQ(exchange.placeCall(*exchange.find(2), "400", "401"), heard);
    EXPECT_EQ(heard.size(), 1u);
}

TEST(Snapshot, HoldsEachLineOrIsRefused) {
    const SimModel model(1, 3);
    const std::vector<char> bytes = simPack(model);
    EXPECT_THAT(*simUnpack(bytes),
                ElementsAre("300 Adler Ruth Free", "301 Becker Jan Free", "302 Costa Lia Free"));
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(simUnpack({bytes.data(), bytes.data() + size})) << size << " bytes";
    EXPECT_THAT(simXmlOf(model).c_str(),
                testing::HasSubstr("<kel><number>1</number>\n"
                                   "  <line><number>300</number><name>Adler Ruth</name>"
                                   "<state>Free</state></line>\n  <line>"));
}

}  // namespace
