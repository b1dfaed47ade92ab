#include "support/console_process.h"
#include "support/scratch_directory.h"

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
    const Link link = peer.join();
    console.expect(connected + "cnx not ok!\nserver disconnected!\n" + trying + connected);
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
    session.link.send(text("one\n"));
    session.console.expect("one\n");
    session.link.hangUp();
    session.reconnect();
    session.link.expectText("0 p -abc", 7);
    session.link.send(text("two\n"));
    session.console.expect("two\n");
    EXPECT_EQ(scratch.read("a b"), "one\ntwo\n");
    session.console.type(">>\n");
    session.console.expect("file >> is opened to record");
    EXPECT_TRUE(std::filesystem::remove(">>"));
}

TEST(Session, NoServerKillsOrHangsTheConsole) {
    Session session;
    // A reset may overtake what was sent before it, and a server may close before it has read.
    session.link.reset();
    session.peer.accept().reset();
    session.peer.join().hangUp();
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
}

TEST(Session, ClosedStandardDescriptorsNeverBecomeTheConnection) {
    Peer peer;
    peer.listen();
    const ConsoleProcess console({"127.0.0.1", peer.port}, Terminal::kClosed);
    const Link link = peer.join();
    for (const char* fd : {"/fd/0", "/fd/1", "/fd/2"})
        EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(console.pid()) + fd),
                  "/dev/null");
}
