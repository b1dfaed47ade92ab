// Fifty consoles that all talk, one in five of them killed and started again each second: every
// answer that a living console waits for comes, and in the end nothing is left behind.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "sim_harness.h"

namespace {

using Clock = std::chrono::steady_clock;
using support::RawConsole;

// An emulator makes each step five to twenty times slower: fewer of them fit in a test run.
#ifdef __powerpc__
constexpr int kConsoles = 20;
constexpr std::chrono::seconds kDuration{10};
#else
constexpr int kConsoles = 50;
constexpr std::chrono::seconds kDuration{60};
#endif
constexpr int kGroups = 5;                        // one of them is killed in each second
constexpr std::chrono::milliseconds kBreath{10};  // between two questions of one console

struct Counts {
    std::atomic<int> asked{0}, answered{0}, killed{0};
};

/// One operator's place: talks, and in the seconds of its group pulls the plug and begins anew.
void work(int port, int place, Clock::time_point start, Counts& counts) {
    auto second = [&] { return (Clock::now() - start) / std::chrono::seconds(1); };
    for (auto last = second(); Clock::now() < start + kDuration;) {
        RawConsole console(port);
        for (int i = 0; second() == last || second() % kGroups != place % kGroups; ++i) {
            if (Clock::now() >= start + kDuration) return;
            const std::string word = std::to_string(place) + "." + std::to_string(i);
            ++counts.asked;
            if (console.ask("echo " + word + "\n") == word + "\n") ++counts.answered;
            std::this_thread::sleep_for(kBreath);
        }
        last = second();
        console.type("lines\necho lost\n");  // its answers meet a console that is gone
        console.reset();
        ++counts.killed;
    }
}

TEST(SimLoad, FiftyTalkingConsolesLoseNoAnswer) {
    support::SimProcess sim("--port 0 --pace 100");
    const int port = sim.readPort();
    Counts counts;
    std::vector<std::thread> places;
    const auto start = Clock::now();
    for (int i = 0; i < kConsoles; ++i) places.emplace_back(work, port, i, start, std::ref(counts));
    for (std::thread& place : places) place.join();
    EXPECT_EQ(counts.answered, counts.asked);
    EXPECT_GT(counts.killed, kConsoles / kGroups * (kDuration.count() - 5));
    std::printf("%d answers, %d consoles killed\n", counts.answered.load(), counts.killed.load());

    RawConsole last(port);
    std::string threads;  // the table empties as the killed consoles are noticed
    const auto empty = [&] {
        threads = last.ask("threads\n");
        return std::ranges::count(threads, '\n') == 5;
    };
    EXPECT_TRUE(support::eventually(empty)) << threads;
    last.ask("stop\n");
    EXPECT_EQ(sim.finish(), 0) << sim.said();
}

}  // namespace
