#pragma once
// The reader of a stream of frames: it finds the headers, gets back into step after damage, and
// hands out the bodies whole or in pieces.

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "norba/i_msg_frame.h"
#include "util/i_cnxsock_buffer.h"

class Message;

/// What a program does beside the reading. Each may be empty; all run on the reading thread.
struct FrameReaderHooks {
    /// Runs before each read of the socket, which may wait: whatever the caller has put off while
    /// it took what was there already is done in it.
    std::function<void()> before_read;
    /// Takes what the reader says of the stream, with its line ends. Empty: standard output.
    std::function<void(const std::string& text)> say;
};

/// Reads the frames that come in on one connection. It takes from the socket what is there and may
/// so hold bytes of frames to come: a connection is read through one FrameReader for its whole
/// life, by one thread at a time.
///
/// A stream out of step is scanned in words of 4 bytes from where it went wrong, until one is the
/// begin marker; a marker that lies between two words is passed over and a later frame found. The
/// scan, a length out of range and the loss of the connection between two frames are said in words.
///
/// No peer reaches an assertion here: whatever length it tells, where the memory for it can't be
/// had the call gives what it gives on a lost connection.
class FrameReader {
  public:
    static constexpr std::int32_t kBodyLimit = 1'000'000;  ///< highest `lg` that is accepted

    /// `connection` must outlive the reader. `cnx_ok`, if not null, receives the result of every
    /// read: 1, or 0 once the connection is lost.
    explicit FrameReader(Connection& connection, std::atomic<short>* cnx_ok = nullptr,
                         FrameReaderHooks hooks = {});

    /// Reads on to the next header with an acceptable `lg`, past what is unread of the last body.
    /// Gives 1, or 0 when the connection is lost. All of `header` is set, so one object serves for
    /// any number of frames.
    short readHeader(MsgHeader* header);

    /// The next `length` bytes of the body; they stay until the next call. Null when the connection
    /// is lost, or when the body has no more so many.
    const char* readBody(std::int32_t length);

    /// Fills `to` with the next `length` bytes of the body. Gives 1, or 0 where the form above
    /// gives null.
    short readBody(void* to, std::int32_t length);

    /// Reads a whole frame, of any acceptable `lg`: the next header and its body, with a zero byte
    /// behind it. Null when the connection is lost. The caller owns the result.
    Message* readMessage();

    /// 1 if a frame, a part of one or the loss of the connection is here already, in the reader's
    /// memory or on the socket, so that the next read has something to begin with; else 0. Never
    /// waits. A wait on the connection alone can't know what the reader holds.
    short ready() const { return blocks_.ready(); }

  private:
    bool skipBody();
    bool readMarker();
    bool readRest(MsgHeader* header);
    void say(const std::string& text) const;

    FrameReaderHooks hooks_;
    BlockReader blocks_;
    std::int32_t body_left_ = 0;  // bytes of the present body that nobody read yet
};
