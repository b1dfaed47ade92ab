#include <gmock/gmock.h>

#include <memory>

#include "support/short_memory.h"
#include "util/i_msg.h"

using namespace std::string_literals;

TEST(MsgStream, LiesLowByteFirst) {
    char area[17];
    char* cursor = area;
    PutShort(-2, &cursor);
    PutLong(INT32_MIN + 1, &cursor);
    PutULong(0xFFEEDDCCu, &cursor);
    PutText("hey", &cursor);
    PutText("", &cursor);
    ASSERT_EQ(std::string(area, cursor), "\xFE\xFF\1\0\0\x80\xCC\xDD\xEE\xFFhey\0\0"s);
}

TEST(MsgStream, IntegerReadsWithItsSignUnlessTheLimitCutsIt) {
    for (int left = -2; left <= 5; ++left) {
        unsigned char area[8] = {1, 1, 0xFE, 0xFF, 1, 0x80, 1, 1};
        unsigned char* behind_short = area + 2;
        unsigned char* behind_long = area + 2;
        std::int16_t s = 77;
        std::int32_t l = 77;
        EXPECT_EQ(GetShort(&s, &behind_short, area + 2 + left), left >= 2) << left;
        EXPECT_EQ(GetLong(&l, &behind_long, area + 2 + left), left >= 4) << left;
        EXPECT_EQ(s, left < 2 ? 77 : -2) << left;
        EXPECT_EQ(l, left < 4 ? 77 : INT32_MIN + 0x1FFFE) << left;
        EXPECT_EQ(behind_short - area, left < 2 ? 2 : 4) << left;
        EXPECT_EQ(behind_long - area, left < 4 ? 2 : 6) << left;
    }
    const char* nowhere = nullptr;
    std::uint32_t value = 77;
    EXPECT_EQ(GetULong(&value, &nowhere, nullptr), 0);
    EXPECT_EQ(value, 77u);
}

TEST(MsgStream, TextIsCutToItsRoomAndConsumedToItsEnd) {
    const std::tuple<int, int, short, std::string> rows[] = {
        {4, 7, 1, "abc\0...."s}, {7, 7, 1, "abcdef\0."s}, {8, 7, 1, "abcdef\0\0"s},
        {8, 6, 0, "abcdef.\0"s}, {2, 6, 0, "a\0......"s}, {3, 0, 0, "..\0....."s},
        {-5, 3, 0, "........"s}};
    for (const auto& [size, readable, result, stored] : rows) {
        // An array of just that length, so that a sanitizer sees a read at the limit.
        const std::unique_ptr<char[]> wire(new char[static_cast<unsigned>(readable)]);
        std::copy_n("abcdef", readable, wire.get());
        std::string out(8, '.');
        char* cursor = wire.get();
        EXPECT_EQ(GetText(out.data(), &cursor, size, wire.get() + readable), result) << size;
        EXPECT_EQ(cursor - wire.get(), readable);
        EXPECT_EQ(out, stored);
    }
}

TEST(Message, OwnsItsBodyAndIsCountedWhileItLives) {
    for (const auto& [size, body] : {std::pair{-1, "none"s}, {0, "none"s}, {5, "\0\0\0\0\0\0"s}}) {
        const Message message(size);
        const std::unique_ptr<Message> copy(message.Clone());
        EXPECT_EQ(message_alive, 2);
        EXPECT_EQ(copy->size, size);
        EXPECT_EQ(std::string(copy->body ? copy->body : "none", body.size()), body);
    }
    EXPECT_EQ(message_alive, 0);
}

TEST(Message, CloneAndFrameOutliveTheOriginal) {
    auto message = std::make_unique<Message>(6);
    std::copy_n("linesX", 6, message->body);
    message->header.setType(10);
    message->header.setLg(5);
    message->mark = 7;
    const std::unique_ptr<Message> copy(message->Clone());
    const std::unique_ptr<MsgToSend> frame(message->ToSend());
    message->header.setLg(1000);  // more than there is: Clone stays within the body
    const std::unique_ptr<Message> clamped(message->Clone());
    message.reset();
    EXPECT_EQ(std::string(copy->body, 7), "lines\0\0"s);
    EXPECT_EQ(copy->header.type(), 10);
    EXPECT_EQ(copy->mark, 0);
    EXPECT_STREQ(clamped->body, "linesX");
    frame->Serialise();
    EXPECT_EQ(std::string(frame->buffer(), 12), "\x88\x44\x22\x11\x0A\0\xFF\xFF\x05\0\0\0"s);
    EXPECT_EQ(std::string(frame->body(), 5), "lines");
}

TEST(MessageDeathTest, EndsInAnOrderlyWayOnANegativeLengthOrWithoutMemory) {
    MsgHeader header;  // lg comes out as -129: a frame of its size would hold 3 bytes
    std::copy_n("\x88\x44\x22\x11\x0A\0\x05\0\x7F\xFF\xFF\xFF", 12, header.wire());
    header.ReadHeader();
    EXPECT_DEATH(MakeToSend(header, nullptr), "Assertion <lg >= 0> failed:\nfile \"norba/i_msg\"");
    EXPECT_DEATH(MsgToSend(UINT32_MAX), "<pt_char != NULL> failed:\nfile \"norba/i_msg\", line");
    most_memory = 0;
    EXPECT_DEATH(Message(5), "Assertion <body != NULL> failed:\nfile \"util/i_msg\", line");
    most_memory = kMostMemory;
}
