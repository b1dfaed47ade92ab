#include <gtest/gtest.h>

#include <string>

#include "serv_cli/dicos.h"
#include "util/i_charstr.h"

namespace {

// One letter, blank or tab changed in any row changes the figure: vocabulary is an interface.
TEST(Dicos, TheVocabularyStandsAsItIs) {
    std::uint64_t digest = 14695981039346656037U;
    const auto add = [&](const std::string& text) {
        for (std::size_t i = 0; i <= text.size(); ++i) {
            digest = (digest ^ static_cast<unsigned char>(text.c_str()[i])) * 1099511628211U;
        }
    };
    const auto each = [&](const auto& table) {
        for (const auto& row : table) {
            if constexpr (requires { row.id; }) {
                add(std::to_string(row.id) + row.text);
            } else {
                add(row);
            }
        }
    };
    const auto all = [&](const auto&... tables) { (each(tables), ...); };
    all(tb_linestate, tb_nomadicstate, tb_CCAlineservstate, tb_linecallcause, tb_linecallinfo,
        tb_callbackinfo, tb_lineoptions, tb_callkeys, tb_linekeys, tb_agentkeys, tb_confkeys,
        tb_forwardkinds, tb_destkinds, tb_linekinds, tb_cfgkeys, tb_vmailactions, tb_signals,
        tb_actions, tb_languages, tb_objects, tb_qolstate, tb_qoltype, tb_qoltopology);
    EXPECT_EQ(digest, 4958042141822063135U);
}

TEST(Dicos, EachLookupReadsItsTable) {
    const auto named = [](std::int32_t value) {
        std::string names;
        for (const auto lookup :
             {name_linestate, name_nomadicstate, name_CCAlineservstate, name_linecallcause,
              name_linecallinfo, name_callbackinfo, name_action, name_cfgkey, name_vmailaction,
              name_signal, name_language, name_object, name_qolstate, name_qoltype, name_qolprofile,
              name_qoltopology}) {
            names.append(lookup(value)).append("/");
        }
        return names;
    };
    EXPECT_EQ(named(4),
              "Recording/Talking/Withdrawed/Do not disturb/ Non autorise/"
              "PickUp your Image (VCM)/ deflect_call/ cfg_forward/ vmail_record/"
              "common_data/GAE/obj_ServUsers_proxy/RUNNING/QOL_UNKNOWN_TYPE/"
              "QOL_UNKNOWN_PROFIL/QOL_UNKNOWN_TOPOLOGY/");
    const std::string unknown =
        "////////////QOL_UNKNOWN_STATE/QOL_UNKNOWN_TYPE/QOL_UNKNOWN_PROFIL/QOL_UNKNOWN_TOPOLOGY/";
    for (const std::int32_t value : {-1, 75, INT32_MIN, 0x10000})
        EXPECT_EQ(named(value), unknown);
    EXPECT_STREQ(name_linestate(nmax_linestate - 1), "RecordingPaused");
    EXPECT_STREQ(name_linestate(nmax_linestate), "");
    EXPECT_STREQ(name_action(74), " retrieve_call");
    EXPECT_STREQ(name_language(26), "");
    EXPECT_STREQ(name_object(1), "obj_AgentMAO");  // not the temporisation with the same id
    EXPECT_STREQ(name_object(2053), "TEMPO_NOMADIC_ALERTING");
    EXPECT_STREQ(name_qolstate(0), "QOL_UNKNOWN_STATE");
    EXPECT_STREQ(name_qolprofile(3), tb_qolprofile[3].text);
}

TEST(Dicos, EachMaskLookupReadsItsTable) {
    const auto named = [](std::int32_t mask) {
        std::string names;
        for (const auto lookup :
             {names_lineoptions, names_callkeys, names_linekeys, names_agentkeys, names_confkeys,
              names_destkind, names_forwardkinds, names_linekinds}) {
            char text[200] = "before";
            names.append(lookup(text, mask)).append("/");
        }
        return names;
    };
    EXPECT_EQ(named(1),
              " DO_NOT_DISTURB / GETCALL    /PROGLINE          /LOGON           /"
              "RELEASECONF  /Boss /RVOCC   /-Distant /");
    EXPECT_EQ(named(0), "//////RVIMM//");
    EXPECT_EQ(named(INT32_MIN), "//CATEG_READY       //////");
    char names[200] = "before";
    EXPECT_STREQ(names_forwardkinds(names, 0), "RVIMM");
    EXPECT_STREQ(names, "before");
    EXPECT_STREQ(names_destkind(names, 3), "Boss Secretary ");
    EXPECT_STREQ(names_linekinds(names, -1), "");  // the sign counts for this one alone
    EXPECT_STREQ(names_confkeys(names, -1), "RELEASECONF  SUPPRESSCONF TRANSFERCONF ");
}

TEST(Dicos, LongMasksBreakIntoIndentedLines) {
    const std::string n24(24, 'a'), n25(25, 'b'), n26(26, 'c'), n60(60, 'd');
    const char* const table[] = {n24.c_str(), n25.c_str(), n26.c_str(), n60.c_str(), "e"};
    const auto names = [&](std::int32_t mask) {
        char text[400];
        return std::string(mask_names(text, mask, table, sizeof table));
    };
    const std::string indent = "\n                ";
    EXPECT_EQ(names(0b00011), n24 + " " + n25 + " ");              // 50 on the line
    EXPECT_EQ(names(0b00101), n24 + " " + n26 + indent + indent);  // 51
    EXPECT_EQ(names(0b11001), n24 + " " + n60 + indent + "e ");
}

TEST(DicosDeathTest, AMaskTableHasAtMostThirtyTwoRows) {
    const char* table[33];
    for (const char*& row : table)
        row = "x";
    char text[200];
    EXPECT_STREQ(mask_names(text, INT32_MIN, table, sizeof table - sizeof *table), "x ");
    EXPECT_EXIT(mask_names(text, 0, table, sizeof table), testing::KilledBySignal(SIGABRT),
                "^Assertion <nb <= 32> failed:\nfile \"serv_cli/dicos\", line");
}

TEST(Dicos, PadsTheLastLineToTheColumn) {
    CharString empty, longer("abc\nd"), full(std::string(40, 'x').c_str());
    pad_column(empty, "v", nullptr);
    EXPECT_EQ(std::string(35, ' ').append("v"), empty.c_str());
    pad_column(longer, "v", "w");
    EXPECT_EQ(std::string("abc\nd").append(34, ' ').append("v  w"), longer.c_str());
    pad_column(full, "v", "");
    EXPECT_EQ(std::string(40, 'x').append("v  "), full.c_str());
}

}  // namespace
