#pragma once
// The consoles that are connected, as clients of the library: each is found by its ClientId, and
// the five hooks through which the presentation helpers reach a remote console look there.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "serv_cli/client_id.h"
#include "simulator/sim_console.h"
#include "util/i_os.h"

/// The one list of consoles of the process: the hooks are plain functions, so they need a place
/// that is known to all. Any thread may call everything.
class SimClients {
  public:
    using ConsolePointer = std::shared_ptr<SimConsole>;

    /// The highest number of a console; behind it numbers begin again.
    static constexpr std::int16_t kLastNumber = 9999;

    static SimClients& instance();

    /// Sets the client hooks, shows the lines of the log to the consoles that trace, and the events
    /// of `exchange` to those that watch. Once, before the first console.
    static void install(SimExchange& exchange);

    /// Adds a console and gives it an id that no other has now; false if there are `most` already.
    bool join(const ConsolePointer& console, std::size_t most);
    /// Takes a console out; nothing if it isn't in.
    void leave(const SimConsole& console);

    /// The console of a client, or null. It lives as long as somebody holds the pointer.
    ConsolePointer find(const ClientId& client);
    /// The same by its number.
    ConsolePointer find(int number);
    std::vector<ConsolePointer> all();

    /// Shows a text to every console for which `wants` holds, as far as its mailbox has room.
    void show(const std::string& text, const std::function<bool(const SimConsole&)>& wants);

  private:
    SimClients();

    Mutex* mutex_ = nullptr;                // "mutex_clients"; guards what follows
    std::vector<ConsolePointer> consoles_;  // in the order of their joining
    std::int16_t last_number_ = 0;
};
