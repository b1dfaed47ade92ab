#pragma once
// A connection whose other end is the test's, and frames packed by hand.

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "util/i_cnxsock.h"

inline std::string little(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i));
    return text;
}

/// A frame of text; `lg` other than -2 tells a length that isn't the body's.
inline std::string packFrame(const std::string& body, int op = 5, int version = 29, int lg = -2) {
    const auto length = lg == -2 ? static_cast<int>(body.size()) : lg;
    const std::string unused(8, '\xFF');
    return little(0x11224488, 4) + little(10, 2) + little(static_cast<std::uint32_t>(op), 2) +
           little(static_cast<std::uint32_t>(length), 4) + unused + little(0, 4) +
           little(0xFFFF, 2) + little(static_cast<std::uint32_t>(version), 2) +
           std::string(version > 27 ? 104 : 20, '\0') + body;
}

/// `near` reads what the test puts into the far end, each piece as a delivery of its own.
class FedLine {
  public:
    FedLine() {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0) {
            near.fd = ends[0];
            far = ends[1];
        }
    }
    ~FedLine() { hangUp(); }

    /// Waits until the near end has taken everything, then sends `piece`. False after 10 s.
    bool feed(const std::string& piece) {
        if (!waitUntilTaken()) return false;
        for (std::size_t sent = 0; sent < piece.size();) {
            const ssize_t count = ::write(far, piece.data() + sent, piece.size() - sent);
            if (count <= 0) return false;
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }

    bool feedAll(const std::vector<std::string>& pieces) {
        for (const std::string& piece : pieces) {
            if (!feed(piece)) return false;
        }
        return true;
    }

    bool waitUntilTaken() const {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (int waiting = 1; std::chrono::steady_clock::now() < limit; std::this_thread::yield()) {
            if (::ioctl(near.fd, FIONREAD, &waiting) == 0 && waiting == 0) return true;
        }
        return false;
    }

    void hangUp() {
        if (far >= 0) ::close(far);
        far = -1;
    }

    Connection near;
    int far = -1;
};
