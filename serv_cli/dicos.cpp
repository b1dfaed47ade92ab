#include "serv_cli/dicos.h"

#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include "util/i_assert.h"
#include "util/i_charstr.h"

const char* const indent_text = "\n                ";

namespace {

constexpr char SOURCE_MODULE[] = "serv_cli/dicos";

constexpr std::size_t kMaskBits = 32;
constexpr std::size_t kWrapLength = 51;      // characters from which on a line of names is broken
constexpr std::size_t kMaskTextRoom = 1500;  // bytes, more than the longest list of these tables
constexpr std::size_t kPadColumn = 35;       // characters in front of the padded column

// The tables without a public count: a row lost or doubled is found here and not in a trace.
static_assert(std::size(tb_callbackinfo) == 8 && std::size(tb_actions) == 75);
static_assert(std::size(tb_cfgkeys) == 11 && std::size(tb_vmailactions) == 5);
static_assert(std::size(tb_signals) == 29 && std::size(tb_lineoptions) == 5);
static_assert(std::size(tb_callkeys) == 31 && std::size(tb_linekeys) == 32);
static_assert(std::size(tb_agentkeys) == 15 && std::size(tb_confkeys) == 3);
static_assert(std::size(tb_forwardkinds) == 5 && std::size(tb_destkinds) == 8);
static_assert(std::size(tb_linekinds) == 6 && std::size(tb_languages) == 36);
static_assert(std::size(tb_objects) == 67 && std::size(tb_qolstate) == 4);
static_assert(std::size(tb_qoltype) == 2 && std::size(tb_qolprofile) == 4);
static_assert(std::size(tb_qoltopology) == 2);

const char* nameOr(const char* unknown, std::int32_t id, const IdName* table, std::size_t size) {
    const char* name = name_of_id(id, table, size);
    return *name ? name : unknown;
}

}  // namespace

const char* name_at(std::int32_t index, const char* const* table, std::size_t size) {
    const bool known = index >= 0 && static_cast<std::size_t>(index) < size / sizeof *table;
    return known ? table[index] : "";
}

const char* name_of_id(std::int32_t id, const IdName* table, std::size_t size) {
    for (std::size_t row = 0; row < size / sizeof *table; ++row) {
        if (table[row].id == id) return table[row].text;
    }
    return "";
}

char* mask_names(char* destination, std::int32_t mask, const char* const* table, std::size_t size) {
    *destination = '\0';
    const std::size_t nb = size / sizeof *table;
    ZOR_ASSERT(nb <= kMaskBits, "nb <= 32");
    std::string names;
    names.reserve(kMaskTextRoom);
    std::size_t column = 0;
    bool wrapped = false;
    for (std::size_t row = 0; row < nb; ++row) {
        if (!(static_cast<std::uint32_t>(mask) >> row & 1U)) continue;
        const std::size_t sum = column + std::strlen(table[row]);
        wrapped = sum >= kWrapLength;
        names.append(table[row]).append(wrapped ? indent_text : " ");
        column = wrapped ? 0 : sum + 1;
    }
    // A list that ends with a long line gets a second break: the text behind it starts apart.
    if (wrapped) names += indent_text;
    std::memcpy(destination, names.c_str(), names.size() + 1);
    return destination;
}

void pad_column(CharString& text, const char* first, const char* second) {
    const std::string_view all(text.c_str(), static_cast<std::size_t>(text.length()));
    const std::size_t last_line = all.rfind('\n') + 1;  // 0 where there is no line feed
    for (std::size_t width = all.size() - last_line; width < kPadColumn; ++width)
        text << ' ';
    text << first;
    if (second) text << "  " << second;
}

const char* name_linestate(std::int32_t value) {
    ZOR_ASSERT(sizeof(tb_linestate) / sizeof(const char*) == nmax_linestate,
               "sizeof(tb_linestate) / sizeof(const char*) == nmax_linestate");
    return name_at(value, tb_linestate, sizeof tb_linestate);
}

const char* name_nomadicstate(std::int32_t value) {
    ZOR_ASSERT(sizeof(tb_nomadicstate) / sizeof(const char*) == nmax_nomadicstate,
               "sizeof(tb_nomadicstate) / sizeof(const char*) == nmax_nomadicstate");
    return name_at(value, tb_nomadicstate, sizeof tb_nomadicstate);
}

