#pragma once
// What the fuzz targets share. Each puts one reader of outside bytes beside a model of it, which is
// written another way and may be slow, and ends the process where the two differ.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "util/i_charstr.h"

/// Ends the process, and with it the run of the fuzzer, unless `holds`.
inline void require(bool holds) {
    if (!holds) std::abort();
}

/// The same for two texts, which are shown if they differ.
inline void requireSame(std::string_view found, std::string_view expected) {
    if (found == expected) return;
    const auto length = [](std::string_view text) { return static_cast<int>(text.size()); };
    std::fprintf(stderr, "found:\n%.*s\nexpected:\n%.*s\n", length(found), found.data(),
                 length(expected), expected.data());
    std::abort();
}

/// A run's bytes, taken from their front; behind their end there are zeros.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    unsigned char byte() { return static_cast<unsigned char>(take(1).front()); }
    std::string take(std::size_t count) {
        std::string taken(rest_.substr(0, count));
        rest_.remove_prefix(taken.size());
        taken.resize(count);
        return taken;
    }
    /// Up to the first `end`, which goes too.
    std::string upTo(char end) {
        std::string taken(rest_.substr(0, rest_.find(end)));
        rest_.remove_prefix(std::min(taken.size() + 1, rest_.size()));
        return taken;
    }
    std::string rest() { return take(rest_.size()); }
    bool empty() const { return rest_.empty(); }

  private:
    std::string_view rest_;
};

/// A text with all of the bytes, zeros too, and back.
inline CharString charString(std::string_view bytes) {
    CharString text;
    for (const char byte : bytes)
        text << byte;
    return text;
}
inline std::string bytesOf(const CharString& text) {
    return {text.c_str(), static_cast<std::size_t>(text.length())};
}
/// What of the bytes a terminated text holds.
inline std::string terminated(const std::string& bytes) {
    return bytes.c_str();
}

/// The number of `size` bytes at `at`, the low byte first.
inline std::uint32_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value * 256 + static_cast<unsigned char>(bytes[at + i]);
    return value;
}
inline std::int16_t shortAt(std::string_view bytes, std::size_t at) {
    return static_cast<std::int16_t>(numberAt(bytes, at, 2));
}
inline std::int32_t longAt(std::string_view bytes, std::size_t at) {
    return static_cast<std::int32_t>(numberAt(bytes, at, 4));
}
