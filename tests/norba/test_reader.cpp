#include <malloc.h>

#include "norba/i_msg.h"
#include "support/feed.h"
#include "support/short_memory.h"
#include "util/i_msg.h"

const std::string kLost = "cnx not ok!\n";

/// What is said of a scan, at its bad words of these numbers and at its end.
std::string scan(const std::vector<int>& told, int end) {
    std::string said;
    for (const int nb : told)
        said += "\n@@@@@@@@@ incorrect begin_head , nb= " + std::to_string(nb) + " @@@@@@@@@\n";
    return said + "\n@@@@@@@@@ end of incorrect begin_head, nb= " + std::to_string(end) +
           " @@@@@@@@@\n";
}

/// The ways in which a program can take a body.
enum class Taking { kInPlace, kMessage };

bool readFrame(FrameReader& reader, Taking taking, std::string& body) {
    if (taking == Taking::kMessage) {
        const std::unique_ptr<Message> message(reader.readMessage());
        if (message && message->body)
            body.assign(message->body, static_cast<std::size_t>(message->bodyLength()));
        return message != nullptr;
    }
    MsgHeader header;
    if (!reader.readHeader(&header)) return false;
    const char* const bytes = reader.readBody(header.lg());
    if (bytes) body.assign(bytes, static_cast<std::size_t>(header.lg()));
    return bytes != nullptr;
}

struct Reading {
    std::vector<std::string> bodies;
    std::string said;
};

/// Reads all that is fed, up to the loss of the connection.
Reading readAll(const std::string& stream, Taking taking) {
    FedLine line(stream);
    std::atomic<short> cnx_ok{7};
    testing::internal::CaptureStdout();
    Reading reading;
    FrameReader reader(line.near, &cnx_ok);
    for (std::string body; readFrame(reader, taking, body); body.clear()) {
        EXPECT_EQ(cnx_ok, 1);
        reading.bodies.push_back(body);
    }
    EXPECT_EQ(cnx_ok, 0);
    reading.said = testing::internal::GetCapturedStdout();
    return reading;
}

TEST(Reader, KeepsInStepAndFindsBackIntoIt) {
    using Bodies = std::vector<std::string>;
    const std::string longest(1'000'000, 'l');
    const std::string frame = packFrame("hello");
    const Bodies hello{"hello"};
    const std::string versions =
        packFrame("a", 5, 27) + packFrame("b", 5, -1) + packFrame("c", 5, 28);
    const std::tuple<std::string, Bodies, std::string> rows[] = {
        {"", {}, kLost},
        {packFrame("") + packFrame(longest) + frame, {"", longest, "hello"}, kLost},
        {versions, {"a", "b", "c"}, kLost},
        {"8 bytes!" + frame, hello, scan({0}, 2) + kLost},
        {std::string(804, 'j') + frame, hello, scan({0, 100, 200}, 201) + kLost},
        // The first marker lies between two words: the second frame is found.
        {"3b!" + packFrame("12345") + frame, hello, scan({0}, 35) + kLost},
        {support::header(10, 5, -1, -3) + "four" + frame, hello,
         "incorrect lg: -3\n" + scan({0}, 1) + kLost},
        {support::header(10, 5, -1, 1'000'001) + frame, hello, "incorrect lg: 1000001\n" + kLost},
        // Lost in the marker, in either part of the header and in the body.
        {frame + frame.substr(0, 3), hello, kLost},
        {frame + frame.substr(0, 47), hello, ""},
        {frame + frame.substr(0, 131), hello, ""},
        {frame + frame.substr(0, 136), hello, ""},
    };
    for (const auto& [stream, bodies, said] : rows)
        for (const Taking taking : {Taking::kInPlace, Taking::kMessage}) {
            const Reading reading = readAll(stream, taking);
            EXPECT_EQ(reading.bodies, bodies) << stream.substr(0, 1'000);
            EXPECT_EQ(reading.said, said) << stream.substr(0, 1'000);
        }
}

// A header that serves again is as a new one: a short one leaves the rest at its defaults.
TEST(Reader, PassesOverWhatIsUnreadOfABody) {
    std::string first = packFrame(std::string(25'000, 'u'));
    first.replace(28, 60, std::string(60, 't'));
    FedLine line(first + packFrame("next", 5, 27) + first.substr(0, 20'000));
    FrameReader reader(line.near);
    MsgHeader header;
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(header.text(), std::string(60, 't'));
    EXPECT_EQ(std::string(reader.readBody(3), 3), "uuu");
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(header.lg(), 4);
    EXPECT_EQ(header.wireSize(), 48);
    EXPECT_EQ(std::string(header.wire() + 48, 84), std::string(84, '\0'));
    char word[4];
    EXPECT_EQ(reader.readBody(5), nullptr) << "more than the body has";
    EXPECT_EQ(reader.readBody(word, 5), 0);
    EXPECT_EQ(reader.readBody(-1), nullptr);
    EXPECT_EQ(reader.readBody(word, -1), 0);
    EXPECT_EQ(reader.readBody(word, 4), 1);
    EXPECT_EQ(std::string(word, 4), "next");
    EXPECT_NE(reader.readBody(0), nullptr);
    ASSERT_EQ(reader.readHeader(&header), 1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(reader.readHeader(&header), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "it is lost within the body";
}

TEST(Reader, TellsWithoutAWaitWhetherSomethingIsHere) {
    FedLine line;
    FrameReader reader(line.near);
    EXPECT_EQ(reader.ready(), 0);
    line.feed(packFrame("two") + packFrame(""));
    EXPECT_EQ(reader.ready(), 1) << "on the socket";
    MsgHeader header;
    reader.readHeader(&header);
    EXPECT_EQ(reader.ready(), 1) << "in the reader's memory";
    reader.readHeader(&header);
    EXPECT_EQ(reader.ready(), 0);
    line.hangUp();
    EXPECT_EQ(reader.ready(), 1) << "the loss";
}

TEST(Reader, FailsWhereThereIsNoMemoryForThePeersLength) {
    for (const Taking taking : {Taking::kInPlace, Taking::kMessage}) {
        FedLine line;
        line.feed(packFrame("small") + packFrame(std::string(100'000, 'l')));
        FrameReader reader(line.near);
        std::string body;
        most_memory = 50'000;
        EXPECT_TRUE(readFrame(reader, taking, body));
        EXPECT_FALSE(readFrame(reader, taking, body));
        most_memory = kMostMemory;
    }
}

// Under a sanitizer, whose own allocator tells nothing, the memory holds of itself.
TEST(Reader, HoldsLessThanTwoPagesOnceALongBodyIsRead) {
    const auto used = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    const std::string line_frame = packFrame("a line of an operator\n");
    std::string stream = packFrame(std::string(300'000, 'l'));
    for (int i = 0; i < 100; ++i) stream += line_frame;
    std::size_t fed = 0;
    FedLine line;
    const std::size_t before = used();
    FrameReader reader(line.near, nullptr,
                       {.before_read =
                            [&] {
                                const std::size_t piece =
                                    fed < 300'000 ? 100'000 : 1;  // in the end each byte for itself
                                line.feed(stream.substr(fed, piece));
                                fed += piece;
                            },
                        .say = {}});
    for (int i = 0; i <= 100; ++i) {
        MsgHeader header;
        ASSERT_EQ(reader.readHeader(&header), 1);
        ASSERT_NE(reader.readBody(header.lg()), nullptr);
    }
    EXPECT_LT(used(), before + 8'192);
}
