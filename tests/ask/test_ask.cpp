#include <sys/wait.h>

#include <cstdio>

#include "support/places.h"
#include "support/scripted_peer.h"

using namespace support;

namespace {

enum Status { kAnswered, kNoConnection, kUsage, kNoAnswer, kLost };

/// zor_ask on its way: started with `line` behind its name, its output read at its end.
class Asking {
  public:
    explicit Asking(const std::string& line) {
        const std::string command =
            "exec 2>/dev/null; exec " ZOR_EMULATOR " '" ZOR_BINARY_DIR "/zor_ask' " + line;
        output_ = popen(command.c_str(), "re");
    }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;
    ~Asking() { EXPECT_EQ(output_, nullptr) << "nobody waited for its end"; }

    void expectEnd(Status status, const std::string& printed) {
        std::string all;
        char piece[4096];
        while (const std::size_t count = std::fread(piece, 1, sizeof piece, output_))
            all.append(piece, count);
        const int ended = pclose(std::exchange(output_, nullptr));
        EXPECT_EQ(all, printed);
        EXPECT_EQ(WEXITSTATUS(ended), status);
    }

  private:
    std::FILE* output_ = nullptr;
};

class Ask : public testing::Test {
  protected:
    Ask() { peer.listen(); }
    std::string at() const { return "-p " + peer.port + " "; }
    Peer peer;
};

}  // namespace

TEST_F(Ask, PrintsTheAnswerAloneAndEndsWhenTheServerIsQuiet) {
    Asking asking(at() + "127.0.0.1 lines -v all");
    Link link = peer.join();
    link.send(text("banner\n") + text("<clear-screen>\n"));
    link.expectText("lines -v all\n");
    link.send(text("<clear-screen>\n") + text(std::string("one\n\0behind", 11)) +
              frame(10, 6, -1, "hidden") + text("two") + text("<on-canonique>\n"));
    asking.expectEnd(kAnswered, "one\ntwo");
}

TEST_F(Ask, JoinsTheServerInstanceThatItAsks) {
    Asking asking(at() + "-k 3 127.0.0.1 calls");
    Link link = peer.accept();
    link.expect(frame(10, 6, 3));
    link.expectText("calls\n", 3);
    link.send(text("none\n"));
    asking.expectEnd(kAnswered, "none\n");
}

TEST_F(Ask, WaitsForATextAcrossAnyPause) {
    Asking asking(at() + "-q 50 -u 'all done' 127.0.0.1 check");
    Link link = peer.join();
    link.expectText("check\n");
    link.send(text("half of it, all "));
    EXPECT_TRUE(link.silent(500));  // a closed connection would be readable
    link.send(text("done\n"));
    asking.expectEnd(kAnswered, "half of it, all done\n");
}

TEST_F(Ask, AsksTheLinesOfItsInputOneAfterTheOther) {
    Asking asking(at() + "127.0.0.1 - <<'END'\nfirst\nsecond\nEND");
    Link link = peer.join();
    link.expectText("first\n");
    link.send(text("1\n"));
    link.expectText("second\n");
    link.send(text("2\n"));
    asking.expectEnd(kAnswered, "1\n2\n");
}

TEST_F(Ask, TellsByItsStatusThatNoWholeAnswerCame) {
    const struct {
        std::string answer;
        bool hang_up;
        Status status;
        std::string printed;
    } rows[] = {
        {"", false, kNoAnswer, ""},
        {text("never whole").substr(0, 140), false, kNoAnswer, ""},
        {frame(10, 6, -1, "hidden"), false, kNoAnswer, ""},
        {"", true, kLost, ""},
        {text("begun"), true, kLost, "begun"},
    };
    for (const auto& row : rows) {
        Asking asking(at() + "-t 2 127.0.0.1 help");
        Link link = peer.join();
        link.expectText("help\n");
        link.send(row.answer);
        if (row.hang_up) link.hangUp();
        asking.expectEnd(row.status, row.printed);
    }
}

TEST(AskWithoutAServer, TellsByItsStatusWhatIsWrong) {
    const Peer refusing;
    Asking("-p " + refusing.port + " 127.0.0.1 help").expectEnd(kNoConnection, "");
    for (const char* wrong :
         {"", "host", "-p 0 host help", "-p 65536 host help", "-p 1x host help", "-k -2 host help",
          "-t 0 host help", "-q 0 host help", "-x host help"})
        Asking(wrong).expectEnd(kUsage, "");
}
