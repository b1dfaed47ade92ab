// The real zor_sim, driven by raw sockets.

#include <algorithm>
#include <chrono>
#include <regex>

#include "sim_harness.h"

namespace {

using support::Answer;
using support::frame;
using support::RawConsole;
using support::SimProcess;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

class Sim : public testing::Test {
  protected:
    /// Ends the server in order: no thread hangs, and no sanitizer has a complaint.
    ~Sim() override {
        RawConsole last(port_);
        EXPECT_EQ(last.ask("stop\n"),
                  "zor_sim: ends. Your console goes on trying; Ctrl-C ends it.\n");
        EXPECT_EQ(process_.finish(), 0) << process_.said();
    }

    SimProcess process_{"--port 0 --pace 20 --lines 15"};  // a snapshot of 256 bytes
    const int port_ = process_.readPort();
};

TEST_F(Sim, AnswersTheFramesOfAConsole) {
    RawConsole console(port_);
    console.send(frame(10, 6, -1));
    EXPECT_EQ(console.text(), "zor_sim: you are with the first connected KEL, 0.\n");
    console.send(frame(8, 5, -1) + frame(10, 7, -1) + frame(10, 6, 3) + frame(10, 7, 2));
    EXPECT_EQ(console.text(), "zor_sim: you are with KEL 3.\n");
    EXPECT_EQ(console.ask("\n"), "zor_sim: console 1: KEL 3, 1 texts, 1 pings. Type help.\n");
    console.send(frame(10, 7, 3) + frame(10, 5, 3));  // a text without a byte is an empty line
    EXPECT_EQ(console.text(), "zor_sim: console 1: KEL none, 2 texts, 1 pings. Type help.\n");
    console.type("hidden 7\nbody 82\nbye\necho never\n");
    const Answer hidden = console.receiveFrame();
    EXPECT_EQ(hidden.op, 6);
    EXPECT_EQ(hidden.body.size(), 7u);
    EXPECT_EQ(console.text(), "zor_sim: 7 bytes went out unseen.\n");
    EXPECT_EQ(console.text(), std::string(79, '0') + "\n1\n");
    EXPECT_EQ(console.text(), "zor_sim: bye.\n");
    EXPECT_EQ(console.receive(1), "");
}

TEST_F(Sim, AnswersEachCommand) {
    RawConsole console(port_);
    const struct {
        const char* typed;
        const char* answer;  // a regular expression, with "/" for each line end
    } kCases[] = {
        {"help\n", "Commands of zor_sim:.*  lines .*  stop .*KELx"},
        {"echo  two  blanks\n", "^ two  blanks/$"},
        {"frobnicate 1\n", "no command \"frobnicate 1\"\\. Do you mean filter, files\\? Type help"},
        {"lines\n", "200 +Adler Ruth .*205 +Ferri Luca "},
        {"history 200 99\n", "line 200 has [0-9]+ calls"},
        {"history 7\n", "no line \"7\""},
        {"agents\n", "Marin Eva +line 200 +[A-Z]"},
        {"xml\n", "^<\\?xml .*<kel><number>0</number>.*<number>205</number>.*</kel>/$"},
        {"dico nosuch\n", "no dictionary \"nosuch\"\\. Dict"},
        {"dico\n", "^Dict.*/ +linestate .*/ +linekinds "},
        {"dico linestate 8\n", "linestate 8: \"Talking\""},
        {"dico linekinds 0x3\n", "linekinds 3: \"-Distant -Dist. Voip \""},
        {"dico qoltype\n", "^ +0 MONITOR/ +1 IP/$"},
        {"dico object\n", "2053 TEMPO_NOMADIC_ALERTING"},
        {"dico forwardkinds\n", "^0x00000000 RVIMM/0x0"},
        {"dico linekeys\n", "/0x80000000 "},
        {"dico linestate 4294967296\n", "a value is a number"},
        {"consoles\n", "^console .*/ +1 127\\.0\\.0\\.1 +-1 "},
        {"kels 4294967296 off\n", "kels N on"},
        {"kels 0 off\n", "KEL 0: not connected/KEL 1: connected"},
        {"lines\n", "/300 "},
        {"kels 0 on\n", "KEL 0: connected"},
        {"threads\n", "TbThreadCreated:.* Model .* Console 1 "},
        {"trace sideways\n", "trace on, or trace off"},
        {"body 4294967301\n", "a number from 0 to 1000000 is needed"},
        {"key 1x\n", "a number from 1 to 1000 is needed"},
        {"clear\n", "^<clear-screen>/$"},
        {"nokey\n", "^<off-canonique>/$"},
        {"0 q\n", "0 p -OPTIONS is what"},
        {"0 p -zz", "unknown option -zz; .* -watch"},
        {"0 p -lines", "200 .*205 "},
    };
    for (const auto& c : kCases) {
        std::string answer = console.ask(c.typed);
        std::ranges::replace(answer, '\n', '/');  // which a dot of an expression matches
        EXPECT_TRUE(std::regex_search(answer, std::regex(c.answer))) << c.typed << answer;
    }
    EXPECT_THAT(console.ask("lines\n", 2), HasSubstr("\n400 "));
    EXPECT_EQ(console.ask("lines\n", 9), "zor_sim: KEL 9 isn't connected; kels tells which are.\n");
}

TEST_F(Sim, ShowsADeadLockAndGoesOnServing) {
    RawConsole console(port_), other(port_);
    for (int round = 0; round < 3; ++round) {
        console.type("locks\n");
        const std::string report = console.upTo("both are done");
        EXPECT_THAT(report, AllOf(HasSubstr("DeadLock !!! "), HasSubstr("WaitingMutex sim_lines("),
                                  HasSubstr("WaitingMutex sim_calls("), HasSubstr("\nDeadLock\n")));
        EXPECT_EQ(other.ask("echo on\n"), "on\n");
    }
    std::string threads = " Lines ";  // they leave the table a moment after their report
    for (int i = 0; i < 1'000 && threads.find(" Lines ") != std::string::npos; ++i)
        threads = console.ask("threads\n");
    EXPECT_THAT(threads, testing::Not(HasSubstr(" Lines ")));
}

TEST_F(Sim, PromptsOverTheWire) {
    RawConsole console(port_);
    EXPECT_EQ(console.ask("ask\n"), "zor_sim: which line calls? ");
    EXPECT_EQ(console.ask("200\n"), "zor_sim: which line is called? ");
    EXPECT_THAT(console.ask("200\n"), HasSubstr("that call can't be"));
    console.type("key 3\n");
    console.type("a\n\xFF\x7F");  // line ends are no keys
    console.type("\n");           // and the last one is no line either
    EXPECT_EQ(console.upTo("127"),
              "zor_sim: press 3 keys.\n<on-canonique>\n<off-canonique>\nkey 'a' (97)\n"
              "<on-canonique>\n<off-canonique>\n<on-canonique>\n<off-canonique>\nkey 255\n"
              "<on-canonique>\n<off-canonique>\nkey 127\n");
    EXPECT_THAT(console.ask("filter\n"), StartsWith("zor_sim: type; "));
    console.type("COS\x7F\x7F\n\n");
    for (const char* const typed : {"C", "CO", "COS", "CO", "C"}) {
        EXPECT_THAT(console.upTo("###"),
                    AllOf(HasSubstr("<off-canonique>\n<clear-screen>\n"),
                          HasSubstr(std::string("lines###### ") + typed + " \n")));
        EXPECT_THAT(console.text(), HasSubstr("Costa Lia"));
    }
    console.upTo("End lines######\n");
    console.type("0 p -kels -watch");  // comes without a line end
    console.upTo(" KEL 0 line 20");
    console.type("history 200\n");  // ends the watch and is a command
    console.upTo("end of watch");
    std::string history;  // a late event may come in between
    for (int i = 0; i < 10'000 && history.find("InitialDest") == std::string::npos; ++i)
        history = console.ask("history 200\n");
    EXPECT_THAT(history, HasSubstr("call 1, "));
}

TEST_F(Sim, OneConsolesMisbehaviourIsNobodyElsesConcern) {
    RawConsole steady(port_), deaf(port_), cut(port_), noisy(port_);
    cut.send(support::header(10, 5, -1, 1000) + "half");
    cut.reset();
    noisy.send(std::string(4000, '#') + support::header(10, 5, -1, -1) + frame(99, -7, 0, "xyz"));
    EXPECT_THAT(noisy.ask(std::string(999'990, 'n')), StartsWith("zor_sim: no command \"nnn"));
    for (int i = 0; i < 20; ++i) deaf.type("body 1000000\n");  // it takes none of the answers
    std::string joins = frame(10, 6, -1), typed, answers;
    while (joins.size() < 60'000'000) joins += joins;  // far more than the sockets hold
    EXPECT_LT(deaf.sendWhileTaken(joins), joins.size());
    for (int i = 0; i < 300; ++i) {  // more than a mailbox takes at once, and in order all the same
        noisy.type("echo " + std::to_string(i) + "\n");
        typed += std::to_string(i) + "\n";
    }
    for (int i = 0; i < 300; ++i) answers += noisy.text();
    EXPECT_EQ(answers, typed);
    EXPECT_THAT(steady.ask("consoles\n"), AllOf(HasSubstr("\n      2 "), HasSubstr("\n      4 ")));
}

TEST(SimStart, TellsWhatIsWrongAndEnds) {
    SimProcess first("--port 0 --pace 60000");
    const std::string taken = std::to_string(first.readPort());
    SimProcess wrong("--port 12x");
    EXPECT_EQ(wrong.readLine(), "zor_sim: --port needs a number from 0 to 65535, not \"12x\"\n");
    EXPECT_EQ(wrong.finish(), 2);
    SimProcess second("--port " + taken);
    EXPECT_EQ(second.readLine(),
              "zor_sim: can't listen on port " + taken + ": Address already in use\n");
    EXPECT_EQ(second.finish(), 1);
    RawConsole(std::stoi(taken)).ask("stop\n");
    EXPECT_EQ(first.finish(), 0);  // and doesn't sleep its pace out
}

TEST_F(Sim, ShowsTraceAndFiles) {
    RawConsole console(port_);
    console.type("trace on\n");
    console.upTo("zor_sim: trace on.\n");
    console.upTo("trace on");
    RawConsole other(port_);
    console.upTo("console 2: connected from 127.0.0.1", 2);  // its own may come first
    console.type("trace off\nfiles\n");
    EXPECT_THAT(console.upTo("one byte is changed"),
                AllOf(HasSubstr("written: a snapshot of KEL 0, "), HasSubstr("listed: snapshot, "),
                      HasSubstr("read back: 15 lines, the first 200 Adler Ruth "),
                      HasSubstr("refused and removed")));
}

TEST_F(Sim, AFullThreadTableSlowsNobodyAndEmptiesAgain) {
    RawConsole steady(port_);
    std::vector<RawConsole> crowd;  // more than the table has room for
    for (int i = 0; i < 120; ++i) crowd.emplace_back(port_);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) EXPECT_EQ(crowd.back().ask("echo on\n"), "on\n");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    crowd.clear();
    const auto consoles = [&] { return std::ranges::count(steady.ask("consoles\n"), '\n') - 1; };
    for (int i = 0; i < 2'000 && consoles() != 1;) ++i;
    std::string threads;  // the last of a console's threads leaves a moment after its session
    for (int i = 0; i < 2'000 && std::ranges::count(threads, '\n') != 5; ++i)
        threads = steady.ask("threads\n");
    EXPECT_THAT(threads, AllOf(HasSubstr(" Model "), HasSubstr(" Console 1 ")));
    EXPECT_EQ(std::ranges::count(threads, '\n'), 5) << threads;
}

}  // namespace
