// Extraction: each read is chosen by the first byte of what is left, until nothing is.
#include <cstdlib>
#include <string>

#include "util/i_charstr.h"

namespace {

template <typename Target>
void read(CharString& s) {
    Target target{};
    const int before = s.length();
    s >> target;
    if (s.length() > before) std::abort();
}

void readToken(CharString& s) {
    char target[12] = "";
    s >> target;
    if (target[11] != '\0') std::abort();
}

constexpr void (*kReads[])(CharString&) = {
    read<char>,  read<int>,           read<long>,           read<unsigned>,      read<float>,
    read<short>, read<unsigned char>, read<unsigned short>, read<unsigned long>, readToken};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    CharString s;
    for (std::size_t i = 0; i < size; ++i)
        s << static_cast<char>(data[i]);
    for (unsigned turn = 0; turn < 64; ++turn)
        kReads[(s.getChar(0) + turn) % std::size(kReads)](s);
    return 0;
}
