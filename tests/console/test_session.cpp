#include <filesystem>
#include <fstream>
#include <list>

#include "support/console_process.h"

namespace {

using namespace support;

constexpr char kLocalCommands[] =
    "Local commands:\n"
    "\tKELx        to change KEL (-1 is first connected KEL)\n"
    "\t>> filename to record in a local file \n\n"
    "write set_client: nbe= 132\n\nPress return";
constexpr char kArgumentsHint[] =
    "You can give arguments -xxx-yyy in command-line, forwarded to main_zor!\n\n";

TEST(Session, FindsItsServerWheneverThatComesUp) {
    Peer peer;
    ConsoleProcess console({"127.0.0.1", peer.port()});
    const std::string refused = "Connection with 127.0.0.1 on port " + peer.port() + " isn't OK \n";
    const std::string trying = "Trying connect: 127.0.0.1 " + peer.port() + "\n";
    const std::string connected =
        "\nConnection with 127.0.0.1 , port " + peer.port() + " is OK \n\n";
    console.expect("Usage: [hostname] \n" + trying + refused + refused);
    peer.listen();
    Link link = peer.join();
    console.expect(connected + kArgumentsHint + kLocalCommands);
    link = Link(-1);
    link = peer.join();
    console.expect("cnx not ok!\nserver disconnected!\n" + trying + connected + kArgumentsHint +
                   kLocalCommands);
}

TEST(Session, ArgumentsTargetAndRecordingSurviveAReconnect) {
    const std::string file = testing::TempDir() + "zor" + std::to_string(getpid());
    Session session({"-abc"});
    session.link.expectText("0 p -abc");
    session.console.type("KEL7\n");
    session.link.expect(frame(10, 7, -1) + frame(10, 6, 7));
    session.console.type(">> " + file + "\n");
    session.console.expectUpTo("file " + file + " is opened to record");
    session.link.send(text("one\n"));
    session.console.expect("one\n");
    session.link = Link(-1);
    session.reconnect();
    session.link.expectText("0 p -abc", 7);
    session.link.send(text("two\n") + frame(10, 6, -1, "hidden") + text("<clear-screen>\n"));
    session.console.expect("two\n\033[1;1f\033[2J\n");
    session.console.type(">> /dev/null\n");  // the last text is in the file once this is heard
    session.console.expectUpTo("file /dev/null is opened to record");
    std::ostringstream recorded;
    recorded << std::ifstream(file).rdbuf();
    EXPECT_EQ(recorded.str(), "one\ntwo\n<clear-screen>\n");
    std::filesystem::remove(file);
}

TEST(Session, RecordingThatFailsLeavesTheSessionUp) {
    Session session;
    const std::string too_long(80, 'n');
    for (const std::string& name : {std::string("/no/such/place"), too_long}) {
        session.console.type("  >> " + name + "\n");
        session.console.expect("error opening " + name + " to write\n");
    }
    session.console.type(">> /dev/full\n");
    session.console.expect("file /dev/full is opened to record");
    session.link.send(text("a\n") + text("b\n"));
    session.console.expect("a\nb\n");
    EXPECT_NE(session.console.complaint(kPatience), "");
    EXPECT_FALSE(std::filesystem::exists(too_long));
}

TEST(Session, DeliveriesInTwoPiecesGiveTheSameText) {
    Session session;
    const std::string whole = text("whole\n");
    for (std::size_t cut = 1; cut < whole.size(); ++cut) {
        session.link.send(whole.substr(0, cut));
        usleep(1000);  // for the kernel to deliver the pieces apart; the text doesn't hang on it
        session.link.send(whole.substr(cut));
        session.console.expect("whole\n");
    }
}

// Each story ends with the loss of the connection, and each console finds its server again.
TEST(Session, NoServerKillsOrHangsTheConsole) {
    const std::string lost = "cnx not ok!\n";
    const std::string shown(20000, 's');
    const struct {
        std::string sent;
        std::string said;  // between "Press return" and "server disconnected!"
    } rows[] = {
        {"", lost},
        {"\x88\x44\x22", lost},
        {text("x").substr(0, 30), ""},
        {text("x").substr(0, 131), ""},
        {header(10, 5, -1, 30000) + shown + "never shown", shown},
        {"garbage!" + text("good\n"),
         "\n@@@@@@@@@ incorrect begin_head , nb= 0 @@@@@@@@@\n"
         "\n@@@@@@@@@ end of incorrect begin_head, nb= 2 @@@@@@@@@\ngood\n" +
             lost},
        {header(10, 5, -1, -1) + header(10, 5, -1, 1000001) + text("good\n"),
         "incorrect lg: -1\nincorrect lg: 1000001\ngood\n" + lost},
        {header(3, 2, 1, 2, 27).substr(0, 48) + "v\n", "v\n" + lost},
        {text("%s %n 100%\n") + text("<clear-screen>\n!") + frame(10, 6, -1, "no") + text(""),
         "%s %n 100%\n<clear-screen>\n!" + lost},
    };
    std::list<Session> sessions;
    for (const auto& row : rows) {
        sessions.emplace_back();
        sessions.back().link.send(row.sent);
        sessions.back().link = Link(-1);
    }
    for (auto session = sessions.begin(); const auto& row : rows) {
        EXPECT_EQ((session++)->reconnect(), row.said);
    }
    // A reset may overtake what was sent before it, and a server may close before it has read.
    Session& session = sessions.front();
    session.link.send(header(10, 5, -1, 30000) + shown);
    session.link.reset();
    session.reconnect();
    session.link.reset();
    session.peer.accept().reset();
    session.link = session.peer.join();
}

// The connection breaks in the second before the first read, so the writes find it broken.
TEST(Session, WriteOnABrokenConnectionOnlyFails) {
    Session session({"-x"});
    session.link.expectText("0 p -x");
    session.link.reset();
    session.console.type("KEL1\n");
    const std::string failed = "write set_client: nbe= -1\n";
    session.console.expect(failed + "\nkel_id = 1\n" + failed +
                           "cnx not ok!\nserver disconnected!\n");
    session.link = session.peer.join();
}

TEST(Session, ClosedStandardDescriptorsNeverBecomeTheConnection) {
    Peer peer;
    peer.listen();
    ConsoleProcess console({"127.0.0.1", peer.port()}, Terminal::kClosed);
    Link link = peer.join();
    const std::string folder = "/proc/" + std::to_string(console.pid()) + "/fd/";
    for (const char* name : {"0", "1", "2"})
        EXPECT_EQ(std::filesystem::read_symlink(folder + name), "/dev/null");
}

}  // namespace
