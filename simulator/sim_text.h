#pragma once
// Formatted text for answers and reports.

#include <cstdarg>
#include <string>

/// The text that `printf` would write, of any length.
[[gnu::format(printf, 1, 2)]] std::string simText(const char* format, ...);
/// The same for an open argument list, which is read once.
[[gnu::format(printf, 1, 0)]] std::string simTextOf(const char* format, va_list values);
