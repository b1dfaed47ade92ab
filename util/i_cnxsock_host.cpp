#include "util/i_cnxsock_host.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>

#include "util/i_charstr.h"
#include "util/i_cnxsock_connection.h"

namespace {

constexpr int kSetSize = 1024;         // descriptors in a set, the count given to `select`
constexpr std::size_t kNameSize = 80;  // bytes of a host name with its terminator
constexpr int kMostPoints = 50;        // points of a dotted text that are turned into blanks
constexpr long kMicrosPerMilli = 1000;
constexpr std::int32_t kMillisPerSecond = 1000;

using Address = std::array<unsigned char, 4>;  // of IPv4, first number first

/// The first address of `name`. A numeric text is its own answer; the answer of `gethostbyname`
/// lies in static memory and is copied at once.
std::optional<Address> lookUp(const char* name) {
    const hostent* answer = gethostbyname(name);
    if (!answer || answer->h_addrtype != AF_INET || !answer->h_addr_list[0]) return std::nullopt;
    Address address;
    std::memcpy(address.data(), answer->h_addr_list[0], address.size());
    return address;
}

/// Whether four numbers stand at the front of `name` and are those of `address`. What follows the
/// fourth isn't looked at.
bool beginsWithAddress(const char* name, const Address& address) {
    CharString numbers(name);
    numbers.replaceText(".", " ", kMostPoints);
    std::array<int, 4> values{};
    for (int& value : values)
        numbers >> value;
    return numbers.good() && std::equal(values.begin(), values.end(), address.begin());
}

}  // namespace

int WaitFdSet(fd_set* set, std::int32_t timeout) {
    if (timeout < 0) return select(kSetSize, set, nullptr, nullptr, nullptr);
    timeval limit{};
    limit.tv_sec = timeout / kMillisPerSecond;
    limit.tv_usec = timeout % kMillisPerSecond * kMicrosPerMilli;
    return select(kSetSize, set, nullptr, nullptr, &limit);
}

void HostToDotted(const char* host, char* buffer, std::int32_t size) {
    if (!buffer || size <= 0) return;
    const auto room = static_cast<std::size_t>(size);
    char name[kNameSize];
    std::snprintf(name, sizeof name, "%s", host ? host : "");
    if (!std::isalpha(static_cast<unsigned char>(name[0]))) {
        std::snprintf(buffer, room, "%s", name);
        return;
    }
    buffer[0] = 0;
    if (const auto address = lookUp(name)) {
        const Address& a = *address;
        std::snprintf(buffer, room, "%.1d.%.1d.%.1d.%.1d", a[0], a[1], a[2], a[3]);
    }
}

short IsLocalHost(const char* name) {
    if (!name || !name[0]) return 0;
    if (std::strstr(name, "localhost")) return 1;
    char own_name[kNameSize] = "";
    LocalHostName(own_name, sizeof own_name);
    if (std::strcmp(name, own_name) == 0) return 1;
    const Address own_address = lookUp(own_name).value_or(Address{});
    if (beginsWithAddress(name, own_address)) return 1;
    return !std::strchr(name, '.') && lookUp(name) == own_address;
}
