// XML readers: the first byte is the tag, the rest is the text; every element is visited.
#include <cstdlib>

#include "util/i_charstr.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 1) return 0;
    const char tag[] = {static_cast<char>(data[0]), '\0'};
    CharString s, out;
    for (std::size_t i = 1; i < size; ++i)
        s << static_cast<char>(data[i]);
    int elements = 0;
    for (int start = 0, end = 0; (end = s.xmlElement(tag, &out, start)) != 0; start = end) {
        if (end <= start || end > s.length()) std::abort();
        s.xmlContent(tag, &out, start);
        s.xmlAttribute(tag, &out, start);
        ++elements;
    }
    if (elements != s.xmlCount(tag)) std::abort();
    return 0;
}
