#pragma once
// The listening side of zor_sim: it takes the consoles that connect and gives each a session.

#include <cstdint>
#include <memory>

#include "simulator/sim_console.h"
#include "simulator/sim_end.h"
#include "simulator/sim_exchange.h"
#include "simulator/sim_log.h"
#include "simulator/sim_settings.h"
#include "util/i_cnxsock.h"

/// One server process on one port. Its sessions refer to it: it lives until their threads are done.
class SimServer {
  public:
    explicit SimServer(const SimSettings& settings);

    /// Listens on the port of the settings, and takes the signals that end the server. Gives 1, or
    /// 0 with the reason in LastError. Before any other thread.
    short open();
    /// The port that it listens on, the real one also where 0 was asked for.
    std::int32_t port() const;

    /// Lets the telephony live and takes consoles until somebody asks for the end; then hangs up
    /// all of them and waits for the threads, 10 s at most. Gives whether all of them have ended.
    bool run();

  private:
    void takeConsole();
    void admit(Connection& taken);
    void told(SimRarely& often, const std::string& what);

    const SimSettings settings_;
    Connection listener_;
    SimExchange exchange_;
    SimEnd end_;
    SimRarely strangers_;  // of other machines
    SimRarely surplus_;    // above the number of consoles
    SimRarely lacks_;      // no descriptor, no memory
};
