// A console and its commands without a connection: what is typed is posted as its reader would,
// and its frames end up on a screen that the test reads.

#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <regex>
#include <thread>

#include "serv_cli/i_tools.h"
#include "simulator/sim_clients.h"
#include "simulator/sim_commands.h"
#include "simulator/sim_peer.h"
#include "simulator/sim_settings.h"
#include "simulator/sim_thread.h"
#include "util/i_os.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

class ScreenConsole : public SimConsole {
  public:
    explicit ScreenConsole(const SimHouse& house) : SimConsole(house, "192.0.2.7") {}

    /// What was shown since the last look.
    std::string look() { return std::exchange(shown_, {}); }

  private:
    void sendFrame(std::int16_t, std::int32_t length, const Filler& fill) override {
        constexpr std::int32_t kPiece = 7;  // fits no text and no line
        std::string body(static_cast<std::size_t>(length), '?');
        for (std::int32_t from = 0; from < length; from += kPiece)
            fill(from, body.data() + from, std::min(kPiece, length - from));
        if (body.ends_with('\0')) body.pop_back();
        shown_ += body;
    }
    void hangUp() override {}

    std::string shown_;
};

class Console : public testing::Test {
  protected:
    Console() {
        SimClients::install(exchange_);
        EXPECT_TRUE(clients_.join(console_, 2));
        EXPECT_TRUE(clients_.join(other_, 2));
        id_ = std::to_string(console_->number());
    }
    ~Console() override {
        clients_.leave(*console_);
        clients_.leave(*other_);
    }

    /// Posts the texts and gives the next line that is read.
    std::string readLine(const Texts& typed) {
        for (const std::string& text : typed) console_->postTyped(-1, text);
        std::string line = "nothing";
        return console_->readLine(line) ? line : "gone";
    }
    /// What a line is answered, with the later lines that it needs.
    std::string run(const std::string& line, const Texts& typed = {}) {
        for (const std::string& text : typed) console_->postTyped(-1, text);
        runCommands(*console_, line);
        return console_->look();
    }
    char readKey() {
        char key = 0;
        EXPECT_EQ(console_->readInput(&key, 1), 1);
        return key;
    }

    SimExchange exchange_{3};
    SimEnd end_;
    const std::shared_ptr<ScreenConsole> console_ =
        std::make_shared<ScreenConsole>(SimHouse{exchange_, end_});
    const std::shared_ptr<ScreenConsole> other_ =
        std::make_shared<ScreenConsole>(SimHouse{exchange_, end_});
    SimClients& clients_ = SimClients::instance();
    std::string id_;
};

