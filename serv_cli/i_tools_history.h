#pragma once
// Call history printing: the server's history records as readable text for maintenance.
//
// The printers trust the record, change nothing of it and clear nothing of the text that they
// append to. They keep no state; two threads may print at once into different texts.

#include <cstdint>

#include "serv_cli/i_tools_value.h"

class CharString;

/// A whole call. Texts end at their NUL or at the end of their field; times are in seconds since
/// the epoch, 32 bits wide on every machine.
struct Histo_Record {
    /// The bits of `Type`.
    static constexpr std::uint8_t kIncoming = 1;
    static constexpr std::uint8_t kExternal = 2;
    static constexpr std::uint8_t kRedirected = 4;
    static constexpr std::uint8_t kAnswered = 8;

    IdPair Histo_Id;           ///< the entry's identity
    char Line[12];             ///< the line of the call
    char CorrNumber[21];       ///< the correspondent's number
    std::uint8_t Type;         ///< a mask of the bits above
    std::int32_t State;        ///< a value of `name_linestate`
    std::int32_t BeginDate;    ///< the call began
    std::int32_t ConversDate;  ///< the conversation began
    std::int32_t EndDate;      ///< the call ended
    char InitialDest[22];      ///< the destination first called
    std::int16_t Cause;        ///< a number of the server's
    std::uint8_t CorrKind;     ///< what the correspondent is, a mask of `names_destkind`
    std::uint8_t DestKind;     ///< what the first destination is, the same
    /// Printed as they are; what they mean is the server's affair.
    std::int32_t Id_Rsvp;
    std::int32_t Histo_Tree;
    char NewDestination[24];
    std::int32_t CallRef;
    std::int32_t CallID;
    char LastName[31];
    char FirstName[31];
    char DisplayName[62];
    char DialableNum[30];
    char GsmCanonical[30];
    std::uint8_t Anonymous;
    std::uint8_t IsAnswered;
    std::uint8_t Outgoing;
    std::uint8_t Acknowledged;
    std::uint8_t Redirected;
    char UnicodeLastName[65];   ///< the last name in Unicode form, as bytes
    char UnicodeFirstName[65];  ///< the first name, the same
};

/// A shorter entry.
struct Histo_Short {
    /// What Histo_Record has under the same names.
    IdPair Histo_Id;
    char Line[12];
    char CorrNumber[12];
    std::int32_t BeginDate;
    std::int32_t EndDate;
    char InitialDest[21];
    std::int8_t Acknowledged;
};

/// Appends one line for each field, label and value, in an order made for reading, which is not the
/// record's. `BeginDate` also shows as a local date, year first; the Unicode names show in
/// hexadecimal, at most 64 bytes.
void print_histo(const Histo_Record* record, CharString& out);

/// The same for the shorter entry. `CorrNumber` and `BeginDate` share a line, and so do
/// `InitialDest` and `Acknowledged`.
void print_histo_short(const Histo_Short* record, CharString& out);
