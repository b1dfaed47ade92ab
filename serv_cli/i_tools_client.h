#pragma once
// Mailboxes: a server that supervises clients keeps one queue of texts per client, in which threads
// post and another one waits for the next text.
//
// `Elt_Supervision` is one mailbox; `List_Client_Supervision` finds the mailbox of a client and may
// be used by any thread. Two locks work here, always taken in this order: the list's
// `clients_lock`, which guards the list, and each mailbox's `queue_lock`, which guards its queue. A
// thread waits for a text with neither held, so it never stops the others. A signal ends no wait
// here: it is told as a failed "semLock", and the wait goes on.
//
// The order of a queue: a text goes in behind the queue's cursor, which lands on it; a taking
// leaves the cursor on the text that followed. So the queue is first in, first out while no text is
// posted behind a taking: A taken from A, B, C, then D posted, gives B, D, C. A text that comes
// while the cursor is off goes to the end.

#include <semaphore.h>

#include <cstdint>

#include "serv_cli/client_id.h"
#include "util/l_univ.h"

struct Mutex;
struct ReadWriteLock;

/// One mailbox. It carries the tag of lists without being one, and owns its texts, which are copies
/// of what was posted. Any thread may call its operations while it lives.
class Elt_Supervision : public elem_list {
  public:
    /// A mailbox for `id`, with `text` posted unless it is null.
    Elt_Supervision(const ClientId& id, const char* text);
    ~Elt_Supervision() override;

    /// Posts a copy of `text`, or nothing if it is null. Always 1.
    short put_parametre(const char* text);
    /// Waits for a post without limit and takes its count, then lends the first text, which stays
    /// in the queue: valid until somebody takes or removes it. Null if the queue is empty by then.
    /// A text that was lent and not removed has no count any more: the next call waits for a post.
    const char* get_parametre();
    /// Takes the entry of this very pointer out of the queue and leaves the array to the caller,
    /// who frees it with `delete[]`. The count of posts stays. 1, or 0 if there is none.
    short remove_parametre(const char* text);
    /// 1 when a text is in the queue, else 0. Never waits.
    short has_parametre();

    l_univ* parametres;   ///< the queue of `el_pointer`s to texts; guarded by `queue_lock`
    ClientId client;      ///< whose mailbox this is
    short sup_state = 0;  ///< for the user of the mailbox
    sem_t* signal;        ///< counts the posts
    Mutex* queue_lock;    ///< taken inside `clients_lock`, never the other way round

  private:
    friend class List_Client_Supervision;

    bool waiting() const { return parametres && !parametres->empty(); }
    char* takeFirst();
    char* takeWithoutWait();
    char* cutFirst();
};

/// The mailboxes of all clients, with the tag and the name fixed. A client is found by `major` and
/// `minor`; of two mailboxes with the same, the first one added counts.
///
/// A mailbox must not be removed while a thread is inside `next_parametre` for it, or waits for a
/// text in `read_parametre`: that thread would wait on a semaphore that is gone. The inherited
/// operations of the list take no lock and are for a caller that no other thread disturbs.
class List_Client_Supervision : public l_univ {
  public:
    List_Client_Supervision();
    List_Client_Supervision(const List_Client_Supervision&) = delete;
    List_Client_Supervision& operator=(const List_Client_Supervision&) = delete;
    ~List_Client_Supervision() override;

    /// Adds a mailbox at the end; the list then owns it. Always 1.
    short add_client(Elt_Supervision* element);
    /// Removes this very mailbox, which ends with it unless another list holds it. 1, or 0 if it
    /// isn't in the list.
    short remove_elt(Elt_Supervision* element);
    /// Removes the client's mailbox, if there is one. Always 1.
    short remove_client(const ClientId* client);
    /// Removes every mailbox with this `major`.
    void remove_clients_of(std::int16_t major);

    /// `get_parametre` of the client's mailbox: it waits, and it only lends. Null at once for an
    /// unknown client.
    const char* next_parametre(const ClientId* client);
    /// Takes the client's first text, waiting for one if need be, and copies it to `dst` like
    /// `strncpy`: at most `len` bytes, the rest filled with zeros, no terminator when the text has
    /// `len` bytes or more. Gives the text's whole length; 0 for an unknown client, or when another
    /// reader was faster. A text that `next_parametre` has lent is taken too, and ends.
    int read_parametre(const ClientId* client, char* dst, int len);
    /// 1 when a text waits for the client, else 0.
    short has_parametre(const ClientId* client);
    /// Posts a copy of `text` to the client. 1, or 0 for an unknown client.
    short put_parametre(const ClientId* client, const char* text);
    /// 1 when the client has a mailbox, else 0.
    short client_known(const ClientId* client);
    /// `function(client)`, called with no lock held, and its result; 0 for an unknown client.
    short call_client(short (*function)(ClientId*), ClientId* client);

    /// The mailbox under the cursor.
    Elt_Supervision* item_client() { return static_cast<Elt_Supervision*>(item(id_type)); }

    ReadWriteLock* clients_lock;  ///< guards the list; always taken exclusive, without time limit

  private:
    Elt_Supervision* find(const ClientId* client);
    Elt_Supervision* findAlone(const ClientId* client);
    char* takeText(const ClientId* client);
};
