#pragma once
// ReadBlock through a buffer: for streams of many small blocks, where a system call for each would
// cost more than the data.

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

class Connection;

/// Hands out the stream of one connection block by block, as ReadBlock without a time-out would,
/// and takes from the socket whatever is there at once. From its first block on it is the only one
/// that may read the connection, and only one thread at a time may use it.
class BlockReader {
  public:
    /// Bytes taken from the socket at once, and the longest block.
    static constexpr std::int32_t kCapacity = 256 * 1024;

    /// `connection` must outlive the reader. `state`, if not null, receives the result of every
    /// block: 1, or 0 once the connection is lost. `settle`, if set, runs before each read of the
    /// socket, which may wait and which overwrites the blocks handed out so far: whatever the
    /// caller still owes the world or still needs of them is done there.
    explicit BlockReader(Connection& connection, std::atomic<short>* state = nullptr,
                         std::function<void()> settle = {});

    /// The next `length` bytes, or null when the connection was lost before all of them had come;
    /// then the bytes that did come are dropped. The address holds until the next read of the
    /// socket, so blocks that arrived together lie behind each other.
    const char* take(std::int32_t length);

    /// Runs `settle`: for messages that must not overtake what the caller still holds back.
    void settle() const;

  private:
    bool fill(std::int32_t length);
    void makeRoom(std::int32_t length);

    Connection& connection_;
    std::atomic<short>* state_;
    std::function<void()> settle_;
    std::vector<char> buffer_;
    std::int32_t begin_ = 0;  // of the bytes that nobody took yet
    std::int32_t end_ = 0;
};
