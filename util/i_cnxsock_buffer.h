#pragma once
// ReadBlock through a buffer: for streams of many small blocks, where a system call for each would
// cost more than the data.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

class Connection;

/// Hands out the stream of one connection block by block, as ReadBlock without a time-out would,
/// and takes from the socket whatever is there at once. From its first block on it is the only one
/// that may read the connection, and only one thread at a time may use it.
///
/// Its memory grows with what arrives: none before the first read, a page for small blocks,
/// kCapacity for a stream that fills them, and more only while a longer block is read.
class BlockReader {
  public:
    /// Most bytes taken from the socket at once, unless a longer block is asked for.
    static constexpr std::int32_t kCapacity = 256 * 1024;

    /// `connection` must outlive the reader. `state`, if not null, receives the result of every
    /// block: 1, or 0 if it can't be had. `before_read`, if set, runs before each read of the
    /// socket, which may wait.
    explicit BlockReader(Connection& connection, std::atomic<short>* state = nullptr,
                         std::function<void()> before_read = {});

    /// The next `length` bytes, 0 or more; they stay until the next call. Null when the connection
    /// was lost before all of them had come, and then those that did come are dropped, or when
    /// there is no memory for so many.
    const char* take(std::int32_t length);

    /// Fills `to` with the next `length` bytes, however many. False where `take` would give null.
    bool copy(void* to, std::int32_t length);

    /// Whether a read would not wait: bytes, or the loss of the connection, are there already.
    bool ready() const;

  private:
    std::int32_t held() const { return end_ - begin_; }
    bool fill(std::int32_t length);
    bool makeRoom(std::int32_t length);
    bool resize(std::int32_t capacity);

    Connection& connection_;
    std::atomic<short>* state_;
    std::function<void()> before_read_;
    std::unique_ptr<char[]> buffer_;  // not zero-filled: no page is touched before its bytes come
    std::int32_t capacity_ = 0;
    std::int32_t begin_ = 0;  // of the bytes that nobody took yet
    std::int32_t end_ = 0;
};
