#include <gtest/gtest.h>

#include <new>

#include "serv_cli/i_tools_optional.h"
#include "support/captured_trace.h"
#include "util/i_charstr.h"
#include "util/i_msg_stream.h"

using namespace std::string_literals;

static bool memory_is_out = false;

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return memory_is_out ? nullptr : ::operator new[](size);
}

TEST(Optional, WireFormHasAPresenceByteInFront) {
    char area[32];
    char* cursor = area;
    const CharString word("on");
    for (const char* text : {static_cast<const char*>(nullptr), "", "a"}) PutOptText(text, &cursor);
    PutOptCharString(&word, &cursor);
    // 0x1FFFF has the low 16 bits of an absent value.
    for (const int value : {-1, 0x1FFFF, 0, -2}) PutOptShort(value, &cursor);
    EXPECT_EQ(std::string(area, cursor), "\0\1\0\1a\0\1on\0\0\0\1\0\0\1\xFE\xFF"s);
    EXPECT_EQ(OptTextSize(nullptr), 1);
    EXPECT_EQ(OptCharStringSize(nullptr), 1);
    EXPECT_EQ(OptCharStringSize(&word), 4);
}

TEST(Optional, TextsAreReadByteForByteUpToEveryLimit) {
    const std::string wire = "\1word"s + '\0';
    for (std::size_t limit = 0; limit <= wire.size(); ++limit) {
        // Just the bytes in front of the limit, so that a sanitizer sees a read beyond them.
        const auto readable = std::make_unique<char[]>(limit);
        wire.copy(readable.get(), limit);
        char* const end = readable.get() + limit;
        char* cursor = readable.get();
        char* text = nullptr;
        GetOptText(&text, &cursor, end);
        const std::unique_ptr<char[]> owner(text);
        EXPECT_EQ(cursor, end) << limit;
        const std::string seen = text ? '\1' + std::string(text) : "";
        EXPECT_EQ(seen, wire.substr(0, std::min<std::size_t>(limit, 5)));
        cursor = readable.get() + (limit > 0);
        EXPECT_EQ(GetNewText(&text, &cursor, end), limit == wire.size()) << limit;
        delete[] text;
    }
}

TEST(Optional, ASizedTextIsCutAndConsumedToItsEnd) {
    const char* const by_size[] = {"", "", "w", "wo", "wor", "word", "word"};
    for (std::int32_t size = 0; size < 7; ++size) {
        char wire[] = "\2word";
        char* cursor = wire;
        char* text = nullptr;
        GetOptTextSized(&text, &cursor, size);
        EXPECT_STREQ(std::unique_ptr<char[]>(text).get(), by_size[size]) << size;
        EXPECT_EQ(cursor, wire + sizeof wire) << size;
    }
}

TEST(Optional, ATextWithoutMemoryIsAbsentAndPassedOver) {
    char wire[] = "\1sized\0\1other\0new";
    char* cursor = wire;
    char* texts[] = {wire, wire, wire};
    memory_is_out = true;
    GetOptTextSized(&texts[0], &cursor, 9);
    GetOptText(&texts[1], &cursor, nullptr);
    EXPECT_EQ(GetNewText(&texts[2], &cursor, nullptr), 0);
    memory_is_out = false;
    for (const char* const text : texts) EXPECT_EQ(text, nullptr);
    EXPECT_EQ(cursor, wire + sizeof wire);
}

TEST(Optional, TracesShowTheWholeValueOrThatThereIsNone) {
    const CapturedTrace trace;
    for (const int value : {65543, -1, 0x1FFFF}) traceOptShort("number", value);
    for (const char* const text : {"word", static_cast<const char*>(nullptr)})
        traceOptText("text", text);
    EXPECT_EQ(trace.all(),
              "@number 65543\n@number Not Used  \n@number Not Used  \n"
              "@text word  \n@text Not Used  \n");
}

TEST(Optional, OtherReadersLeaveTheirValueAbsentAtTheEndOfTheStream) {
    char wire[] = "\5\x34\x12\0\1word\0\7";
    char* cursor = wire;
    char* none = nullptr;
    std::int16_t value = 0;
    for (const auto& [from, expected] : {std::pair{&cursor, 0x1234}, {&cursor, -1}, {&none, -1}}) {
        GetOptShort(&value, from);
        EXPECT_EQ(value, expected);
    }
    for (const char* const expected : {"word", "", static_cast<const char*>(nullptr)}) {
        CharString* text = nullptr;
        GetOptCharString(&text, &cursor, wire + 11);
        const std::unique_ptr<CharString> owner(text);
        const char* const seen = text ? text->c_str() : nullptr;
        EXPECT_STREQ(seen, expected);
    }
}

TEST(GrowingBuffer, GrowsByWhatIsAskedAndKeepsItsContent) {
    char* base = nullptr;
    char* cursor = nullptr;
    std::int32_t capacity = 0;
    ReserveLong(&cursor, &base, &capacity);
    PutLong(0x04030201, &cursor);
    ReserveText(&cursor, &base, &capacity, "kel");
    PutText("k", &cursor);
    ReserveShort(&cursor, &base, &capacity, 5);  // just the two bytes that are left
    EXPECT_EQ(capacity, 8);
    PutShort(0x0605, &cursor);
    GrowBuffer(&base, 7, &capacity, 3);  // from the capacity, not from what is used
    EXPECT_EQ(std::string(base, static_cast<unsigned>(capacity)), "\1\2\3\4k\0\5\6\0\0\0"s);
    EXPECT_DEATH(GrowBuffer(&base, 8, &capacity, INT32_MAX), "extra <= INT32_MAX - capacity");
    delete[] base;
}
