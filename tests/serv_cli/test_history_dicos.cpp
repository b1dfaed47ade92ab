#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <regex>

#include "serv_cli/dicos.h"
#include "serv_cli/i_tools.h"

/// What `print` appends, with a bar before each row, in a process whose local time is UTC.
template <class Record>
static std::string printed(void (*print)(const Record*, CharString&), const Record& record) {
    setenv("TZ", "UTC", 1);
    CharString out("in front\n");
    print(&record, out);
    return std::regex_replace(out.c_str(), std::regex("\n\t "), "|");
}

TEST(History, PrintsAWholeCall) {
    Histo_Record r = {.Histo_Id = {17, -1},
                      .Line = "4711",
                      .CorrNumber = "+33144556677",
                      .Type = 13,
                      .State = 8,
                      .BeginDate = 1795093509,
                      .ConversDate = 1795093514,
                      .EndDate = -2,
                      .InitialDest = "4700",
                      .Cause = -1,
                      .CorrKind = 0xC1,
                      .DestKind = 3,
                      .Id_Rsvp = 31,
                      .Histo_Tree = 32,
                      .NewDestination = "4712",
                      .CallRef = INT32_MIN,
                      .CallID = 34,
                      .LastName = "Martin",
                      .FirstName = "Zo\xc3\xab",
                      .DisplayName = "Martin Z.",
                      .DialableNum = "0144556677",
                      .GsmCanonical = "+33 6",
                      .Anonymous = 2,
                      .IsAnswered = 1,
                      .Outgoing = 0,
                      .Acknowledged = 0x80,
                      .Redirected = 0,
                      .UnicodeLastName = "\x05M",
                      .UnicodeFirstName = {}};
    std::string hex;  // of the first 64 bytes
    std::memset(r.UnicodeFirstName, 0xe9, sizeof r.UnicodeFirstName);
    for (int i = 0; i < 64; ++i) hex += "e9 ";
    EXPECT_EQ(printed(print_histo, r),
              "in front|Histo_Id           17 -1|Line               4711"
              "|CorrNumber         +33144556677\t:Boss 0x40 0x80 "
              "|Type               Incoming Local  Redirected Answered|State              Talking"
              "|BeginDate          1795093509 = 26/11/19 13h05:09 |ConversDate        1795093514"
              "|EndDate            -2|InitialDest        4700\t:Boss Secretary "
              "|Cause              -1|CallRef            -2147483648|CallID             34"
              "|Id_Rsvp            31|Histo_Tree         32|NewDestination     4712"
              "|LastName           Martin|FirstName          Zo\xc3\xab"
              "|DisplayName        Martin Z.|DialableNum        0144556677|GsmCanonical       +33 6"
              "|Anonymous          YES |IsAnswered         YES |Outgoing           NO "
              "|Acknowledged       YES |Redirected         NO |UnicodeLastName    5 4d "
              "|UnicodeFirstName   " +
                  hex + '\n');
    r.Type = 2;
    EXPECT_THAT(printed(print_histo, r), testing::HasSubstr("  OutGoing External   |State"));
}

TEST(History, PrintsAShortEntry) {
    const Histo_Short r = {{-1, 18}, "4711", "4712", 946684800, 946684860, "4700", -1};
    EXPECT_EQ(printed(print_histo_short, r),
              "in front|Histo_Id      -1 18|Line          4711"
              "|CorrNumber    4712\t:\t BeginDate     946684800 = 00/01/01 00h00:00 "
              "|EndDate       946684860|InitialDest   4700\t:\t Acknowledged   -1\n");
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
    std::ifstream file(ZOR_SOURCE_DIR "/tests/serv_cli/vocabulary.txt");
    const std::vector<std::string> rows = vocabulary();
    std::string expected;
    for (const std::string& row : rows) {
        std::getline(file, expected);
        EXPECT_EQ(row, expected);
    }
    EXPECT_FALSE(std::getline(file, expected)) << "no row for " << expected;
}

TEST(Dicos, LongMasksBreakIntoIndentedLines) {
    const std::string n24(24, 'a'), n25(25, 'b'), n26(26, 'c'), n60(60, 'd');
    const char* const table[33] = {n24.c_str(), n25.c_str(), n26.c_str(), n60.c_str(), "e"};
    const std::size_t size = 5 * sizeof *table;
    const std::string indent = "\n                ";
    char text[400];
    EXPECT_EQ(mask_names(text, 0b00011, table, size), n24 + " " + n25 + " ");              // 50
    EXPECT_EQ(mask_names(text, 0b00101, table, size), n24 + " " + n26 + indent + indent);  // 51
    EXPECT_EQ(mask_names(text, 0b11001, table, size), n24 + " " + n60 + indent + "e ");
    EXPECT_DEATH(mask_names(text, 0, table, sizeof table), "<nb <= 32> failed:\nfile \"serv_cli/d");
}

TEST(Dicos, PadsTheLastLineToTheColumn) {
    CharString empty, longer("abc\nd"), full(std::string(40, 'x').c_str());
    CharString with_zero("before\nabc");
    with_zero.setChar(8, '\0');
    pad_column(empty, "v", nullptr);
    pad_column(longer, "v", "w");
    pad_column(full, "v", "");
    pad_column(with_zero, "v", nullptr);
    EXPECT_EQ(std::string(35, ' ') + "v", empty.c_str());
    EXPECT_EQ("abc\nd" + std::string(34, ' ') + "v  w", longer.c_str());
    EXPECT_EQ(std::string(40, 'x') + "v  ", full.c_str());
    EXPECT_EQ(with_zero.length(), 7 + 35 + 1) << "a zero byte is a character like the others";
}
