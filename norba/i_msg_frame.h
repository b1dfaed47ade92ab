#pragma once
// The frame of the family's TCP connections: a header of 132 bytes and a body of `lg` bytes, the
// same in both directions. There is no checksum and no acknowledgement; a stream stays in step by
// the begin marker and by the lengths alone.
//
// On the wire every integer is little-endian, and the fields lie in the order of MsgHeader:
//
//   offset  bytes  field         default       offset  bytes  field         default
//        0      4  begin_head    0x11224488        18      2  kel_id        -1
//        4      2  type          -1                20      2  pair, first   0
//        6      2  op            -1                22      2  pair, second  0
//        8      4  lg            0                 24      2  reserved_24   -1
//       12      2  reserved_12   -1                26      2  version       29
//       14      2  reserved_14   -1                28    104  text          zeros
//       16      2  reserved_16   -1               132     lg  body
//
// A header of version 27 or below is only 48 bytes long: `text` is cut to its first 20 bytes.
//
// A header or a frame belongs to the thread that made it; the counters at the end are shared.

#include <atomic>
#include <cstdint>
#include <memory>

#include "util/i_msg_stream.h"
#include "util/i_os_mutex.h"
#include "util/l_univ_element.h"

/// The operations that a frame may carry; the highest is one below the type's own.
inline constexpr std::int16_t NUM_OP_MIN = 1;
inline constexpr std::int16_t NUM_OP_MAX = 32766;

/// What `type` tells of a frame.
struct MsgType {
    static constexpr std::int16_t kKeepAlive = 8;  ///< from a console: it is still there
    static constexpr std::int16_t kText = 10;      ///< text of an operator or for one; join, leave
};

/// What `op` tells of a frame.
struct MsgOp {
    static constexpr std::int16_t kText = 5;    ///< the body is text; also a keep-alive's
    static constexpr std::int16_t kJoin = 6;    ///< from a console: it joins the target in `kel_id`
    static constexpr std::int16_t kLeave = 7;   ///< from a console: it leaves that target
    static constexpr std::int16_t kHidden = 6;  ///< from a server: the body isn't for display
};

/// Two values that travel in each header; their meaning lies with the server.
class MsgPair {
  public:
    /// Writes both values through `cursor`, 4 bytes.
    template <WritableStreamByte Byte>
    void WritePair(Byte** cursor) const {
        PutShort(first, cursor);
        PutShort(second, cursor);
    }

    /// Reads both values through `cursor`, without a limit.
    template <StreamByte Byte>
    void ReadPair(Byte** cursor) {
        GetShort(&first, cursor, nullptr);
        GetShort(&second, cursor, nullptr);
    }

    /// Nothing here looks at them.
    std::int16_t first = 0;
    std::int16_t second = 0;
};

/// The header of a frame in host form. It has the size of its wire form, so that a frame can be
/// received into it and decoded in place.
class MsgHeader {
  public:
    static constexpr std::uint32_t kBeginHead = 0x11224488;  ///< the begin marker
    static constexpr std::int16_t kVersion = 29;             ///< of what is sent
    static constexpr std::int16_t kShortVersion = 27;        ///< the last one with a short header
    static constexpr std::int32_t kSize = 132;               ///< bytes on the wire
    static constexpr std::int32_t kShortSize = 48;           ///< bytes on the wire, short header
    static constexpr std::int32_t kTextSize = 104;           ///< with the terminator

    /// The fields, as the wire table above names them.
    std::int16_t type() const { return type_; }
    std::int16_t op() const { return op_; }
    std::int32_t lg() const { return lg_; }
    std::int16_t kelId() const { return kel_id_; }
    std::int16_t version() const { return version_; }
    const MsgPair& pair() const { return pair_; }
    const char* text() const { return text_; }
    /// Bytes that a received header takes on the wire: 48 up to version 27, else 132. A frame that
    /// is sent always has 132.
    std::int32_t wireSize() const { return version_ > kShortVersion ? kSize : kShortSize; }

    /// Sets the field to any value.
    void setType(std::int16_t value) { type_ = value; }
    /// Fatal assertion: "op >= NUM_OP_MIN && op <= NUM_OP_MAX".
    void setOp(std::int16_t value);
    /// Body length in bytes. Fatal assertion: "lg >= 0".
    void setLg(std::int32_t value);
    /// Sets the field to any value.
    void setKelId(std::int16_t value) { kel_id_ = value; }
    void setPair(const MsgPair& value) { pair_ = value; }
    /// Copies the characters of `s`, at most 103, and no terminator: a shorter text over a longer
    /// one leaves the tail of the old.
    void setText(const char* s);