TEST_F(Console, JoinsThePiecesOfALine) {
    EXPECT_EQ(readLine({"he", "l", "p\nli", "nes\n"}), "help");
    EXPECT_EQ(readLine({}), "lines");
    EXPECT_EQ(readLine({"ekk\x7F\x7F", "cho\n"}), "echo");  // corrected, which no terminal did
    EXPECT_EQ(readLine({"", "x\n"}), "");                   // a text without a byte
    EXPECT_EQ(readLine({}), "x");
    EXPECT_EQ(readLine({"0 p -lines"}), "0 p -lines");  // options come without a line end
    EXPECT_EQ(readLine({std::string(4'095, 'y') + "zz", "z\n"}), std::string(4'095, 'y') + "z");
    EXPECT_EQ(readLine({}), "zz");
}

TEST_F(Console, LetsTheLineEndBehindAKeyPass) {
    console_->postTyped(-1, "ab");
    EXPECT_EQ(readKey(), 'a');
    EXPECT_EQ(readKey(), 'b');
    EXPECT_EQ(readLine({"\n", "next\n"}), "next");
    EXPECT_EQ(readLine({"\n"}), "");  // the one behind isn't a key's
    console_->postTyped(-1, "\x7F\x7F\n");
    EXPECT_EQ(readKey(), '\x7F');
    console_->setEditing(true);
    EXPECT_EQ(readKey(), '\b');
    EXPECT_EQ(readKey(), '\n');
    EXPECT_EQ(readLine({"\n"}), "");
}

TEST_F(Console, ShowsWhatOthersPostAndCountsWhatIsLost) {
    for (int i = 0; i < 503; ++i) console_->show("late\n");
    EXPECT_EQ(readLine({"x\n"}), "x");
    std::string expected = "late\nzor_sim: 3 lines were lost here.\n";
    for (int i = 1; i < 500; ++i) expected += "late\n";
    EXPECT_EQ(console_->look(), expected);
    console_->show("again\n");
    EXPECT_EQ(readLine({"x\n"}), "x");
    EXPECT_EQ(console_->look(), "again\n");
}

TEST_F(Console, GetsTheEventsOfItsInstanceWhileItWatches) {
    const auto call = [&](std::int16_t kel, const char* from, const char* to) {
        exchange_.placeCall(*exchange_.find(kel), from, to);
    };
    call(0, "200", "201");
    console_->setWatching(true);
    call(0, "201", "200");
    call(1, "300", "301");
    console_->postJoin(1);
    console_->postLeave(0);  // not where it is
    EXPECT_EQ(readLine({"x\n"}), "x");
    call(0, "202", "200");
    call(1, "301", "300");
    console_->postLeave(1);
    EXPECT_EQ(readLine({"x\n"}), "x");
    call(1, "302", "300");
    EXPECT_EQ(readLine({"x\n"}), "x");
    EXPECT_EQ(std::regex_replace(console_->look(), std::regex("[0-9:]{8} "), ""),
              "KEL 0 line 201 Dialing with 200\nzor_sim: you are with KEL 1.\n"
              "KEL 1 line 301 Dialing with 300\n");
    EXPECT_EQ(run(""), "zor_sim: console " + id_ + ": KEL none, 3 texts, 0 pings. Type help.\n");
}

TEST_F(Console, AnswersEachCommand) {
    const struct {
        const char* typed;
        const char* answer;  // a regular expression of the whole, with "/" for each line end
    } kRows[] = {
        {"help", "Commands of zor_sim:/    help .*/    stop .*>> filename. Ctrl-C ends it\\./"},
        {"frobnicate 1",
         "zor_sim: no command \"frobnicate 1\"\\. Do you mean filter, files\\? "
         "Type help for the list\\./"},
        {"lines",
         "line  name         state        with  kind and options/"
         "200   Adler Ruth   Free               -Distant /"
         "201   Becker Jan   Free               -Dist. Voip /"
         "202   Costa Lia    Free               -Priv. Phone /"},
        {"history 200", "no call yet/"},
        {"history 200 1", "zor_sim: line 200 has 0 calls in its history\\./"},
        {"history 7", "zor_sim: no line \"7\"; lines lists them\\./"},
        {"agents", "Marin Eva    line 200   LoggedOut/Novak Petr   line 201   .*Kari.*Hugo.*/"},
        {"events 201", "zor_sim: a number from 1 to 200 is needed here\\./"},
        {"voicemail", "no message/"},
        {"trace", "zor_sim: trace on, or trace off\\./"},
        {"trace off", "zor_sim: trace off\\./"},
        {"filter COSTA L", "202   Costa Lia    Free               -Priv. Phone /"},
        {"filter 0", "200 .*/201 .*/202 .*/"},
        {"filter zzz", "no line holds that/"},
        {"xml", "<\\?xml .*<kel><number>0</number>.*<number>202</number>.*</kel>/"},
        {"dico nosuch", "zor_sim: no dictionary \"nosuch\"\\. Dictionaries:/    linestate .*"},
        {"dico linestate 8", "linestate 8: \"Talking\"/"},
        {"dico linekinds 0x3", "linekinds 3: \"-Distant -Dist. Voip \"/"},
        {"dico linekeys 4294967295", "linekeys -1: .*/"},
        {"dico qoltype", "    0 MONITOR/    1 IP/"},
        {"dico object", ".* 2053 TEMPO_NOMADIC_ALERTING/"},
        {"dico forwardkinds", "0x00000000 RVIMM/0x0.*"},
        {"dico linekeys", ".*/0x80000000 .*/"},
        {"dico linestate 4294967296", "zor_sim: a value is a number of 32 bits, such as .*/"},
        {"kels 4 off", "zor_sim: kels N on, or kels N off; N is from 0 to 3\\./"},
        {"kels 0 off", "KEL 0: not connected/KEL 1: connected/KEL 2: .*/KEL 3: connected/"},
        {"lines", "line .*/300 .*"},
        {"kels 0 on", "KEL 0: connected/.*"},
        {"kick 10000", "zor_sim: a number from 1 to 9999 is needed here\\./"},
        {"kick 9999", "zor_sim: no console 9999; consoles lists them\\./"},
        {"say ", "zor_sim: say TEXT\\./"},
        {"body 1000001", "zor_sim: a number from 0 to 1000000 is needed here\\./"},
        {"clear", "<clear-screen>/"},
        {"0 q", "zor_sim: 0 p -OPTIONS is what a command line sends\\./"},
        {"0 p -zz", "zor_sim: unknown option -zz; the options are -help .* -watch/"},
        {"files",
         "written: a snapshot of KEL 0, [0-9]+ bytes and its trailer/listed: snapshot, "
         "[0-9]+ bytes/read back: 3 lines, the first 200 Adler Ruth Free/one byte is "
         "changed: refused and removed: the checksum doesn't hold/"},
    };
    for (const auto& row : kRows) {
        std::string answer = run(row.typed);
        std::replace(answer.begin(), answer.end(), '\n', '/');  // which a dot matches
        EXPECT_TRUE(std::regex_match(answer, std::regex(row.answer))) << row.typed << "\n"
                                                                      << answer;
    }
}

TEST_F(Console, KeepsACallInItsHistory) {
    SimModel& model = *exchange_.find(0);
    model.placeCall("200", "201");
    for (int step = 0; step < 1'000 && model.line("201")->history.empty(); ++step) model.step();
    std::string shown = run("history 201") + run("history 200 1");
    shown = std::regex_replace(shown, std::regex("[0-9]{2}[h:][0-9:]{5}"), "TIME");
    shown = std::regex_replace(shown, std::regex("[0-9]{10}( = [0-9/]+ TIME)?|TIME"), "T");
    shown = std::regex_replace(shown, std::regex("[ \t]+"), " ");
    EXPECT_THAT(
        shown,
        testing::StartsWith(
            "call 1, T, cause None:\n Histo_Id 0 1\n Line 201\n CorrNumber 200 : BeginDate T \n"
            " EndDate T\n InitialDest 201 : Acknowledged 1\n Histo_Id 0 1\n Line 200\n"
            " CorrNumber 201 :\n Type OutGoing Local Answered\n"));
}

TEST_F(Console, SeesTheOthers) {
    console_->countPing();
    other_->postTyped(-1, "x");
    const std::string number = std::to_string(other_->number());
    std::string rows = std::regex_replace(run("consoles"), std::regex(" +"), " ");
    rows = std::regex_replace(rows, std::regex("00:00:0[0-9]"), "TIME");
    EXPECT_EQ(rows, "console address KEL connected idle waiting texts pings\n " + id_ +
                        " 192.0.2.7 -1 TIME TIME 0 0 1\n " + number +
                        " 192.0.2.7 -1 TIME TIME 1 1 0\n");
    EXPECT_EQ(run("say good  day"), "zor_sim: said to 1 other console.\n");
    other_->postTyped(-1, "\n");
    std::string line;
    EXPECT_TRUE(other_->readLine(line));
    EXPECT_EQ(other_->look(), "console " + id_ + " says: good  day\n");
}

TEST_F(Console, AsksItsOperator) {
    EXPECT_EQ(run("ask", {"200 \n", "200\n"}),
              "zor_sim: which line calls? zor_sim: which line is called? "
              "zor_sim: that call can't be: two lines, the first one free.\n");
    EXPECT_THAT(run("ask", {"200\n", "202\n"}), EndsWith(" KEL 0 line 200 Dialing with 202\n"));
    EXPECT_EQ(run("key 3", {"a\n\xFF\x7F", "\n"}),
              "zor_sim: press 3 keys.\n<on-canonique>\n<off-canonique>\nkey 'a' (97)\n"
              "<on-canonique>\n<off-canonique>\n<on-canonique>\n<off-canonique>\nkey 255\n"
              "<on-canonique>\n<off-canonique>\nkey 127\n");
    EXPECT_EQ(run("watch", {"\n"}),
              "zor_sim: watching; type a line to end.\nzor_sim: end of watch.\n");
    run("watch", {"calls \n"});
    EXPECT_EQ(readLine({}), "calls ");  // ends the watch and is a command
    EXPECT_FALSE(console_->watching());
}

TEST_F(Console, NarrowsTheLinesKeyByKey) {
    const std::string shown = run("filter", {"J\x7F\n"});
    EXPECT_THAT(shown, HasSubstr("\nlines###### J \n201   Becker Jan   Free "));
    EXPECT_THAT(shown, HasSubstr("\nlines######  \n200 "));
    EXPECT_THAT(shown, EndsWith("\nEnd lines######\n"));
}

TEST(Settings, AreReadOrTheWrongWordIsNamed) {
    const auto read = [](std::vector<const char*> words, SimSettings* settings) {
        words.insert(words.begin(), "zor_sim");
        return simReadSettings(static_cast<int>(words.size()), words.data(), settings);
    };
    SimSettings settings;
    EXPECT_EQ(read({"--port", "65535", "--open", "--consoles", "7", "-h"}, &settings), "");
    EXPECT_EQ(settings.port, 65'535);
    EXPECT_EQ(settings.consoles, 7);
    EXPECT_TRUE(settings.open);
    EXPECT_TRUE(settings.help);
    EXPECT_EQ(read({"spare"}, &settings), "unknown word \"spare\"");
    EXPECT_EQ(read({"--pace", "9"}, &settings),
              "--pace needs a number from 10 to 60000, not \"9\"");
    EXPECT_EQ(read({"--unread"}, &settings), "--unread needs a number from 1 to 3600, not \"\"");
}

TEST(Settings, StandInTheUsageWithTheirBounds) {
    EXPECT_THAT(simUsage(), HasSubstr("[--unread N] [--open]"));
    EXPECT_THAT(simUsage(), HasSubstr("\n  --pace N     ms between two moves of the telephony; "
                                      "10 to 60000, else 700\n"));
    EXPECT_THAT(simUsage(), HasSubstr("\n  --open       take consoles of other machines too\n"));
}

TEST(Peer, OfThisMachineIsKnown) {
    const auto own = [](std::uint32_t address) { return simIsOwnAddress({htonl(address)}); };
    EXPECT_TRUE(own(0x7F09'0909));
    EXPECT_FALSE(own(0xC000'0201));  // 192.0.2.1, which no machine has
}

TEST(Wait, GoesOnBehindASignal) {
    struct sigaction noted {};
    noted.sa_handler = [](int) {};
    sigaction(SIGUSR1, &noted, nullptr);  // without SA_RESTART
    sem_t* post = nullptr;
    semInit(&post, 0);
    std::atomic<bool> granted{false};
    std::thread waiter([&] {
        simTake(post);
        granted = true;
    });
    for (int i = 0; i < 20; ++i) {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        threadSleep(1);
        EXPECT_FALSE(granted);
    }
    semUnLock(post);
    waiter.join();
    EXPECT_EQ(semLock(post, 0), 0);
    semDestroy(post);
}

}  // namespace
