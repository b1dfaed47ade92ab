#include "util/i_charstr.h"

CharString& CharString::xmlOpen(const char* tag) {
    return *this << '<' << tag << '>';
}

CharString& CharString::xmlClose(const char* tag) {
    return *this << "</" << tag << '>';
}

CharString& CharString::xmlLeaf(const char* tag, const char* value) {
    return (xmlOpen(tag) << value).xmlClose(tag);
}

CharString& CharString::xmlLeaf(const char* tag, long value) {
    return (xmlOpen(tag) << value).xmlClose(tag);
}

/// The position behind the next "<tag", or -1. Its ">" isn't looked for: attributes may follow.
int CharString::xmlFindTag(const char* tag, int start) const {
    CharString opening("<");
    opening << tag;
    const int begin = find(opening, start);
    return begin == -1 ? -1 : begin + opening.length();
}

/// The position behind the element whose tag's name ends at `begin`, or 0 if it never ends.
int CharString::xmlElementEnd(const char* tag, int begin) const {
    const int bracket = find('>', begin);
    if (bracket > 0 && text[static_cast<std::size_t>(bracket) - 1] == '/') return bracket + 1;
    CharString closing;
    closing.xmlClose(tag);
    const int end = find(closing, begin);
    return end > 0 ? end + closing.length() : 0;
}

int CharString::xmlElement(const char* tag, CharString* out, int start) const {
    const int begin = xmlFindTag(tag, start);
    if (begin == -1) return 0;
    const int end = xmlElementEnd(tag, begin);
    if (end > 0) *out = subRange(begin, end);
    return end;
}

short CharString::xmlContent(const char* tag, CharString* out, int start) const {
    const int name_end = xmlFindTag(tag, start);
    const int bracket = name_end == -1 ? -1 : find('>', name_end);
    if (bracket == -1) return 0;
    CharString closing;
    closing.xmlClose(tag);
    const int end = find(closing, bracket + 1);
    if (end <= 0) return 0;
    *out = subRange(bracket + 1, end);
    return 1;
}

short CharString::xmlAttribute(const char* name, CharString* out, int start) const {
    CharString key;
    key << name << "=\"";
    const int at = find(key, start);
    if (at == -1) return 0;
    const int begin = at + key.length();
    const int end = find('"', begin);
    if (end <= 0) return 0;
    *out = subRange(begin, end);
    return 1;
}

int CharString::xmlCount(const char* tag) const {
    int count = 0;
    for (int begin = xmlFindTag(tag, 0); begin != -1; ++count) {
        const int end = xmlElementEnd(tag, begin);
        if (end < 1) break;
        begin = xmlFindTag(tag, end);
    }
    return count;
}
