#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string>

#include "util/i_msg_stream.h"

namespace {

using testing::ElementsAre;
using namespace std::string_literals;

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

/// Whether a reader takes its value just when all `bytes` of it lie before the limit.
template <typename Value, typename Read>
void expectLimitHeld(Read read, int bytes) {
    unsigned char area[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    for (int left = -2; left <= 5; ++left) {
        SCOPED_TRACE(left);
        unsigned char* cursor = area + 2;
        Value value = 77;
        EXPECT_EQ(read(&value, &cursor, area + 2 + left), left >= bytes);
        EXPECT_EQ(value == 77, left < bytes);
        EXPECT_EQ(cursor - area, left >= bytes ? 2 + bytes : 2);
    }
    unsigned char* none = nullptr;
    Value value = 77;
    EXPECT_EQ(read(&value, &none, nullptr), 0);
    EXPECT_EQ(value, static_cast<Value>(77));
}

TEST(MsgStream, IntegerThatTheLimitCutsChangesNothing) {
    expectLimitHeld<std::int16_t>(GetShort<unsigned char>, 2);
    expectLimitHeld<std::int32_t>(GetLong<unsigned char>, 4);
    expectLimitHeld<std::uint32_t>(GetULong<unsigned char>, 4);
}

TEST(MsgStream, TextIsCutToItsRoomAndConsumedToItsEnd) {
    const struct {
        int size;      // of the reader's text
        int readable;  // bytes before the limit
        short result;
        std::string stored;  // the reader's whole area, filled with '.' before
    } kCases[] = {{4, 7, 1, "abc\0...."s}, {7, 7, 1, "abcdef\0."s}, {8, 7, 1, "abcdef\0\0"s},
                  {8, 6, 0, "abcdef.\0"s}, {2, 6, 0, "a\0......"s}, {3, 0, 0, "..\0....."s},
                  {0, 7, 1, "........"s},  {-5, 3, 0, "........"s}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << "size " << c.size << ", readable " << c.readable);
        // An array of just that length, so that a sanitizer sees a read at the limit.
        const std::unique_ptr<char[]> wire(new char[static_cast<unsigned>(c.readable)]);
        std::copy_n("abcdef", c.readable, wire.get());
        std::string out(8, '.');
        char* cursor = wire.get();
        EXPECT_EQ(GetText(out.data(), &cursor, c.size, wire.get() + c.readable), c.result);
        EXPECT_EQ(cursor - wire.get(), c.readable);
        EXPECT_EQ(out, c.stored);
    }
}

}  // namespace
