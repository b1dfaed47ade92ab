#pragma once
// Value tools: digits of dialling, parts of a date, limits, pairs of ids, phone numbers and a small
// text scrambler.
//
// Plain functions without state: any thread may call them, each on its own variables.

#include <cstdint>

/// The symbol of a code in the dial alphabet "0123456789ABCD*#". A code above 15 has none: 0.
char dial_symbol(std::uint8_t code);

/// The code of a symbol of the dial alphabet; 0, the code of '0', for every other character.
std::uint8_t dial_code(char symbol);

/// The value of a hexadecimal digit of either case; 0 for every other character.
short hex_value(char digit);

/// 1 when the text holds at least one character and only '0' to '9', else 0, also for null.
short is_digits(const char* text);

/// 1 when the text holds at least one character and only symbols of the dial alphabet, else 0, also
/// for null. The '+' of a written phone number isn't dialled and so isn't in the alphabet.
short is_dial_text(const char* text);

/// 1 when the text is exactly two digits in the range of the date part, else 0, also for null: 01
/// to 12, 01 to 31, 00 to 23, 00 to 59, 00 to 59.
short valid_month(const char* text);
short valid_day(const char* text);
short valid_hour(const char* text);
short valid_minute(const char* text);
short valid_second(const char* text);

/// The limit of a kind, and of its sub-kind where the kind is 4. The caller knows what they mean;
/// 0 is the limit of every other kind.
std::int32_t max_for_kind(short kind, short sub);

/// Two ids that name one thing together, such as an entry of the call history.
struct IdPair {
    /// Neither stands for anything here.
    std::int32_t first;
    std::int32_t second;
};

/// Sets the variable to a new heap text, both numbers in decimal with a point between them.
void pair_to_text(IdPair pair, char** destination);

/// Reads what `pair_to_text` writes. A missing or unreadable number is 0, and what stands behind a
/// second point is ignored. A number beyond 32 bits gives the nearest limit on every machine.
/// `text` is not null.
void pair_from_text(const char* text, IdPair* pair);

/// Copies a phone number and keeps only '0' to '9', 'A' to 'D', '#', '*', '+' and '-'. Dropped
/// bytes are the sign of a bad record, so a trace line shows them in their places. `out` has room
/// for the text and its terminator and may be `in` itself. With a null or empty `in`, or a null
/// `out`, a trace line says so and nothing is written.
void strValidPhoneNumber(const char* in, char* out);

/// Hides a text from a casual eye, in place, and gives it back; `unscramble_text` undoes it. Not a
/// cipher. Control bytes (31 and below) stay as they are, and no other byte becomes one, so the
/// length and the lines of a text stay. `text` is not null.
char* scramble_text(char* text);
char* unscramble_text(char* text);
