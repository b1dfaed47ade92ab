#include "util/i_cnxsock_buffer.h"

#include <algorithm>
#include <utility>

#include "util/i_assert.h"
#include "util/i_cnxsock_connection.h"

namespace {
constexpr char SOURCE_MODULE[] = "util/i_cnxsock";
}

BlockReader::BlockReader(Connection& connection, std::atomic<short>* state,
                         std::function<void()> settle)
    : connection_(connection), state_(state), settle_(std::move(settle)), buffer_(kCapacity) {}

const char* BlockReader::take(std::int32_t length) {
    ZOR_ASSERT(length >= 0 && length <= kCapacity, "length >= 0 && length <= kCapacity");
    const bool complete = end_ - begin_ >= length || fill(length);
    if (state_) state_->store(complete, std::memory_order_release);
    if (!complete) return nullptr;
    const char* block = &buffer_[0] + begin_;
    begin_ += length;
    return block;
}

void BlockReader::settle() const {
    if (settle_) settle_();
}

/// Reads until `length` bytes are there, or the connection is lost.
bool BlockReader::fill(std::int32_t length) {
    std::int32_t waitless_reads = 0;
    std::int32_t count = 1;
    while (count > 0 && end_ - begin_ < length) {
        waitless_reads += end_ > begin_;
        settle();
        makeRoom(length);
        count = connection_.ReadSome(&buffer_[0] + end_, kCapacity - end_);
        end_ += count;
    }
    Connection::traceWaitlessReads(waitless_reads);
    if (count == 0) begin_ = end_;
    return count > 0;
}

/// Moves the begun block to the front where it has to be, and else once half the buffer lies behind
/// it: what is moved then is small against what the next read can take.
void BlockReader::makeRoom(std::int32_t length) {
    if (begin_ < end_ && begin_ < kCapacity / 2 && begin_ + length <= kCapacity) return;
    std::copy(buffer_.begin() + begin_, buffer_.begin() + end_, buffer_.begin());
    end_ -= begin_;
    begin_ = 0;
}
