// The readers of optional values stay inside a body that is followed by a zero byte, as that of a
// Message is, and what they read and write again reads the same.

#include <cstdlib>
#include <cstring>
#include <memory>

#include "serv_cli/i_tools_optional.h"
#include "util/i_charstr.h"
#include "util/i_msg.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Message message(static_cast<std::int32_t>(size));
    if (!message.body) return 0;
    std::memcpy(message.body, data, size);
    const char* const limit = message.body + size;
    for (char* cursor = message.body; cursor < limit;) {
        char* raw = nullptr;
        GetOptText(&raw, &cursor, limit);
        const std::unique_ptr<char[]> text(raw);
        if (cursor > limit) std::abort();
        const std::unique_ptr<char[]> wire(new char[static_cast<std::size_t>(OptTextSize(raw))]);
        char* end = wire.get();
        PutOptText(raw, &end);
        if (end - wire.get() != OptTextSize(raw)) std::abort();
        end = wire.get();
        GetOptTextSized(&raw, &end, size % 7);
        delete[] raw;
        CharString* string = nullptr;
        GetOptCharString(&string, &cursor, limit);
        delete string;
    }
    return 0;
}
