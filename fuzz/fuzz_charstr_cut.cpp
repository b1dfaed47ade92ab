// Cutting: the first three bytes are two positions and a delimiter, the rest is the text.
#include <cstdlib>
#include <memory>

#include "util/i_charstr.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 3) return 0;
    const int from = data[0] - 128, to = data[1] - 128;
    const char delimiter = static_cast<char>(data[2]);
    CharString s;
    for (std::size_t i = 3; i < size; ++i)
        s << static_cast<char>(data[i]);
    if (s.subRange(from, to).length() > s.length()) std::abort();
    short count = 0;
    const std::unique_ptr<CharString[]> pieces(s.split(count, delimiter));
    for (short i = 0; i < count; ++i) {
        if (pieces[i].contains(CharString().padTo(delimiter, 1)) && delimiter) std::abort();
    }
    const std::unique_ptr<char[]> room(new char[data[0] + 1U]);
    CharString(s).getDelimited(room.get(), data[0], delimiter);
    CharString(s).getBetween(room.get(), data[0], delimiter, ')');
    s.replaceText(s.leftTo(from).c_str(), s.rightFrom(to).c_str(), to);
    s.removeBlanks();
    s.eraseRange(from, to);
    return 0;
}
