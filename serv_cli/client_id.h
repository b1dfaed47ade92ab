#pragma once
// The name of a client: whose mailbox, which operator.

#include <cstdint>

/// A plain value of 8 bytes, passed by value or by pointer. Only `major` and `minor` identify; the
/// other two fields travel along. (-1, -1) names the local console of this process.
struct ClientId {
    /// What identifies.
    std::int16_t major = -1;
    std::int16_t minor = -1;
    /// What travels along.
    std::int16_t third = -1;
    std::int16_t fourth = -1;

    ClientId() = default;
    // In braces, since the C library has macros `major(...)` and `minor(...)` behind a header of
    // its own.
    /// The client of these two, with -1 in the other two.
    ClientId(std::int16_t major_key, std::int16_t minor_key) : major{major_key}, minor{minor_key} {}

    /// Sets all four fields to -1.
    void clear() { *this = ClientId(); }

    /// 1 if `major` and `minor` agree, else 0.
    short operator==(const ClientId& other) const {
        return major == other.major && minor == other.minor;
    }
};
