#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "norba/i_msg.h"
#include "support/feed.h"

namespace {

using namespace std::string_literals;

struct Reading {
    std::string bodies;  // each behind its lg, so that headers without a body show
    std::string screen;
};

/// Reads everything that the pieces deliver, until the connection is lost.
Reading readAll(const std::vector<std::string>& pieces) {
    FedLine line;
    std::atomic<short> cnx_ok{7};
    bool fed = false;
    std::thread feeder([&] {
        fed = line.feedAll(pieces);
        line.hangUp();
    });
    Reading result;
    testing::internal::CaptureStdout();
    FrameReader reader(line.near, &cnx_ok);
    for (MsgHeader header; reader.readHeader(&header);) {
        EXPECT_EQ(cnx_ok, 1);
        result.bodies += "<" + std::to_string(header.lg()) + ">";
        const char* body = reader.readBody(std::min(header.lg(), BlockReader::kCapacity));
        if (body) result.bodies.append(body, static_cast<std::size_t>(std::min(header.lg(), 9)));
    }
    feeder.join();
    result.screen = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fed);
    EXPECT_EQ(cnx_ok, 0);
    return result;
}

std::string badWord(int count) {
    return "\n@@@@@@@@@ incorrect begin_head , nb= " + std::to_string(count) + " @@@@@@@@@\n";
}

std::string endOfBad(int count) {
    return "\n@@@@@@@@@ end of incorrect begin_head, nb= " + std::to_string(count) + " @@@@@@@@@\n";
}

constexpr char kLost[] = "cnx not ok!\n";

TEST(ReaderTest, KeepsInStepAndFindsBackIntoIt) {
    const std::string frame = packFrame("hello");
    const struct {
        const char* what;
        std::string stream;
        std::string bodies;
        std::string screen;
    } cases[] = {
        {"nothing", "", "", kLost},
        {"no body, then one", packFrame("") + frame, "<0><5>hello", kLost},
        {"short header", packFrame("old", 5, 27) + packFrame("new", 5, 28), "<3>old<3>new", kLost},
        {"version below 0", packFrame("neg", 5, -1) + frame, "<3>neg<5>hello", kLost},
        {"junk on the step", "8 bytes!" + frame, "<5>hello", badWord(0) + endOfBad(2) + kLost},
        {"101 bad words", std::string(404, 'j') + frame, "<5>hello",
         badWord(0) + badWord(100) + endOfBad(101) + kLost},
        {"junk off the step: the second frame is found", "3b!" + packFrame("12345") + frame,
         "<5>hello", badWord(0) + endOfBad(35) + kLost},
        {"length too low", packFrame("four", 5, 29, -3) + frame, "<5>hello",
         "incorrect lg: -3\n" + badWord(0) + endOfBad(1) + kLost},
        {"length too high", packFrame("", 5, 29, 1'000'001) + frame, "<5>hello",
         "incorrect lg: 1000001\n"s + kLost},
        {"lost in the marker", frame + frame.substr(0, 3), "<5>hello", kLost},
        {"lost in the header", frame + frame.substr(0, 47), "<5>hello", ""},
        {"lost in the text", frame + frame.substr(0, 131), "<5>hello", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        const Reading all = readAll({test.stream});
        EXPECT_EQ(all.bodies, test.bodies);
        EXPECT_EQ(all.screen, test.screen);
    }
}

TEST(ReaderTest, TakesABodyOfTheHighestLength) {
    FedLine line;
    const std::string body(FrameReader::kBodyLimit, 'b');
    std::thread feeder([&] { line.feed(packFrame(body)); });
    FrameReader reader(line.near);
    MsgHeader header;
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(header.lg(), FrameReader::kBodyLimit);
    std::string got;
    for (std::int32_t left = header.lg(); left > 0; left -= 10'000)
        got.append(reader.readBody(10'000), 10'000);
    feeder.join();
    EXPECT_TRUE(got == body);
}

TEST(ReaderTest, GivesTheSameForDeliveriesSplitAtEveryByte) {
    const std::string stream = "junk" + packFrame("one") + packFrame("two", 5, 27) + packFrame("3");
    const Reading whole = readAll({stream});
    EXPECT_EQ(whole.bodies, "<3>one<3>two<1>3");
    for (std::size_t at = 1; at < stream.size(); ++at) {
        const Reading split = readAll({stream.substr(0, at), stream.substr(at)});
        ASSERT_EQ(split.bodies, whole.bodies) << "split at " << at;
        ASSERT_EQ(split.screen, whole.screen) << "split at " << at;
    }
    std::vector<std::string> bytes;
    for (const char c : stream)
        bytes.emplace_back(1, c);
    EXPECT_EQ(readAll(bytes).bodies, whole.bodies);
}

TEST(ReaderTest, SettlesBeforeEachReadAndEachMessage) {
    FedLine line;
    std::string events;
    testing::internal::CaptureStdout();
    FrameReader reader(line.near, nullptr, [&] { events += "settle "; });
    MsgHeader header;
    ASSERT_TRUE(
        line.feed(packFrame("a") + packFrame("b") + packFrame("", 5, 29, -1) + packFrame("")));
    for (const int body : {1, 1, 0}) {
        ASSERT_EQ(reader.readHeader(&header), 1);
        events += "header ";
        if (body) reader.readBody(body);
    }
    line.hangUp();
    EXPECT_EQ(reader.readHeader(&header), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(events, "settle header header settle header settle ");
}

}  // namespace
