#include <chrono>

#include "console.h"
#include "support/console_process.h"

namespace {

using namespace support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(Input, LinesGoToTheServerAndKelChangesTheTarget) {
    Session session;
    int kel = -1;
    const std::string long_line(1500, 'y');
    constexpr int kNone = 1 << 20;
    const struct {
        std::string typed;
        int target;  // the one chosen, or none for a text
        std::vector<std::string> texts;
    } rows[] = {
        {"help\n", kNone, {"help\n"}},
        {"KEL3\n", 3, {}},
        {"abcKEL9\n", kNone, {"abcKEL9\n"}},
        {"xKEL 70000\n", 4464, {}},
        {"abKEL99999999999\n", -6145, {}},
        {"kel5 KEL\n", kNone, {"kel5 KEL\n"}},
        {"KEL\n", 0, {}},
        {std::string("a\0b\n", 4), kNone, {"a"}},
        {std::string("\0KEL1\n", 6), kNone, {""}},
        {long_line + "\n", kNone, {long_line.substr(0, 1023), long_line.substr(1023) + "\n"}},
        {"abc>> x\n", kNone, {"abc>> x\n"}},
        {">>KEL-1\n", -1, {}},
    };
    for (const auto& row : rows) {
        session.console.type(row.typed);
        for (const std::string& text : row.texts)
            session.link.expectText(text, kel);
        if (row.target == kNone) continue;
        session.link.expect(frame(10, 7, kel) + frame(10, 6, row.target));
        session.console.expect("write set_client: nbe= 132\n\nkel_id = " +
                               std::to_string(row.target) + "\nwrite set_client: nbe= 132\n");
        kel = row.target;
    }
}

// The rest of a line that began as one key comes along, so standard input holds nothing back.
TEST(Input, OneKeyInputBeginsAndEndsWithTheServersTokens) {
    Session session;
    session.link.send(text("<on-canonique>\n") + text("press a key\n"));
    session.console.expect("press a key\n");
    session.console.type("a");  // from here on, no pass began before the token
    session.link.expectText("a");
    session.console.type("bc");
    session.link.expectText("b");
    session.link.expectText("c");
    session.link.send(text("<off-canonique>\n") + text("back\n"));
    session.console.expect("back\n");
    session.console.type("cde\n");
    session.link.expectText("cde\n");
    session.console.type("line\n");
    session.link.expectText("line\n");
}

TEST(Input, EndOfInputNeitherEndsTheConsoleNorFloodsTheServer) {
    Session session;
    session.console.closeInput();
    session.link.send(text("still here\n"));
    session.console.expect("still here\n");
    session.link.send(text("<on-canonique>\n"));
    session.link.expectText("\xff");
    const auto begin = Clock::now();
    session.link.expectText("\xff");
    session.link.expectText("\xff");
    EXPECT_GE(Clock::now() - begin, 1900ms);
    session.link = Link(-1);
    session.reconnect();
    session.link.expectText("\xff");
}

TEST(Input, TerminalGoesOnAfterItsEndCharacter) {
    Session session({}, Terminal::kPty);
    session.console.type("\x04line\n");
    session.link.expectText("line\n");
    session.link.send(text("<on-canonique>\n") + text("key?\n"));
    session.console.expect("key?\n");
    session.console.type("q\n");
    session.link.expectKeys("q\n");
    session.console.type("\x04");
    session.link.expectText("\xff");
    session.console.type("k\n");
    session.link.expectText("k");
    session.link.expectText("\n");
    // The loss shows at once, but the session's end waits for a key, which isn't sent.
    session.link = Link(-1);
    session.console.expect("cnx not ok!\nserver disconnected!\n");
    session.console.type("z\n");
    session.link = session.peer.join();
    session.link.expectText("\n");
}

TEST(Input, IdleSessionUsesNoProcessorTime) {
    Session session;
    const double before = session.console.processorTime();
    EXPECT_TRUE(session.link.silent(4000));
    EXPECT_LE(session.console.processorTime() - before, 20.0);
}

TEST(DumpBytes, PrintsCountAddressAndBytes) {
    unsigned char bytes[40];
    std::string expected = "SIZE 40\n";
    char piece[32];
    std::snprintf(piece, sizeof piece, "\n%lx : ", reinterpret_cast<unsigned long>(bytes));
    expected += piece;
    for (int i = 0; i < 40; ++i) {
        bytes[i] = static_cast<unsigned char>(255 - i);
        std::snprintf(piece, sizeof piece, "%.2x ", 255 - i);
        expected += piece;
    }
    testing::internal::CaptureStdout();
    dump_bytes(bytes, 40);
    dump_bytes(bytes, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              expected + "\nSIZE 0\n" + expected.substr(8, expected.find(':') - 6) + "\n");
}

}  // namespace
