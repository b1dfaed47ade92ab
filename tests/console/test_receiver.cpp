#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "console_receiver.h"
#include "support/feed.h"
#include "util/i_os.h"

namespace {

using namespace std::string_literals;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kGone = "server disconnected!\n", kEnd = "cnx not ok!\n" + kGone;

std::string contentOf(const std::string& path) {
    return (std::ostringstream() << std::ifstream(path).rdbuf()).str();
}

class ReceiverTest : public testing::Test {
  protected:
    ReceiverTest() { std::setvbuf(stdout, nullptr, _IONBF, 0); }
    ~ReceiverTest() override { std::filesystem::remove(path_); }

    /// Receives a stream to its end and gives the screen.
    std::string receive(const std::string& stream) {
        FedLine line;
        std::thread feeder([&] {
            EXPECT_TRUE(line.feed({stream}));
            line.hangUp();
        });
        CaptureStdout();
        Receiver(line.near, recorder_, cnx_ok_, canonique_).run();
        feeder.join();
        EXPECT_EQ(cnx_ok_, 0);
        return GetCapturedStdout();
    }

    std::string open(const std::string& name) {
        CaptureStdout();
        recorder_.open(name.c_str());
        return GetCapturedStdout();
    }

    /// Brings a new recording to its limit of 50,000,000 bytes.
    void fill() {
        open(path_);
        const std::string chunk(10'000, 'o');
        for (int i = 0; i < 5'000; ++i) ASSERT_EQ(recorder_.record(chunk), "");
        recorder_.settle();
    }

    const std::string path_ = testing::TempDir() + "record_" + std::to_string(::getpid());
    Recorder recorder_;
    std::atomic<short> cnx_ok_{1}, canonique_{0};
};

TEST_F(ReceiverTest, ShowsAndRecordsTextAndObeysControlTexts) {
    const std::string dots(9985, '.'), clear = "<clear-screen>\n", large(6000, 'L');
    const std::string all = std::string(160'000, 'm') + large;
    std::string small;
    while (small.size() < 2000 * 212) small += packFrame(std::string(80, 'm'));
    // Stream, screen, recording.
    const std::vector<std::vector<std::string>> cases = {
        {packFrame("100%s ") + packFrame("%d\n\0"s), "100%s %d\n", "100%s %d\n"},
        {packFrame("seen\0hidden"s) + packFrame("\0all hidden"s), "seen", "seen"},
        {packFrame("no", 6) + packFrame("") + packFrame("y", -1), "y", "y"},
        {packFrame("a") + packFrame(clear + '\0') + packFrame("b"), "a\033[1;1f\033[2J\nb",
         "a" + clear + "b"},
        {packFrame(clear + " "), clear + " ", clear + " "},
        {packFrame("<clear-screen>"), "<clear-screen>", "<clear-screen>"},
        {small + packFrame(large), all, all},
        {packFrame("a") + packFrame("", 5, 29, -1), "aincorrect lg: -1\n", "a"},
        // A control text counts as a chunk of its own only; a zero ends a chunk, not the body.
        {packFrame(dots + clear + clear), dots + clear + "\033[1;1f\033[2J\n",
         dots + clear + clear},
        {packFrame("A" + std::string(9999, '\0') + "B"), "AB", "AB"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(open(path_), "file " + path_ + " is opened to record");
        EXPECT_EQ(receive(test[0]), test[1] + kEnd);
        EXPECT_EQ(contentOf(path_), test[2]);
    }
    receive(packFrame("<on-canonique>\n\0"s) + packFrame("<off-canonique> \n"));
    EXPECT_EQ(canonique_, 1);
    receive(packFrame("<off-canonique>\n"));
    EXPECT_EQ(canonique_, 0);
}

TEST_F(ReceiverTest, HasEverythingOutBeforeItWaitsForMore) {
    open(path_);
    FedLine line;
    CaptureStdout();
    std::thread receiver([&] { Receiver(line.near, recorder_, cnx_ok_, canonique_).run(); });
    const std::string next = packFrame(std::string(20'000, 'n'));
    const std::string out = "first" + std::string(10'000, 'n');
    EXPECT_TRUE(line.feed({packFrame("first") + next.substr(0, 132 + 15'000)}));
    const auto shown = [] {
        struct stat screen {};
        return fstat(STDOUT_FILENO, &screen) == 0 ? static_cast<std::size_t>(screen.st_size) : 0;
    };
    for (int i = 0; i < 10'000 && shown() < out.size(); ++i) threadSleep(1);
    EXPECT_EQ(contentOf(path_), out) << "the recording comes before the screen";
    EXPECT_EQ(shown(), out.size()) << "no chunk in part";
    line.hangUp();
    receiver.join();
    EXPECT_EQ(GetCapturedStdout(), out + kGone);
}

// The pending text lies in memory of the receiver, which may use it again once it has settled.
TEST_F(ReceiverTest, WritesPendingTextBeforeTheRecordingChangesHands) {
    const std::string fifo = path_ + "_fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(open(fifo), "error opening " + fifo + " to write\n") << "nobody reads it";
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(open(fifo), "file " + fifo + " is opened to record");
    const std::string sent(100'000, 's');  // more than the pipe takes at once
    std::string pending = sent, got;
    recorder_.record(pending);
    std::thread operators([&] { recorder_.open(path_.c_str()); });
    for (int there = 0; there < 65'536; ::ioctl(reader, FIONREAD, &there)) threadSleep(1);
    std::thread receiver([&] {
        recorder_.settle();
        pending.assign(sent.size(), 'X');
    });
    threadSleep(20);  // enough for a settle that doesn't wait
    char piece[65'536];
    for (ssize_t count = 1; count != 0; count = ::read(reader, piece, sizeof piece))
        if (count > 1) got.append(piece, static_cast<std::size_t>(count));
    operators.join();
    receiver.join();
    EXPECT_TRUE(got == sent);
    recorder_.open(fifo.c_str());
    recorder_.record("for nobody");
    ::close(reader);
    testing::internal::CaptureStderr();
    recorder_.settle();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error writing to " + fifo + ": Broken pipe\n");
    std::filesystem::remove(fifo);
    recorder_.open(path_.c_str());
    recorder_.record("old");
    recorder_.open(path_.c_str());
    EXPECT_EQ(contentOf(path_), "") << "emptied behind what was pending";
}

TEST_F(ReceiverTest, KeepsTextsWholeWhileTheOperatorChangesFiles) {
    std::thread changes([&] {
        for (int i = 0; i < 101; ++i) recorder_.open(i % 2 ? "/dev/null" : path_.c_str());
    });
    receive(packFrame(std::string(1'000'000, 'm')));
    changes.join();
    EXPECT_EQ(contentOf(path_).size() % 10'000, 0u);
}

TEST_F(ReceiverTest, StartsAFullFileOver) {
    const std::string full = "\n\n......  FILE " + path_ + " IS FULL ...... REWINDING !!!\n";
    fill();
    EXPECT_EQ(receive(packFrame("+")), "+" + kEnd) << "exactly at the limit";
    EXPECT_EQ(receive(packFrame("new") + packFrame("er")), "new" + full + "er" + kEnd);
    EXPECT_EQ(contentOf(path_).substr(0, 8), "newerooo");
    EXPECT_EQ(contentOf(path_).substr(50'000'000), "+" + full);

    fill();
    std::filesystem::remove(path_);
    EXPECT_EQ(receive(packFrame("last") + packFrame("lost")),
              "lastlost" + full + "error opening " + path_ + " to write\n" + kEnd);
    EXPECT_EQ(receive(packFrame("on")), "on" + kEnd);
}

TEST_F(ReceiverTest, SaysWhatItCannotRecordAndGoesOn) {
    const std::string longest = path_ + std::string(79 - path_.size(), 'n');
    for (const std::string& name : {longest + "n", testing::TempDir() + "no-such-dir/f"}) {
        EXPECT_EQ(open(longest), "file " + longest + " is opened to record");
        receive(packFrame("kept"));
        EXPECT_EQ(open(name), "error opening " + name + " to write\n");
        EXPECT_FALSE(std::filesystem::exists(name));
        receive(packFrame("more"));
        EXPECT_EQ(contentOf(longest), "kept");
    }
    std::filesystem::remove(longest);
    open("/dev/full");
    testing::internal::CaptureStderr();
    EXPECT_EQ(receive(packFrame("a")) + receive(packFrame("b")), "a" + kEnd + "b" + kEnd);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error writing to /dev/full: No space left on device\n");
}

}  // namespace
