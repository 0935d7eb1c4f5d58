#include "Mail/Pool.h"

#include "platform/guarded_memory.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>

namespace {

constexpr std::uint64_t kBlockUnit = std::uint64_t{128} * 1024;
constexpr std::uint64_t kMaxBlocks = 8192;
constexpr std::uint64_t kTableSize = kMaxBlocks * sizeof(void*);

// 0 if the size is out of range.
std::uint64_t blockSizeFor(std::uint64_t itemSize, std::uint32_t itemsPerBlock) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max() - kBlockUnit;
    if (itemsPerBlock == 0 || itemSize > kLargest / itemsPerBlock) {
        return 0;
    }
    return (itemSize * itemsPerBlock + kBlockUnit - 1) / kBlockUnit * kBlockUnit;
}

} // namespace

Mem::Pool::Pool(std::uint64_t itemSize, std::uint32_t itemsPerBlock)
    : itemSize_(std::max<std::uint64_t>(itemSize, sizeof(void*)))
    , blocks_(static_cast<void**>(platform::allocateGuarded(kTableSize)))
    , maxBlocks_(kMaxBlocks)
    , blockSize_(blockSizeFor(itemSize_, itemsPerBlock)) {}

Mem::Pool::~Pool() {
    std::for_each_n(blocks_, blockCount_,
                    [this](void* block) { platform::releaseGuarded(block, blockSize_); });
    platform::releaseGuarded(blocks_, kTableSize);
}

void* Mem::Pool::alloc() {
    const std::lock_guard lock(lock_);
    if (freeList_ != nullptr) {
        return pop();
    }
    return itemSize_ <= remaining_ || grow() ? carve() : nullptr;
}

void Mem::Pool::free(void* item) {
    if (item == nullptr) {
        return;
    }
    const std::lock_guard lock(lock_);
    std::memcpy(item, &freeList_, sizeof freeList_);
    freeList_ = item;
}

// Items follow each other without padding, so a link may be unaligned: memcpy reads it.
void* Mem::Pool::pop() {
    void* const item = freeList_;
    std::memcpy(&freeList_, item, sizeof freeList_);
    return item;
}

void* Mem::Pool::carve() {
    void* const item = cursor_;
    cursor_ += itemSize_;
    remaining_ -= itemSize_;
    return item;
}

bool Mem::Pool::grow() {
    if (blocks_ == nullptr || blockCount_ == maxBlocks_) {
        return false;
    }
    void* const block = platform::allocateGuarded(blockSize_);
    if (block == nullptr) {
        return false;
    }
    blocks_[blockCount_++] = block;
    cursor_ = static_cast<unsigned char*>(block);
    remaining_ = blockSize_;
    return true;
}
