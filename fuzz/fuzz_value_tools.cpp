// The value tools and the analyser on any text: what they promise of their results holds for all.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "util/i_trace.h"

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

short joinField(short, char* field, void* user) {
    static_cast<std::string*>(user)->append(field).append(1, '\t');
    return 1;
}

void checkAnalyser(const std::string& text) {
    std::string joined;
    require(Do_Analyse_Text_by_new('\t', 0, text.c_str(), joinField, &joined) == 1);
    require(joined == (text.empty() ? text : text + '\t'));
    char *first = nullptr, *second = nullptr;
    Analyse_Text_Velsa_by_new_('\t', 1, text.c_str(), 2, &first, &second);
    require(!first == (text.find('\t') == std::string::npos));
    release_(&first);
    release_(&second);
}

void checkScrambler(const std::string& text) {
    std::string scrambled = text;
    scramble_text(scrambled.data());
    require(std::strlen(scrambled.c_str()) == text.size());
    require(unscramble_text(scrambled.data()) == text);
}

void checkPhoneNumber(const std::string& text) {
    std::vector<char> number(text.size() + 1, 'x');
    strValidPhoneNumber(text.c_str(), number.data());
    require(text.empty() ||
            std::strspn(number.data(), "0123456789ABCD*#+-") == std::strlen(number.data()));
}

void checkPair(const std::string& text) {
    IdPair read{}, again{};
    pair_from_text(text.c_str(), &read);
    char* written = nullptr;
    pair_to_text(read, &written);
    pair_from_text(written, &again);
    require(read.first == again.first && read.second == again.second);
    release_(&written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    setTraceSink([](const char*) {});
    const std::vector<char> bytes(data, data + size);
    const std::string text = std::string(bytes.begin(), bytes.end()).c_str();
    checkAnalyser(text);
    checkScrambler(text);
    checkPhoneNumber(text);
    checkPair(text);
    text_to_bool(text.c_str());
    IsUTF8Unicode(text.c_str(), 1);
    require(find_nocase(text.c_str(), text.c_str()) == text.c_str());
    return 0;
}
