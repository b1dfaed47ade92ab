// The readers of the stream routines, in an order that the input chooses, never pass its end, and a
// header that is decoded and written again comes out the same.

#include <cstdlib>
#include <cstring>

#include "util/i_msg.h"

namespace {

void readValues(const unsigned char* data, const unsigned char* limit) {
    for (const unsigned char* cursor = data; cursor != limit;) {
        const unsigned char choice = *cursor++;
        std::int16_t s;
        std::int32_t l;
        std::uint32_t u;
        char text[16];
        const auto room = static_cast<std::int32_t>(choice % 20) - 3;
        switch (choice / 64) {
            case 0:
                GetShort(&s, &cursor, limit);
                break;
            case 1:
                GetLong(&l, &cursor, limit);
                break;
            case 2:
                GetULong(&u, &cursor, limit);
                break;
            default:
                GetText(text, &cursor, room, limit);
        }
        if (cursor > limit) std::abort();
    }
}

void passHeaderThrough(const unsigned char* data) {
    MsgHeader header, again;
    std::memcpy(header.wire(), data, MsgHeader::kSize);
    if (!header.ReadHeader()) return;
    char image[MsgHeader::kSize] = {};
    char* cursor = image;
    header.WriteHeader(&cursor);
    std::memcpy(again.wire(), image, sizeof image);
    if (!again.ReadHeader() || again.lg() != header.lg() || again.version() != header.version() ||
        std::strcmp(again.text(), header.text()) != 0)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    readValues(data, data + size);
    if (size >= MsgHeader::kSize) passHeaderThrough(data);
    return 0;
}
