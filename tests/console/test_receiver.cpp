#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "console_receiver.h"
#include "support/feed.h"
#include "support/scratch_directory.h"
#include "util/i_os.h"

namespace {

using namespace std::string_literals;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kGone = "server disconnected!\n";
const std::string kEnd = "cnx not ok!\n" + kGone;

/// Waits until `holds`; a test goes on when it does or when patience is lost.
template <typename Condition>
void waitUntil(Condition holds) {
    for (int waited = 0; waited < kPatience && !holds(); ++waited) threadSleep(1);
}

class ReceiverTest : public testing::Test {
  protected:
    ReceiverTest() { std::setvbuf(stdout, nullptr, _IONBF, 0); }

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
    static std::string opened(const std::string& name) {
        return "file " + name + " is opened to record";
    }
    std::string recorded() const { return scratch_.read("record"); }

    /// Brings a new recording to its limit of 50,000,000 bytes.
    void fill() {
        open(path_);
        recorder_.record(std::string(50'000'000, 'o'), "");
    }

    const ScratchDirectory scratch_;
    const std::string path_ = scratch_.path("record");
    Recorder recorder_;
    std::atomic<short> cnx_ok_{1};
    std::atomic<short> canonique_{0};
};

TEST_F(ReceiverTest, ShowsAndRecordsTextAndObeysControlTexts) {
    const std::string dots(9985, '.');
    const std::string clear = "<clear-screen>\n";
    const std::string cleared = "\033[1;1f\033[2J\n";
    std::string small;
    std::string many;
    for (int i = 0; i < 4000; ++i) {
        const std::string line = std::to_string(i) + "\n";
        small += packFrame(line);
        many += line;
    }
    const struct {
        const char* what;
        std::string stream;
        std::string screen;
        std::string recording;
    } rows[] = {
        {"no formats", packFrame("100%s ") + packFrame("%d\n\0"s), "100%s %d\n", "100%s %d\n"},
        {"hidden and empty", packFrame("no", 6) + packFrame("") + packFrame("y", -1), "y", "y"},
        {"clear", packFrame("a") + packFrame(clear + '\0') + packFrame("b"), "a" + cleared + "b",
         "a" + clear + "b"},
        {"not clear", packFrame(clear + " "), clear + " ", clear + " "},
        {"many small ones and a long one", small + packFrame(many + many), many + many + many,
         many + many + many},
        {"a message in its place", packFrame("a") + support::header(10, 5, -1, -1) + packFrame("b"),
         "aincorrect lg: -1\nb", "ab"},
        {"a control text is a chunk", packFrame(dots + clear + clear), dots + clear + cleared,
         dots + clear + clear},
        {"a zero ends a chunk, not the body", packFrame("A" + std::string(9999, '\0') + "B"), "AB",
         "AB"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(open(path_), opened(path_));
        EXPECT_EQ(receive(row.stream), row.screen + kEnd) << row.what;
        EXPECT_EQ(recorded(), row.recording) << row.what;
    }
}

TEST_F(ReceiverTest, HasEveryWholeChunkOutBeforeItWaitsForMore) {
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
    waitUntil([&] { return shown() >= out.size(); });
    EXPECT_EQ(recorded(), out);
    EXPECT_EQ(shown(), out.size());
    line.hangUp();
    receiver.join();
    EXPECT_EQ(GetCapturedStdout(), out + kGone);
}

// Standard output is a pipe that nobody reads at first, as a stopped terminal is. Until it goes on,
// the operator's next file waits: no text may be shown behind its answer and be missing in it.
TEST_F(ReceiverTest, RecordsBeforeAStoppedScreenTakesAnything) {
    constexpr int kPipeSize = 4096;
    open(path_);
    const std::string next = scratch_.path("next");
    const std::string text(60'000, 't');
    FedLine line;
    EXPECT_TRUE(line.feed({packFrame(text)}));
    line.hangUp();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, kPipeSize), kPipeSize);
    const int terminal = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);  // from here on a failed expectation couldn't be shown either
    std::thread receiver([&] { Receiver(line.near, recorder_, cnx_ok_, canonique_).run(); });
    int shown = 0;
    waitUntil([&] { return ioctl(ends[0], FIONREAD, &shown) == 0 && shown == kPipeSize; });
    std::thread operators([&] { recorder_.open(next.c_str()); });
    threadSleep(50);  // long enough for a file that doesn't wait
    const bool waits = !std::filesystem::exists(next);
    const std::string at_the_stop = recorded();
    std::string all(text.size() + kEnd.size() + opened(next).size(), '\0');
    for (std::size_t got = 0; got < all.size();)
        got += static_cast<std::size_t>(read(ends[0], &all[got], all.size() - got));
    receiver.join();
    operators.join();
    dup2(terminal, STDOUT_FILENO);
    for (const int fd : {terminal, ends[0], ends[1]}) close(fd);
    all.erase(all.find(opened(next)), opened(next).size());  // it may stand between two chunks
    EXPECT_EQ(all, text + kEnd);
    EXPECT_EQ(shown, kPipeSize);
    EXPECT_GE(at_the_stop.size(), 10'000u) << "no less than the chunk that the screen has begun";
    EXPECT_TRUE(waits);
}

// A text is told once for each file, and a signal that a write raises ends nothing.
TEST_F(ReceiverTest, TellsOnceWhyAWriteFailedAndGoesOn) {
    const std::string pipe = scratch_.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(open(pipe), "error opening " + pipe + " to write\n") << "nobody reads it";
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit limited{1'000, unlimited.rlim_max};
    const std::string text(2'000, 't');  // more than that
    const std::pair<std::string, std::string> rows[] = {
        {"/dev/full", "No space left on device"},
        {pipe, "Broken pipe"},
        {path_, "File too large"},
    };
    for (const auto& [name, reason] : rows) {
        EXPECT_EQ(open(name), opened(name));
        close(name == pipe ? reader : -1);
        testing::internal::CaptureStderr();
        if (name == path_) setrlimit(RLIMIT_FSIZE, &limited);
        recorder_.record(text, "");
        recorder_.record(text, "");
        setrlimit(RLIMIT_FSIZE, &unlimited);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "error writing to " + name + ": " + reason + "\n");
    }
    open(path_);
    receive(packFrame("kept"));
    EXPECT_EQ(recorded(), "kept");
}

TEST_F(ReceiverTest, StartsAFullFileOverBetweenTwoTexts) {
    const std::string full = "\n\n......  FILE " + path_ + " IS FULL ...... REWINDING !!!\n";
    fill();
    EXPECT_EQ(receive(packFrame("+") + packFrame("new") + packFrame("er")),
              "+new" + full + "er" + kEnd);
    EXPECT_EQ(recorded().substr(0, 8), "newerooo");
    EXPECT_EQ(recorded().substr(50'000'000), "+" + full);
}

TEST_F(ReceiverTest, StopsRecordingWhenAFullFileIsGone) {
    fill();
    receive(packFrame("+"));
    std::filesystem::remove(path_);
    EXPECT_EQ(receive(packFrame("last") + packFrame("lost")),
              "last\n\n......  FILE " + path_ + " IS FULL ...... REWINDING !!!\nerror opening " +
                  path_ + " to write\nlost" + kEnd);
    EXPECT_EQ(receive(packFrame("on")), "on" + kEnd);
}

TEST_F(ReceiverTest, EndsARecordingWhoseSuccessorCannotBeOpened) {
    const std::string longest = path_ + std::string(79 - path_.size(), 'n');
    EXPECT_EQ(open(longest), opened(longest));
    receive(packFrame("kept"));
    EXPECT_EQ(open(longest + "n"), "error opening " + longest + "n to write\n");
    EXPECT_FALSE(std::filesystem::exists(longest + "n"));
    receive(packFrame("more"));
    EXPECT_EQ(scratch_.read(std::filesystem::path(longest).filename()), "kept");
}

}  // namespace
