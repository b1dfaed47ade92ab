// The readers of optional values stay inside a body that is followed by a zero byte, as that of a
// Message is, and what they read and write again reads the same.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "serv_cli/i_tools_optional.h"
#include "util/i_charstr.h"
#include "util/i_msg.h"

static void require(bool holds) {
    if (!holds) std::abort();
}

/// Writes `text`, null for an absent one, and reads it again into an array of `size` bytes.
static void checkWrittenAgain(const char* text, std::int32_t size) {
    const std::int32_t length = OptTextSize(text);
    const std::unique_ptr<char[]> wire(new char[static_cast<std::size_t>(length)]);
    char* end = wire.get();
    PutOptText(text, &end);
    require(end - wire.get() == length);
    end = wire.get();
    char* raw = nullptr;
    GetOptTextSized(&raw, &end, size);
    const std::unique_ptr<char[]> again(raw);
    require(end - wire.get() == length);
    require(!again == !text);
    const auto kept = static_cast<std::size_t>(std::max(size, 1) - 1);
    require(!text || std::string(text).substr(0, kept) == again.get());
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Message message(static_cast<std::int32_t>(size));
    if (!message.body) return 0;
    std::memcpy(message.body, data, size);
    const char* const limit = message.body + size;
    for (char* cursor = message.body; cursor < limit;) {
        char* raw = nullptr;
        GetOptText(&raw, &cursor, limit);
        const std::unique_ptr<char[]> text(raw);
        require(cursor <= limit);
        checkWrittenAgain(text.get(), size % 7);
        CharString* string = nullptr;
        GetOptCharString(&string, &cursor, limit);
        delete string;
    }
    return 0;
}
