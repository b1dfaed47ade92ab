#pragma once
// A connection whose other end is the test's.

#include <sys/ioctl.h>

#include <chrono>
#include <thread>
#include <vector>

#include "support/scripted_peer.h"
#include "util/i_cnxsock.h"

/// The port that a listening connection has.
inline int portOf(const Connection& connection) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(connection.fd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

inline std::string packFrame(const std::string& body, int op = 5, int version = 29) {
    return support::header(10, op, -1, static_cast<long>(body.size()), version) + body;
}

/// `near` reads what the test puts into the far end, each piece as a delivery of its own. A stream
/// may still join a piece to the one being read; SOCK_SEQPACKET never does, but cuts a longer one.
struct FedLine {
    using Clock = std::chrono::steady_clock;
    explicit FedLine(int type = SOCK_STREAM) {
        int ends[2] = {-1, -1};
        ::socketpair(AF_UNIX, type, 0, ends);
        near.fd = ends[0];
        far = ends[1];
    }
    ~FedLine() { hangUp(); }

    /// Sends each piece once the near end has taken the last. False if it loses its patience.
    bool feed(const std::vector<std::string>& pieces) {
        for (const std::string& piece : pieces) {
            const auto limit = Clock::now() + std::chrono::milliseconds(kPatience);
            for (int left = 1; ::ioctl(near.fd, FIONREAD, &left) == 0 && left > 0;) {
                if (Clock::now() > limit) return false;
                std::this_thread::yield();
            }
            if (::write(far, piece.data(), piece.size()) != static_cast<ssize_t>(piece.size()))
                return false;
        }
        return true;
    }

    void hangUp() {
        if (far >= 0) ::close(far);
        far = -1;
    }

    Connection near;
    int far = -1;
};
