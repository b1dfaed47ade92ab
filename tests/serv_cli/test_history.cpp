#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "serv_cli/i_tools.h"
#include "util/i_charstr.h"

namespace {

constexpr std::int32_t kNovember2026 = 1795093509;  // 2026-11-19 13:05:09 UTC
constexpr std::int32_t kJanuary2000 = 946684800;    // 2000-01-01 00:00:00 UTC

class History : public testing::Test {
  protected:
    History() {
        setenv("TZ", "UTC", 1);
        tzset();
    }
};

std::string printed(const Histo_Record& record) {
    CharString out("in front\n");
    print_histo(&record, out);
    return out.c_str();
}

/// The value behind a label of the whole print.
std::string valueOf(const std::string& label, const Histo_Record& record) {
    const std::string text = printed(record);
    const std::size_t start = text.find("\t " + label + " ") + 21;
    return text.substr(start, text.find('\n', start) - start);
}

template <std::size_t N>
void put(char (&field)[N], const char* text) {
    std::snprintf(field, N, "%s", text);
}

TEST_F(History, PrintsAWholeCall) {
    Histo_Record r{};
    r.Histo_Id = {17, -1};
    put(r.Line, "4711");
    put(r.CorrNumber, "+33144556677");
    r.Type = 13;
    r.State = 8;
    r.BeginDate = kNovember2026;
    r.ConversDate = kNovember2026 + 5;
    r.EndDate = -2;
    put(r.InitialDest, "4700");
    r.Cause = -1;
    r.CorrKind = 0xC1;
    r.DestKind = 3;
    r.Id_Rsvp = 31;
    r.Histo_Tree = 32;
    put(r.NewDestination, "4712");
    r.CallRef = INT32_MIN;
    r.CallID = 34;
    put(r.LastName, "Martin");
    put(r.FirstName, "Zo\xc3\xab");
    put(r.DisplayName, "Martin Z.");
    put(r.DialableNum, "0144556677");
    put(r.GsmCanonical, "+33 6");
    r.Anonymous = 2;
    r.IsAnswered = 1;
    r.Acknowledged = 0x80;
    put(r.UnicodeLastName, "\x05M");
    put(r.UnicodeFirstName, "Zo\xc3\xa9");
    EXPECT_EQ(printed(r),
              "in front\n"
              "\t Histo_Id           17 -1\n"
              "\t Line               4711\n"
              "\t CorrNumber         +33144556677\t:Boss 0x40 0x80 \n"
              "\t Type               Incoming Local  Redirected Answered\n"
              "\t State              Talking\n"
              "\t BeginDate          1795093509 = 26/11/19 13h05:09 \n"
              "\t ConversDate        1795093514\n"
              "\t EndDate            -2\n"
              "\t InitialDest        4700\t:Boss Secretary \n"
              "\t Cause              -1\n"
              "\t CallRef            -2147483648\n"
              "\t CallID             34\n"
              "\t Id_Rsvp            31\n"
              "\t Histo_Tree         32\n"
              "\t NewDestination     4712\n"
              "\t LastName           Martin\n"
              "\t FirstName          Zo\xc3\xab\n"
              "\t DisplayName        Martin Z.\n"
              "\t DialableNum        0144556677\n"
              "\t GsmCanonical       +33 6\n"
              "\t Anonymous          YES \n"
              "\t IsAnswered         YES \n"
              "\t Outgoing           NO \n"
              "\t Acknowledged       YES \n"
              "\t Redirected         NO \n"
              "\t UnicodeLastName    5 4d \n"
              "\t UnicodeFirstName   5a 6f c3 a9 \n");
}

TEST_F(History, PrintsEmptyAndFullFields) {
    Histo_Record r{};
    r.BeginDate = kJanuary2000;
    r.State = 22;
    EXPECT_EQ(valueOf("Type", r), "OutGoing Local   ");
    EXPECT_EQ(valueOf("State", r), "");
    EXPECT_EQ(valueOf("BeginDate", r), "946684800 = 00/01/01 00h00:00 ");
    EXPECT_EQ(valueOf("CorrNumber", r), "\t:");
    EXPECT_EQ(valueOf("UnicodeLastName", r), "");
    EXPECT_EQ(valueOf("Outgoing", r), "NO ");

    std::memset(r.UnicodeLastName, 0xEF, sizeof r.UnicodeLastName);
    std::memset(r.Line, '7', sizeof r.Line);
    r.CorrKind = r.DestKind = 0xFF;
    r.Type = 2;
    std::string groups;
    for (int i = 0; i < 64; ++i)
        groups += "ef ";
    EXPECT_EQ(valueOf("UnicodeLastName", r), groups);
    EXPECT_EQ(valueOf("Line", r), "777777777777");
    EXPECT_EQ(valueOf("Type", r), "OutGoing External   ");
    EXPECT_NE(printed(r).find("\t InitialDest        \t:Boss Secretary Group associate Voice Mail "
                              "Voice Mailconsult\n                0x40 0x80 \n"),
              std::string::npos);
}

TEST_F(History, PrintsAShortEntry) {
    Histo_Short r{};
    r.Histo_Id = {-1, 18};
    put(r.Line, "4711");
    put(r.CorrNumber, "4712");
    r.BeginDate = kNovember2026;
    r.EndDate = kNovember2026 + 60;
    put(r.InitialDest, "4700");
    r.Acknowledged = 1;
    CharString out("in front\n");
    print_histo_short(&r, out);
    EXPECT_STREQ(out.c_str(),
                 "in front\n"
                 "\t Histo_Id      -1 18\n"
                 "\t Line          4711\n"
                 "\t CorrNumber    4712\t:\t BeginDate     1795093509 = 26/11/19 13h05:09 \n"
                 "\t EndDate       1795093569\n"
                 "\t InitialDest   4700\t:\t Acknowledged   1\n");
}

}  // namespace
