#pragma once
// The server's side of a session: takes the frames of the connection apart, obeys the control
// texts, and hands everything else to the recording and to the screen.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "console_recorder.h"
#include "norba/i_msg.h"
#include "util/i_cnxsock.h"

/// Receives on one connection for the length of one session. A body is handled in chunks of at most
/// 10,000 bytes, each as soon as it is complete, so a long one appears before its end has arrived.
/// The text of a chunk ends at its first zero byte. It goes to standard output, unless it is one of
///
///   "<clear-screen>\n"    which clears the screen
///   "<on-canonique>\n"    which asks the operator's side for one-key input
///   "<off-canonique>\n"   which asks it for line input
///
/// and nothing else, and in any case to the recording. Bodies of frames with `op` 6 are dropped.
///
/// Standard output has to be unbuffered. What arrived together is written together, and all of it
/// before the next read, which may wait.
class Receiver {
  public:
    /// All four must outlive the object. `cnx_ok` receives the result of every read, `canonique` 1
    /// or 0 by the server's wish.
    Receiver(Connection& connection, Recorder& recorder, std::atomic<short>& cnx_ok,
             std::atomic<short>& canonique);

    /// Receives until the connection is lost, then prints "server disconnected!" and returns. The
    /// only reader of the connection, on a thread of its own.
    void run();

  private:
    static constexpr std::size_t kGathered =
        std::size_t{64} * 1024;  // bytes; most text written at once

    bool receiveBody(const MsgHeader& header);
    void handleChunk(std::string_view text);
    bool obeyControl(std::string_view text);
    void say(std::string_view text);
    void deliver();

    Recorder& recorder_;
    std::atomic<short>& canonique_;
    FrameReader reader_;
    // Texts received and put off, for the recording and the screen alike.
    const std::unique_ptr<char[]> gathered_ = std::make_unique<char[]>(kGathered);
    std::int32_t gathered_size_ = 0;
};
