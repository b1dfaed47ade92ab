#include "simulator/sim_clients.h"

#include <algorithm>
#include <cstdarg>

#include "serv_cli/i_tools.h"
#include "simulator/sim_log.h"
#include "simulator/sim_text.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_clients";

constexpr std::int16_t kConsoles = 1;  // the `major` of all consoles

[[gnu::format(printf, 2, 0)]] void printHook(const ClientId* client, const char* format,
                                             va_list values) {
    const auto console = SimClients::instance().find(*client);
    if (console) console->sendText(simTextOf(format, values));
}

void writeHook(const ClientId* client, const CharString* text) {
    const auto console = SimClients::instance().find(*client);
    if (console) console->sendText(text->c_str());
}

short readyHook(const ClientId* client) {
    const auto console = SimClients::instance().find(*client);
    return console && console->inputReady();
}

int readHook(const ClientId* client, char* buffer, int length) {
    const auto console = SimClients::instance().find(*client);
    return console ? console->readInput(buffer, length) : 0;
}

short aliveHook(const ClientId* client) {
    const auto console = SimClients::instance().find(*client);
    return console && console->alive();
}

void showLog(const std::string& line) {
    SimClients::instance().show(line, [](const SimConsole& console) { return console.tracing(); });
}

}  // namespace

SimClients::SimClients() {
    mutexInit(&mutex_, "mutex_clients");
}

// Never destroyed: a detached thread may still look for its console while the process ends.
SimClients& SimClients::instance() {
    static SimClients& clients = *new SimClients;
    return clients;
}

void SimClients::install(SimExchange& exchange) {
    client_printf_hook = printHook;
    client_write_hook = writeHook;
    client_ready_hook = readyHook;
    client_read_hook = readHook;
    client_alive_hook = aliveHook;
    simInstallLog(showLog);
    exchange.listen([&exchange](std::int16_t kel, const std::vector<std::string>& events) {
        for (const std::string& event : events)
            instance().show(event + "\n", [&](const SimConsole& console) {
                return console.watching() && exchange.means(console.joinedKel(), kel);
            });
    });
}

bool SimClients::join(const ConsolePointer& console, std::size_t most) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    if (consoles_.size() >= std::min<std::size_t>(most, kLastNumber)) return false;
    const auto taken = [this](std::int16_t number) {
        return std::ranges::find(consoles_, number, &SimConsole::number) != consoles_.end();
    };
    do
        last_number_ = static_cast<std::int16_t>(last_number_ % kLastNumber + 1);
    while (taken(last_number_));
    console->setId(ClientId(kConsoles, last_number_));
    consoles_.push_back(console);
    return true;
}

void SimClients::leave(const SimConsole& console) {
    ConsolePointer gone;  // may end with this call, and then without the lock
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const auto place = std::ranges::find(consoles_, &console, &ConsolePointer::get);
    if (place == consoles_.end()) return;
    gone = *place;
    consoles_.erase(place);
}

SimClients::ConsolePointer SimClients::find(const ClientId& client) {
    return client.major == kConsoles ? find(client.minor) : nullptr;
}

SimClients::ConsolePointer SimClients::find(int number) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const auto place = std::ranges::find(consoles_, number, &SimConsole::number);
    return place == consoles_.end() ? nullptr : *place;
}

std::vector<SimClients::ConsolePointer> SimClients::all() {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    return consoles_;
}

void SimClients::show(const std::string& text,
                      const std::function<bool(const SimConsole&)>& wants) {
    for (const ConsolePointer& console : all())
        if (wants(*console)) console->show(text);
}
