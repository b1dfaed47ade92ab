#pragma once
// The consoles that are connected, as clients of the library: a mailbox for each, found by its
// ClientId, and the five hooks through which the presentation helpers reach a remote console.
//
// All that concerns a console goes through its mailbox, so its command thread has one place to
// wait at: what the operator types, what the console joins and leaves, and what others show it. A
// thread that has news for a console only posts them; it never waits for a console that doesn't
// read.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "util/i_os.h"

class SimSession;

/// What a text in a mailbox is; its first byte.
enum class SimMail : char {
    kTyped = 't',  ///< from the operator; in front of the text stand a number, the KEL, and a blank
    kJoin = 'j',   ///< the number of the KEL that the console has joined
    kLeave = 'l',  ///< the number of the KEL that it has left
    kShown = 's',  ///< for the screen: an event, a trace line
    kEnd = 'e',    ///< the console is gone
};

/// The one list of consoles of the process: the hooks are plain functions, so they need a place
/// that is known to all. Any thread may call everything.
class SimClients {
  public:
    using SessionPointer = std::shared_ptr<SimSession>;

    static SimClients& instance();

    /// Sets the client hooks and the trace sink. Once, before the first console.
    static void install();

    /// Adds a session with an empty mailbox and gives it an id that no other has now.
    void join(const SessionPointer& session);
    /// Takes the session out and ends its mailbox. Called by the thread that reads the mailbox.
    void leave(const SimSession& session);

    /// The session of a client, or null. It lives as long as somebody holds the pointer.
    SessionPointer find(const ClientId& client);
    std::vector<SessionPointer> all();

    /// Posts to a client; nothing if it is gone.
    void post(const ClientId& client, SimMail kind, const std::string& text);
    /// Shows a text to every console for which `wants` holds, as far as its mailbox has room.
    void show(const std::string& text, const std::function<bool(const SimSession&)>& wants);
    /// Waits for the next text of a mailbox; its first byte is the SimMail. Empty if there is no
    /// such mailbox. Called by the one thread that reads it.
    std::string take(const ClientId& client);
    /// Whether a text waits in the mailbox.
    bool waiting(const ClientId& client);

  private:
    struct Entry {
        SessionPointer session;
        Elt_Supervision* mailbox;  // owned by mailboxes_
    };

    SimClients();
    Entry* entryOf(const ClientId& client);
    Elt_Supervision* mailboxOf(const ClientId& client);

    Mutex* mutex_ = nullptr;             // "mutex_clients"
    std::vector<Entry> entries_;         // guarded by mutex_
    std::int16_t last_number_ = 0;       // the same
    List_Client_Supervision mailboxes_;  // has a lock of its own
};
