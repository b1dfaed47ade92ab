#pragma once
// Dictionaries: the numbers of the telephony server as words, for traces and maintenance output.
//
// Every text that a lookup hands out is constant and lives as long as the program: nobody copies or
// frees it. No lookup fails; a value without a row gives the answer that stands at its lookup. The
// tables are read only and the lookups keep nothing, so any thread may call everything here.

#include <cstddef>
#include <cstdint>

#include "serv_cli/dicos_tables.h"

class CharString;

/// Row counts of the tables that are held against a count of their own: for loops over all values.
inline constexpr int nmax_linestate = 22;
inline constexpr int nmax_nomadicstate = 10;
inline constexpr int nmax__agstate = 5;  // NOLINT(bugprone-reserved-identifier): its old name
inline constexpr int nmax_linecallcause = 19;
inline constexpr int nmax_linecallinfo = 34;

/// What `mask_names` breaks a long line with: a line feed and 16 blanks.
extern const char* const indent_text;

/// The row of an index table, or the empty text for an index outside it. `size` is the table's size
/// in bytes, as `sizeof` gives it.
const char* name_at(std::int32_t index, const char* const* table, std::size_t size);

/// The text of the first row that carries `id`, or the empty text. `size` is in bytes.
const char* name_of_id(std::int32_t id, const IdName* table, std::size_t size);

/// Writes the names of the bits set in `mask` to `destination`, in the order of the bits, and gives
/// `destination`. Each name has a blank behind it, or `indent_text` once its line is 51 characters
/// long; a list that ends with a long line ends in a second `indent_text`. Bits above the table are
/// ignored. `size` is the table's size in bytes, for at most 32 rows (fatal assertion "nb <= 32").
/// The caller provides the room for the whole text.
char* mask_names(char* destination, std::int32_t mask, const char* const* table, std::size_t size);

/// Appends blanks until the last line of `text` is 35 characters long (zero bytes count too), then
/// `first`, and, where `second` is not null, two blanks and `second`. A longer line gets no blank.
void pad_column(CharString& text, const char* first, const char* second);

/// Lookups by index. An unknown value gives the empty text.
const char* name_linestate(std::int32_t value);
const char* name_nomadicstate(std::int32_t value);
const char* name_CCAlineservstate(std::int32_t value);
const char* name_linecallcause(std::int32_t value);
const char* name_linecallinfo(std::int32_t value);
const char* name_callbackinfo(std::int32_t value);
const char* name_action(std::int32_t value);
const char* name_cfgkey(std::int32_t value);
const char* name_vmailaction(std::int32_t value);
const char* name_signal(std::int32_t value);

/// Lookups by mask: `mask_names` over the table into `destination`, which is also the result.
const char* names_lineoptions(char* destination, std::int32_t mask);
const char* names_callkeys(char* destination, std::int32_t mask);
const char* names_linekeys(char* destination, std::int32_t mask);
const char* names_agentkeys(char* destination, std::int32_t mask);
const char* names_confkeys(char* destination, std::int32_t mask);
const char* names_destkind(char* destination, std::int32_t mask);

/// As above, but the mask 0, an immediate forwarding, gives the constant text "RVIMM" and leaves
/// `destination` unwritten: use the result, not the buffer.
const char* names_forwardkinds(char* destination, std::int32_t mask);

/// As above, but a mask of 0 or below, so also -1, gives the empty text.
const char* names_linekinds(char* destination, std::int32_t mask);

/// Lookups by id. An unknown value gives the empty text.
const char* name_language(std::int32_t id);
const char* name_object(std::int32_t id);

/// Lookups by id with a word of their own for an unknown value: "QOL_UNKNOWN_STATE",
/// "QOL_UNKNOWN_TYPE", "QOL_UNKNOWN_PROFIL" (its spelling since ever) and "QOL_UNKNOWN_TOPOLOGY".
const char* name_qolstate(std::int32_t id);
const char* name_qoltype(std::int32_t id);
const char* name_qolprofile(std::int32_t id);
const char* name_qoltopology(std::int32_t id);
