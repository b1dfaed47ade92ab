#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "console_receiver.h"
#include "support/feed.h"

namespace {

using namespace std::string_literals;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kEnd = "cnx not ok!\nserver disconnected!\n";

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ReceiverTest : public testing::Test {
  protected:
    ReceiverTest() { std::setvbuf(stdout, nullptr, _IONBF, 0); }
    ~ReceiverTest() override { std::filesystem::remove(path_); }

    /// Receives the pieces to their end and gives the screen.
    std::string receive(const std::vector<std::string>& pieces) {
        FedLine line;
        std::thread feeder([&] {
            EXPECT_TRUE(line.feedAll(pieces));
            line.hangUp();
        });
        CaptureStdout();
        Receiver(line.near, recorder_, cnx_ok_, canonique_).run();
        feeder.join();
        EXPECT_EQ(cnx_ok_, 0);
        return GetCapturedStdout();
    }

    void record(const std::string& name) {
        CaptureStdout();
        recorder_.open(name.c_str());
        opened_ = GetCapturedStdout();
    }

    const std::string path_ = testing::TempDir() + "record_" + std::to_string(::getpid());
    std::string opened_;
    Recorder recorder_;
    std::atomic<short> cnx_ok_{1};
    std::atomic<short> canonique_{0};
};

TEST_F(ReceiverTest, ShowsAndRecordsTextAndObeysControlTexts) {
    const std::string long_text(3000, 'L');
    const struct {
        const char* what;
        std::string stream;
        std::string screen;
        std::string recorded;
    } cases[] = {
        {"texts in order, with % in them", packFrame("100%s ") + packFrame("%d\n\0"s), "100%s %d\n",
         "100%s %d\n"},
        {"the text ends at the first zero", packFrame("seen\0hidden"s) + packFrame("\0all hidden"s),
         "seen", "seen"},
        {"op 6 and no body leave no trace", packFrame("no", 6) + packFrame("") + packFrame("y", -1),
         "y", "y"},
        {"clear", packFrame("a") + packFrame("<clear-screen>\n\0"s) + packFrame("b"),
         "a\033[1;1f\033[2J\nb", "a<clear-screen>\nb"},
        {"control texts with company", packFrame("<clear-screen>\n ") + packFrame("<clear-screen>"),
         "<clear-screen>\n <clear-screen>", "<clear-screen>\n <clear-screen>"},
        {"large beside small", packFrame("s") + packFrame(long_text + long_text) + packFrame("e"),
         "s" + long_text + long_text + "e", "s" + long_text + long_text + "e"},
        {"many small",
         [] {
             std::string all;
             for (int i = 0; i < 2000; ++i)
                 all += packFrame(std::string(80, 'm'));
             return all;
         }(),
         std::string(160'000, 'm'), std::string(160'000, 'm')},
        {"a control text at the end of a first chunk is text",
         packFrame(std::string(9985, '.') + "<clear-screen>\n" + "<clear-screen>\n"),
         std::string(9985, '.') + "<clear-screen>\n\033[1;1f\033[2J\n",
         std::string(9985, '.') + "<clear-screen>\n<clear-screen>\n"},
        {"zeros end a chunk, not the body",
         packFrame("A" + std::string(9999, '\0') + "B" + std::string(9999, '\0') + "C"), "ABC",
         "ABC"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        record(path_);
        EXPECT_EQ(opened_, "file " + path_ + " is opened to record");
        EXPECT_EQ(receive({test.stream}), test.screen + kEnd);
        EXPECT_EQ(contentOf(path_), test.recorded);
    }
    // A body of which the last chunk didn't arrive whole.
    const std::string cut = packFrame(std::string(20'000, 'c'));
    EXPECT_EQ(receive({cut.substr(0, cut.size() - 1)}),
              std::string(10'000, 'c') + "server disconnected!\n");
}

TEST_F(ReceiverTest, SwitchesTheInputByTheServersWish) {
    receive({packFrame("<on-canonique>\n\0"s)});
    EXPECT_EQ(canonique_, 1);
    EXPECT_EQ(receive({packFrame("<off-canonique> \n")}), "<off-canonique> \n" + kEnd);
    EXPECT_EQ(canonique_, 1);
    receive({packFrame("<off-canonique>\n")});
    EXPECT_EQ(canonique_, 0);
}

TEST_F(ReceiverTest, HasEverythingOutBeforeItWaitsForMore) {
    record(path_);
    FedLine line;
    CaptureStdout();
    std::thread receiver([&] { Receiver(line.near, recorder_, cnx_ok_, canonique_).run(); });
    const std::string next = packFrame(std::string(20'000, 'n'));
    EXPECT_TRUE(line.feed(packFrame("first") + next.substr(0, 132 + 15'000)));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (contentOf(path_).size() < 10'005 && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    EXPECT_EQ(contentOf(path_), "first" + std::string(10'000, 'n'));
    line.hangUp();
    receiver.join();
    EXPECT_EQ(GetCapturedStdout(), "first" + std::string(10'000, 'n') + "server disconnected!\n");
}

TEST_F(ReceiverTest, StartsAFullFileOver) {
    const std::string full = "\n\n......  FILE " + path_ + " IS FULL ...... REWINDING !!!\n";
    record(path_);
    const std::string chunk(10'000, 'o');
    for (int i = 0; i < 5'000; ++i)
        ASSERT_EQ(recorder_.record(chunk), "");
    EXPECT_EQ(receive({packFrame("+")}), "+" + kEnd) << "exactly at the limit";
    EXPECT_EQ(receive({packFrame("new") + packFrame("er")}), "new" + full + "er" + kEnd);
    const std::string content = contentOf(path_);
    EXPECT_EQ(content.size(), 50'000'001 + full.size());
    EXPECT_EQ(content.substr(0, 8), "newerooo");
    EXPECT_EQ(content.substr(50'000'000), "+" + full);

    for (int i = 0; i < 5'000; ++i)
        ASSERT_EQ(recorder_.record(chunk), "");
    recorder_.settle();
    std::filesystem::remove(path_);
    EXPECT_EQ(receive({packFrame("lost")}),
              "lost" + full + "error opening " + path_ + " to write\n" + kEnd);
    EXPECT_EQ(receive({packFrame("on")}), "on" + kEnd);
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ReceiverTest, RefusesNamesItCannotOpenAndStopsTheRecording) {
    const std::string longest = path_ + std::string(79 - path_.size(), 'n');
    for (const std::string& name : {longest + "n", testing::TempDir() + "no-such-dir/f"}) {
        record(longest);
        EXPECT_EQ(opened_, "file " + longest + " is opened to record");
        receive({packFrame("kept")});
        record(name);
        EXPECT_EQ(opened_, "error opening " + name + " to write\n");
        EXPECT_FALSE(std::filesystem::exists(name));
        EXPECT_EQ(receive({packFrame("more")}), "more" + kEnd);
        EXPECT_EQ(contentOf(longest), "kept");
    }
    std::filesystem::remove(longest);
}

TEST_F(ReceiverTest, TellsAFullDiskOnceAndGoesOn) {
    record("/dev/full");
    testing::internal::CaptureStderr();
    EXPECT_EQ(receive({packFrame("a"), packFrame("b")}), "ab" + kEnd);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error writing to /dev/full: No space left on device\n");
}

TEST_F(ReceiverTest, KeepsTextsWholeWhileTheOperatorChangesFiles) {
    const std::string other = path_ + "b";
    std::atomic<bool> done{false};
    CaptureStdout();
    recorder_.open(path_.c_str());
    std::thread receiver([&] {
        const std::string text(100, 'w');
        while (!done) {
            for (int i = 0; i < 5; ++i)
                recorder_.record(text);
            recorder_.settle();
        }
    });
    for (int i = 0; i < 50; ++i) {
        recorder_.open(other.c_str());
        recorder_.open(path_.c_str());
        EXPECT_EQ(contentOf(other).size() % 100, 0u);
    }
    done = true;
    receiver.join();
    GetCapturedStdout();
    std::filesystem::remove(other);
}

}  // namespace
