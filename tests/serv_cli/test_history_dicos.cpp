#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

#include "serv_cli/dicos.h"
#include "serv_cli/i_tools.h"
#include "support/places.h"

/// What a file beside this one holds.
static std::string content(const std::string& name) {
    std::ifstream file(ZOR_SOURCE_DIR "/tests/serv_cli/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(History, PrintsRecordsInRows) {
    setenv("TZ", "UTC", 1);
    CharString out("in front\n");
    // In the order of the record; the file shows each value behind its name.
    // clang-format off
    Histo_Record r = {
        {17, -1}, "4711", "+33144556677", 13, 8, 1795093509, 1795093514, -2, "4700", -1, 0xC1, 3,
        31, 32, "4712", INT32_MIN, 34, "Martin", "Zo\xc3\xab", "Martin Z.", "0144556677",
        "+33 6", 2, 1, 0, 0x80, 0, "\x05M", {}};
    // clang-format on
    std::memset(r.UnicodeFirstName, 0xe9, sizeof r.UnicodeFirstName);
    print_histo(&r, out);
    r.Type = 2;  // the opposite of each bit
    print_histo(&r, out);
    const Histo_Short entry = {{-1, 18}, "4711", "4712", 946684800, 946684860, "4700", -1};
    print_histo_short(&entry, out);
    EXPECT_EQ(out.c_str(), content("history.txt"));
}

/// The whole vocabulary, lookup by lookup: a row for each value that has a name and one for the
/// answer to all others; of a mask, a row for each bit, for none and for all.
static std::vector<std::string> vocabulary() {
    std::vector<std::string> rows;
    const auto add = [&rows](const std::string& key, const std::string& name) {
        rows.push_back(std::regex_replace(key + " [" + name + ']', std::regex("\n"), "\\n"));
    };
    for (const auto lookup :
         {name_linestate, name_nomadicstate, name_CCAlineservstate, name_linecallcause,
          name_linecallinfo, name_callbackinfo, name_action, name_cfgkey, name_vmailaction,
          name_signal, name_language, name_object, name_qolstate, name_qoltype, name_qolprofile,
          name_qoltopology}) {
        const std::string unknown = lookup(INT32_MIN);
        add("other", unknown);
        for (std::int32_t value = -10; value <= 40'000; ++value)
            if (lookup(value) != unknown) add(std::to_string(value), lookup(value));
    }
    for (const auto lookup :
         {names_lineoptions, names_callkeys, names_linekeys, names_agentkeys, names_confkeys,
          names_destkind, names_forwardkinds, names_linekinds}) {
        char names[1500];
        add("none", lookup(names, 0));
        for (int bit = 0; bit < 32; ++bit)
            add("bit " + std::to_string(bit), lookup(names, static_cast<std::int32_t>(1U << bit)));
        add("all", lookup(names, -1));
    }
    return rows;
}

// Other programs read these words: vocabulary is an interface, blanks and tabs included.
TEST(Dicos, TheVocabularyStandsAsItIs) {
    std::istringstream file(content("vocabulary.txt"));
    std::string expected;
    for (const std::string& row : vocabulary()) {
        std::getline(file, expected);
        EXPECT_EQ(row, expected);
    }
    EXPECT_FALSE(std::getline(file, expected)) << "no row for " << expected;
}

TEST(Dicos, AMaskBreaksALineOf51Characters) {
    const std::string n24(24, 'a'), n25(25, 'b'), n26(26, 'c'), n50(50, 'd');
    const char* const table[] = {n24.c_str(), n25.c_str(), n26.c_str(), n50.c_str()};
    const std::pair<std::int32_t, std::string> cases[] = {
        {0b0011, n24 + " " + n25 + " "},
        {0b0101, n24 + " " + n26 + indent_text + indent_text},
        {0b1101, n24 + " " + n26 + indent_text + n50 + " "}};  // the new line begins at 0
    for (const auto& [mask, expected] : cases) {
        const auto room = std::make_unique<char[]>(expected.size() + 1);  // and not a byte more
        EXPECT_EQ(mask_names(room.get(), mask, table, sizeof table), expected);
    }
}

TEST(Dicos, PadsTheLastLineToTheColumn) {
    const std::string x40(40, 'x');
    const std::tuple<std::string, const char*, std::string> cases[] = {
        // before, second value, behind
        {"", nullptr, std::string(35, ' ') + "v"},
        {"abc\nd", "w", "abc\nd" + std::string(34, ' ') + "v  w"},
        {std::string(3, '\0'), "w", std::string(3, '\0') + std::string(32, ' ') + "v  w"},
        {x40, "", x40 + "v  "}};
    for (const auto& [before, second, behind] : cases) {
        CharString text;
        for (const char c : before) text << c;
        pad_column(text, "v", second);
        EXPECT_EQ(std::string(text.c_str(), static_cast<unsigned>(text.length())), behind);
    }
}
