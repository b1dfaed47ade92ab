// The mailbox of a client beside what one would write without the library: a queue of strings with
// a mutex and a condition. A text of 30 bytes is posted and read, in one thread, and between two
// where the reader waits for texts that come as fast as the other one posts them.
//
// What the mailbox pays above the peer, with both sides' allocation of the text left out:
// - each take of a lock searches for a dead-lock. A post takes four through the list (its lock is a
//   Mutex, taken three times, around a semaphore) and one without it; a read takes four and two.
//   That is three quarters of the instructions; bench_locks tells what one take costs.
// - an element and a node are made for each text, which in the peer lies in the queue itself.
// - a semaphore counts the texts, where the peer looks at its queue; two thread marks.

#include <benchmark/benchmark.h>
#include <pthread.h>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <latch>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "serv_cli/i_tools_client.h"
#include "util/i_os_table.h"

namespace {

constexpr char kText[] = "the line 1207 is free of calls";
static_assert(sizeof kText == 31);
constexpr int kBufferSize = 80;

// Each box posts one text, and reads one into a buffer, waiting for it.

struct ClientBox {
    ClientBox() { list.add_client(new Elt_Supervision(id, nullptr)); }
    void post(const char* text) { list.put_parametre(&id, text); }
    int read(char* buffer) { return list.read_parametre(&id, buffer, kBufferSize); }

    const ClientId id{1, 2};
    List_Client_Supervision list;
};

/// A mailbox that its user has at hand, so that no list has to find it.
struct BareBox {
    void post(const char* text) { box->put_parametre(text); }
    int read(char* buffer) {
        const std::unique_ptr<const char[]> text(box->get_parametre());
        box->remove_parametre(text.get());
        const std::size_t length = std::strlen(text.get());
        std::memcpy(buffer, text.get(), length + 1);
        return static_cast<int>(length);
    }

    const std::unique_ptr<Elt_Supervision> box{
        std::make_unique<Elt_Supervision>(ClientId(1, 2), nullptr)};
};

struct PlainBox {
    void post(const char* text) {
        std::string copy(text);
        {
            const std::lock_guard hold(mutex);
            queue.push_back(std::move(copy));
        }
        filled.notify_one();
    }
    int read(char* buffer) {
        std::unique_lock hold(mutex);
        filled.wait(hold, [this] { return !queue.empty(); });
        const std::string text = std::move(queue.front());
        queue.pop_front();
        hold.unlock();
        std::memcpy(buffer, text.c_str(), text.size() + 1);
        return static_cast<int>(text.size());
    }

    std::deque<std::string> queue;
    std::mutex mutex;
    std::condition_variable filled;
};

/// Enters the calling thread in the thread table, as all threads of a server are: one without a
/// slot would pause at each of its marks.
class TableEntry {
  public:
    TableEntry() {
        const auto id = static_cast<std::uint32_t>(pthread_self());
        PutThreadInTbThread("bench", id, id);
    }
    ~TableEntry() { RemoveThreadFromTb(); }
    TableEntry(const TableEntry&) = delete;
    TableEntry& operator=(const TableEntry&) = delete;
};

template <typename Box>
void inOneThread(benchmark::State& state) {
    const TableEntry entry;
    Box box;
    char buffer[kBufferSize];
    for (auto _ : state) {
        box.post(kText);
        benchmark::DoNotOptimize(box.read(buffer));
    }
}

template <typename Box>
Box& shared() {
    static Box box;
    return box;
}

// Both threads run the same number of times, so the box ends up empty.
template <typename Box>
void betweenTwo(benchmark::State& state) {
    const TableEntry entry;
    Box& box = shared<Box>();
    const bool reader = state.thread_index() == 0;
    char buffer[kBufferSize];
    for (auto _ : state) {
        if (reader)
            benchmark::DoNotOptimize(box.read(buffer));
        else
            box.post(kText);
    }
}

BENCHMARK(inOneThread<ClientBox>);
BENCHMARK(inOneThread<BareBox>);
BENCHMARK(inOneThread<PlainBox>);
BENCHMARK(betweenTwo<ClientBox>)->Threads(2)->UseRealTime();
BENCHMARK(betweenTwo<BareBox>)->Threads(2)->UseRealTime();
BENCHMARK(betweenTwo<PlainBox>)->Threads(2)->UseRealTime();

}  // namespace

// A second thread lives throughout, as in every server: the locks of a process with a single thread
// cost less.
int main(int argc, char** argv) {
    std::latch end(1);
    const std::jthread second([&end] { end.wait(); });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    end.count_down();
    return 0;
}