    /// Writes the wire form through `cursor` and advances it. The begin marker is written as it has
    /// to be, whatever the field holds. `text` goes out up to its terminator only, so the cursor
    /// moves by 29 to 132 bytes.
    void WriteHeader(char** cursor) const;

    /// Decodes in place what `wire` has been filled with. Gives 1 if the begin marker is right,
    /// else 0; the other fields are decoded either way. A text without end is cut to 103
    /// characters.
    short ReadHeader();

    /// The object's own 132 bytes, to receive the wire form for ReadHeader. A short header fills
    /// the first 48 of a new object and leaves the defaults in the rest.
    char* wire() { return reinterpret_cast<char*>(this); }

    /// The version in a wire form of at least 48 bytes.
    static std::int16_t versionOf(const char* wire);

  private:
    static constexpr std::int32_t kVersionOffset = 26;

    std::uint32_t begin_head_ = kBeginHead;
    std::int16_t type_ = -1;
    std::int16_t op_ = -1;
    std::int32_t lg_ = 0;
    std::int16_t reserved_12_ = -1;
    std::int16_t reserved_14_ = -1;
    std::int16_t reserved_16_ = -1;
    std::int16_t kel_id_ = -1;
    MsgPair pair_;
    std::int16_t reserved_24_ = -1;
    std::int16_t version_ = kVersion;
    char text_[kTextSize] = {};
};
static_assert(sizeof(MsgHeader) == MsgHeader::kSize);

/// A frame to send, built in place: header and body share one buffer and go out in one write.
/// Construct it with the capacity that the body needs, write the body at `body`, set the fields and
/// with `setLg` the bytes used, `Serialise`, write `frameLength` bytes from `buffer`: one frame,
/// one write. A header and a body in two writes may cost a wait of tens of milliseconds each time,
/// and two threads that write to one connection would mix theirs.
class MsgToSend : public elem_list {
  public:
    /// `capacity` is the most body bytes. A null `buffer` is allocated, one handed in must have
    /// capacity + 132 bytes; either is owned and released by `delete[]`. Fatal assertion:
    /// "pt_char != NULL", if there is no such memory.
    explicit MsgToSend(std::uint32_t capacity, char* buffer = nullptr);
    ~MsgToSend() override;

    /// Where the frame to write begins; valid as a frame after Serialise.
    char* buffer() const { return pt_char_.get(); }
    /// Where the body goes; valid from construction on.
    char* body() const { return pt_char_.get() + MsgHeader::kSize; }
    /// Bytes to write.
    std::int32_t frameLength() const { return header_.lg() + MsgHeader::kSize; }
    /// Bytes of the whole buffer, and most bytes of a body.
    std::uint32_t size() const { return size_; }
    std::uint32_t capacity() const { return capacity_; }
    /// The header as it stands now; what Serialise writes.
    const MsgHeader& header() const { return header_; }

    /// Takes any value.
    void setType(std::int16_t value);
    /// Takes 1 to 32,766, see MsgHeader::setOp.
    void setOp(std::int16_t value);
    /// Takes 0 to the capacity, see MsgHeader::setLg.
    void setLg(std::int32_t value);
    /// Takes any value.
    void setKelId(std::int16_t value) { header_.setKelId(value); }
    /// Takes over every field of `header`; its `lg` must not exceed the capacity.
    void setHeader(const MsgHeader& header);

    /// Writes the header's wire form into the buffer, in front of the body.
    void Serialise();

  private:
    void markStale();

    std::uint32_t size_;
    std::uint32_t capacity_;
    MsgHeader header_;
    std::unique_ptr<char[]> pt_char_;
};

// The counters are diagnostics: nothing in the library reads them to decide anything.
extern std::atomic<std::int32_t> msg_to_send_made;   ///< MsgToSend ever constructed
extern std::atomic<std::int32_t> msg_to_send_alive;  ///< MsgToSend alive now
/// If not null, each update of a counter runs under this Mutex: while a program holds it, no
/// counter moves. A new frame is two updates, so one counter may be ahead of the other by what is
/// just being made. The program sets it before its threads start and owns it.
extern std::atomic<Mutex*> msg_count_guard;

/// Adds `change` to a counter of messages, under the guard if there is one. Any thread.
void msgCountAdd(std::atomic<std::int32_t>& counter, std::int32_t change);