const char* name_CCAlineservstate(std::int32_t value) {
    ZOR_ASSERT(sizeof(tb_CCAlineservstate) / sizeof(const char*) == nmax__agstate,
               "sizeof(tb_CCAlineservstate) / sizeof(const char*) == nmax__agstate");
    return name_at(value, tb_CCAlineservstate, sizeof tb_CCAlineservstate);
}

const char* name_linecallcause(std::int32_t value) {
    ZOR_ASSERT(sizeof(tb_linecallcause) / sizeof(const char*) == nmax_linecallcause,
               "sizeof(tb_linecallcause) / sizeof(const char*) == nmax_linecallcause");
    return name_at(value, tb_linecallcause, sizeof tb_linecallcause);
}

const char* name_linecallinfo(std::int32_t value) {
    ZOR_ASSERT(sizeof(tb_linecallinfo) / sizeof(const char*) == nmax_linecallinfo,
               "sizeof(tb_linecallinfo) / sizeof(const char*) == nmax_linecallinfo");
    return name_at(value, tb_linecallinfo, sizeof tb_linecallinfo);
}

const char* name_callbackinfo(std::int32_t value) {
    return name_at(value, tb_callbackinfo, sizeof tb_callbackinfo);
}

const char* name_action(std::int32_t value) {
    return name_at(value, tb_actions, sizeof tb_actions);
}

const char* name_cfgkey(std::int32_t value) {
    return name_at(value, tb_cfgkeys, sizeof tb_cfgkeys);
}

const char* name_vmailaction(std::int32_t value) {
    return name_at(value, tb_vmailactions, sizeof tb_vmailactions);
}

const char* name_signal(std::int32_t value) {
    return name_at(value, tb_signals, sizeof tb_signals);
}

const char* names_lineoptions(char* destination, std::int32_t mask) {
    return mask_names(destination, mask, tb_lineoptions, sizeof tb_lineoptions);
}

const char* names_callkeys(char* destination, std::int32_t mask) {
    return mask_names(destination, mask, tb_callkeys, sizeof tb_callkeys);
}

const char* names_linekeys(char* destination, std::int32_t mask) {
    return mask_names(destination, mask, tb_linekeys, sizeof tb_linekeys);
}

const char* names_agentkeys(char* destination, std::int32_t mask) {
    return mask_names(destination, mask, tb_agentkeys, sizeof tb_agentkeys);
}

const char* names_confkeys(char* destination, std::int32_t mask) {
    return mask_names(destination, mask, tb_confkeys, sizeof tb_confkeys);
}

const char* names_destkind(char* destination, std::int32_t mask) {
    return mask_names(destination, mask, tb_destkinds, sizeof tb_destkinds);
}

const char* names_forwardkinds(char* destination, std::int32_t mask) {
    if (mask == 0) return "RVIMM";
    return mask_names(destination, mask, tb_forwardkinds, sizeof tb_forwardkinds);
}

const char* names_linekinds(char* destination, std::int32_t mask) {
    // The sign counts here, unlike in every other mask: -1 is "no kind", not all of them.
    return mask_names(destination, mask > 0 ? mask : 0, tb_linekinds, sizeof tb_linekinds);
}

const char* name_language(std::int32_t id) {
    return name_of_id(id, tb_languages, sizeof tb_languages);
}

const char* name_object(std::int32_t id) {
    return name_of_id(id, tb_objects, sizeof tb_objects);
}

const char* name_qolstate(std::int32_t id) {
    return nameOr("QOL_UNKNOWN_STATE", id, tb_qolstate, sizeof tb_qolstate);
}

const char* name_qoltype(std::int32_t id) {
    return nameOr("QOL_UNKNOWN_TYPE", id, tb_qoltype, sizeof tb_qoltype);
}

const char* name_qolprofile(std::int32_t id) {
    return nameOr("QOL_UNKNOWN_PROFIL", id, tb_qolprofile, sizeof tb_qolprofile);
}

const char* name_qoltopology(std::int32_t id) {
    return nameOr("QOL_UNKNOWN_TOPOLOGY", id, tb_qoltopology, sizeof tb_qoltopology);
}
