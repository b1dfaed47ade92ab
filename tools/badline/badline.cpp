// A bad line between two network namespaces: a tun device in each, and what comes out of one goes
// into the other late, twice, in another order or not at all, decided by a seed.
//
//   badline NAMESPACE_A NAMESPACE_B [loss PER_CENT] [delay MS] [jitter MS] [twice PER_CENT] [seed
//   N]
//
// The devices are called "bad0"; who started this gives them their addresses once "ready" is
// printed. On standard input the same words change the line, and "cut" and "mend" cut it and bring
// it back; "spoil" changes the next large packet from side A in a way that TCP doesn't see. At the
// end of input it prints what it did with the packets, and ends.

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <sstream>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

[[noreturn]] void fail(const std::string& what) {
    std::perror(("badline: " + what).c_str());
    std::exit(1);
}

// A device belongs to the namespace that its maker was in; its descriptor works from everywhere.
int deviceIn(const std::string& name) {
    const int space = open(("/var/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    if (space < 0 || setns(space, CLONE_NEWNET) != 0) fail("namespace " + name);
    close(space);
    const int device = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ifreq request{};
    std::strcpy(request.ifr_name, "bad0");
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (device < 0 || ioctl(device, TUNSETIFF, &request) != 0) fail("tun device in " + name);
    return device;
}

constexpr std::size_t kLargePacket = 600;  // bytes; only a body makes one
constexpr std::size_t kFrameHeader = 132;  // bytes that are to stay, or the stream is out of step

// TCP's sum doesn't know the order of the words that it adds up: two of a packet's body that differ
// change places.
bool swapWords(std::string& packet) {
    const auto at = [&](std::size_t i) -> std::size_t {
        return static_cast<unsigned char>(packet[i]);
    };
    const std::size_t ip = (at(0) & 0x0F) * 4;
    const std::size_t body = ip + (at(ip + 12) >> 4) * 4;
    for (std::size_t i = body + kFrameHeader; i + 4 <= packet.size(); i += 2) {
        if (packet.compare(i, 2, packet, i + 2, 2) == 0) continue;
        std::swap_ranges(packet.begin() + static_cast<long>(i),
                         packet.begin() + static_cast<long>(i) + 2,
                         packet.begin() + static_cast<long>(i) + 2);
        return true;
    }
    return false;
}

class Line {
  public:
    explicit Line(std::array<int, 2> devices) : devices_(devices) {}

    /// Takes words of the command line or of one line of input; a wrong one ends the program.
    void obey(std::istream& words) {
        for (std::string word; words >> word;) {
            if (word == "cut" || word == "mend" || word == "spoil") {
                cut_ = word == "cut";
                spoil_ = word == "spoil";
                continue;
            }
            const auto setting = settings_.find(word);
            if (setting == settings_.end() || !(words >> setting->second)) fail("word " + word);
            if (word == "seed") random_.seed(static_cast<unsigned>(setting->second));
        }
    }

    /// Takes all packets that wait at one side.
    void takeFrom(std::size_t side) {
        char packet[65536];
        ssize_t length;
        while ((length = read(devices_[side], packet, sizeof packet)) > 0) {
            if (cut_ || inHundred("loss")) {
                ++dropped_;
                continue;
            }
            std::string bytes(packet, static_cast<std::size_t>(length));
            if (spoil_ && side == 0 && bytes.size() > kLargePacket) spoil_ = !swapWords(bytes);
            send(1 - side, bytes);
            if (inHundred("twice")) send(1 - side, bytes);
        }
    }

    /// Delivers what is due, and tells how long the next one has time; -1 if none waits.
    int deliver() {
        while (!waiting_.empty() && waiting_.begin()->first <= Clock::now()) {
            const auto& [side, bytes] = waiting_.begin()->second;
            // What is under way when the line is cut is lost too; a full device loses it as well.
            if (cut_ || write(devices_[side], bytes.data(), bytes.size()) < 0)
                ++dropped_;
            else
                ++delivered_;
            waiting_.erase(waiting_.begin());
        }
        if (waiting_.empty()) return -1;
        const auto left = waiting_.begin()->first - Clock::now();
        return static_cast<int>(std::chrono::ceil<Milliseconds>(left).count());
    }

    void tell() const {
        std::printf("delivered %ld, dropped %ld, overtaken %ld\n", delivered_, dropped_,
                    overtaken_);
    }

  private:
    bool inHundred(const char* setting) {
        return static_cast<int>(random_() % 100) < settings_.at(setting);
    }
    void send(std::size_t side, const std::string& bytes) {
        const int jitter = settings_.at("jitter");
        const int off =
            jitter ? static_cast<int>(random_() % (2UL * unsigned(jitter))) - jitter : 0;
        const auto due = Clock::now() + Milliseconds(settings_.at("delay") + off);
        const auto place = waiting_.emplace(due, std::pair(side, bytes));
        if (std::next(place) != waiting_.end()) ++overtaken_;
    }

    std::array<int, 2> devices_;
    bool cut_ = false;
    bool spoil_ = false;
    std::map<std::string, int> settings_{
        {"loss", 0}, {"delay", 0}, {"jitter", 0}, {"twice", 0}, {"seed", 1}};
    std::mt19937 random_{1};
    std::multimap<Clock::time_point, std::pair<std::size_t, std::string>> waiting_;
    long delivered_ = 0, dropped_ = 0, overtaken_ = 0;
};

}  // namespace

int main(int count, char** words) {
    if (count < 3) {
        std::fputs("Usage: badline NAMESPACE_A NAMESPACE_B [loss|delay|jitter|twice|seed N]...\n",
                   stderr);
        return 2;
    }
    const std::array<int, 2> devices{deviceIn(words[1]), deviceIn(words[2])};
    Line line(devices);
    std::string settings;
    for (int i = 3; i < count; ++i)
        settings += std::string(words[i]) + " ";
    std::istringstream at_start(settings);
    line.obey(at_start);
    std::puts("ready");
    std::fflush(stdout);
    while (true) {
        pollfd ready[3] = {{devices[0], POLLIN, 0}, {devices[1], POLLIN, 0}, {0, POLLIN, 0}};
        poll(ready, 3, line.deliver());
        for (std::size_t side : {0u, 1u})
            if (ready[side].revents & POLLIN) line.takeFrom(side);
        if (ready[2].revents == 0) continue;
        char text[256];
        const ssize_t length = read(STDIN_FILENO, text, sizeof text);
        if (length <= 0) break;
        std::istringstream order(std::string(text, static_cast<std::size_t>(length)));
        line.obey(order);
    }
    line.tell();
}
