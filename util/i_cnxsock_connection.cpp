#include "util/i_cnxsock_connection.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "util/i_assert.h"
#include "util/i_charstr.h"
#include "util/i_os_thread.h"
#include "util/i_trace.h"

namespace {

constexpr char SOURCE_MODULE[] = "util/i_cnxsock";

constexpr int kMaxBadReads = 100;          // failures in a row that count as a lost connection
constexpr std::int32_t kRetryMs = 100;     // pause after a failed read
constexpr std::int32_t kConnectMs = 1000;  // what a non-blocking connect may take
constexpr int kHostNameSize = 80;
constexpr int kAddressTextSize = 40;

// Set and cleared by any thread; nothing in the layer reads it on this platform.
std::atomic<short> network_started{0};

// Keeps a descriptor that is being hung up from being closed meanwhile, when the system could have
// given its number to another socket already. Held by any thread, never across a wait.
std::mutex hang_up_guard;

bool isLoss(int error) {
    return error == ECONNRESET || error == ENOTCONN || error == ESHUTDOWN;
}

enum class Direction { kReading, kWriting };

/// One `select` on one descriptor, with the results of WaitFdReadable.
short waitFd(std::int32_t fd, std::int32_t timeout, Direction direction) {
    if (fd == -1) return -1;
    if (fd < 0 || fd >= FD_SETSIZE) return 0;
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    timeval time{timeout / 1000, timeout % 1000 * 1000L};
    const bool reading = direction == Direction::kReading;
    return ::select(FD_SETSIZE, reading ? &set : nullptr, reading ? nullptr : &set, nullptr,
                    timeout < 0 ? nullptr : &time) > 0;
}

/// Reads four numbers with any character between each two, which is how the family has always
/// told an address from a name: "127-0-0-1" is an address too, and what follows it is ignored.
bool readNumericAddress(const char* text, unsigned char address[4]) {
    CharString rest(text);
    short number[4] = {};
    char separator = 0;
    rest >> number[0] >> separator >> number[1] >> separator >> number[2] >> separator >> number[3];
    if (!rest.good()) return false;
    for (int i = 0; i < 4; ++i)
        address[i] = static_cast<unsigned char>(number[i]);
    return true;
}

/// Looks `hostname` up, this machine's name if it is empty.
bool lookUp(const char* hostname, unsigned char address[4]) {
    char own_name[kHostNameSize];
    if (!*hostname) {
        LocalHostName(own_name, sizeof own_name);
        hostname = own_name;
    }
    const hostent* host = ::gethostbyname(hostname);
    if (!host || !host->h_addr_list[0]) return false;
    std::memcpy(address, host->h_addr_list[0], 4);
    return true;
}

/// Whether the socket is its own peer. With nobody listening on a port of this machine, a connect
/// meets itself once the system picks that very port for its near end. A console that tries for
/// hours gets there, would talk to itself, and would keep the server off its port.
bool isOwnPeer(int socket_fd) {
    sockaddr_in near{}, far{};
    socklen_t near_length = sizeof near, far_length = sizeof far;
    return ::getsockname(socket_fd, reinterpret_cast<sockaddr*>(&near), &near_length) == 0 &&
           ::getpeername(socket_fd, reinterpret_cast<sockaddr*>(&far), &far_length) == 0 &&
           near.sin_port == far.sin_port && near.sin_addr.s_addr == far.sin_addr.s_addr;
}

void traceReadBlock(const char* text, std::int32_t value) {
    CharString line;
    line << text << static_cast<int>(value) << '\n';
    traceEmit(line);
}

void reportCloseFault(std::int32_t fd, const char* operation, int error) {
    std::printf(
        "Connection::Close, fd= %d  error on %s, errno %d, \n"
        "Connection::Close, %s\n",
        static_cast<int>(fd), operation, error, std::strerror(error));
}

}  // namespace

Connection::~Connection() {
    Connection::Close();
}

