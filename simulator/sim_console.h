#pragma once
// One console as its commands see it: what its operator types, key by key or line by line, and what
// goes to its screen. How frames travel is the session's affair (sim_session.h).
//
// Three kinds of threads meet here. The reader posts what comes from the console to its mailbox;
// the command thread takes it from there and answers; any other thread may post something to show.

#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "serv_cli/client_id.h"
#include "simulator/sim_end.h"
#include "simulator/sim_exchange.h"
#include "simulator/sim_mailbox.h"

/// What all consoles of a server share. Both parts outlive every console.
struct SimHouse {
    SimExchange& exchange;
    SimEnd& end;
};

/// Shared by its threads, the list of clients and whoever looks it up; the last one ends it. Unless
/// told otherwise a member is for the command thread.
class SimConsole {
  public:
    /// `address` tells where the console is, for those who look.
    SimConsole(const SimHouse& house, std::string address);
    virtual ~SimConsole();
    SimConsole(const SimConsole&) = delete;
    SimConsole& operator=(const SimConsole&) = delete;

    const SimHouse& house() const { return house_; }
    /// The id that the list of clients has given, and its number. Constant from then on.
    const ClientId& id() const { return id_; }
    int number() const { return id_.minor; }
    void setId(const ClientId& id) { id_ = id; }

    // ---- what the reader posts; each waits while too many letters of the console are unread ----

    void postTyped(std::int16_t kel, const std::string& text);
    void postJoin(std::int16_t kel);
    void postLeave(std::int16_t kel);
    void countPing() { ++pings_; }

    // ---- what goes out ----

    /// Sends `text` for display, with its terminator counted in the frame's length; what is longer
    /// than a frame may be is cut. Any thread, and without memory of its own.
    void sendText(std::string_view text);
    /// Sends a body of exactly `length` bytes, lines of digits without a terminator. With `shown`
    /// false it goes out as a body that a console drops.
    void sendBody(std::int32_t length, bool shown);
    /// Posts a text to show, unless too many wait already; those are counted. Any thread.
    void show(const std::string& text);

    /// Hangs up: nothing more is sent or read, and no wait here goes on. Any thread.
    void disconnect();
    /// Whether the console is still there. Any thread.
    bool alive() const { return alive_; }

    // ---- what the operator types ----

    /// What client_read gives: of a `length` of 1 the next key, else the next line with its end, or
    /// `length` bytes of a longer one. A line may come in any number of texts. Waits for it, and
    /// shows meanwhile what others post. 0 once the console is gone.
    int readInput(char* buffer, int length);
    /// The next line, without its end. False once the console is gone.
    bool readLine(std::string& line);
    /// Whether something typed is there; it looks for up to 1,000 ms.
    bool inputReady();
    /// Whether a Delete that is typed counts as the Backspace that the family's programs know.
    void setEditing(bool on) { editing_ = on; }
    /// Gives a line back, to be read again.
    void unread(const std::string& line) { input_ = line + input_; }

    // ---- its state ----

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

    /// "console 2: KEL -1, 5 texts, 0 pings". Any thread.
    std::string describe() const;
    /// One row of a table of consoles, and what stands above it. Any thread.
    std::string row();
    static std::string heading();

  protected:
    /// Writes the `count` bytes of a body that begin at `from` to `piece`.
    using Filler = std::function<void(std::int32_t from, char* piece, std::int32_t count)>;
    /// Sends one frame with `length` bytes of body, and nothing in between. Any thread.
    virtual void sendFrame(std::int16_t op, std::int32_t length, const Filler& fill) = 0;
    /// Ends the connection; a read or write of it that waits comes back. Any thread, repeatedly.
    virtual void hangUp() = 0;

  private:
    void postHeldBack(SimMail kind, std::int16_t kel, const std::string& text);
    bool acceptLetter();
    void acceptTyped(const SimLetter& letter);
    void acceptJoin(std::int16_t kel);
    void acceptLeave(std::int16_t kel);
    void showNow(const std::string& text);
    int readKey(char* key);
    int readPiece(char* buffer, std::size_t size);

    const SimHouse house_;
    const std::string address_;
    const std::int32_t connected_at_;  // seconds of the steady clock
    ClientId id_;
    SimMailbox mailbox_;
    std::string input_;  // typed and not read yet
    std::int16_t text_kel_ = -1;
    bool editing_ = false;
    bool line_end_owed_ = false;  // of a terminal that sends one behind the key that was read
    sem_t* room_ = nullptr;       // counts the letters that the reader may still post
    std::atomic<bool> alive_{true};
    std::atomic<bool> watching_{false};
    std::atomic<bool> tracing_{false};
    std::atomic<int> to_show_{0};  // posted and not shown yet
    std::atomic<int> lost_{0};     // not posted because too many waited
    std::atomic<std::int16_t> joined_kel_{-1};
    std::atomic<int> texts_{0};
    std::atomic<int> pings_{0};
    std::atomic<std::int32_t> typed_at_;  // like connected_at_
};
