#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string>

#include "util/i_msg_stream.h"

namespace {

using testing::ElementsAre;

TEST(MsgStream, WritesLowByteFirstAndMovesTheCursor) {
    std::array<unsigned char, 18> area{};
    unsigned char* cursor = area.data();
    PutShort(-2, &cursor);
    PutLong(0x11224488, &cursor);
    PutULong(0xFFEEDDCCu, &cursor);
    PutText("hey", &cursor);
    PutText("", &cursor);
    PutShort(0x0180, &cursor);
    EXPECT_EQ(cursor, area.data() + 17);
    EXPECT_THAT(area, ElementsAre(0xFE, 0xFF, 0x88, 0x44, 0x22, 0x11, 0xCC, 0xDD, 0xEE, 0xFF, 'h',
                                  'e', 'y', 0, 0, 0x80, 0x01, 0));
}

TEST(MsgStream, ReadsIntegersFromCharactersWithTheirSign) {
    const char area[] = "\xFE\xFF\x00\x00\x00\x80\xFF\xFF\xFF\xFF";
    const char* cursor = area;
    std::int16_t s = 0;
    std::int32_t l = 0;
    std::uint32_t u = 0;
    EXPECT_EQ(GetShort(&s, &cursor, nullptr), 1);
    EXPECT_EQ(GetLong(&l, &cursor, nullptr), 1);
    EXPECT_EQ(GetULong(&u, &cursor, area + 10), 1);
    EXPECT_EQ(s, -2);
    EXPECT_EQ(l, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(u, 0xFFFFFFFFu);
    EXPECT_EQ(cursor, area + 10);
}

TEST(MsgStream, IntegerThatTheLimitCutsChangesNothing) {
    unsigned char area[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (int left = -2; left <= 5; ++left) {
        unsigned char* const start = area + 2;
        unsigned char *c2 = start, *c4 = start, *cu = start;
        std::int16_t s = 77;
        std::int32_t l = 77;
        std::uint32_t u = 77;
        EXPECT_EQ(GetShort(&s, &c2, start + left), left >= 2) << left;
        EXPECT_EQ(GetLong(&l, &c4, start + left), left >= 4) << left;
        EXPECT_EQ(GetULong(&u, &cu, start + left), left >= 4) << left;
        EXPECT_EQ(s, left >= 2 ? 0x0403 : 77);
        EXPECT_EQ(l, left >= 4 ? 0x06050403 : 77);
        EXPECT_EQ(u, left >= 4 ? 0x06050403u : 77u);
        EXPECT_EQ(c2 - start, left >= 2 ? 2 : 0);
        EXPECT_EQ(c4 - start, left >= 4 ? 4 : 0);
        EXPECT_EQ(cu - start, left >= 4 ? 4 : 0);
    }
    unsigned char* none = nullptr;
    std::int16_t s = 77;
    char text[2] = "x";
    EXPECT_EQ(GetShort(&s, &none, nullptr), 0);
    EXPECT_EQ(GetText(text, &none, 2, nullptr), 0);
    EXPECT_EQ(s, 77);
    EXPECT_STREQ(text, "x");
}

struct TextCase {
    int size;      // of the reader's text
    int readable;  // bytes before the limit, -1 for no limit
    short result;
    int moved;
    std::string stored;  // the reader's whole area, filled with '.' before
};

TEST(MsgStream, TextIsCutToItsRoomAndConsumedToItsEnd) {
    using namespace std::string_literals;
    const TextCase cases[] = {
        {4, -1, 1, 7, "abc\0...."s}, {4, 7, 1, 7, "abc\0...."s}, {7, 7, 1, 7, "abcdef\0."s},
        {8, 7, 1, 7, "abcdef\0\0"s}, {8, 6, 0, 6, "abcdef.\0"s}, {2, 6, 0, 6, "a\0......"s},
        {3, 0, 0, 0, "..\0....."s},  {1, 1, 0, 1, "\0......."s}, {0, 7, 1, 7, "........"s},
        {-5, 3, 0, 3, "........"s},
    };
    for (const TextCase& c : cases) {
        SCOPED_TRACE(testing::Message() << "size " << c.size << ", readable " << c.readable);
        // An array of just that length, so that a sanitizer sees a read at the limit.
        const int length = c.readable < 0 ? 7 : c.readable;
        const std::unique_ptr<char[]> wire(new char[length]);
        std::copy_n("abcdef", length, wire.get());
        std::string out(8, '.');
        const char* cursor = wire.get();
        const char* limit = c.readable < 0 ? nullptr : wire.get() + length;
        EXPECT_EQ(GetText(out.data(), &cursor, c.size, limit), c.result);
        EXPECT_EQ(cursor - wire.get(), c.moved);
        EXPECT_EQ(out, c.stored);
    }
}

}  // namespace
