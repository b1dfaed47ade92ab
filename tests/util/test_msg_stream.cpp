#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "util/i_msg_stream.h"

namespace {

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
        unsigned char *c2 = area + 2, *c4 = area + 2;
        std::int16_t s = 77;
        std::int32_t l = 77;
        EXPECT_EQ(GetShort(&s, &c2, area + 2 + left), left >= 2) << left;
        EXPECT_EQ(GetLong(&l, &c4, area + 2 + left), left >= 4) << left;
        EXPECT_EQ(s, left < 2 ? 77 : -2) << left;
        EXPECT_EQ(l, left < 4 ? 77 : INT32_MIN + 0x1FFFE) << left;
        EXPECT_EQ(c2 - area, left < 2 ? 2 : 4) << left;
        EXPECT_EQ(c4 - area, left < 4 ? 2 : 6) << left;
    }
}

TEST(MsgStream, TextIsCutToItsRoomAndConsumedToItsEnd) {
    const std::tuple<int, int, short, std::string> kCases[] = {
        {4, 7, 1, "abc\0...."s}, {7, 7, 1, "abcdef\0."s}, {8, 7, 1, "abcdef\0\0"s},
        {8, 6, 0, "abcdef.\0"s}, {2, 6, 0, "a\0......"s}, {3, 0, 0, "..\0....."s},
        {-5, 3, 0, "........"s}};
    for (const auto& [size, readable, result, stored] : kCases) {
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

}  // namespace