short Connection::ConnectService(const char* hostname, std::int32_t port, short blocking, short) {
    NetworkStart();
    Close();
    ZOR_ASSERT(hostname != nullptr, "hostname != 0");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    unsigned char host[4];
    const bool numeric = readNumericAddress(hostname, host);
    const int socket_fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (socket_fd < 0) return 0;
    if (!numeric && !lookUp(hostname, host)) {
        ::close(socket_fd);
        return 0;
    }
    std::memcpy(&address.sin_addr, host, sizeof host);
    unsigned char port_bytes[2];
    PutPort(static_cast<std::uint16_t>(port), port_bytes);
    std::memcpy(&address.sin_port, port_bytes, sizeof port_bytes);
    fd = socket_fd;
    if (!blocking) SetNonBlocking();
    const int result =
        ::connect(socket_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (!blocking)
        finishConnect();
    else if (result != 0)
        Close();
    if (isOwnPeer(fd)) Close();
    if (verboseIpc && fd >= 0)
        std::printf("Connection::ConnectService, fd= %d\n", static_cast<int>(fd));
    return fd >= 0;
}

// A connection that failed in the background is writable too; it is told by having no peer.
void Connection::finishConnect() {
    if (WaitWritable(kConnectMs) <= 0) Close();
    char peer[kAddressTextSize];
    if (PeerAddress(fd, peer, sizeof peer) == -1) Close();
}

std::int32_t Connection::Read(void* buffer, std::int32_t length) {
    const ssize_t count = ::read(fd, buffer, static_cast<std::size_t>(length));
    if (count == -1 && isLoss(errno)) return 0;
    return static_cast<std::int32_t>(count);
}

std::int32_t Connection::ReadSome(void* buffer, std::int32_t length) {
    for (int bad_reads = 0; bad_reads < kMaxBadReads;) {
        const std::int32_t count = fd == -1 ? 0 : Read(buffer, length);
        if (count >= 0) return count;
        if (++bad_reads == kMaxBadReads) break;
        if (verboseIpc) traceReadBlock("Connection::ReadBlock: nbr incorrect = ", count);
        threadSleep(kRetryMs);
    }
    return 0;
}

std::int32_t Connection::ReadBlock(void* buffer, std::int32_t length, std::int32_t timeout,
                                   std::int32_t* got) {
    const std::time_t start = timeout > 0 ? std::time(nullptr) : 0;
    char* const bytes = static_cast<char*>(buffer);
    std::int32_t arrived = 0;
    std::int32_t waitless_reads = 0;
    std::int32_t result = 1;
    if (got) *got = 0;
    while (arrived < length) {
        const std::int32_t count = ReadSome(bytes + arrived, length - arrived);
        if (count == 0) {
            result = 0;
            break;
        }
        arrived += count;
        if (got) *got = arrived;
        if (arrived == length) break;
        if (timeout > 0 && std::time(nullptr) - start <= timeout / 1000 + 1) {
            if (WaitReadable(timeout) != 1) {
                result = -1;
                break;
            }
        } else {
            ++waitless_reads;
        }
    }
    traceWaitlessReads(waitless_reads);
    return result;
}

void Connection::traceWaitlessReads(std::int32_t count) {
    if (verboseIpc && count > 1) traceReadBlock("Connection::ReadBlock: nb_read > 1 = ", count);
}

std::int32_t Connection::Write(const void* buffer, std::int32_t length) {
    const std::int32_t socket_fd = fd;
    if (socket_fd < 0) return 0;
    const auto size = static_cast<std::size_t>(length);
    ssize_t count = ::send(socket_fd, buffer, size, MSG_NOSIGNAL);
    if (count < 0 && errno == ENOTSOCK) count = ::write(socket_fd, buffer, size);
    return static_cast<std::int32_t>(count);
}

void Connection::Close() {
    std::int32_t old_fd;
    {
        const std::lock_guard hold(hang_up_guard);
        old_fd = fd.exchange(-1);
    }
    if (old_fd <= 0) return;
    if (verboseIpc) std::printf("Connection::Close, fd= %d\n", static_cast<int>(old_fd));
    if (::shutdown(old_fd, SHUT_RDWR) == -1 && errno != EBADF && errno != ENOTCONN)
        reportCloseFault(old_fd, "shutdown", errno);
    if (::close(old_fd) == -1 && errno != EBADF) reportCloseFault(old_fd, "close", errno);
}

void Connection::HangUp() {
    const std::lock_guard hold(hang_up_guard);
    if (fd > 0) ::shutdown(fd, SHUT_RDWR);
}

void Connection::SetNonBlocking() {
    if (fd == -1) return;
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags != -1) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

short Connection::SetNoDelay() {
    const int on = 1;
    return ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
}

short Connection::WaitReadable(std::int32_t timeout) const {
    return WaitFdReadable(fd, timeout);
}

short Connection::WaitWritable(std::int32_t timeout) const {
    return waitFd(fd, timeout, Direction::kWriting);
}

ExwConnection::ExwConnection() {
    mutexInit(&mutex_, "mutex_write");
}

ExwConnection::~ExwConnection() {
    mutexDestroy(mutex_);
}

std::int32_t ExwConnection::Write(const void* buffer, std::int32_t length) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    return Connection::Write(buffer, length);
}

void ExwConnection::Close() {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    Connection::Close();
}

short WaitFdReadable(std::int32_t fd, std::int32_t timeout) {
    return waitFd(fd, timeout, Direction::kReading);
}

int LocalHostName(char* buffer, int size) {
    if (size <= 0) return -1;
    const auto room = static_cast<std::size_t>(size);
    buffer[0] = 0;
    const int result = ::gethostname(buffer, room);
    buffer[room - 1] = 0;
    if (std::strcmp(buffer, "localhost") == 0) return 0;
    utsname system;
    if (::uname(&system) == -1 || !system.nodename[0]) return result;
    std::snprintf(buffer, room, "%s", system.nodename);
    return 0;
}

int PeerAddress(std::int32_t fd, char* buffer, int) {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    const int result = ::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length);
    if (result == -1) {
        std::snprintf(buffer, kAddressTextSize, " (errno %d)", errno);
        return result;
    }
    unsigned char part[4];
    std::memcpy(part, &peer.sin_addr, sizeof part);
    std::snprintf(buffer, kAddressTextSize, "%.3d.%.3d.%.3d.%.3d", part[0], part[1], part[2],
                  part[3]);
    return result;
}

void PutPort(std::uint16_t port, unsigned char* bytes) {
    bytes[0] = static_cast<unsigned char>(port >> 8);
    bytes[1] = static_cast<unsigned char>(port);
}

int LastError() {
    return errno;
}

int NetworkStart() {
    network_started = 1;
    return 0;
}

void NetworkStop() {
    network_started = 0;
}
