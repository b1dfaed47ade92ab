#pragma once
// One connection of zor_ask, and the answers that it gets there. All of it is for one thread.

#include <cstdint>
#include <optional>
#include <string>

#include "ask/ask_options.h"
#include "ask/ask_status.h"
#include "norba/i_msg.h"
#include "util/i_cnxsock.h"

/// Each call takes the time that it needs: whoever wants a bound sets one around it.
class AskSession {
  public:
    /// `options` must outlive the session.
    explicit AskSession(const AskOptions& options);

    /// The first of all.
    AskStatus connect();
    /// Joins the server instance, and drops what the server says unasked.
    AskStatus join();
    /// Sends one line and prints the answer as it comes.
    AskStatus ask(const std::string& line);

  private:
    bool send(std::int16_t op, const std::string& body);
    bool readText(std::string& text);
    bool quiet();

    const AskOptions& options_;
    Connection connection_;
    FrameReader reader_;
};
