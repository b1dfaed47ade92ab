#include "simulator/sim_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

std::string simTextOf(const char* format, va_list values) {
    va_list measured;
    va_copy(measured, values);
    const int length = std::max(std::vsnprintf(nullptr, 0, format, measured), 0);
    va_end(measured);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, values);
    return text;
}

std::string simText(const char* format, ...) {
    va_list values;
    va_start(values, format);
    std::string text = simTextOf(format, values);
    va_end(values);
    return text;
}

std::optional<std::int64_t> simNumberOf(const std::string& word, std::int64_t least,
                                        std::int64_t most, int base) {
    char* end = nullptr;
    errno = 0;
    const std::int64_t number = std::strtoll(word.c_str(), &end, base);
    if (word.empty() || *end != 0 || errno != 0 || number < least || number > most)
        return std::nullopt;
    return number;
}
