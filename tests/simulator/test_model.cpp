// The telephony by its steps: the model beside a naive one that knows events alone, the instances,
// and the snapshot.

#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <set>

#include "serv_cli/dicos.h"
#include "simulator/sim_model.h"
#include "simulator/sim_snapshot.h"

namespace {

using Texts = std::vector<std::string>;
using testing::ElementsAre;

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

struct KnownLine {
    std::string state = "Free";
    std::string peer;
};

/// Moves a line as the event tells, if it is one of a line.
void hear(const std::string& event, std::map<std::string, KnownLine>& lines) {
    static const std::regex kEvent(
        "[0-9:]{8} KEL 0 (line ([0-9]+) ([A-Z][A-Za-z]+)( with ([0-9]+))?"
        "|line [0-9]+ .* from [0-9]+: .+|agent [A-Z].* [A-Z].*)");
    std::smatch part;
    ASSERT_TRUE(std::regex_match(event, part, kEvent)) << event;
    if (!part[3].matched) return;
    KnownLine& line = lines[part[2]];
    EXPECT_TRUE(kNext.at(line.state).contains(part[3])) << event << " after " << line.state;
    EXPECT_EQ(part[3] == "Free", !part[5].matched) << event;
    line = {part[3], part[5]};
}

TEST(Model, AgreesWithWhatItsEventsTell) {
    SimModel model(0, 6);
    std::map<std::string, KnownLine> lines;
    std::set<std::string> seen;
    Texts all;
    for (int step = 0; step < 3'000 && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        const Texts events = model.step();
        for (const std::string& event : events) hear(event, lines);
        all.insert(all.end(), events.begin(), events.end());
        for (const SimLine& line : model.lines()) {
            const KnownLine& known = lines[line.number];
            seen.insert(known.state);
            EXPECT_EQ(name_linestate(line.state), known.state) << line.number;
            EXPECT_EQ(line.peer, known.peer) << line.number;
        }
        EXPECT_LE(model.calls().size(), 3u);
    }
    EXPECT_EQ(seen.size(), kNext.size());
    EXPECT_EQ(model.voiceMail().size(), 30u);
    EXPECT_EQ(model.line("200")->history.size(), 20u);
    EXPECT_EQ(model.events(2), Texts(all.end() - 2, all.end()));
    EXPECT_EQ(model.events(999), Texts(all.end() - 200, all.end()));
}

TEST(Snapshot, HoldsEachLineOrIsRefused) {
    const std::vector<char> bytes = simPack(SimModel(1, 2));
    EXPECT_THAT(*simUnpack(bytes), ElementsAre("300 Adler Ruth Free", "301 Becker Jan Free"));
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(simUnpack({bytes.data(), bytes.data() + size})) << size << " bytes";
}

}  // namespace
