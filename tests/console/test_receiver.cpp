#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>

#include "console_receiver.h"
#include "support/feed.h"
#include "support/scratch_directory.h"

using namespace std::string_literals;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kEnd = "cnx not ok!\nserver disconnected!\n";

static std::function<void()> while_opening;  // once, in the next opening of a file

extern "C" int open(const char* name, int flags, ...) {
    if (while_opening) std::exchange(while_opening, nullptr)();
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, name, flags, 0600));
}

class ReceiverTest : public testing::Test {
  protected:
    ReceiverTest() { std::setvbuf(stdout, nullptr, _IONBF, 0); }

    /// Receives a stream to its end and gives the screen.
    std::string receive(const std::string& stream) {
        FedLine line(stream);
        CaptureStdout();
        Receiver(line.near, recorder_, cnx_ok_, canonique_).run();
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
    const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
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
    for (const auto& [what, stream, screen, recording] : rows) {
        EXPECT_EQ(open(path_), opened(path_));
        EXPECT_EQ(receive(stream), screen + kEnd) << what;
        EXPECT_EQ(recorded(), recording) << what;
    }
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
    setrlimit(RLIMIT_FSIZE, &limited);
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
        recorder_.record(text, "");
        recorder_.record(text, "");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "error writing to " + name + ": " + reason + "\n");
    }
    setrlimit(RLIMIT_FSIZE, &unlimited);
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

TEST_F(ReceiverTest, LeavesNoTextBetweenTwoRecordings) {
    open(path_);
    while_opening = [this] { recorder_.record("between", ""); };
    open(scratch_.path("next"));
    recorder_.record("behind", "");
    EXPECT_EQ(recorded(), "between");
    EXPECT_EQ(scratch_.read("next"), "behind");
    while_opening = [this] { recorder_.record(" and more", ""); };
    open(scratch_.path("next"));  // emptied when it takes over, and not before
    recorder_.record("anew", "");
    EXPECT_EQ(scratch_.read("next"), "anew");
}

TEST_F(ReceiverTest, EndsARecordingWhoseSuccessorCannotBeOpened) {
    const std::string longest = path_ + std::string(79 - path_.size(), 'n');
    EXPECT_EQ(open(longest), opened(longest));
    EXPECT_EQ(open(longest + "n"), "error opening " + longest + "n to write\n");
    EXPECT_FALSE(std::filesystem::exists(longest + "n"));
    receive(packFrame("more"));
    EXPECT_EQ(scratch_.read(std::filesystem::path(longest).filename()), "");
}
