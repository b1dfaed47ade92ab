// The readers of optional values, in an order that the input chooses, on a body that is followed by
// a zero byte, as that of a Message is. Beside them stands what the bytes say.
#include <cstring>
#include <memory>

#include "fuzz.h"
#include "serv_cli/i_tools_optional.h"
#include "util/i_msg.h"

namespace {

/// The body as the product reads it, and as far as the model has come.
struct Reading {
    std::string bytes;  // with its zero byte
    std::size_t size = bytes.size() - 1;
    char* cursor = bytes.data();
    const char* limit = bytes.data() + size;
    std::size_t at = 0;

    bool present() { return at < size && bytes[at++] != 0; }
    std::string textAt(std::size_t place) const { return bytes.data() + place; }
};

/// The wire form of a text, which the writers must give and the sizes tell.
void checkWriting(const char* text) {
    std::string wire(static_cast<std::size_t>(OptTextSize(text)), '?');
    char* end = wire.data();
    PutOptText(text, &end);
    require(end == wire.data() + wire.size());
    requireSame(wire, text ? '\1' + std::string(text) + '\0' : std::string(1, '\0'));
}

void checkText(Reading& reading) {
    char* raw = nullptr;
    GetOptText(&raw, &reading.cursor, reading.limit);
    const std::unique_ptr<char[]> text(raw);
    require((raw != nullptr) == reading.present());
    if (!raw) return;
    const std::string expected = reading.textAt(reading.at);
    requireSame(raw, expected);
    reading.at = std::min(reading.at + expected.size() + 1, reading.size);
    checkWriting(raw);
}

void checkSizedText(Reading& reading, std::int32_t size) {
    char* raw = nullptr;
    GetOptTextSized(&raw, &reading.cursor, size);
    const std::unique_ptr<char[]> text(raw);
    require((raw != nullptr) == reading.present());
    if (!raw) return;
    const std::string expected = reading.textAt(reading.at);
    requireSame(raw, expected.substr(0, static_cast<std::size_t>(std::max(size, 1)) - 1));
    reading.at += expected.size() + 1;
}

void checkCharString(Reading& reading) {
    CharString* raw = nullptr;
    GetOptCharString(&raw, &reading.cursor, reading.limit);
    const std::unique_ptr<CharString> text(raw);
    require((raw != nullptr) == reading.present());
    if (!raw || reading.at >= reading.size) return;
    requireSame(bytesOf(*raw), reading.textAt(reading.at));
    reading.at += reading.textAt(reading.at).size() + 1;
}

void checkShort(Reading& reading) {
    if (reading.size - reading.at < 3) return;  // it knows no limit
    std::int16_t value = 0;
    GetOptShort(&value, &reading.cursor);
    const bool there = reading.present();
    require(value == (there ? shortAt(reading.bytes, reading.at) : -1));
    if (there) reading.at += 2;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reading reading{Input(data, size).take(size + 1)};
    checkWriting(nullptr);
    for (unsigned turn = 0; reading.at < reading.size; ++turn) {
        const unsigned choice = static_cast<unsigned char>(reading.bytes[reading.at]);
        switch ((choice / 2 + turn) % 4) {
            case 0:
                checkText(reading);
                break;
            case 1:
                checkSizedText(reading, static_cast<std::int32_t>(choice % 9) - 1);
                break;
            case 2:
                checkCharString(reading);
                break;
            default:
                checkShort(reading);
        }
        require(reading.cursor == reading.bytes.data() + reading.at);
    }
    return 0;
}
