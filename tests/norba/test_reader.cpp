#include <malloc.h>

#include <cstdint>
#include <new>

#include "norba/i_msg.h"
#include "support/feed.h"
#include "util/i_msg.h"

static std::size_t most_memory = SIZE_MAX;  // what one allocation that may fail gets at most

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size > most_memory ? nullptr : ::operator new[](size);
}

namespace {

const std::string kLost = "cnx not ok!\n";
const std::string kFirstBadWord = "\n@@@@@@@@@ incorrect begin_head , nb= 0 @@@@@@@@@\n";

std::string badWords(int count) {
    return "\n@@@@@@@@@ incorrect begin_head , nb= " + std::to_string(count) + " @@@@@@@@@\n";
}

std::string endOfBadWords(int count) {
    return "\n@@@@@@@@@ end of incorrect begin_head, nb= " + std::to_string(count) + " @@@@@@@@@\n";
}

/// The ways in which a program can take a body.
enum class Taking { kInPlace, kMessage };

bool readFrame(FrameReader& reader, Taking taking, std::string& body) {
    if (taking == Taking::kMessage) {
        const std::unique_ptr<Message> message(reader.readMessage());
        if (message && message->body)
            body.assign(message->body, static_cast<std::size_t>(message->size));
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
Reading readAll(const std::string& stream, Taking taking = Taking::kInPlace) {
    FedLine line;
    std::atomic<short> cnx_ok{7};
    std::jthread feeder([&] {
        EXPECT_TRUE(line.feed({stream}));
        line.hangUp();
    });
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
    const std::string frame = packFrame("hello");
    const Bodies hello{"hello"};
    const std::string versions =
        packFrame("a", 5, 27) + packFrame("b", 5, -1) + packFrame("c", 5, 28);
    const std::string hundreds = kFirstBadWord + badWords(100) + badWords(200) + endOfBadWords(201);
    const struct {
        std::string stream;
        Bodies bodies;
        std::string said;
    } rows[] = {
        {"", {}, kLost},
        {packFrame("") + frame, {"", "hello"}, kLost},
        {versions, {"a", "b", "c"}, kLost},
        {"8 bytes!" + frame, hello, kFirstBadWord + endOfBadWords(2) + kLost},
        {std::string(804, 'j') + frame, hello, hundreds + kLost},
        // The first marker lies between two words: the second frame is found.
        {"3b!" + packFrame("12345") + frame, hello, kFirstBadWord + endOfBadWords(35) + kLost},
        {support::header(10, 5, -1, -3) + "four" + frame, hello,
         "incorrect lg: -3\n" + kFirstBadWord + endOfBadWords(1) + kLost},
        {support::header(10, 5, -1, 1'000'001) + frame, hello, "incorrect lg: 1000001\n" + kLost},
        // Lost in the marker, in either part of the header and in the body.
        {frame + frame.substr(0, 3), hello, kLost},
        {frame + frame.substr(0, 47), hello, ""},
        {frame + frame.substr(0, 131), hello, ""},
        {frame + frame.substr(0, 136), hello, ""},
    };
    for (const auto& row : rows) {
        const Reading reading = readAll(row.stream);
        EXPECT_EQ(reading.bodies, row.bodies) << row.stream;
        EXPECT_EQ(reading.said, row.said) << row.stream;
    }
}

TEST(Reader, GivesBodiesOfAnyLegalLengthInEachWay) {
    std::vector<std::string> bodies;
    std::string stream;
    for (const std::size_t size : {1, 0, 4'095, 262'143, 262'145, 1'000'000, 5, 20'000}) {
        bodies.emplace_back(size, static_cast<char>('a' + bodies.size()));
        stream += packFrame(bodies.back());
    }
    for (const Taking taking : {Taking::kInPlace, Taking::kMessage})
        EXPECT_EQ(readAll(stream, taking).bodies, bodies) << static_cast<int>(taking);
}

TEST(Reader, PassesOverWhatIsUnreadOfABody) {
    FedLine line;
    ASSERT_TRUE(line.feed({packFrame(std::string(25'000, 'u')) + packFrame("next")}));
    FrameReader reader(line.near);
    MsgHeader header;
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(std::string(reader.readBody(3), 3), "uuu");
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(header.lg(), 4);
    char word[4];
    EXPECT_EQ(reader.readBody(5), nullptr) << "more than the body has";
    EXPECT_EQ(reader.readBody(word, 5), 0);
    EXPECT_EQ(reader.readBody(-1), nullptr);
    EXPECT_EQ(reader.readBody(word, -1), 0);
    EXPECT_EQ(reader.readBody(word, 4), 1);
    EXPECT_EQ(std::string(word, 4), "next");
    EXPECT_NE(reader.readBody(0), nullptr);
}

// A short header leaves the rest of its fields at their defaults, whatever the one before had.
TEST(Reader, SetsAHeaderThatServesAgainAsANewOne) {
    std::string with_text = packFrame("a");
    with_text.replace(28, 60, std::string(60, 't'));
    FedLine line;
    ASSERT_TRUE(line.feed({with_text + packFrame("b", 5, 27)}));
    FrameReader reader(line.near);
    MsgHeader header;
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(header.text(), std::string(60, 't'));
    ASSERT_EQ(reader.readHeader(&header), 1);
    EXPECT_EQ(std::string(header.wire() + 48, 84), std::string(84, '\0'));
    EXPECT_EQ(header.wireSize(), 48);
}

TEST(Reader, TellsWithoutAWaitWhetherSomethingIsHere) {
    FedLine line;
    FrameReader reader(line.near);
    EXPECT_EQ(reader.ready(), 0);
    ASSERT_TRUE(line.feed({packFrame("two") + packFrame("")}));
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
        ASSERT_TRUE(line.feed({packFrame("small") + packFrame(std::string(100'000, 'l'))}));
        FrameReader reader(line.near);
        std::string body;
        most_memory = 50'000;
        EXPECT_TRUE(readFrame(reader, taking, body));
        EXPECT_FALSE(readFrame(reader, taking, body));
        most_memory = SIZE_MAX;
    }
}

// Under a sanitizer, whose own allocator tells nothing, this holds of itself.
TEST(Reader, AtRestHoldsLessThanTwoPages) {
    const auto used = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    FedLine line;
    const std::size_t before = used();
    FrameReader reader(line.near);
    std::string body;
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(line.feed({packFrame("a line of an operator\n")}));
        ASSERT_TRUE(readFrame(reader, Taking::kInPlace, body));
    }
    EXPECT_LT(used(), before + 8'192);
}

}  // namespace
