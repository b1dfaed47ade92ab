#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "serv_cli/i_tools_client.h"
#include "util/i_charstr.h"
#include "util/i_os_sync.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

// A slot of the thread table for this thread: without one every mark costs a pause.
struct Slot {
    Slot() { PutThreadInTbThread("test", threadId(), threadId()); }
    ~Slot() { RemoveThreadFromTb(); }
};

struct ClientTest : testing::Test {
    Elt_Supervision* add(std::int16_t major, std::int16_t minor, const char* text = nullptr) {
        auto* const mailbox = new Elt_Supervision(ClientId(major, minor), text);
        EXPECT_EQ(clients.add_client(mailbox), 1);
        return mailbox;
    }
    std::string read(const ClientId& client) {
        char text[32];
        clients.read_parametre(&client, text, sizeof text);
        return text;
    }

    static const char* newest(const Elt_Supervision* mailbox) {
        return static_cast<const char*>(mailbox->parametres->item_pointer(t_neutre));
    }

    const Slot slot;
    const ClientId id{1, 2};
    List_Client_Supervision clients;
};

TEST_F(ClientTest, ATextBehindATakingGoesBehindTheCursorAndNoneIsLost) {
    Elt_Supervision* const mailbox = add(1, 2, "A");
    for (const char* const text : {"B", "C"}) mailbox->put_parametre(text);
    EXPECT_EQ(read(id), "A");
    mailbox->put_parametre("D");
    for (const char* const text : {"B", "D"}) EXPECT_EQ(read(id), text);
    EXPECT_EQ(semLock(mailbox->signal, 0), 1) << "each text was taken with its count";
    EXPECT_EQ(semLock(mailbox->signal, 0), 0);
    mailbox->put_parametre("E");
    const std::unique_ptr<const char[]> last(newest(mailbox));
    EXPECT_EQ(mailbox->remove_parametre(last.get()), 1);  // now the cursor is off
    mailbox->put_parametre("F");
    for (const char* const text : {"C", "F"}) EXPECT_EQ(read(id), text);
}

TEST_F(ClientTest, AMailboxWithoutItsQueueIsEmpty) {
    Elt_Supervision* const mailbox = add(1, 2);
    delete std::exchange(mailbox->parametres, nullptr);
    EXPECT_EQ(mailbox->put_parametre("dropped"), 1);
    EXPECT_EQ(mailbox->has_parametre(), 0);
    EXPECT_EQ(mailbox->remove_parametre("dropped"), 0);
}

TEST_F(ClientTest, TextsAndCountsMayPart) {
    Elt_Supervision* const mailbox = add(1, 2, "lent");
    EXPECT_STREQ(clients.next_parametre(&id), "lent");  // its count is spent, yet nobody waits
    char cut[] = "####";
    EXPECT_EQ(clients.read_parametre(&id, cut, 3), 4);
    mailbox->put_parametre("removed");  // and leaves its count
    const std::unique_ptr<const char[]> text(newest(mailbox));
    EXPECT_EQ(mailbox->remove_parametre("removed"), 0) << "an equal text elsewhere";
    EXPECT_EQ(mailbox->remove_parametre(text.get()), 1);
    EXPECT_EQ(clients.read_parametre(&id, cut, 4), 0);
    EXPECT_STREQ(cut, "len#");
    semUnLock(mailbox->signal);
    EXPECT_EQ(mailbox->get_parametre(), nullptr);
}

TEST_F(ClientTest, ClientsAreFoundByTheirTwoKeys) {
    for (const std::int16_t major : {1, 2}) add(major, 2);
    add(1, 3);
    ClientId same = id;
    EXPECT_EQ(same.third, -1);
    EXPECT_EQ(same.fourth, -1);
    same.third = 7;
    ClientId cleared = same;
    cleared.clear();
    EXPECT_EQ(cleared.major, -1);
    EXPECT_EQ(cleared.third, -1);
    const ClientId unknown(2, 1);
    EXPECT_EQ(clients.put_parametre(&same, "x"), 1);
    EXPECT_EQ(clients.has_parametre(&id), 1);
    EXPECT_EQ(clients.put_parametre(&unknown, "x"), 0);
    EXPECT_EQ(clients.has_parametre(&unknown), 0);
    EXPECT_EQ(clients.client_known(&same), 1);
    EXPECT_EQ(clients.client_known(&unknown), 0);
    EXPECT_EQ(clients.next_parametre(&unknown), nullptr);
    EXPECT_EQ(clients.read_parametre(&unknown, nullptr, 0), 0);
    EXPECT_EQ(clients.remove_client(&unknown), 1);
    EXPECT_EQ(clients.count(), 3);
    clients.remove_clients_of(1);
    EXPECT_EQ(clients.count(), 1);
}

