#include "mail/space.h"

#include <mutex>
#include <utility>

namespace Mail {

Mem::Ptr<Chunk> Space::makeBuffer() {
    const Mem::Ptr<Buffer> buffer = Buffer::make();
    return buffer ? Chunk::m_pool.make(buffer, buffer->data(), buffer->end()) : nullptr;
}

Mem::Ptr<Chunk> FreshSpace::carve(std::uint64_t n) {
    if (n == 0) {
        return nullptr;
    }
    const std::lock_guard lock(lock_);
    if (!current_) {
        current_ = makeBuffer();
    }
    if (!current_ || current_->size() <= n) {
        return std::move(current_);
    }
    Mem::Ptr<Chunk> rest = tail(*current_, n);
    if (!rest) {
        return nullptr;
    }
    Mem::Ptr<Chunk> piece = head(*current_, n);
    if (piece) {
        current_ = std::move(rest);
    }
    return piece;
}

Mem::Ptr<Chunk> SpareSpace::take() {
    {
        const std::lock_guard lock(lock_);
        if (regions_.first()) {
            return regions_.pop();
        }
    }
    return makeBuffer();
}

void SpareSpace::giveBack(Mem::Ptr<Chunk> region) {
    const std::lock_guard lock(lock_);
    regions_.append(std::move(region));
}

} // namespace Mail
