#include "serv_cli/i_tools_client.h"

#include <cstring>
#include <memory>

#include "util/i_os_sync.h"
#include "util/i_os_table.h"

namespace {

constexpr char SOURCE_MODULE[] = "serv_cli/i_tools";

constexpr std::int32_t kTry = 0;  // flags of a wait for a semaphore
constexpr std::int32_t kNoLimit = -1;
constexpr short kExclusive = 1;

// Marks that show in the listing of threads how far a thread has got.
constexpr std::int32_t kMarkReadBegun = 11;
constexpr std::int32_t kMarkReadFound = 12;
constexpr std::int32_t kMarkReadDone = 13;
constexpr std::int32_t kMarkCallBegun = 14;
constexpr std::int32_t kMarkCallDone = 15;

std::unique_ptr<char[]> copyOf(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    auto copy = std::make_unique<char[]>(size);
    std::memcpy(copy.get(), text, size);
    return copy;
}

char* textUnderCursor(l_univ& queue) {
    return static_cast<char*>(queue.item_pointer(t_neutre));
}

// A signal ends a wait early. Whoever went on then would use what another thread holds, and give
// back later what was never granted: so the wait begins anew until its grant is there.
void waitForGrant(ReadWriteLock* lock) {
    while (!rwLock(lock, kExclusive)) {
    }
}

// The same for a post: without it a text would be taken whose count stays.
void waitForPost(sem_t* signal) {
    while (!semLock(signal, kNoLimit)) {
    }
}

// Holds a list's `clients_lock` to the end of its scope.
class ClientsHold {
  public:
    explicit ClientsHold(ReadWriteLock* lock) : lock_(lock) { waitForGrant(lock_); }
    ~ClientsHold() { rwUnlock(lock_, kExclusive); }
    ClientsHold(const ClientsHold&) = delete;
    ClientsHold& operator=(const ClientsHold&) = delete;

  private:
    ReadWriteLock* lock_;
};

}  // namespace

// ---- one mailbox ----

Elt_Supervision::Elt_Supervision(const ClientId& id, const char* text)
    : elem_list(t_liste), parametres(new l_univ("l_parametre", t_neutre)), client(id) {
    semInit(&signal, 0);
    mutexInit(&queue_lock, "queue_lock");
    put_parametre(text);
}

Elt_Supervision::~Elt_Supervision() {
    if (parametres)
        for (parametres->start(); !parametres->off(); parametres->forth())
            delete[] textUnderCursor(*parametres);
    delete parametres;
    semDestroy(signal);
    mutexDestroy(queue_lock);
}

// The count goes up under the lock, so that whoever sees the text finds its count too.
short Elt_Supervision::put_parametre(const char* text) {
    if (!text || !parametres) return 1;
    auto copy = copyOf(text);
    const MutexHold hold(queue_lock, SOURCE_MODULE, __LINE__);
    if (parametres->off()) parametres->finish();  // where an insertion would be denied
    parametres->put_pointer(copy.release(), t_neutre, 0);
    semUnLock(signal);
    return 1;
}

const char* Elt_Supervision::get_parametre() {
    waitForPost(signal);
    const MutexHold hold(queue_lock, SOURCE_MODULE, __LINE__);
    if (!waiting()) return nullptr;
    parametres->start();
    return textUnderCursor(*parametres);
}

short Elt_Supervision::remove_parametre(const char* text) {
    const MutexHold hold(queue_lock, SOURCE_MODULE, __LINE__);
    if (!parametres) return 0;
    for (parametres->start(); !parametres->off(); parametres->forth()) {
        if (textUnderCursor(*parametres) != text) continue;
        parametres->remove();
        return 1;
    }
    return 0;
}

short Elt_Supervision::has_parametre() {
    const MutexHold hold(queue_lock, SOURCE_MODULE, __LINE__);
    return waiting();
}

// Takes the first text out and leaves it to the caller; null when there is none.
char* Elt_Supervision::takeFirst() {
    const MutexHold hold(queue_lock, SOURCE_MODULE, __LINE__);
    return cutFirst();
}

// The same for a text that is there already, with its count. The count may be spent, when the text
// was only lent before: the text is taken all the same, because a wait for it might never end.
char* Elt_Supervision::takeWithoutWait() {
    const MutexHold hold(queue_lock, SOURCE_MODULE, __LINE__);
    if (waiting()) semLock(signal, kTry);
    return cutFirst();
}

