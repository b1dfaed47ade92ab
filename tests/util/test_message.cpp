#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <new>

#include "util/i_msg.h"

static bool memory_is_out = false;

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return memory_is_out ? nullptr : ::operator new[](size);
}

namespace {

using namespace std::string_literals;

TEST(Message, OwnsItsBodyAndIsCountedWhileItLives) {
    for (const std::int32_t size : {-1, 0, 5}) {
        const Message message(size);
        const std::unique_ptr<Message> copy(message.Clone());
        EXPECT_EQ(message_alive, 2);
        EXPECT_EQ(copy->size, size);
        EXPECT_EQ(std::string(copy->body ? copy->body : "none", size > 0 ? 6 : 4),
                  size > 0 ? std::string(6, '\0') : "none");
    }
}

TEST(Message, CloneAndFrameOutliveTheOriginal) {
    auto message = std::make_unique<Message>(6);
    std::memcpy(message->body, "linesX", 6);
    message->header.setType(10);
    message->header.setLg(5);
    const std::unique_ptr<Message> copy(message->Clone());
    const std::unique_ptr<MsgToSend> frame(message->ToSend());
    message->header.setLg(1000);  // more than there is: Clone stays within the body
    const std::unique_ptr<Message> clamped(message->Clone());
    message.reset();
    EXPECT_EQ(std::string(copy->body, 7), "lines\0\0"s);
    EXPECT_STREQ(clamped->body, "linesX");
    frame->Serialise();
    EXPECT_EQ(std::string(frame->buffer(), 12), "\x88\x44\x22\x11\x0A\0\xFF\xFF\x05\0\0\0"s);
    EXPECT_EQ(std::string(frame->body(), 5), "lines");
}

TEST(MessageDeathTest, EndsInAnOrderlyWayOnANegativeLengthOrWithoutMemory) {
    MsgHeader header;  // lg comes out as -129: a frame of its size would hold 3 bytes
    std::memcpy(header.wire(), "\x88\x44\x22\x11\x0A\0\x05\0\x7F\xFF\xFF\xFF", 12);
    header.ReadHeader();
    EXPECT_DEATH(MakeToSend(header, nullptr), "Assertion <lg >= 0> failed:\nfile \"norba/i_msg\"");
    memory_is_out = true;
    EXPECT_DEATH(Message(5), "Assertion <body != NULL> failed:\nfile \"util/i_msg\", line");
    EXPECT_DEATH(MsgToSend(5), "Assertion <pt_char != NULL> failed:\nfile \"norba/i_msg\", line");
    memory_is_out = false;
}

}  // namespace