TEST_F(ClientTest, RemovesThisVeryMailboxAndOfAClientTheFirst) {
    Elt_Supervision stranger(id, nullptr);
    Elt_Supervision* const first = add(1, 2, "first");
    Elt_Supervision* const second = add(1, 2);
    add(1, 2, "third");
    EXPECT_EQ(clients.remove_elt(&stranger), 0);
    EXPECT_EQ(clients.remove_elt(second), 1);
    EXPECT_EQ(first->has_parametre(), 1);
    EXPECT_EQ(clients.remove_client(&id), 1);
    EXPECT_EQ(read(id), "third");
}

/// The trace mark of this thread, the only one in the table.
static int mark() {
    CharString threads;
    listThreads(threads);
    return std::atoi(threads.rightFrom(threads.find("Trace ", 0) + 6).c_str());
}

TEST_F(ClientTest, AFunctionIsCalledWithNoLockHeldAndMarksTellHowFarAThreadIs) {
    static ReadWriteLock* lock;
    lock = clients.clients_lock;
    add(1, 2);
    const auto function = [](ClientId* client) -> short {
        EXPECT_EQ(mark(), 14);
        EXPECT_EQ(rwLock(lock, 1, 0), 1) << "free";
        rwUnlock(lock, 1);
        return static_cast<short>(client->minor + 5);
    };
    ClientId known = id;
    ClientId unknown(2, 1);
    EXPECT_EQ(clients.call_client(function, &known), 7);
    EXPECT_EQ(clients.call_client(function, &unknown), 0);
    EXPECT_EQ(mark(), 15);
}

/// While this is set, a signal ends each wait of this thread once, and one for a text of this
/// mailbox brings the text "late" too.
static thread_local Elt_Supervision* signalled = nullptr;
static std::string waits;  // what became of the waits

/// Stands before the C library's function of this name.
extern "C" int sem_wait(sem_t* semaphore) {
    static thread_local bool ends = false;
    const timespec never = {INT32_MAX, 0};
    ends = signalled && !ends;
    if (!ends) return sem_timedwait(semaphore, &never);
    const bool for_text = semaphore == signalled->signal;
    EXPECT_NE(signalled->queue_lock->owner_id, threadId()) << "nobody could post";
    waits += (for_text ? "text " : "lock ") + std::to_string(mark()) + ", ";
    if (for_text) signalled->put_parametre("late");
    errno = EINTR;
    return -1;
}

TEST_F(ClientTest, ASignalEndsNoWait) {
    auto* const dying = new List_Client_Supervision;
    Elt_Supervision* const mailbox = add(1, 2);
    signalled = mailbox;
    EXPECT_EQ(read(id), "late");
    const std::unique_ptr<const char[]> lent(mailbox->get_parametre());
    delete dying;
    signalled = nullptr;
    EXPECT_EQ(waits, "lock 11, text 12, lock 12, text 13, lock 13, ");
    EXPECT_EQ(mailbox->remove_parametre(lent.get()), 1);
    EXPECT_EQ(semLock(mailbox->signal, 0), 0) << "the counts are taken";
    EXPECT_EQ(rwLock(clients.clients_lock, 1, 0), 1) << "the lock is given back";
    EXPECT_EQ(rwLock(clients.clients_lock, 1, 0), 0) << "and once only";
    rwUnlock(clients.clients_lock, 1);
}

TEST_F(ClientTest, AReaderGetsAllThatOthersPostWhileClientsComeAndGo) {
    constexpr std::int16_t kTexts = 10'000;
    std::map<std::string, int> taken;
    Elt_Supervision* const mailbox = add(1, 2);
    const std::jthread by_name([this] {
        for (int i = 0; i < kTexts; ++i) clients.put_parametre(&id, "by name");
    });
    const std::jthread directly([mailbox] {
        for (int i = 0; i < kTexts; ++i) mailbox->put_parametre("directly");
    });
    const std::jthread guests([this] {
        for (std::int16_t i = 0; i < kTexts; ++i) {
            add(9, i, "unread");
            if (i % 3 == 0) clients.remove_clients_of(9);
        }
    });
    for (int i = 0; i < kTexts; ++i) {
        ++taken[read(id)];
        const std::unique_ptr<const char[]> lent(clients.next_parametre(&id));
        ++taken[lent.get()];
        ASSERT_EQ(mailbox->remove_parametre(lent.get()), 1);
        clients.has_parametre(&id);
    }
    EXPECT_EQ(taken["by name"], kTexts);
    EXPECT_EQ(taken["directly"], kTexts);
}
