#pragma once
// The server's side of a scripted session: raw sockets, and frames packed by hand from the bytes of
// the protocol, without the library, so that both sides can't share a mistake.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

/// How long tests wait for what must come, in milliseconds; generous for slow machines.
/// ZOR_TEST_PATIENCE, in seconds, sets another time: with 2 a red test ends soon.
inline const int kPatience = [] {
    const char* const seconds = std::getenv("ZOR_TEST_PATIENCE");
    return 1000 * (seconds ? std::atoi(seconds) : 30);
}();

namespace support {

inline std::string littleEndian(long value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
    return out;
}
/// A header; `length` is free, so that it may lie. Up to version 27 it is a short one.
inline std::string header(int type, int op, int kel, long length, int version = 29) {
    return "\x88\x44\x22\x11" + littleEndian(type, 2) + littleEndian(op, 2) +
           littleEndian(length, 4) + std::string(6, '\xff') + littleEndian(kel, 2) +
           std::string(4, '\0') + "\xff\xff" + littleEndian(version, 2) +
           std::string(version > 27 ? 104 : 20, '\0');
}
inline std::string frame(int type, int op, int kel, const std::string& body = "") {
    return header(type, op, kel, static_cast<long>(body.size())) + body;
}
inline std::string text(const std::string& body, int kel = -1) { return frame(10, 5, kel, body); }

inline bool readable(int descriptor, int milliseconds) {
    pollfd wait{descriptor, POLLIN, 0};
    return poll(&wait, 1, milliseconds) > 0;
}

/// One connection of a console.
class Link {
  public:
    explicit Link(int descriptor)
        : fd_(new int(descriptor), [](int* fd) {
              close(*fd);
              delete fd;
          }) {
        const timeval patience{kPatience / 1000, 0};
        setsockopt(*fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    void send(const std::string& bytes) {
        EXPECT_EQ(::send(*fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// How much of `bytes` the other side takes before it stops reading.
    std::size_t sendWhileTaken(const std::string& bytes) {
        const timeval patience{1, 0};
        setsockopt(*fd_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        return static_cast<std::size_t>(::send(*fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    /// The next `size` bytes; fewer if the console closes or keeps silent.
    std::string receive(std::size_t size) {
        std::string got(size, '\0');
        const ssize_t count = recv(*fd_, got.data(), size, MSG_WAITALL);
        return got.substr(0, count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    void expect(const std::string& bytes) { EXPECT_EQ(receive(bytes.size()), bytes); }
    /// The text of the operator's next frame, with its terminator.
    void expectText(const std::string& line, int kel = -1) { expect(text(line + '\0', kel)); }
    bool silent(int milliseconds) { return !readable(*fd_, milliseconds); }
    void hangUp() { fd_.reset(); }
    /// Ends the connection with a reset instead of an orderly end.
    void reset() {
        const linger now{1, 0};
        setsockopt(*fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        hangUp();
    }

  private:
    std::shared_ptr<int> fd_;
};

/// Holds a free port of the loopback, and refuses all comers there until `listen`.
class Peer {
  public:
    Peer() {
        sockaddr_in place{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof place;
        auto* const address = reinterpret_cast<sockaddr*>(&place);
        EXPECT_EQ(bind(fd_, address, size), 0);
        EXPECT_EQ(getsockname(fd_, address, &size), 0);
        port = std::to_string(ntohs(place.sin_port));
    }
    Peer(const Peer&) = delete;
    ~Peer() { close(fd_); }

    void listen() { EXPECT_EQ(::listen(fd_, 16), 0); }
    Link accept() {
        EXPECT_TRUE(readable(fd_, kPatience)) << "no console connects";
        return Link(::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC));
    }
    /// The next console, with the frame by which it joins already taken.
    Link join() {
        Link link = accept();
        link.expect(frame(10, 6, -1));
        return link;
    }
    std::string port;

  private:
    int fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

}  // namespace support
