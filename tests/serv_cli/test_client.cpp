#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "serv_cli/i_tools_client.h"
#include "util/i_os_sync.h"
#include "util/i_os_table.h"
#include "util/i_os_thread.h"

namespace {

// A slot of the thread table for this thread: without one every mark costs a pause.
struct Slot {
    Slot() { PutThreadInTbThread("test", threadId(), threadId()); }
    ~Slot() { RemoveThreadFromTb(); }
};

class ClientTest : public testing::Test {
  protected:
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
    std::string readTwo() {
        const std::string first = read(id);
        return first + read(id);
    }

    const Slot slot;
    const ClientId id{1, 2};
    List_Client_Supervision clients;
};

TEST_F(ClientTest, ATextBehindATakingGoesBehindTheCursorAndNoneIsLost) {
    Elt_Supervision* const mailbox = add(1, 2, "A");
    for (const char* text : {"B", "C"})
        EXPECT_EQ(clients.put_parametre(&id, text), 1);
    EXPECT_EQ(read(id), "A");
    mailbox->put_parametre("D");
    EXPECT_EQ(readTwo(), "BD");
    mailbox->put_parametre("E");
    const char* const first = mailbox->get_parametre();
    EXPECT_STREQ(first, "C");
    const std::string same_text = first;
    EXPECT_EQ(mailbox->remove_parametre(same_text.c_str()), 0);  // only the pointer counts
    mailbox->put_parametre("F");                                 // the cursor is off by that walk
    EXPECT_EQ(mailbox->remove_parametre(first), 1);
    delete[] first;
    EXPECT_EQ(readTwo(), "EF");
    EXPECT_EQ(clients.has_parametre(&id), 0);
    EXPECT_EQ(semLock(mailbox->signal, 0), 0);
}

TEST_F(ClientTest, ALentTextWithoutItsCountBlocksNobody) {
    add(1, 2, "lent");
    EXPECT_STREQ(clients.next_parametre(&id), "lent");
    EXPECT_EQ(clients.has_parametre(&id), 1);
    EXPECT_EQ(read(id), "lent");
    // Texts and counts part: a removed text leaves its count, and the reading finds nothing.
    Elt_Supervision* const mailbox = add(3, 4, "removed");
    mailbox->parametres->start();
    const char* const text = static_cast<char*>(mailbox->parametres->item_pointer(t_neutre));
    EXPECT_EQ(mailbox->remove_parametre(text), 1);
    delete[] text;
    char untouched = '#';
    EXPECT_EQ(clients.read_parametre(&mailbox->client, &untouched, 1), 0);
    EXPECT_EQ(untouched, '#');
}

TEST_F(ClientTest, ReadsCutAndFillLikeStrncpy) {
    for (const auto& [length, expected] : {std::pair(2, "ab##"), {3, "abc#"}, {4, "abc\0"}}) {
        Elt_Supervision* const mailbox = add(1, 2, "abc");
        char buffer[] = {'#', '#', '#', '#'};
        EXPECT_EQ(clients.read_parametre(&id, buffer, length), 3);
        EXPECT_EQ(std::string(buffer, 4), std::string(expected, 4));
        EXPECT_EQ(clients.remove_elt(mailbox), 1);
        EXPECT_EQ(clients.remove_elt(mailbox), 0);
    }
}

TEST_F(ClientTest, ClientsAreFoundByTheirTwoKeys) {
    Elt_Supervision* const first = add(1, 2);
    for (const auto& [major, minor] : {std::pair(1, 3), {1, 2}, {2, 2}, {1, 9}})
        add(static_cast<std::int16_t>(major), static_cast<std::int16_t>(minor));
    ClientId same = id;
    same.third = 7;
    ClientId unknown(2, 1);
    EXPECT_EQ(clients.put_parametre(&same, "x"), 1);
    EXPECT_EQ(first->has_parametre(), 1);
    EXPECT_EQ(clients.put_parametre(&unknown, "x") + clients.has_parametre(&unknown), 0);
    EXPECT_EQ(clients.next_parametre(&unknown), nullptr);
    EXPECT_EQ(clients.client_known(&unknown), 0);
    const auto function = [](ClientId* client) { return client->third; };
    EXPECT_EQ(clients.call_client(function, &same), 7);
    EXPECT_EQ(clients.call_client(function, &unknown), 0);
    EXPECT_EQ(clients.remove_client(&unknown), 1);
    EXPECT_EQ(clients.count(), 5);
    clients.remove_client(&same);
    EXPECT_EQ(clients.client_known(&same), 1);  // the second one with these keys
    clients.remove_clients_of(1);
    EXPECT_EQ(clients.count(), 1);
}

TEST_F(ClientTest, ManyPostersOneReaderEachAndClientsThatComeAndGo) {
    constexpr std::int16_t kClients = 3;
    constexpr int kPosters = 4;
    constexpr int kTexts = 200;
    std::map<std::string, int> seen[kClients];
    std::vector<std::thread> readers, others;
    for (std::int16_t c = 0; c < kClients; ++c) {
        add(0, c);
        readers.emplace_back([this, c, &seen] {
            const Slot own;
            const ClientId own_id(0, c);
            for (bool ended = false; !ended || clients.has_parametre(&own_id);) {
                const std::string text = read(own_id);
                if (text == "end")
                    ended = true;
                else
                    ++seen[c][text];
            }
        });
    }
    for (int p = 0; p < kPosters; ++p) {
        others.emplace_back([this, p] {
            for (int i = 0; i < kTexts * kClients; ++i) {
                const ClientId to(0, static_cast<std::int16_t>(i % kClients));
                clients.put_parametre(&to, std::to_string(p * 10000 + i / kClients).c_str());
            }
        });
    }
    others.emplace_back([this] {
        for (std::int16_t i = 0; i < 300; ++i) {
            add(9, i, "unread");
            if (i % 3 == 0) clients.remove_clients_of(9);
        }
    });
    for (auto& thread : others)
        thread.join();
    for (std::int16_t c = 0; c < kClients; ++c) {
        const ClientId to(0, c);
        clients.put_parametre(&to, "end");
    }
    for (auto& thread : readers)
        thread.join();
    for (const auto& texts : seen) {
        EXPECT_EQ(texts.size(), std::size_t{kPosters * kTexts});
        for (const auto& [text, times] : texts)
            EXPECT_EQ(times, 1) << text;
    }
}

}  // namespace
