#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>
#include <set>
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
    mailbox->put_parametre("E");
    const std::unique_ptr<const char[]> first(mailbox->get_parametre());
    EXPECT_STREQ(first.get(), "C");
    EXPECT_EQ(mailbox->remove_parametre(first.get()), 1);
    EXPECT_EQ(read(id), "E");
}

TEST_F(ClientTest, TextsAndCountsMayPart) {
    Elt_Supervision* const mailbox = add(1, 2, "lent");
    EXPECT_STREQ(clients.next_parametre(&id), "lent");  // its count is spent, yet nobody waits
    char cut[] = "####";
    EXPECT_EQ(clients.read_parametre(&id, cut, 3), 4);
    mailbox->put_parametre("removed");  // and leaves its count
    const std::unique_ptr<char[]> text(
        static_cast<char*>(mailbox->parametres->item_pointer(t_neutre)));
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
    same.third = 7;
    const ClientId unknown(2, 1);
    EXPECT_EQ(clients.put_parametre(&same, "x"), 1);
    EXPECT_EQ(clients.has_parametre(&id), 1);
    EXPECT_EQ(clients.put_parametre(&unknown, "x"), 0);
    EXPECT_EQ(clients.has_parametre(&unknown), 0);
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

/// Whether the listing of threads shows one with this trace mark.
static short isMarked(int mark) {
    CharString threads;
    listThreads(threads);
    return threads.contains(("Trace " + std::to_string(mark) + '\n').c_str());
}

TEST_F(ClientTest, AFunctionIsCalledWithNoLockHeldAndMarksTellHowFarAThreadIs) {
    static ReadWriteLock* lock;
    lock = clients.clients_lock;
    add(1, 2);
    const auto function = [](ClientId* client) -> short {
        EXPECT_EQ(isMarked(14), 1);
        EXPECT_EQ(rwLock(lock, 1, 0), 1) << "free";
        rwUnlock(lock, 1);
        return static_cast<short>(client->minor + 5);
    };
    ClientId known = id;
    ClientId unknown(2, 1);
    EXPECT_EQ(clients.call_client(function, &known), 7);
    EXPECT_EQ(clients.call_client(function, &unknown), 0);
}

/// Runs `wait` on a thread and ends its wait by signals; `release` gives it what it waits for.
static void expectToWaitThroughSignals(const std::function<void()>& wait,
                                       const std::function<void()>& release) {
    static std::atomic<int> interrupted;
    std::atomic<bool> done = false;
    interrupted = 0;
    errorIpcHandler = [](short, const char*, const char*, const char*) { ++interrupted; };
    struct sigaction ends_waits {};  // without SA_RESTART
    ends_waits.sa_handler = [](int) {};
    sigaction(SIGUSR1, &ends_waits, nullptr);
    std::thread waiting([&] {
        wait();
        done = true;
    });
    for (int i = 0; i < 20'000 && interrupted < 2 && !done; ++i) {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    EXPECT_GE(interrupted, 2) << "it waited again";
    EXPECT_FALSE(done) << "it went on without what it waited for";
    release();
    waiting.join();
    errorIpcHandler = nullptr;
}

TEST_F(ClientTest, ASignalEndsNoWaitForTheLock) {
    rwLock(clients.clients_lock, 1);
    expectToWaitThroughSignals([this] { EXPECT_EQ(clients.client_known(&id), 0); },
                               [this] { rwUnlock(clients.clients_lock, 1); });
    EXPECT_EQ(rwLock(clients.clients_lock, 1, 0), 1) << "given back";
    EXPECT_EQ(rwLock(clients.clients_lock, 1, 0), 0) << "and not more than that";
    rwUnlock(clients.clients_lock, 1);
    auto* const dying = new List_Client_Supervision;
    ReadWriteLock* const lock = dying->clients_lock;
    rwLock(lock, 1);
    expectToWaitThroughSignals([dying] { delete dying; }, [lock] { rwUnlock(lock, 1); });
}

TEST_F(ClientTest, ASignalEndsNoWaitForAText) {
    Elt_Supervision* const mailbox = add(1, 2);
    const auto post = [mailbox] { mailbox->put_parametre("posted"); };
    expectToWaitThroughSignals([&] { EXPECT_STREQ(mailbox->get_parametre(), "posted"); }, post);
    EXPECT_EQ(semLock(mailbox->signal, 0), 0) << "it took its count";
    EXPECT_EQ(read(id), "posted");
    const auto reading = [this] {
        const Slot own;
        EXPECT_EQ(read(id), "posted");
    };
    expectToWaitThroughSignals(reading, [&post] {
        EXPECT_EQ(isMarked(12), 1) << "it has its mailbox and waits";
        post();
    });
}

TEST_F(ClientTest, AReaderGetsAllThatManyPostWhileOthersComeAndGo) {
    constexpr int kPosters = 4;
    constexpr int kTexts = 5000;
    for (const std::int16_t minor : {0, 1, 2}) add(1, minor);
    std::vector<std::jthread> threads;
    std::set<std::string> missing;
    for (int i = 0; i < kPosters * kTexts; ++i) missing.insert(std::to_string(i));
    for (int p = 0; p < kPosters; ++p)
        threads.emplace_back([this, p] {
            for (int i = 0; i < kTexts; ++i)
                clients.put_parametre(&id, std::to_string(p * kTexts + i).c_str());
        });
    threads.emplace_back([this] {
        for (std::int16_t i = 0; i < 30'000; ++i) {
            add(9, i, "unread");
            if (i % 3 == 0) clients.remove_clients_of(9);
        }
    });
    while (!missing.empty()) ASSERT_EQ(missing.erase(read(id)), 1U);
}
