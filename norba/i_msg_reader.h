#pragma once
// The reader of a stream of frames: it finds the headers, gets back into step after damage, and
// hands out the bodies in pieces.

#include <atomic>
#include <cstdint>
#include <functional>

#include "norba/i_msg_frame.h"
#include "util/i_cnxsock_buffer.h"

/// Reads the frames that come in on one connection. It takes from the socket what is there and may
/// so hold bytes of frames to come: a connection is read through one FrameReader for its whole
/// life, by one thread at a time.
///
/// A stream out of step is scanned in words of 4 bytes from where it went wrong, until one is the
/// begin marker; a marker that lies between two words is passed over and a later frame found. The
/// scan, and a length out of range, are told on standard output.
class FrameReader {
  public:
    static constexpr std::int32_t kBodyLimit = 1'000'000;  // highest `lg` that is accepted

    /// `connection` must outlive the reader. `cnx_ok`, if not null, receives the result of every
    /// read: 1, or 0 once the connection is lost. `settle`, if set, runs before each read that may
    /// wait and before each message: the caller does there what it has put off with the bodies
    /// handed out so far, and is done with their memory.
    explicit FrameReader(Connection& connection, std::atomic<short>* cnx_ok = nullptr,
                         std::function<void()> settle = {});

    /// Reads on to the next header with an acceptable `lg`. Gives 1, or 0 when the connection is
    /// lost. The body, `lg` bytes, must be read by `readBody` before the next header.
    short readHeader(MsgHeader* header);

    /// The next `length` bytes of the body, at most BlockReader::kCapacity, or null when the
    /// connection is lost. The bytes stay until `settle` has run, or else until the next read.
    const char* readBody(std::int32_t length) { return blocks_.take(length); }

  private:
    bool readMarker();
    bool readRest(MsgHeader* header);

    BlockReader blocks_;
};
