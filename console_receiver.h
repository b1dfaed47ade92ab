#pragma once
// The server's side of a session: takes the frames of the connection apart, obeys the control
// texts, and hands everything else to the screen and to the recording.

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "console_recorder.h"
#include "console_text_run.h"
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
/// before the next read that may wait.
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
    bool receiveBody(const MsgHeader& header);
    void handleChunk(std::string_view text);
    bool obeyControl(std::string_view text);
    void settle();
    void say(const std::string& text);

    Recorder& recorder_;
    std::atomic<short>& canonique_;
    TextRun screen_;
    FrameReader reader_;
};
