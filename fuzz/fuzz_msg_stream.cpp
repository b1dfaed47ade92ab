// The readers of the stream routines, in an order that the input chooses, beside plain arithmetic
// on the same bytes.
#include <cstring>
#include <iterator>

#include "fuzz.h"
#include "util/i_msg.h"

namespace {

/// The stream as the product reads it, and as far as the model has come.
struct Reading {
    const std::string& bytes;
    const char* cursor = bytes.data();
    const char* limit = bytes.data() + bytes.size();
    std::size_t at = 0;

    bool has(std::size_t count) const { return bytes.size() - at >= count; }
};

template <typename Value, typename Get>
void checkNumber(Reading& reading, const Get& get) {
    Value value = 77;
    const bool there = reading.has(sizeof value);
    require(get(&value, &reading.cursor, reading.limit) == there);
    const std::uint32_t expected = there ? numberAt(reading.bytes, reading.at, sizeof value) : 77;
    require(value == static_cast<Value>(expected));
    if (there) reading.at += sizeof value;
}

void checkText(Reading& reading, int size) {
    char target[20];
    std::string expected(sizeof target, '?');
    std::memset(target, '?', sizeof target);
    const std::size_t end = reading.bytes.find('\0', reading.at);
    const bool ended = end != std::string::npos;
    const std::size_t past = ended ? end + 1 : reading.bytes.size();
    require(GetText(target, &reading.cursor, size, reading.limit) == ended);
    if (size > 0) {
        const auto room = static_cast<std::size_t>(size);
        const std::size_t stored = std::min(past - reading.at, room);
        expected.replace(0, stored, reading.bytes, reading.at, stored);
        expected[room - 1] = 0;
    }
    requireSame({target, sizeof target}, expected);
    reading.at = past;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = Input(data, size).rest();
    Reading reading{bytes};
    while (reading.has(1)) {
        const auto choice = static_cast<unsigned char>(bytes[reading.at++]);
        ++reading.cursor;
        switch (choice / 64) {
            case 0:
                checkNumber<std::int16_t>(reading, GetShort<const char>);
                break;
            case 1:
                checkNumber<std::int32_t>(reading, GetLong<const char>);
                break;
            case 2:
                checkNumber<std::uint32_t>(reading, GetULong<const char>);
                break;
            default:
                checkText(reading, choice % 24 - 3);
        }
        require(reading.cursor == bytes.data() + reading.at);
    }
    return 0;
}
