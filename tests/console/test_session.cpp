#include "support/console_process.h"
#include "support/scratch_directory.h"
#include "util/i_os.h"

using namespace support;

TEST(Session, FindsItsServerWheneverThatComesUp) {
    Peer peer;
    ConsoleProcess console({"127.0.0.1", peer.port});
    const std::string trying = "Trying connect: 127.0.0.1 " + peer.port + "\n";
    const std::string refused = "Connection with 127.0.0.1 on port " + peer.port + " isn't OK \n";
    const std::string connected =
        "\nConnection with 127.0.0.1 , port " + peer.port +
        " is OK \n\n"
        "You can give arguments -xxx-yyy in command-line, forwarded to main_zor!\n\n"
        "Local commands:\n"
        "\tKELx        to change KEL (-1 is first connected KEL)\n"
        "\t>> filename to record in a local file \n\n"
        "write set_client: nbe= 132\n\nPress return";
    console.expect("Usage: [hostname] \n" + trying + refused + refused);
    peer.listen();
    peer.join().hangUp();
    const auto start = std::chrono::steady_clock::now();
    const Link link = peer.join();
    console.expect(connected + "cnx not ok!\nserver disconnected!\n" + trying + connected);
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
}

TEST(Session, ArgumentsTargetAndRecordingSurviveAReconnect) {
    const ScratchDirectory scratch;
    const std::string file = scratch.path("a b");
    Session session({"-abc"});
    session.link.expectText("0 p -abc");
    session.console.type("KEL7\n");
    session.link.expect(frame(10, 7, -1) + frame(10, 6, 7));
    session.console.type("  >> \"" + file + "\"\n");
    session.console.expectUpTo("file " + file + " is opened to record");
    const std::string body(20'000, 'n');
    session.link.send(text("one\n") + text(body).substr(0, 132 + 15'000));
    session.console.expect("one\n" + body.substr(0, 10'000));  // each whole chunk, at once
    session.link.hangUp();
    session.reconnect();
    session.link.expectText("0 p -abc", 7);
    session.link.send(text("two\n"));
    session.console.expect("two\n");
    EXPECT_EQ(scratch.read("a b"), "one\n" + body.substr(0, 10'000) + "two\n");
    session.console.type(">>\n");
    session.console.expect("file >> is opened to record");
    EXPECT_TRUE(std::filesystem::remove(">>"));
    session.console.type("to the server\n");  // the commands weren't
    session.link.expectText("to the server\n", 7);
}

// The screen stops, as a terminal does. Until it goes on, the operator's next file waits: no text
// may be shown behind its answer and be missing in it.
TEST(Session, TheRecordingHasAllThatAStoppedScreenShows) {
    const ScratchDirectory scratch;
    Session session;
    std::string body;
    while (body.size() < 200'000) body += std::to_string(body.size()) + "\n";
    session.console.type(">> " + scratch.path("first") + "\n");
    session.console.expect("file " + scratch.path("first") + " is opened to record");
    session.console.stop([&] { session.link.send(text(body)); });
    EXPECT_GE(scratch.read("first").size(), ConsoleProcess::kStopped) << "no less than is shown";
    session.console.type(">> " + scratch.path("next") + "\n");
    threadSleep(1'500);  // in which the console takes the command, if it doesn't wait
    const std::string before =
        session.console.expectUpTo("file " + scratch.path("next") + " is opened to record");
    session.link.send(text("end\n"));
    const std::string behind = session.console.expectUpTo("end\n") + "end\n";
    const std::string next = scratch.read("next");
    EXPECT_EQ(before + behind, body + "end\n");
    EXPECT_EQ(scratch.read("first") + next, body + "end\n");
    EXPECT_GE(next.size(), behind.size());
}
