#pragma once
// One console at zor_sim on its connection, from its acceptance to its end.
//
// Two threads serve it. The reader takes frames off the connection and posts what they bring to the
// console's mailbox. The command thread waits at the mailbox and answers, so a console that doesn't
// read stops nobody but itself. Whichever finds the console gone hangs up, which ends the other;
// the command thread then takes the session out of the list of clients.

#include <memory>
#include <string>

#include "norba/i_msg.h"
#include "simulator/sim_console.h"
#include "util/i_cnxsock.h"

/// Its end is the connection's.
class SimSession : public SimConsole {
  public:
    /// A session on the connection `taken`, whose socket it takes over. A write that waits longer
    /// than the send time-out of the socket ends it.
    SimSession(const SimHouse& house, std::string address, Connection& taken);
    ~SimSession() override;

    /// Starts the threads of a session that has joined the clients. On failure the console is hung
    /// up and taken out.
    static void start(const std::shared_ptr<SimSession>& session);

  private:
    void sendFrame(std::int16_t op, std::int32_t length, const Filler& fill) override;
    void hangUp() override;

    void serve();
    void obey(const std::string& line);
    void readFrames();
    bool dispatch(FrameReader& reader, const MsgHeader& header);
    bool takeText(FrameReader& reader, const MsgHeader& header);
    void complain(const char* what);
    bool writeWhole(const char* bytes, std::int32_t length);

    Connection connection_;
    Mutex* frame_ = nullptr;  // "mutex_frame"; held while a frame goes out
    int complaints_ = 0;      // for the reader alone
};
