#pragma once
// Optional values on a stream, and buffers that grow while a message body is being written.
//
// A cursor and a limit are those of util/i_msg_stream.h: the cursor moves on by what was written or
// read, the limit is the address one past the readable bytes, null for none. An optional value has
// a presence byte in front:
//
//   value                absent     present
//   text, CharString     00         01, the bytes of the text, 00
//   signed 16 bits       00         01, low byte, high byte
//
// In memory an absent text or CharString is a null pointer and an absent short is -1, so -1 itself
// can't be sent as a present value. A reader takes any presence byte but 0 for 1, and one that
// can't be read for 0; it shows what it found in the variable alone. It never looks at what the
// variable held before: what the caller owned there is the caller's to release first.
//
// A growing buffer is three variables of the caller: its base (from the array form of new, or
// null), its capacity in bytes, and a write cursor into it or a count of bytes used.
//
// These are plain functions on the caller's variables, without locks.

#include <cstdint>

class CharString;

/// Stores one byte and moves the cursor on.
void PutByte(unsigned char value, char** cursor);

/// Reads one byte. Gives 1, or 0 with `out` as it was if the cursor holds null or has reached the
/// limit.
short GetByte(unsigned char* out, char** cursor, const char* limit);

/// Assigns the text at the cursor and moves behind its terminator. Gives 1, or 0 if the cursor
/// holds null or has reached the limit. It doesn't look for the limit inside the text: the
/// terminator must lie in the buffer, as it does in the body of a Message.
short GetCharString(CharString* out, char** cursor, const char* limit);

/// The writers. The text and the CharString are absent when null, the value when its low 16 bits
/// are 0xFFFF. The caller provides the room: OptTextSize, OptCharStringSize, or 3 bytes.
void PutOptText(const char* text, char** cursor);
void PutOptCharString(const CharString* text, char** cursor);
void PutOptShort(std::int32_t value, char** cursor);

/// Bytes on the stream: 1 for null, else the length and 2.
std::int32_t OptTextSize(const char* text);
std::int32_t OptCharStringSize(const CharString* text);

/// Reads a text into a new array of just its size, which the caller owns. A text that the limit
/// cuts comes out cut and terminated. Gives 1 if its terminator was found; with a cursor that
/// holds null, or without memory for the text, which is then passed over, it gives 0 and the
/// variable is null. Without a limit the terminator must be there.
short GetNewText(char** out, char** cursor, const char* limit);

/// Reads an optional text, without limits, into a new array of `size` bytes (one at least), which
/// the caller owns. A longer text is cut to it and consumed to its end. Without memory for the
/// array the variable is null and the text is consumed all the same.
void GetOptTextSized(char** out, char** cursor, std::int32_t size);

/// Reads an optional text as GetNewText does. The caller owns the array.
void GetOptText(char** out, char** cursor, const char* limit);

/// Reads an optional text into a new CharString, which the caller owns, as GetCharString does.
void GetOptCharString(CharString** out, char** cursor, const char* limit);

/// Reads an optional value, without limits.
void GetOptShort(std::int16_t* out, char** cursor);

/// Traces the label with the value, all 32 bits of it, or with "Not Used" when it is absent, as
/// PutOptShort would have it.
void traceOptShort(const char* label, std::int32_t value);
/// Traces the label with the text, or with "Not Used" when it is null.
void traceOptText(const char* label, const char* text);

/// Makes room for `extra` bytes behind the `used` ones. If the capacity doesn't hold them it grows
/// by exactly `extra`, not doubled; the new array is zero behind the old content. Reserving the
/// whole body at once is what saves the copies. Without memory for it, or with a capacity beyond 31
/// bits, the process ends by an assertion.
void GrowBuffer(char** base, std::int32_t used, std::int32_t* capacity, std::int32_t extra);

/// GrowBuffer where the bytes used are those between base and cursor; the cursor moves along.
void GrowAtCursor(char** cursor, char** base, std::int32_t* capacity, std::int32_t extra);

/// Room for the PutLong, PutShort or PutText that follows. The value isn't used; a null text
/// reserves nothing.
void ReserveLong(char** cursor, char** base, std::int32_t* capacity);
void ReserveShort(char** cursor, char** base, std::int32_t* capacity, std::int32_t value);
void ReserveText(char** cursor, char** base, std::int32_t* capacity, const char* text);
