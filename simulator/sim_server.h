#pragma once
// The listening side of zor_sim: it takes the consoles that connect, gives each a session in a
// thread of its own, and knows who is there.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "util/i_cnxsock.h"
#include "util/i_os.h"

class SimSession;

/// One simulated server on one port. It lives as long as the process: session threads refer to it.
class SimServer {
  public:
    SimServer();
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    /// Listens on `port`, 0 for any free one. Gives 1, or 0 with the reason in LastError.
    short open(std::int32_t port);

    /// The port that it listens on, the real one also where 0 was asked for.
    std::int32_t port() const;

    /// Takes consoles without end. It runs on the thread that opened the server.
    [[noreturn]] void run();

    /// One line of text for each console that is connected. Any thread.
    std::string listConsoles() const;

  private:
    struct Start;
    static void* sessionEntry(void* argument);
    void takeConsole();
    void startSession(std::unique_ptr<SimSession> session);
    void leave(const SimSession* session);

    Connection listener_;
    int consoles_taken_ = 0;                             // used by the accepting thread alone
    Mutex* mutex_ = nullptr;                             // "mutex_consoles"
    std::vector<std::unique_ptr<SimSession>> sessions_;  // guarded by mutex_
};
