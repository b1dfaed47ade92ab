#include <gmock/gmock.h>

#include <cstring>
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
    Histo_Record r{};
    r.Histo_Id = {17, -1}, r.Type = 13, r.State = 8, r.Cause = -1;
    r.BeginDate = 1795093509, r.ConversDate = 1795093514, r.EndDate = -2;
    std::strcpy(r.Line, "4711"), std::strcpy(r.CorrNumber, "+33144556677");
    std::strcpy(r.InitialDest, "4700"), std::strcpy(r.GsmCanonical, "+33 6");
    r.CorrKind = 0xC1, r.DestKind = 3, r.Anonymous = 2, r.IsAnswered = 1, r.Acknowledged = 0x80;
    r.Id_Rsvp = 31, r.Histo_Tree = 32, r.CallRef = INT32_MIN, r.CallID = 34;
    std::strcpy(r.NewDestination, "4712"), std::strcpy(r.UnicodeLastName, "\x05M");
    std::strcpy(r.LastName, "Martin"), std::strcpy(r.FirstName, "Zo\xc3\xab");
    std::strcpy(r.DisplayName, "Martin Z."), std::strcpy(r.DialableNum, "0144556677");
    std::string hex;  // of the first 64 bytes
    for (char& byte : r.UnicodeFirstName) byte = '\xe9', hex += "e9 ";
    hex.resize(64 * 3);
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

/// What the lookups say to a value and to a mask, each answer with a slash behind it.
static std::string named(std::int32_t value) {
    std::string names;
    for (const auto lookup :
         {name_linestate, name_nomadicstate, name_CCAlineservstate, name_linecallcause,
          name_linecallinfo, name_callbackinfo, name_action, name_cfgkey, name_vmailaction,
          name_signal, name_language, name_object, name_qolstate, name_qoltype, name_qolprofile,
          name_qoltopology})
        names.append(lookup(value)).append("/");
    for (const auto lookup :
         {names_lineoptions, names_callkeys, names_linekeys, names_agentkeys, names_confkeys,
          names_destkind, names_forwardkinds, names_linekinds}) {
        char text[1500] = "before";
        names.append(lookup(text, value)).append("/");
    }
    return names;
}

TEST(Dicos, TheVocabularyStandsAsItIs) {
    // One letter, blank or tab changed in any row changes the figure: vocabulary is an interface.
    std::string all;
    for (std::int32_t value = -1; value <= 2100; ++value) all += named(value);
    for (int bit = 0; bit < 32; ++bit) all += named(static_cast<std::int32_t>(1U << bit));
    std::uint64_t digest = 14695981039346656037U;
    for (const char byte : all)
        digest = (digest ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    EXPECT_EQ(digest, 16254939943708384441U);
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
