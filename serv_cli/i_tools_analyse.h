#pragma once
// Text analyser: cuts a row text, one line of fields with a one-byte separator, into its fields.
//
// A row text of length 0 holds no field; any other holds one field more than it has separators, and
// a field may be empty. There is no quoting, no escape and no trimming: a line end is an ordinary
// byte. The separator is compared byte by byte, so multi-byte characters are not recognised. A row
// text holds at most 32,767 fields, which is the caller's limit.
//
// Each field is handed out as a fresh copy made by `duplicate_`; an empty field is a copy of length
// 0 and never null. With `fold` not 0 the copy is lower-cased by `lower_string`. A null row text is
// told on the trace and counts as one without fields. The analyser keeps no state and takes no
// lock: any number of threads may analyse at once, each with its own handler and variables.

#include <cstdarg>
#include <cstdint>

/// Gets the fields of the plain family one at a time: the index from 0, the copy, which it may
/// change but which is released when it returns, and the caller's word. 0 ends the analysis.
using TokenHandler = short (*)(short index, char* field, void* user);

/// Hands the fields to `handler` in order until it returns 0. Gives 1, or 0 if a handler did so.
short Do_Analyse_Text_by_new(unsigned char separator, short fold, const char* RowText,
                             TokenHandler handler, void* user);

/// The same with the tab as separator and `fold` on, or with both given. Always 1: whether the
/// handler stopped is its own knowledge.
short Analyse_Text_by_new(const char* RowText, TokenHandler handler, void* user);
short Analyse_Text_by_new_(unsigned char separator, short fold, const char* RowText,
                           TokenHandler handler, void* user);

/// Stores the first `count` fields in the variables (each a `char **`) of the argument list, as
/// heap texts that the caller owns. What a variable held before is not released. A row with fewer
/// than `count` fields leaves every variable as it was and is not reported: set them to null first
/// and look afterwards. Gives 1, or 0 if a null variable was met; those in front of it are filled,
/// those behind it unread.
short Do_Analyse_Text_Velsa_by_new(unsigned char separator, short fold, const char* RowText,
                                   std::int32_t count, va_list variables);

/// The same with the tab as separator and `fold` on, or with both given, and with the `count`
/// variables as further arguments. Always 1.
short Analyse_Text_Velsa_by_new(const char* RowText, std::int32_t count, ...);
short Analyse_Text_Velsa_by_new_(unsigned char separator, short fold, const char* RowText,
                                 std::int32_t count, ...);
