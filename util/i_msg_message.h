#pragma once
// Message: a frame as an object, received or stored, that owns a copy of its body and can stand in
// a list; and the way from it to a frame to send.
//
// A Message belongs to the thread that holds it. The counter at the end is shared by all threads.

#include <atomic>
#include <cstdint>

#include "norba/i_msg_frame.h"
#include "util/l_univ_element.h"

/// A header in host form with its body. The frame's body length is the header's `lg`, which the
/// object doesn't tie to its size: whoever fills the body sets `lg`, to `size` at most.
class Message : public elem_list {
  public:
    /// A default header and, if `size` is above 0, a body of size + 1 zero bytes: a text that fills
    /// the body still has a zero behind it. Otherwise there is no body. A `body` that is handed in
    /// has size + 1 bytes from the array form of new and is owned from here on. Fatal assertion:
    /// "body != NULL", if there is no such memory.
    explicit Message(std::int32_t size, char* body = nullptr);
    ~Message() override;

    /// The header's `lg`.
    std::int32_t bodyLength() const { return header.lg(); }

    /// A copy on the heap with the same size, header and body; the caller owns it. Of a header
    /// whose `lg` is above the size, only `size` bytes of body are there to be copied.
    Message* Clone() const;

    /// MakeToSend of header and body; the caller owns the result. `lg` must not be above the size.
    MsgToSend* ToSend() const;

    MsgHeader header;       ///< In host form.
    char* body;             ///< Owned, from the array form of new; null if the size isn't above 0.
    std::int16_t mark = 0;  ///< Free for the program; nothing here reads it.
    const std::int32_t size;  ///< As asked for; the body has one byte more.
};

/// A frame on the heap with `header`, a capacity of its `lg`, and that many bytes of `body`; if
/// `body` is null, the caller still has to fill the frame's body. The caller owns the result and
/// runs Serialise on it. A negative `lg` is a fatal assertion ("lg >= 0").
MsgToSend* MakeToSend(const MsgHeader& header, const char* body);

/// Message objects alive now: a diagnostic beside the counters of MsgToSend, kept under the same
/// `msg_count_guard`.
extern std::atomic<std::int32_t> message_alive;
