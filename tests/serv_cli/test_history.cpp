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

std::string printed(const Histo_Record& record) {
    setenv("TZ", "UTC", 1);
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

TEST(History, PrintsAWholeCall) {
    const Histo_Record record = {{17, -1},
                                 "4711",
                                 "+33144556677",
                                 13,
                                 8,
                                 kNovember2026,
                                 kNovember2026 + 5,
                                 -2,
                                 "4700",
                                 -1,
                                 0xC1,
                                 3,
                                 31,
                                 32,
                                 "4712",
                                 INT32_MIN,
                                 34,
                                 "Martin",
                                 "Zo\xc3\xab",
                                 "Martin Z.",
                                 "0144556677",
                                 "+33 6",
                                 2,
                                 1,
                                 0,
                                 0x80,
                                 0,
                                 "\x05M",
                                 "Zo\xc3\xa9"};
    EXPECT_EQ(printed(record),
              "in front\n"
              "\t Histo_Id           17 -1\n\t Line               4711\n"
              "\t CorrNumber         +33144556677\t:Boss 0x40 0x80 \n"
              "\t Type               Incoming Local  Redirected Answered\n"
              "\t State              Talking\n"
              "\t BeginDate          1795093509 = 26/11/19 13h05:09 \n"
              "\t ConversDate        1795093514\n\t EndDate            -2\n"
              "\t InitialDest        4700\t:Boss Secretary \n\t Cause              -1\n"
              "\t CallRef            -2147483648\n\t CallID             34\n"
              "\t Id_Rsvp            31\n\t Histo_Tree         32\n\t NewDestination     4712\n"
              "\t LastName           Martin\n\t FirstName          Zo\xc3\xab\n"
              "\t DisplayName        Martin Z.\n\t DialableNum        0144556677\n"
              "\t GsmCanonical       +33 6\n\t Anonymous          YES \n"
              "\t IsAnswered         YES \n\t Outgoing           NO \n"
              "\t Acknowledged       YES \n\t Redirected         NO \n"
              "\t UnicodeLastName    5 4d \n\t UnicodeFirstName   5a 6f c3 a9 \n");
}

TEST(History, PrintsEmptyAndFullFields) {
    Histo_Record r{};
    r.BeginDate = kJanuary2000;
    r.State = 22;
    EXPECT_EQ(valueOf("Type", r) + valueOf("State", r), "OutGoing Local   ");
    EXPECT_EQ(valueOf("BeginDate", r), "946684800 = 00/01/01 00h00:00 ");
    EXPECT_EQ(valueOf("CorrNumber", r) + valueOf("UnicodeLastName", r), "\t:");
    std::memset(r.UnicodeLastName, '0', sizeof r.UnicodeLastName);
    std::memset(r.Line, '7', sizeof r.Line);
    EXPECT_EQ(valueOf("UnicodeLastName", r).size(), 64U * 3);
    EXPECT_EQ(valueOf("Line", r), std::string(sizeof r.Line, '7'));
}

TEST(History, PrintsAShortEntry) {
    const Histo_Short record = {{-1, 18},           "4711", "4712", kNovember2026,
                                kNovember2026 + 60, "4700", 1};
    setenv("TZ", "UTC", 1);
    CharString out("in front\n");
    print_histo_short(&record, out);
    EXPECT_STREQ(out.c_str(),
                 "in front\n"
                 "\t Histo_Id      -1 18\n"
                 "\t Line          4711\n"
                 "\t CorrNumber    4712\t:\t BeginDate     1795093509 = 26/11/19 13h05:09 \n"
                 "\t EndDate       1795093569\n"
                 "\t InitialDest   4700\t:\t Acknowledged   1\n");
}

}  // namespace
