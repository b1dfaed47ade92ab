#pragma once
// A connection whose other end is the test's, and frames packed by hand.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/patience.h"
#include "util/i_cnxsock.h"

inline std::string little(unsigned value, int bytes) {
    return bytes ? static_cast<char>(value) + little(value >> 8, bytes - 1) : "";
}

/// The port that a listening connection has.
inline int portOf(const Connection& connection) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(connection.fd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

/// A frame of text; `lg` other than -2 tells a length that isn't the body's.
inline std::string packFrame(const std::string& body, int op = 5, int version = 29, int lg = -2) {
    const auto length = lg == -2 ? static_cast<unsigned>(body.size()) : static_cast<unsigned>(lg);
    return little(0x11224488, 4) + little(10, 2) + little(static_cast<unsigned>(op), 2) +
           little(length, 4) + std::string(8, '\xFF') + little(0, 4) + little(0xFFFF, 2) +
           little(static_cast<unsigned>(version), 2) + std::string(version > 27 ? 104 : 20, '\0') +
           body;
}

/// `near` reads what the test puts into the far end, each piece as a delivery of its own. A stream
/// may still join a piece to the one being read; SOCK_SEQPACKET never does, but cuts a longer one.
struct FedLine {
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
            const auto limit =
                std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
            for (int left = 1; ::ioctl(near.fd, FIONREAD, &left) == 0 && left > 0;
                 std::this_thread::yield())
                if (std::chrono::steady_clock::now() > limit) return false;
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
