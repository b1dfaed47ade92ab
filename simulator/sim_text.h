#pragma once
// Formatted text for answers and reports, and numbers out of typed words.

#include <cstdarg>
#include <cstdint>
#include <optional>
#include <string>

/// The text that `printf` would write, of any length.
[[gnu::format(printf, 1, 2)]] std::string simText(const char* format, ...);
/// The same for an open argument list, which is read once.
[[gnu::format(printf, 1, 0)]] std::string simTextOf(const char* format, va_list values);

/// The number that the whole of `word` is, or nothing if it is none from `least` to `most`. With
/// `base` 0 a word that begins with 0x is hexadecimal, one that begins with 0 octal.
std::optional<std::int64_t> simNumberOf(const std::string& word, std::int64_t least,
                                        std::int64_t most, int base = 10);
