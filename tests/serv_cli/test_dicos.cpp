#include <gtest/gtest.h>

#include <string>

#include "serv_cli/dicos.h"
#include "util/i_charstr.h"

namespace {

struct Digest {
    std::uint64_t value = 14695981039346656037U;
    void add(const char* text) {
        do {
            value = (value ^ static_cast<unsigned char>(*text)) * 1099511628211U;
        } while (*text++);
    }
};

// One letter, blank or tab changed in any row changes the figure: vocabulary is an interface.
TEST(Dicos, TheVocabularyStandsAsItIs) {
    Digest digest;
    auto texts = [&](const auto& table) {
        for (const char* text : table)
            digest.add(text);
    };
    auto rows = [&](const auto& table) {
        for (const IdName& row : table)
            digest.add((std::to_string(row.id) + row.text).c_str());
    };
    texts(tb_linestate), texts(tb_nomadicstate), texts(tb_CCAlineservstate);
    texts(tb_linecallcause), texts(tb_linecallinfo), texts(tb_callbackinfo), texts(tb_lineoptions);
    texts(tb_callkeys), texts(tb_linekeys), texts(tb_agentkeys), texts(tb_confkeys);
    texts(tb_forwardkinds), texts(tb_destkinds), texts(tb_linekinds), texts(tb_cfgkeys);
    texts(tb_vmailactions), texts(tb_signals), texts(tb_actions);
    rows(tb_languages), rows(tb_objects), rows(tb_qolstate), rows(tb_qoltype);
    rows(tb_qoltopology);
    EXPECT_EQ(digest.value, 4958042141822063135U);
}

TEST(Dicos, NamesByIndexAndById) {
    struct Case {
        const char* (*lookup)(std::int32_t);
        std::int32_t value;
        const char* name;
    };
    const Case cases[] = {
        {name_linestate, 21, "RecordingPaused"},
        {name_linestate, 22, ""},
        {name_linestate, -1, ""},
        {name_linestate, INT32_MIN, ""},
        {name_nomadicstate, 9, "Pcmm2_Switching"},
        {name_nomadicstate, 10, ""},
        {name_CCAlineservstate, 4, "Withdrawed"},
        {name_CCAlineservstate, 5, ""},
        {name_linecallcause, 18, "Active Monitor"},
        {name_linecallcause, 19, ""},
        {name_linecallinfo, 33, " EXCUSE"},
        {name_linecallinfo, 34, ""},
        {name_callbackinfo, 7, "Undefined"},
        {name_callbackinfo, 8, ""},
        {name_action, 22, " vmail_call"},
        {name_action, 74, " retrieve_call"},
        {name_action, 75, ""},
        {name_cfgkey, 10, " set_client_inactivity"},
        {name_cfgkey, 11, ""},
        {name_vmailaction, 4, " vmail_record"},
        {name_vmailaction, 5, ""},
        {name_signal, 28, "sn_fintemp_rep_SipC"},
        {name_signal, 29, ""},
        {name_language, 3, "CHK"},
        {name_language, 26, ""},
        {name_language, 37, "TR0"},
        {name_object, 1, "obj_AgentMAO"},  // not the temporisation with the same id
        {name_object, 62, "obj_Ldap_tho3"},
        {name_object, 2053, "TEMPO_NOMADIC_ALERTING"},
        {name_object, 0x10000 + 2051, ""},  // ids are compared in full width
        {name_qolstate, 0, "QOL_UNKNOWN_STATE"},
        {name_qolstate, 1, "INSTALLED"},
        {name_qolstate, 5, "QOL_UNKNOWN_STATE"},
        {name_qoltype, 1, "IP"},
        {name_qoltype, 2, "QOL_UNKNOWN_TYPE"},
        {name_qolprofile, 3, tb_qolprofile[3].text},
        {name_qolprofile, -1, "QOL_UNKNOWN_PROFIL"},
        {name_qoltopology, 1, "TAPI21"},
        {name_qoltopology, 2, "QOL_UNKNOWN_TOPOLOGY"},
    };
    for (const Case& c : cases)
        EXPECT_STREQ(c.lookup(c.value), c.name) << c.value;
}

TEST(Dicos, NamesByMask) {
    struct Case {
        const char* (*lookup)(char*, std::int32_t);
        std::int32_t mask;
        const char* names;
    };
    const std::string indent = indent_text;
    EXPECT_EQ(indent, "\n" + std::string(16, ' '));
    const Case cases[] = {
        {names_destkind, 0, ""},
        {names_destkind, 3, "Boss Secretary "},
        {names_destkind, 0x7FFFFF00, ""},
        {names_lineoptions, 0x11, " DO_NOT_DISTURB  DEB_ASSO_BUSY "},
        {names_callkeys, 1 << 21, " SENDMESS\t "},
        {names_linekeys, INT32_MIN, "CATEG_READY       "},
        {names_agentkeys, 1 << 14, "ENTRYGROUP     "},
        {names_confkeys, -1, "RELEASECONF  SUPPRESSCONF TRANSFERCONF "},
        {names_forwardkinds, 1, "RVOCC   "},
        {names_linekinds, 0, ""},
        {names_linekinds, -1, ""},
        {names_linekinds, 5, "-Distant -Priv. Phone "},
    };
    for (const Case& c : cases) {
        char names[200] = "before";
        EXPECT_EQ(c.lookup(names, c.mask), names);
        EXPECT_STREQ(names, c.names) << c.mask;
    }
    char untouched[] = "before";
    EXPECT_STREQ(names_forwardkinds(untouched, 0), "RVIMM");
    EXPECT_STREQ(untouched, "before");
}

TEST(Dicos, LongMasksBreakIntoIndentedLines) {
    const std::string n24(24, 'a'), n25(25, 'b'), n26(26, 'c'), n60(60, 'd');
    const char* const table[] = {n24.c_str(), n25.c_str(), n26.c_str(), n60.c_str()};
    auto names = [&](std::int32_t mask) {
        char text[400];
        return std::string(mask_names(text, mask, table, sizeof table));
    };
    const std::string indent = indent_text;
    EXPECT_EQ(names(0b0011), n24 + " " + n25 + " ");              // 50 on the line
    EXPECT_EQ(names(0b0101), n24 + " " + n26 + indent + indent);  // 51
    EXPECT_EQ(names(0b0111), n24 + " " + n25 + " " + n26 + indent + indent);
    EXPECT_EQ(names(0b1001), n24 + " " + n60 + indent + indent);
    EXPECT_EQ(names(0b1100), n26 + " " + n60 + indent + indent);
    const char* const reversed[] = {table[3], table[0]};
    char text[400];
    EXPECT_EQ(mask_names(text, 3, reversed, sizeof reversed), n60 + indent + n24 + " ");
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
    struct Case {
        std::string line;
        int blanks;
    };
    for (const Case& c : {Case{"", 35}, Case{"a\nbc", 33}, Case{"a\n", 35},
                          Case{std::string(34, 'x'), 1}, Case{std::string(40, 'x'), 0}}) {
        CharString text(c.line.c_str()), twice(c.line.c_str());
        pad_column(text, "v", nullptr);
        EXPECT_EQ(text.c_str(),
                  c.line + std::string(static_cast<std::size_t>(c.blanks), ' ') + "v");
        pad_column(twice, "v", "w");
        EXPECT_EQ(std::string(twice.c_str()), text.c_str() + std::string("  w"));
    }
}

}  // namespace
