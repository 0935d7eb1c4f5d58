#include "Mail/Chunk.h"

#include "mail/memory.h"

#include <algorithm>
#include <utility>

namespace Mail {

namespace {

// The most that the pool of the buffers' bytes can hold: 8192 blocks of 128 KiB.
constexpr std::uint64_t kAllBytes = std::uint64_t{8192} * 128 * 1024;

} // namespace

Mem::Ptr<Buffer> Buffer::make() {
    Mem::Ptr<Buffer> buffer = m_pool.make();
    return buffer && buffer->data_ != nullptr ? buffer : nullptr;
}

Buffer::Buffer()
    : data_(static_cast<unsigned char*>(mail::memory().bufferData.alloc()))
    , end_(data_ == nullptr ? nullptr : data_ + kCapacity) {}

Buffer::~Buffer() {
    mail::memory().bufferData.free(data_);
}

// NOLINTNEXTLINE(*-new-delete-overloads,cert-dcl54-cpp): the pool allocates
void Buffer::operator delete(void* item) {
    m_pool.free(item);
}

Chunk::Chunk(Mem::Ptr<Buffer> buffer, unsigned char* begin, unsigned char* end)
    : buffer_(std::move(buffer)), begin_(begin), end_(end) {}

// A chain may have many thousands of chunks, so it is taken apart in a loop, not by recursion: each
// chunk is detached from the next one before it is deleted.
Chunk::~Chunk() {
    Chunk* chunk = next_.detachIfLast();
    while (chunk != nullptr) {
        Chunk* const following = chunk->next_.detachIfLast();
        delete chunk;
        chunk = following;
    }
}

// NOLINTNEXTLINE(*-new-delete-overloads,cert-dcl54-cpp): the pool allocates
void Chunk::operator delete(void* item) {
    m_pool.free(item);
}

Mem::Ptr<Chunk> Chunk::try_alloc(std::uint64_t n) {
    return mail::memory().fresh.carve(n);
}

Mem::Ptr<Chunk> Chunk::alloc(std::uint64_t n) {
    if (n > kAllBytes) {
        return nullptr;
    }
    Mem::Ptr<Chunk> first = try_alloc(n);
    if (!first || first->size() == n) {
        return first; // the usual case
    }
    Chain chain;
    for (Mem::Ptr<Chunk> chunk = std::move(first); chunk; chunk = try_alloc(n)) {
        n -= chunk->size();
        chain.append(std::move(chunk));
    }
    return n == 0 ? chain.take() : nullptr;
}

std::uint64_t Chunk::totalSize() const {
    std::uint64_t size = 0;
    for (const Chunk* chunk = this; chunk != nullptr; chunk = chunk->next_.get()) {
        size += chunk->size();
    }
    return size;
}

Mem::Ptr<Chunk> Chunk::head(std::uint64_t n) const {
    return n == 0 ? nullptr : m_pool.make(buffer_, begin_, begin_ + std::min(n, size()));
}

Mem::Ptr<Chunk> Chunk::tail(std::uint64_t n) const {
    return n >= size() ? nullptr : m_pool.make(buffer_, begin_ + n, end_);
}

Mem::Ptr<Chunk> Chunk::rbefore(std::uint64_t n) const {
    Chain result;
    for (const Chunk* chunk = this; n != 0 && chunk != nullptr; chunk = chunk->next_.get()) {
        Mem::Ptr<Chunk> part = chunk->head(n);
        if (!part) {
            return nullptr; // without it, bytes would be missing in the middle
        }
        result.append(std::move(part));
        n -= std::min(n, chunk->size());
    }
    return result.take();
}

Mem::Ptr<Chunk> Chunk::rafter(std::uint64_t n) const {
    for (const Chunk* chunk = this; chunk != nullptr; chunk = chunk->next_.get()) {
        if (n < chunk->size()) {
            Mem::Ptr<Chunk> result = chunk->tail(n);
            if (result) {
                result->next_ = chunk->next_;
            }
            return result;
        }
        n -= chunk->size();
    }
    return nullptr;
}

void Chain::append(Mem::Ptr<Chunk> chunks) {
    if (!chunks) {
        return;
    }
    Chunk* last = chunks.get();
    while (last->next_) {
        last = last->next_.get();
    }
    (first_ ? last_->next_ : first_) = std::move(chunks);
    last_ = last;
}

Mem::Ptr<Chunk> Chain::pop() {
    Mem::Ptr<Chunk> chunk = std::move(first_);
    if (chunk) {
        first_ = std::move(chunk->next_);
    }
    return chunk;
}

Mem::Ptr<Chunk> Chain::take() {
    return std::move(first_);
}

} // namespace Mail
