#pragma once
// The listening side of zor_sim: it takes the consoles that connect and gives each a session.

#include <atomic>
#include <cstdint>

#include "simulator/sim_exchange.h"
#include "util/i_cnxsock.h"

/// One server process on one port. Its sessions refer to it: it lives until their threads are done.
class SimServer {
  public:
    /// A server whose instances have `lines` lines each.
    explicit SimServer(int lines) : exchange_(lines) {}

    /// Listens on `port`, 0 for any free one. Gives 1, or 0 with the reason in LastError.
    short open(std::int32_t port);
    /// The port that it listens on, the real one also where 0 was asked for.
    std::int32_t port() const;

    /// Lets the instances step every `pace` ms and takes consoles until `stop`; then hangs up all
    /// of them and waits for the threads, 10 s at most. Gives whether all of them have ended.
    bool run(std::int32_t pace);
    /// Makes `run` come to its end. Any thread.
    void stop();

    SimExchange& exchange() { return exchange_; }

  private:
    void takeConsole();

    Connection listener_;
    SimExchange exchange_;
    std::atomic<bool> stopping_{false};
};
