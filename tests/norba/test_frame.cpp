#include <gtest/gtest.h>

#include <functional>

#include "norba/i_msg.h"

using namespace std::string_literals;

static std::string image(const MsgToSend& frame) {
    return {frame.buffer(), static_cast<std::size_t>(frame.frameLength())};
}

TEST(FrameTest, PutsTheHeaderOnTheWireByteForByte) {
    // What the console sends on joining the first connected server: 132 bytes, each told by hand.
    std::string line =
        "\x88\x44\x22\x11\x0A\0\6\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\0\xFF\xFF\x1D\0"s +
        std::string(104, '\0');
    const std::int32_t made = msg_to_send_made;
    const std::int32_t alive = msg_to_send_alive;
    delete new MsgToSend(0, new char[132]);
    MsgToSend frame(6);
    EXPECT_EQ(msg_to_send_made, made + 2);
    EXPECT_EQ(msg_to_send_alive, alive + 1);
    frame.setType(10);
    frame.setOp(6);
    frame.Serialise();
    EXPECT_EQ(image(frame), line);
    std::memcpy(frame.body(), "help\n", 6);
    frame.setLg(6);
    frame.setKelId(-2);
    EXPECT_EQ(std::string(frame.buffer() + 4, 2), "\xFF\xFF") << "stale until Serialise";
    frame.Serialise();
    line += "help\n\0"s;
    line[8] = 6;
    line[18] = '\xFE';
    EXPECT_EQ(image(frame), line);
}

TEST(FrameTest, ReadsEveryFieldFromTheWireAndWritesItBack) {
    const std::string wire =
        "\x88\x44\x22\x11\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D"
        "\x0E\x0F\x10\x11\x12\x13\x14\x15\x16\x17\x98"s;
    MsgHeader header;
    std::memcpy(header.wire(), (wire + std::string(104, 't')).data(), 132);
    ASSERT_EQ(header.ReadHeader(), 1);
    EXPECT_EQ(header.type(), 0x0201);
    EXPECT_EQ(header.op(), 0x0403);
    EXPECT_EQ(header.lg(), 0x08070605);
    EXPECT_EQ(header.kelId(), 0x100F);
    EXPECT_EQ(header.pair().second, 0x1413);
    EXPECT_EQ(header.version(), static_cast<std::int16_t>(0x9817));
    char written[132] = {};
    char* cursor = written;
    header.WriteHeader(&cursor);
    EXPECT_EQ(std::string(written, 132), wire + std::string(103, 't') + '\0') << "a text is cut";
    // A shorter text leaves the tail of the longer one, also behind its end in the image.
    header = MsgHeader();
    header.setText(std::string(200, 'x').c_str());
    header.setText("short");
    header.wire()[30] = 0;
    MsgToSend frame(0);
    frame.setHeader(header);
    frame.Serialise();
    EXPECT_EQ(image(frame).substr(28), "sh\0rt"s + std::string(98, 'x') + '\0');
    std::memcpy(header.wire(), "\x89", 1);
    EXPECT_EQ(header.ReadHeader(), 0);
}

TEST(FrameTest, TellsByItsTypeThatItHasChangedSinceSerialise) {
    MsgToSend frame(6);
    EXPECT_EQ(frame.capacity(), 6u);
    const std::function<void()> changes[] = {
        [&] { frame.setType(10); },
        [&] { frame.setOp(5); },
        [&] { frame.setLg(0); },
        [&] { frame.setHeader(MsgHeader()); },
    };
    for (const auto& change : changes) {
        frame.Serialise();
        change();
        EXPECT_EQ(std::string(frame.buffer() + 4, 2), "\xFF\xFF") << &change - changes;
    }
}

TEST(FrameDeathTest, EndsOnFaultsOfTheCaller) {
    MsgHeader header;
    for (const std::int16_t op : {1, 32766}) header.setOp(op);
    for (const std::int16_t op : {0, 32767})
        EXPECT_DEATH(header.setOp(op), "<op >= NUM_OP_MIN && op <= NUM_OP_MAX> failed:\nfile \"n");
}
