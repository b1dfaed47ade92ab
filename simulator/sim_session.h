#pragma once
// One console at zor_sim, from its connection to its end.
//
// Two threads serve it. The reader takes frames off the connection and posts what they bring to the
// console's mailbox. The command thread waits at the mailbox and is the only one that writes to the
// console, so a console that doesn't read stops nobody but itself. When the connection is lost, the
// reader posts the end; the command thread then takes the session out of the list of clients.

#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "norba/i_msg.h"
#include "serv_cli/client_id.h"
#include "util/i_cnxsock.h"
#include "util/i_msg.h"

class SimServer;
enum class SimMail : char;

/// A session is shared by its two threads, the list of clients and whoever looks it up; the last
/// one ends it, and with it the connection. Unless told otherwise a member is for the command
/// thread.
class SimSession {
  public:
    /// A session of `server`, which outlives it. The connection is still closed: Accept fills it.
    explicit SimSession(SimServer& server);
    ~SimSession();
    SimSession(const SimSession&) = delete;
    SimSession& operator=(const SimSession&) = delete;

    /// Joins the clients and starts the threads of `session`. On failure the console is hung up.
    static void start(const std::shared_ptr<SimSession>& session);

    ExwConnection& connection() { return connection_; }
    SimServer& server() { return server_; }
    /// The id that the list of clients has given. Constant from then on.
    const ClientId& id() const { return id_; }
    void setId(const ClientId& id) { id_ = id; }

    /// Sends `text` for display, with its terminator counted in the frame's length. Any thread.
    void sendText(const std::string& text);
    /// Sends a body of exactly `length` bytes, lines of digits without a terminator. With `shown`
    /// false it goes out as a body that a console drops.
    void sendBody(std::int32_t length, bool shown);
    /// Hangs up. Any thread. The descriptor is given back only with the session: until then no
    /// thread can meet another console's under the same number.
    void disconnect();
    /// Whether the console is still there. Any thread.
    bool alive() const { return alive_ != 0; }

    /// What client_read gives: of a `length` of 1 the next key, else the next line with its end.
    /// Waits for it, and shows meanwhile what others post. 0 once the console is gone.
    int readInput(char* buffer, int length);
    /// Whether readInput has something without a wait; it looks for up to 1,000 ms.
    bool inputReady();
    /// Whether a Delete that is typed counts as the Backspace that the family's programs know.
    void setEditing(bool on) { editing_ = on; }
    /// Drops the line end that the operator's terminal has sent behind a key.
    void dropLineEnd();
    /// Gives a line back, to be read again.
    void unread(const std::string& line) { input_ = line + input_; }

    /// The server instance that the operator's last text was meant for: -1, the first connected.
    std::int16_t kel() const { return text_kel_; }
    /// What joinedKel gives for a console that has left its instance: no instance has the number.
    static constexpr std::int16_t kNoKel = -2;
    /// The instance that the console has joined: -1, the first connected. Any thread.
    std::int16_t joinedKel() const { return joined_kel_; }

    /// Whether events, or trace lines, go to this console. Any thread.
    bool watching() const { return watching_; }
    bool tracing() const { return tracing_; }
    void setWatching(bool on) { watching_ = on; }
    void setTracing(bool on) { tracing_ = on; }
    /// Counts one more text to show, or a lost one if too many wait already. Any thread.
    bool roomToShow();

    /// "console 2: KEL -1, 5 texts, 0 pings". Any thread.
    std::string describe() const;

  private:
    void readFrames();
    void serve();
    bool readLine(std::string& line);
    bool receiveBody(FrameReader& reader, std::int32_t length, Message& message);
    void dispatch(const Message& message);
    void postText(std::int16_t kel_id, const char* text);
    void postHeldBack(SimMail kind, const std::string& text);
    void post(SimMail kind, const std::string& text);
    bool waitForInput();
    void acceptMail();
    void acceptTyped(std::int16_t kel_id, const std::string& typed);
    void acceptJoin(std::int16_t kel_id);
    void acceptLeave(std::int16_t kel_id);
    void show(const std::string& text);
    void send(MsgToSend& frame, std::int16_t op, std::int32_t length);

    SimServer& server_;
    ClientId id_;
    ExwConnection connection_;
    std::string input_;  // typed and not read yet
    std::int16_t text_kel_ = -1;
    bool editing_ = false;
    sem_t* room_ = nullptr;  // counts the mails that the reader may still post
    std::atomic<short> alive_{1};
    std::atomic<bool> watching_{false};
    std::atomic<bool> tracing_{false};
    std::atomic<int> to_show_{0};  // posted and not shown yet
    std::atomic<int> lost_{0};     // not posted because too many waited
    std::atomic<std::int16_t> joined_kel_{-1};
    std::atomic<int> texts_{0};
    std::atomic<int> pings_{0};
};
