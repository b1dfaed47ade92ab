#pragma once
// Text tools: words for true and false, heap texts, comparison without regard to case.
//
// A heap text is an array from the array form of the allocator, owned by the pointer variable that
// the caller passes; a wide text is the same with `wchar_t`, and its lengths count `wchar_t`. The
// tools keep no state and take no lock, so any thread may call them, each on its own variables;
// IsUTF8Unicode alone leaves a mark on the process, the locale that it sets.

#include <cstddef>

/// 1 for "true", "vrai", "yes", "oui" and "1", 0 for "false", "faux", "non", "no" and "0", in any
/// mix of upper and lower case. Any other word counts as false. A null text is fatal.
short text_to_bool(const char* text);

/// Sets the variable to a zero-filled copy of `to_copy`, an array of its length plus one elements,
/// or to null for a null text, which also writes a trace line. What the variable held before is
/// not released: it may be a variable that was never set.
void duplicate_(char** destination, const char* to_copy);
void duplicate_(wchar_t** destination, const wchar_t* to_copy);

/// Replaces the variable's text by a new array with `text` behind it and releases the old one. With
/// a null variable or a null text nothing happens: a null variable doesn't become the text.
void append_(char** destination, const char* text);
void append_(wchar_t** destination, const wchar_t* text);

/// Releases the variable's array, if it has one, and sets the variable to null.
void release_(char** text);
void release_(wchar_t** text);

/// `release_` for the first `count` entries of an array of texts. The array itself stays.
void release_all(char** texts, int count);
void release_all(wchar_t** texts, int count);

/// As `strcasecmp`, `strncasecmp` and their wide forms. A null text is fatal ("s1 && s2").
int compare_nocase(const char* s1, const char* s2);
int compare_nocase(const wchar_t* s1, const wchar_t* s2);
int compare_nocase_n(const char* s1, const char* s2, std::size_t length);
int compare_nocase_n(const wchar_t* s1, const wchar_t* s2, std::size_t length);

/// As `wcsstr`: the first place of `s2` in `s1`, or null. A null text is fatal ("s1 && s2").
const wchar_t* find_wide(const wchar_t* s1, const wchar_t* s2);

/// The first place of `s2` in `s1` regardless of case, the Latin-1 capitals included, or null. An
/// empty `s2` is found at the start. A null text is fatal ("s1 && s2").
const char* find_nocase(const char* s1, const char* s2);

/// 1 when the texts are equal or both null, else 0.
short same_text(const char* a, const char* b);
short same_text(const wchar_t* a, const wchar_t* b);

/// Lower-cases a text in place: the Latin-1 capitals always, other bytes as `isupper` and `tolower`
/// of the locale in force say. A null text is fatal ("p").
void lower_string(char* p);

/// 1 when the first 64 characters of a UTF-8 text hold one above 255, which Latin-1 can't show; 0
/// when they don't, for a null text, and, with a trace line, for an empty or invalid one. With
/// `verbose` the character values are traced as well.
///
/// Sets the process's LC_CTYPE to "fr_FR.UTF-8", and it stays: all threads share it. On a machine
/// without that locale the text is read in the locale then in force.
short IsUTF8Unicode(const char* text, unsigned char verbose);
