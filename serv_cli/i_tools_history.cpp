#include "serv_cli/i_tools_history.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "serv_cli/dicos.h"
#include "util/i_charstr.h"
#include "util/i_os_time.h"

namespace {

constexpr std::size_t kKindNamesRoom = 200;  // bytes; the names of all eight bits take 86
constexpr std::size_t kUnicodeLimit = 64;    // bytes of a Unicode name that are shown

template <std::size_t N>
std::string fieldText(const char (&field)[N]) {
    return {field, strnlen(field, N)};
}

/// Writes the rows of one record: label, value, line feed. A value may be put together from
/// several pieces between `begin` and `end`.
class Rows {
  public:
    explicit Rows(CharString& out) : out_(out) {}

    CharString& begin(const char* label) { return out_ << "\t " << label; }
    void end() { out_ << '\n'; }

    void row(const char* label, const char* value) {
        begin(label) << value;
        end();
    }
    void row(const char* label, const std::string& value) { row(label, value.c_str()); }
    void row(const char* label, std::int32_t value) {
        begin(label) << static_cast<int>(value);
        end();
    }
    void row(const char* label, IdPair id) {
        begin(label) << id.first << ' ' << id.second;
        end();
    }
    void yesOrNo(const char* label, std::uint8_t flag) { row(label, flag ? "YES " : "NO "); }

  private:
    CharString& out_;
};

/// A time as a number and as a local date, year first.
std::string dateText(std::int32_t seconds) {
    const std::time_t time = seconds;
    struct tm local {};
    safeLocaltime(&local, &time);
    char text[64];
    std::snprintf(text, sizeof text, "%ld = %.2d/%.2d/%.2d %.2dh%.2d:%.2d ",
                  static_cast<long>(seconds), (local.tm_year + 1900) % 100, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

std::string withKindNames(const std::string& number, std::uint8_t kinds) {
    char names[kKindNamesRoom];
    return number + "\t:" + names_destkind(names, kinds);
}

/// The four words of a type. An absent word is a blank, and the words bring their own blanks.
std::string typeText(std::uint8_t type) {
    std::string text = type & Histo_Record::kIncoming ? "Incoming " : "OutGoing ";
    text += type & Histo_Record::kExternal ? "External " : "Local ";
    text += type & Histo_Record::kRedirected ? " Redirected" : " ";
    text += type & Histo_Record::kAnswered ? " Answered" : " ";
    return text;
}

std::string hexText(const std::string& bytes) {
    std::string text;
    for (const char c : bytes.substr(0, kUnicodeLimit)) {
        char group[4];
        std::snprintf(group, sizeof group, "%x ", static_cast<unsigned>(c) & 0xFFU);
        text += group;
    }
    return text;
}

}  // namespace

void print_histo(const Histo_Record* record, CharString& out) {
    const Histo_Record& r = *record;
    Rows rows(out);
    rows.row("Histo_Id           ", r.Histo_Id);
    rows.row("Line               ", fieldText(r.Line));
    rows.row("CorrNumber         ", withKindNames(fieldText(r.CorrNumber), r.CorrKind));
    rows.row("Type               ", typeText(r.Type));
    rows.row("State              ", name_linestate(r.State));
    rows.row("BeginDate          ", dateText(r.BeginDate));
    rows.row("ConversDate        ", r.ConversDate);
    rows.row("EndDate            ", r.EndDate);
    rows.row("InitialDest        ", withKindNames(fieldText(r.InitialDest), r.DestKind));
    rows.row("Cause              ", r.Cause);
    rows.row("CallRef            ", r.CallRef);
    rows.row("CallID             ", r.CallID);
    rows.row("Id_Rsvp            ", r.Id_Rsvp);
    rows.row("Histo_Tree         ", r.Histo_Tree);
    rows.row("NewDestination     ", fieldText(r.NewDestination));
    rows.row("LastName           ", fieldText(r.LastName));
    rows.row("FirstName          ", fieldText(r.FirstName));
    rows.row("DisplayName        ", fieldText(r.DisplayName));
    rows.row("DialableNum        ", fieldText(r.DialableNum));
    rows.row("GsmCanonical       ", fieldText(r.GsmCanonical));
    rows.yesOrNo("Anonymous          ", r.Anonymous);
    rows.yesOrNo("IsAnswered         ", r.IsAnswered);
    rows.yesOrNo("Outgoing           ", r.Outgoing);
    rows.yesOrNo("Acknowledged       ", r.Acknowledged);
    rows.yesOrNo("Redirected         ", r.Redirected);
    rows.row("UnicodeLastName    ", hexText(fieldText(r.UnicodeLastName)));
    rows.row("UnicodeFirstName   ", hexText(fieldText(r.UnicodeFirstName)));
}

void print_histo_short(const Histo_Short* record, CharString& out) {
    const Histo_Short& r = *record;
    Rows rows(out);
    rows.row("Histo_Id      ", r.Histo_Id);
    rows.row("Line          ", fieldText(r.Line));
    // No line end behind the numbers: the date and the acknowledgement follow on their lines.
    rows.begin("CorrNumber    ") << fieldText(r.CorrNumber).c_str() << "\t:";
    rows.row("BeginDate     ", dateText(r.BeginDate));
    rows.row("EndDate       ", r.EndDate);
    rows.begin("InitialDest   ") << fieldText(r.InitialDest).c_str() << "\t:";
    // This label is a blank longer than its column.
    rows.row("Acknowledged   ", r.Acknowledged);
}
