#include "simulator/sim_clients.h"

#include <algorithm>
#include <cstdio>

#include "simulator/sim_session.h"
#include "simulator/sim_text.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_clients";

constexpr std::int16_t kConsoles = 1;       // the `major` of all consoles
constexpr std::int16_t kLastNumber = 9999;  // behind it numbers begin again

[[gnu::format(printf, 2, 0)]] void printHook(const ClientId* client, const char* format,
                                             va_list values) {
    const auto session = SimClients::instance().find(*client);
    if (session) session->sendText(simTextOf(format, values));
}

void writeHook(const ClientId* client, const CharString* text) {
    const auto session = SimClients::instance().find(*client);
    if (session) session->sendText(text->c_str());
}

short readyHook(const ClientId* client) {
    const auto session = SimClients::instance().find(*client);
    return session && session->inputReady();
}

int readHook(const ClientId* client, char* buffer, int length) {
    const auto session = SimClients::instance().find(*client);
    return session ? session->readInput(buffer, length) : 0;
}

short aliveHook(const ClientId* client) {
    const auto session = SimClients::instance().find(*client);
    return session && session->alive();
}

// The server's own log, and the screens that asked for it. A trace made by the showing itself goes
// to the log alone.
void traceSink(const char* text) {
    thread_local bool showing = false;
    std::fputs(text, stdout);
    if (showing) return;
    showing = true;
    SimClients::instance().show(text, [](const SimSession& session) { return session.tracing(); });
    showing = false;
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

void SimClients::install() {
    client_printf_hook = printHook;
    client_write_hook = writeHook;
    client_ready_hook = readyHook;
    client_read_hook = readHook;
    client_alive_hook = aliveHook;
    setTraceSink(traceSink);
}

SimClients::Entry* SimClients::entryOf(const ClientId& client) {
    const auto place = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.session->id() == client;
    });
    return place == entries_.end() ? nullptr : &*place;
}

Elt_Supervision* SimClients::mailboxOf(const ClientId& client) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const Entry* const entry = entryOf(client);
    return entry ? entry->mailbox : nullptr;
}

void SimClients::join(const SessionPointer& session) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    ClientId id;
    do {
        last_number_ = static_cast<std::int16_t>(last_number_ % kLastNumber + 1);
        id = ClientId(kConsoles, last_number_);
    } while (entryOf(id));
    session->setId(id);
    auto mailbox = std::make_unique<Elt_Supervision>(id, nullptr);
    entries_.push_back({session, mailbox.get()});
    mailboxes_.add_client(mailbox.release());
}

void SimClients::leave(const SimSession& session) {
    SessionPointer gone;  // may end with this call, and then without the lock
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    Entry* const entry = entryOf(session.id());
    if (!entry) return;
    gone = entry->session;
    mailboxes_.remove_elt(entry->mailbox);
    entries_.erase(entries_.begin() + (entry - entries_.data()));
}

SimClients::SessionPointer SimClients::find(const ClientId& client) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const Entry* const entry = entryOf(client);
    return entry ? entry->session : nullptr;
}

std::vector<SimClients::SessionPointer> SimClients::all() {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    std::vector<SessionPointer> sessions;
    for (const Entry& entry : entries_)
        sessions.push_back(entry.session);
    return sessions;
}

// A mailbox puts a text behind its cursor, which a taking leaves on the next text. What an operator
// types must keep its order, so the cursor goes to the end first, under the lock of the queue.
void SimClients::post(const ClientId& client, SimMail kind, const std::string& text) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const Entry* const entry = entryOf(client);
    if (!entry) return;
    const MutexHold queue(entry->mailbox->queue_lock, SOURCE_MODULE, __LINE__);
    entry->mailbox->parametres->finish();
    entry->mailbox->put_parametre((static_cast<char>(kind) + text).c_str());
}

void SimClients::show(const std::string& text,
                      const std::function<bool(const SimSession&)>& wants) {
    for (const SessionPointer& session : all())
        if (wants(*session) && session->roomToShow()) post(session->id(), SimMail::kShown, text);
}

// The mailbox itself is asked, which outlives the call: only the calling thread ends it. The list
// of mailboxes would mark the thread in the thread table, and a thread that found no slot there
// pauses at each mark.
std::string SimClients::take(const ClientId& client) {
    Elt_Supervision* const mailbox = mailboxOf(client);
    if (!mailbox) return "";
    const std::unique_ptr<const char[]> mail(mailbox->get_parametre());
    mailbox->remove_parametre(mail.get());
    return mail ? mail.get() : "";
}

bool SimClients::waiting(const ClientId& client) {
    return mailboxes_.has_parametre(&client) != 0;
}
