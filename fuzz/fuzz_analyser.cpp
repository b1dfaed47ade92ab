// The analyser of rows, beside a plain cutting. The first bytes are the separator, whether letters
// are folded, and where the handler stops; the rest is the row.
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "serv_cli/i_tools.h"

namespace {

std::string folded(std::string field, bool fold) {
    for (char& byte : field) {
        const auto value = static_cast<unsigned char>(byte);
        const bool latin = value >= 0xC0 && value <= 0xDE && value != 0xD7;
        const bool capital = (value >= 'A' && value <= 'Z') || latin;
        if (fold && capital) byte = static_cast<char>(value + 0x20);
    }
    return field;
}

std::vector<std::string> fieldsOf(const std::string& row, char separator, bool fold) {
    std::vector<std::string> fields;
    if (row.empty()) return fields;
    fields.emplace_back();
    for (const char byte : row) {
        if (byte == separator)
            fields.emplace_back();
        else
            fields.back() += byte;
    }
    for (std::string& field : fields)
        field = folded(field, fold);
    return fields;
}

struct Gathered {
    short last;  // the index at which to stop
    std::vector<std::string> fields;
};

short gather(short index, char* field, void* user) {
    auto& gathered = *static_cast<Gathered*>(user);
    require(static_cast<std::size_t>(index) == gathered.fields.size());
    gathered.fields.emplace_back(field);
    std::memset(field, 'x', std::strlen(field));  // the copy is the handler's to change
    return index != gathered.last;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned char separator = input.byte(), fold = input.byte() % 2, last = input.byte();
    const std::string row = terminated(input.rest());
    std::vector<std::string> expected = fieldsOf(row, static_cast<char>(separator), fold);
    const std::vector<std::string> all = expected;
    expected.resize(std::min<std::size_t>(expected.size(), last + 1U));
    Gathered gathered{last, {}};
    const short going = Do_Analyse_Text_by_new(separator, fold, row.c_str(), gather, &gathered);
    require(gathered.fields == expected);
    require(going == (all.size() <= last));
    char *first = nullptr, *second = nullptr;
    require(Analyse_Text_Velsa_by_new_(separator, fold, row.c_str(), 2, &first, &second) == 1);
    require((first != nullptr) == (all.size() >= 2) && (second != nullptr) == (all.size() >= 2));
    if (first) requireSame(first, all[0]);
    if (second) requireSame(second, all[1]);
    release_(&first);
    release_(&second);
    return 0;
}
