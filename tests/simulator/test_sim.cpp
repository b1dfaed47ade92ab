// The real zor_sim, driven by raw sockets.

#include <algorithm>
#include <thread>

#include "sim_harness.h"

namespace {

using support::eventually;
using support::frame;
using support::header;
using support::RawConsole;
using support::SimProcess;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kEnds[] = "zor_sim: ends. Your console goes on trying; Ctrl-C ends it.\n";

auto lines(const std::string& text) { return std::ranges::count(text, '\n'); }

class Sim : public testing::Test {
  protected:
    explicit Sim(const std::string& more = "")
        : process_("--port 0 --pace 20 --lines 15 " + more) {}

    /// Ends the server in order: no thread hangs, and no sanitizer has a complaint.
    ~Sim() override {
        if (!ended_) end();
    }
    void end() {
        ended_ = true;
        EXPECT_TRUE(eventually([&] { return RawConsole(port_).ask("stop\n") == kEnds; }));
        EXPECT_EQ(process_.finish(), 0) << process_.said();
    }

    SimProcess process_;
    const int port_ = process_.readPort();
    bool ended_ = false;
};

TEST_F(Sim, AnswersTheFramesOfAConsole) {
    RawConsole console(port_);
    EXPECT_EQ(console.greeting,
              "\nzor_sim: you are console 1. Type help for the commands; Ctrl-C ends your "
              "console.\n");
    console.send(frame(10, 6, -1));
    EXPECT_EQ(console.text(), "zor_sim: you are with the first connected KEL, 0.\n");
    console.send(frame(8, 5, -1) + frame(10, 7, -1) + frame(10, 6, 3) + frame(10, 7, 2));
    EXPECT_EQ(console.text(), "zor_sim: you are with KEL 3.\n");
    EXPECT_EQ(console.ask("\n"), "zor_sim: console 1: KEL 3, 1 texts, 1 pings. Type help.\n");
    console.send(frame(10, 7, 3) + frame(10, 5, 3));  // a text without a byte is an empty line
    EXPECT_EQ(console.text(), "zor_sim: console 1: KEL none, 2 texts, 1 pings. Type help.\n");
    EXPECT_THAT(console.ask("lines\n", 2), HasSubstr("\n400 "));
    EXPECT_EQ(console.ask("lines\n", 9), "zor_sim: KEL 9 isn't connected; kels tells which are.\n");
    console.type("hidden 7\nbye\necho never\n");
    console.expect(frame(10, 6, -1, "000000\n"));
    EXPECT_EQ(console.text(), "zor_sim: 7 bytes went out unseen.\n");
    console.expectText("zor_sim: bye.\n");
    EXPECT_EQ(console.receive(1), "");
}

TEST_F(Sim, SendsTheLongestBodyAsOneFrame) {
    RawConsole console(port_);
    console.type("body 1000000\necho behind\n");
    std::string body;
    for (int line = 0; line < 12'500; ++line)
        body += std::string(79, static_cast<char>('0' + line % 10)) + "\n";
    EXPECT_TRUE(console.text() == body);
    EXPECT_EQ(console.text(), "behind\n");
}

TEST_F(Sim, ShowsADeadLockAndGoesOnServing) {
    RawConsole console(port_);
    RawConsole other(port_);
    for (int round = 0; round < 3; ++round) {
        console.type("locks\n");
        const std::string report = console.upTo("both are done");
        for (const char* part : {"DeadLock !!! ", "WaitingMutex sim_lines(",
                                 "WaitingMutex sim_calls(", "\nDeadLock\n"})
            EXPECT_THAT(report, HasSubstr(part));
        EXPECT_EQ(other.ask("echo on\n"), "on\n");
    }
    const auto gone = [&] { return console.ask("threads\n").find(" Lines ") == std::string::npos; };
    EXPECT_TRUE(eventually(gone));  // they leave the table a moment after their report
}

TEST_F(Sim, LetsTheTelephonyBeWatched) {
    RawConsole console(port_);
    console.type("0 p -kels -watch");  // comes without a line end
    console.upTo(" KEL 0 line 20");
    console.type("calls\n");  // ends the watch and is a command
    console.upTo("end of watch");
}

TEST_F(Sim, OneConsolesMisbehaviourIsNobodyElsesConcern) {
    RawConsole steady(port_);
    RawConsole deaf(port_);
    RawConsole cut(port_);
    RawConsole noisy(port_);
    cut.send(header(10, 5, -1, 1000) + "half");
    cut.reset();
    noisy.send(std::string(4000, '#') + header(10, 5, -1, -1) + frame(99, -7, 0, "xyz"));
    EXPECT_THAT(noisy.ask(std::string(999'990, 'n')), StartsWith("zor_sim: no command \"nnn"));
    for (int i = 0; i < 20; ++i) deaf.type("body 1000000\n");  // it takes none of the answers
    std::string joins = frame(10, 6, -1);
    while (joins.size() < 60'000'000) joins += joins;  // far more than the sockets hold
    EXPECT_LT(deaf.sendWhileTaken(joins), joins.size());
    constexpr int kMany = 300;  // more than a mailbox takes at once, and in order all the same
    for (int i = 0; i < kMany; ++i) noisy.type("echo " + std::to_string(i) + "\n");
    for (int i = 0; i < kMany; ++i) EXPECT_EQ(noisy.text(), std::to_string(i) + "\n");
    EXPECT_EQ(steady.ask("kick 2\n"),
              "zor_sim: console 2 is hung up; it connects again by itself.\n");
    EXPECT_TRUE(eventually([&] { return lines(steady.ask("consoles\n")) == 3; }));
    end();
    for (const char* line : {"1: connected from 127.0.0.1", "4: incorrect lg: -1",
                             "4: dropped a frame of type 99, op -7", "2: gone"})
        EXPECT_THAT(process_.said(), HasSubstr("   console " + std::string(line) + "\n"));
    EXPECT_THAT(process_.said(), Not(HasSubstr("   \n")));  // no empty line in its log
}

TEST_F(Sim, HangsUpAPeerThatSendsNothingButJunk) {
    RawConsole junk(port_);
    junk.sendWhileTaken(std::string(100'000, '#'));
    EXPECT_EQ(junk.receive(1), "");
    end();
    EXPECT_THAT(process_.said(), HasSubstr("   console 1: too much that is no frame of a console, "
                                           "hung up\n"));
    EXPECT_LT(lines(process_.said()), 120);
}

/// One operator's place: talks, and pulls the plug, and begins anew.
void talk(int port, int place) {
    for (int round = 0; round < 10; ++round) {
        RawConsole console(port);
        const std::string word = std::to_string(place) + "." + std::to_string(round) + "\n";
        for (int i = 0; i < 5; ++i) EXPECT_EQ(console.ask("echo " + word), word);
        console.type("lines\necho lost\n");  // its answers meet a console that is gone
        console.reset();
    }
}

TEST_F(Sim, ACrowdLosesNoAnswerAndLeavesNothingBehind) {
    RawConsole steady(port_);
    std::vector<std::thread> places;  // more than the thread table has room for
    for (int i = 0; i < 60; ++i) places.emplace_back(talk, port_, i);
    for (std::thread& place : places) place.join();
    EXPECT_TRUE(eventually([&] { return lines(steady.ask("consoles\n")) == 2; }));
    EXPECT_TRUE(eventually([&] { return lines(steady.ask("threads\n")) == 5; }));
    EXPECT_THAT(steady.ask("threads\n"), AllOf(HasSubstr(" Model "), HasSubstr(" Console 1 ")));
}

class SmallSim : public Sim {
  protected:
    SmallSim() : Sim("--consoles 2 --unread 1") {}
};

TEST_F(SmallSim, TellsThatItIsFull) {
    RawConsole first(port_);
    RawConsole second(port_);
    for (int i = 0; i < 30; ++i)
        EXPECT_EQ(RawConsole(port_).greeting,
                  "\nzor_sim: all 2 places for consoles are taken; try later.\n");
    second.hangUp();
    end();
    EXPECT_THAT(process_.said(), HasSubstr("refused 127.0.0.1: all places for consoles are taken"));
    EXPECT_LT(lines(process_.said()), 20);  // the log isn't drowned
}

TEST_F(SmallSim, LetsGoOfAConsoleThatReadsNothing) {
    RawConsole deaf(port_);
    RawConsole steady(port_);
    for (int i = 0; i < 20; ++i) deaf.type("body 1000000\n");
    EXPECT_TRUE(eventually([&] { return lines(steady.ask("consoles\n")) == 2; }));
}

TEST(SimStart, TellsWhatIsWrongAndEnds) {
    SimProcess first("--port 0 --pace 60000");
    const std::string taken = std::to_string(first.readPort());
    SimProcess wrong("--port 12x");
    EXPECT_EQ(wrong.finish(), 2);
    EXPECT_EQ(wrong.said(),
              "zor_sim: --port needs a number from 0 to 65535, not \"12x\"\n"
              "zor_sim --help tells what there is.\n");
    SimProcess second("--port " + taken);
    EXPECT_EQ(second.finish(), 1);
    EXPECT_EQ(second.said(),
              "zor_sim: can't listen on port " + taken + ": Address already in use\n");
    RawConsole console(std::stoi(taken));
    EXPECT_EQ(console.ask("events\n"), "no event yet\n");  // the first one is a minute away
    EXPECT_EQ(console.ask("stop\n"), kEnds);
    EXPECT_EQ(first.finish(), 0);  // and doesn't sleep its pace out
}

TEST(SimStart, EndsInOrderAtASignal) {
    for (const int signal : {SIGTERM, SIGINT}) {
        SimProcess sim("--port 0");
        RawConsole console(sim.readPort());
        EXPECT_EQ(sim.finish(signal), 0);
        EXPECT_EQ(console.receive(1), "");
        EXPECT_THAT(sim.said(), testing::EndsWith("   zor_sim has ended\n"));
    }
}

}  // namespace
