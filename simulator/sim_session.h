#pragma once
// One console at zor_sim: what it has sent, what it gets, and the state that both share.
//
// A session's thread is the only one that reads its connection and, but for `describe`, the only
// one that calls it.

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "norba/i_msg.h"
#include "util/i_cnxsock.h"
#include "util/i_msg.h"

class SimServer;

/// The session of one console, from its connection to its end.
class SimSession {
  public:
    /// Console `number` of `server`, which outlives the session. The connection is still closed:
    /// Accept fills it.
    SimSession(SimServer& server, int number) : server_(server), number_(number) {}

    ExwConnection& connection() { return connection_; }
    int number() const { return number_; }
    SimServer& server() { return server_; }

    /// Greets the console and serves its frames until one side hangs up.
    void run();

    /// Sends `text` for display, with its terminator counted in the frame's length.
    void sendText(const std::string& text);

    /// Sends a body of exactly `length` bytes, lines of digits without a terminator. With `shown`
    /// false it goes out as a body that a console drops.
    void sendBody(std::int32_t length, bool shown);

    /// Asks the console for `count` single keys. Until they are there its texts count as keys.
    void askKeys(int count);

    /// Takes back what askKeys has asked for.
    void backToLines();

    /// Ends the session from this side.
    void hangUp();

    /// "console 2: KEL -1, 5 texts, 0 pings". Any thread, as long as the session lives.
    std::string describe() const;

  private:
    bool receiveBody(FrameReader& reader, Message& message);
    void handle(const Message& message);
    void handleText(std::string_view text);
    void takeKeys(std::string_view keys);
    void join(std::int16_t kel_id);
    void send(MsgToSend& frame, std::int16_t op, std::int32_t length);

    SimServer& server_;
    const int number_;
    ExwConnection connection_;
    int keys_wanted_ = 0;
    std::atomic<std::int16_t> kel_id_{-1};  // the server instance that the console has joined
    std::atomic<int> texts_{0};
    std::atomic<int> pings_{0};
};
