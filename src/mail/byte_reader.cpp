#include "Mail/Stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Mail {

ByteReader::ByteReader(const Mem::Ptr<Chunk>& chain) {
    add(chain);
}

bool ByteReader::init(const Mem::Ptr<Chunk>& chunk) {
    const Chunk* const entered = chunk.get();
    if (entered == nullptr) {
        clear();
        return false;
    }
    if (entered != next_.get()) {
        tailOfQueue_ = nullptr;
        queued_ = 0;
    }
    buffer_ = entered->buffer_;
    cursor_ = entered->begin();
    end_ = entered->end();
    queued_ -= std::min(queued_, entered->size());
    next_ = entered->next_; // the chunk itself may go with this
    if (!next_) {
        tailOfQueue_ = nullptr;
    }
    return true;
}

// Chunks are linked through themselves, and those that are given are somebody else's, maybe a
// message's: to link anything behind them would change it. So the queue gets chunks of its own.
void ByteReader::add(const Mem::Ptr<Chunk>& chain) {
    if (!tailOfQueue_) {
        const Mem::Ptr<Chunk> shared = std::move(next_);
        queued_ = 0;
        enqueue(shared);
    }
    enqueue(chain);
}

void ByteReader::enqueue(const Mem::Ptr<Chunk>& chain) {
    for (const Chunk* chunk = chain.get(); chunk != nullptr; chunk = chunk->next_.get()) {
        Mem::Ptr<Chunk> copy = chunk->head(chunk->size());
        if (copy) {
            queued_ += copy->size();
            (tailOfQueue_ ? tailOfQueue_->next_ : next_) = copy;
            tailOfQueue_ = std::move(copy);
        }
    }
}

std::uint64_t ByteReader::getData(void* out, std::uint64_t n) {
    auto* const bytes = static_cast<unsigned char*>(out);
    std::uint64_t done = 0;
    while (done != n && prepare()) {
        const auto count = std::min(n - done, static_cast<std::uint64_t>(end_ - cursor_));
        std::memcpy(bytes + done, cursor_, count);
        cursor_ += count;
        done += count;
    }
    return done;
}

Mem::Ptr<Chunk> ByteReader::getData(std::uint64_t n) {
    Chain result;
    while (n != 0 && prepare()) {
        const auto count = std::min(n, static_cast<std::uint64_t>(end_ - cursor_));
        result.append(Chunk::m_pool.make(buffer_, cursor_, cursor_ + count));
        cursor_ += count;
        n -= count;
    }
    return result.take();
}

int ByteReader::getInt(std::uint64_t nbytes) {
    std::uint32_t value = 0;
    for (; nbytes != 0 && prepare(); --nbytes) {
        value = value << 8 | *cursor_++;
    }
    const bool isShiftedOut = nbytes >= sizeof value;
    return isShiftedOut ? 0 : static_cast<int>(value << nbytes * 8);
}

Mem::Ptr<Chunk> ByteReader::getRemainingData() {
    Chain result;
    if (cursor_ != end_) {
        result.append(Chunk::m_pool.make(buffer_, cursor_, end_));
    }
    result.append(next_);
    clear();
    return result.take();
}

bool ByteReader::nextChunk() {
    while (cursor_ == end_) {
        if (!init(next_)) {
            return false;
        }
    }
    return true;
}

void ByteReader::clear() {
    next_ = nullptr;
    tailOfQueue_ = nullptr;
    buffer_ = nullptr;
    cursor_ = end_ = nullptr;
    queued_ = 0;
}

} // namespace Mail
