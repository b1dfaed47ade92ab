#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include "console.h"
#include "console_session.h"
#include "support/scripted_peer.h"

using namespace support;

long entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") return status >> word, std::stol(word);
    }
    return 0;
}

// A sanitizer keeps freed memory for its reports, and an emulator's memory is its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kOwnMemory = false;
#else
constexpr bool kOwnMemory = ZOR_EMULATOR[0] == '\0';
#endif

// In this process and with short pauses, which only the constants of the console set. Keep-alives
// are so frequent that they run into the ends of their sessions.
TEST(SessionMany, AThousandLossesLeaveNothingBehind) {
    constexpr int kSessions = 1000;
    console_pauses = {1, 1, 1, 1, 2};
    Peer peer;
    peer.listen();
    int served = 0;
    std::thread server([&] {  // hangs up on the first frame, which may be a keep-alive
        for (int i = 0; i < kSessions; ++i)
            served += peer.accept().receive(132).size() == 132;
    });
    ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
    testing::internal::CaptureStdout();
    long tenth = 0;
    long descriptors = 0;
    const long threads = entries("/proc/self/task");  // with the server's and a sanitizer's own
    long most_threads = 0;
    for (int i = 1; i <= kSessions; ++i) {
        runSession("127.0.0.1", std::stoi(peer.port));
        most_threads = std::max(most_threads, entries("/proc/self/task"));
        if (i == 10) tenth = residentKilobytes(), descriptors = entries("/proc/self/fd");
    }
    const long memory = residentKilobytes(), descriptors_left = entries("/proc/self/fd");
    server.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(served, kSessions);
    EXPECT_EQ(descriptors_left, descriptors);
    if (kOwnMemory) {
        EXPECT_LE(memory - tenth, 1024);
    }
    EXPECT_LE(most_threads, threads + 2);
}