// To be called with `queue_lock` held.
char* Elt_Supervision::cutFirst() {
    if (!waiting()) return nullptr;
    parametres->start();
    char* const text = textUnderCursor(*parametres);
    parametres->remove();
    return text;
}

// ---- the list of mailboxes ----

List_Client_Supervision::List_Client_Supervision()
    : l_univ("List_Client_Supervision", t_liste), clients_lock(new ReadWriteLock) {
    rwInit(clients_lock);
}

// The lock is taken and never given back: nobody gets in between its end and the list's.
List_Client_Supervision::~List_Client_Supervision() {
    waitForGrant(clients_lock);
    rwDestroy(clients_lock);
    delete clients_lock;
}

// To be called with `clients_lock` held; leaves the cursor on the mailbox.
Elt_Supervision* List_Client_Supervision::find(const ClientId* client) {
    for (start(); !off(); forth())
        if (item_client()->client == *client) return item_client();
    return nullptr;
}

// The same for a caller that goes on without the lock.
Elt_Supervision* List_Client_Supervision::findAlone(const ClientId* client) {
    const ClientsHold hold(clients_lock);
    return find(client);
}

short List_Client_Supervision::add_client(Elt_Supervision* element) {
    const ClientsHold hold(clients_lock);
    put_end(element);
    return 1;
}

short List_Client_Supervision::remove_elt(Elt_Supervision* element) {
    const ClientsHold hold(clients_lock);
    if (!search_same(element, 1)) return 0;
    remove();
    return 1;
}

short List_Client_Supervision::remove_client(const ClientId* client) {
    remove_elt(findAlone(client));
    return 1;
}

void List_Client_Supervision::remove_clients_of(std::int16_t major) {
    const ClientsHold hold(clients_lock);
    start();
    while (!off()) {
        if (item_client()->client.major == major)
            remove();
        else
            forth();
    }
}

const char* List_Client_Supervision::next_parametre(const ClientId* client) {
    Elt_Supervision* const mailbox = findAlone(client);
    return mailbox ? mailbox->get_parametre() : nullptr;
}

// The client's first text, which the caller frees; null for an unknown client, or when another
// reader took the text that the wait was for. A text that is there is taken under the very hold
// that found the mailbox: the mailbox may be removed as soon as the lock is free.
char* List_Client_Supervision::takeText(const ClientId* client) {
    Elt_Supervision* mailbox = nullptr;
    char* text = nullptr;
    {
        const ClientsHold hold(clients_lock);
        mailbox = find(client);
        if (!mailbox) return nullptr;
        text = mailbox->takeWithoutWait();
    }
    setThreadTrace(kMarkReadFound);  // without the lock: a thread without a slot pauses here
    if (text) return text;
    waitForPost(mailbox->signal);
    const ClientsHold hold(clients_lock);
    return mailbox->takeFirst();
}

int List_Client_Supervision::read_parametre(const ClientId* client, char* dst, int len) {
    setThreadTrace(kMarkReadBegun);
    const std::unique_ptr<char[]> text(takeText(client));
    if (text && len > 0) std::strncpy(dst, text.get(), static_cast<std::size_t>(len));
    setThreadTrace(kMarkReadDone);
    return text ? static_cast<int>(std::strlen(text.get())) : 0;
}

short List_Client_Supervision::has_parametre(const ClientId* client) {
    const ClientsHold hold(clients_lock);
    Elt_Supervision* const mailbox = find(client);
    return mailbox && mailbox->has_parametre();
}

short List_Client_Supervision::put_parametre(const ClientId* client, const char* text) {
    const ClientsHold hold(clients_lock);
    Elt_Supervision* const mailbox = find(client);
    return mailbox ? mailbox->put_parametre(text) : short{0};
}

short List_Client_Supervision::client_known(const ClientId* client) {
    return findAlone(client) != nullptr;
}

short List_Client_Supervision::call_client(short (*function)(ClientId*), ClientId* client) {
    setThreadTrace(kMarkCallBegun);
    const short result = findAlone(client) ? function(client) : short{0};
    setThreadTrace(kMarkCallDone);
    return result;
}
