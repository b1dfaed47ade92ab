// The listening side of Connection, and its small reports.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "util/i_charstr.h"
#include "util/i_cnxsock_connection.h"
#include "util/i_trace.h"

namespace {

constexpr std::size_t kAddressTextSize = 20;  // bytes that SocketAddress fills

bool setOption(int socket_fd, int level, int option, int value) {
    return setsockopt(socket_fd, level, option, &value, sizeof value) == 0;
}

/// Sets the three options of a tuned service. They stand on the listening socket, before `bind`,
/// because accepted sockets inherit them from there. A buffer size of 0 asks for the smallest that
/// the system grants. An option that fails is told and doesn't stop the service.
void tune(int socket_fd) {
    static constexpr struct {
        int level, option, value;
        const char* name;
    } kOptions[] = {{IPPROTO_TCP, TCP_NODELAY, 1, "TCP_NODELAY"},
                    {SOL_SOCKET, SO_RCVBUF, 0, "SO_RCVBUF"},
                    {SOL_SOCKET, SO_SNDBUF, 0, "SO_SNDBUF"}};
    for (const auto& row : kOptions) {
        if (setOption(socket_fd, row.level, row.option, row.value)) continue;
        std::printf("Connection::CreateService, fd= %d  error on setsockopt %s, errno %d\n",
                    socket_fd, row.name, errno);
    }
}

/// Binds the socket to `port` on an address of this machine.
bool bindTo(int socket_fd, std::uint32_t address, std::int32_t port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(address);
    PutPort(static_cast<std::uint16_t>(port), reinterpret_cast<unsigned char*>(&place.sin_port));
    return bind(socket_fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

/// Where the socket stands; false if it has no address.
bool ownPlace(int socket_fd, sockaddr_in& place) {
    socklen_t length = sizeof place;
    return getsockname(socket_fd, reinterpret_cast<sockaddr*>(&place), &length) == 0;
}

}  // namespace

short Connection::CreateService(std::int32_t port, short reuse, std::int32_t backlog, short tuned) {
    return listenOn(INADDR_ANY, port, reuse, backlog, tuned);
}

short Connection::CreateLocalService(std::int32_t port, short reuse, std::int32_t backlog,
                                     short tuned) {
    return listenOn(INADDR_LOOPBACK, port, reuse, backlog, tuned);
}

short Connection::listenOn(std::uint32_t address, std::int32_t port, short reuse,
                           std::int32_t backlog, short tuned) {
    NetworkStart();
    Close();
    const int socket_fd = socket(AF_INET, SOCK_STREAM, 0);
    if (socket_fd < 0) return 0;
    bool ready = reuse == 0 || setOption(socket_fd, SOL_SOCKET, SO_REUSEADDR, 1);
    if (ready && tuned == 1) tune(socket_fd);  // 1 alone asks for it, other values don't
    ready = ready && bindTo(socket_fd, address, port);
    if (!ready) {
        close(socket_fd);
        return 0;
    }
    listen(socket_fd, backlog);
    fd = socket_fd;
    return 1;
}

short Connection::Accept(Connection& client, short blocking) {
    if (fd == -1) return 0;
    if (blocking == 0 && WaitReadable(0) != 1) return 0;
    const int client_fd = accept(fd, nullptr, nullptr);
    if (client_fd < 0) return 0;
    client.fd = client_fd;
    return 1;
}

short Connection::SocketAddress(char* buffer) const {
    if (fd < 0) return 0;
    sockaddr_in place{};
    if (!ownPlace(fd, place)) return 0;
    char text[kAddressTextSize] = "";  // longer than any address: its last byte stays zero
    inet_ntop(AF_INET, &place.sin_addr, text, sizeof text);
    std::memcpy(buffer, text, sizeof text);
    return 1;
}

std::int32_t Connection::SocketPort() const {
    sockaddr_in place{};
    return ownPlace(fd, place) ? ntohs(place.sin_port) : 0;
}

void Connection::Print() const {
    CharString line;
    line << "Connection: fd= " << fd.load() << "\n";
    traceEmit(line);
}
