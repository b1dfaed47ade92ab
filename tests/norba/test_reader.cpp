#include <gtest/gtest.h>

#include "norba/i_msg.h"
#include "support/feed.h"

/// Reads up to the loss: each frame's lg and first byte of each block, then what was said.
static std::string readAll(const std::vector<std::string>& pieces) {
    FedLine line;
    std::atomic<short> cnx_ok{7};
    std::thread feeder([&] {
        EXPECT_TRUE(line.feed(pieces));
        line.hangUp();
    });
    std::string found;
    testing::internal::CaptureStdout();
    FrameReader reader(line.near, &cnx_ok);
    for (MsgHeader header; reader.readHeader(&header);) {
        EXPECT_EQ(cnx_ok, 1);
        found += "<" + std::to_string(header.lg()) + ">";
        for (std::int32_t left = header.lg(); left > 0; left -= BlockReader::kCapacity)
            if (const char* body = reader.readBody(std::min(left, BlockReader::kCapacity)))
                found += body[0];
    }
    feeder.join();
    EXPECT_EQ(cnx_ok, 0);
    return found + "|" + testing::internal::GetCapturedStdout();
}

static std::string bad(const char* what, int count) {
    return std::string("\n@@@@@@@@@ ") + what + std::to_string(count) + " @@@@@@@@@\n";
}

TEST(ReaderTest, KeepsInStepAndFindsBackIntoIt) {
    const std::string frame = packFrame("hello"), found = "<5>h|";
    const std::string lost = "cnx not ok!\n", first = bad("incorrect begin_head , nb= ", 0);
    constexpr char kEnd[] = "end of incorrect begin_head, nb= ";
    const std::vector<std::vector<std::string>> cases = {
        {"", "|" + lost},
        {packFrame("") + frame, "<0>" + found + lost},
        {packFrame("old", 5, 27) + packFrame("neg", 5, -1) + packFrame("new", 5, 28),
         "<3>o<3>n<3>n|" + lost},
        {"8 bytes!" + frame, found + first + bad(kEnd, 2) + lost},
        {std::string(404, 'j') + frame,
         found + first + bad("incorrect begin_head , nb= ", 100) + bad(kEnd, 101) + lost},
        // Off the step: the first marker lies between two words, the second frame is found.
        {"3b!" + packFrame("12345") + frame, found + first + bad(kEnd, 35) + lost},
        {packFrame("four", 5, 29, -3) + frame,
         found + "incorrect lg: -3\n" + first + bad(kEnd, 1) + lost},
        {packFrame("", 5, 29, 1'000'001) + frame, found + "incorrect lg: 1000001\n" + lost},
        {packFrame(std::string(1'000'000, 'b')), "<1000000>" + std::string(4, 'b') + "|" + lost},
        {frame + frame.substr(0, 3), found + lost},
        {frame + frame.substr(0, 47), found},
        {frame + frame.substr(0, 131), found},
    };
    for (const auto& test : cases) EXPECT_EQ(readAll({test[0]}), test[1]);
}

TEST(ReaderTest, GivesTheSameForDeliveriesSplitAtEveryByte) {
    const std::string stream = "junk" + packFrame("one") + packFrame("two", 5, 27) + packFrame("3");
    const std::string whole = readAll({stream});
    EXPECT_EQ(whole.substr(0, 13), "<3>o<3>t<1>3|");
    for (std::size_t at = 1; at < stream.size(); ++at)
        ASSERT_EQ(readAll({stream.substr(0, at), stream.substr(at)}), whole) << "split at " << at;
}
