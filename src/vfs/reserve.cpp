#include "vfs/reserve.h"

#include "platform/thread.h"
#include "vfs/sized_memory.h"

#include <atomic>
#include <cstdint>

namespace vfs {

namespace {

constinit Reserve* current = nullptr; // only the owner uses it
constinit std::atomic<std::uintptr_t> owner{0};

} // namespace

Reserve::Reserve() {
    while (count_ < kCount) {
        void* const block = allocateRecycled(kBlockSize);
        if (block == nullptr) {
            return;
        }
        blocks_[count_++] = block;
    }
    filled_ = true;
    current = this;
    owner.store(platform::currentThread(), std::memory_order_relaxed);
}

Reserve::~Reserve() {
    owner.store(0, std::memory_order_relaxed);
    while (count_ > 0) {
        releaseRecycled(blocks_[--count_]);
    }
}

void* Reserve::take(std::size_t size) {
    const bool isOurs = owner.load(std::memory_order_relaxed) == platform::currentThread();
    if (!isOurs || size > kBlockSize || current->count_ == 0) {
        return nullptr;
    }
    return current->blocks_[--current->count_];
}

} // namespace vfs
