#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "norba/i_msg.h"

namespace {

using namespace std::string_literals;

std::string image(const MsgToSend& frame) {
    return {frame.buffer(), static_cast<std::size_t>(frame.frameLength())};
}

// What the console sends on joining the first connected server: 132 bytes, each told by hand.
const std::string kJoinFrame =
    "\x88\x44\x22\x11\x0A\x00\x06\x00\x00\x00\x00\x00"
    "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x00\x00\x00\x00\xFF\xFF\x1D\x00"s +
    std::string(104, '\0');

TEST(FrameTest, PutsTheHeaderOnTheWireByteForByte) {
    MsgToSend frame(0);
    frame.setType(10);
    frame.setOp(6);
    EXPECT_EQ(std::string(frame.buffer() + 4, 2), "\xFF\xFF") << "stale until Serialise";
    frame.setKelId(-1);
    frame.Serialise();
    EXPECT_EQ(image(frame), kJoinFrame);

    frame.setType(8);
    frame.setOp(5);
    frame.Serialise();
    std::string ping = kJoinFrame;
    ping[4] = 8;
    ping[6] = 5;
    EXPECT_EQ(image(frame), ping);
}
}  // namespace
