#include "console.h"
#include "support/console_process.h"

using namespace support;

TEST(Input, LinesGoToTheServerAndKelChangesTheTarget) {
    Session session;
    int kel = -1;
    const std::string long_line(1500, 'y');
    // What is typed, the target from then on, and the texts that go out.
    const std::tuple<std::string, int, Words> rows[] = {
        {"kelKEL9\n", -1, {"kelKEL9\n"}},
        {"abKEL99999999999\n", -6145, {}},
        {"KEL\n", 0, {}},
        {std::string("a\0b\n", 4), 0, {"a"}},
        {std::string("\0KEL1\n", 6), 0, {""}},
        {long_line + "\n", 0, {long_line.substr(0, 1023), long_line.substr(1023) + "\n"}},
        {"abc>> x\n", 0, {"abc>> x\n"}},
        {">>KEL-1\n", -1, {}},
    };
    for (const auto& [typed, target, texts] : rows) {
        session.console.type(typed);
        for (const std::string& line : texts) session.link.expectText(line, kel);
        if (target == kel) continue;
        session.link.expect(frame(10, 7, kel) + frame(10, 6, target));
        session.console.expect("write set_client: nbe= 132\n\nkel_id = " + std::to_string(target) +
                               "\nwrite set_client: nbe= 132\n");
        kel = target;
    }
}

// The rest of a line comes along with the key that was awaited when one-key input ended.
TEST(Input, OneKeyInputBeginsAndEndsWithTheServersTokens) {
    Session session;
    session.link.send(text("<on-canonique>\n") + text("key?\n"));
    session.console.expect("key?\n");
    session.console.type("\n");  // may still go as a line; from then on keys go one by one
    session.link.expectText("\n");
    EXPECT_TRUE(session.link.silent(300));  // time to wait for the next key
    session.link.hangUp();
    session.console.expect("cnx not ok!\nserver disconnected!\n");
    session.console.type("k\n");  // the key that ends the session isn't sent
    session.link = session.peer.join();
    session.link.expectText("\n");
    session.link.send(text("<off-canonique>\n") + text("back\n"));
    session.console.expectUpTo("back\n");
    session.console.type("cde\n");
    session.link.expectText("cde\n");
    session.console.type("line\n");
    session.link.expectText("line\n");
}

TEST(Input, ATerminalGoesOnBehindItsEndCharacter) {
    Session session({}, Keyboard::kTerminal);
    session.link.send(text("<on-canonique>\n") + text("key?\n"));
    session.console.expect("key?\n");
    session.console.type("\n");  // may still go as a line
    session.link.expectText("\n");
    session.console.type("\x04z\n");
    for (const char* key : {"\xff", "z", "\n"}) session.link.expectText(key);
}

TEST(DumpBytes, PrintsCountAddressAndBytes) {
    const std::string bytes(60, '\xa5');
    testing::internal::CaptureStdout();
    dump_bytes(bytes.data(), 60);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("SIZE 60\n\n[0-9a-f]+ : (a5 ){60}\n"));
}
